// The language and code set of the process.
//
// They are settled once per process, at the first call of GetProcess (thread-safe), from the
// environment locale (LANG) and the supported-languages file SUPPLANG_Q4:
// - LANG (default "en_US.UTF-8") gives the environment's code set: all of the text after its first
//   ".", a "@modifier" included ("UTF-8@euro" for "de_DE.UTF-8@euro", a name iconv does not know);
//   without a ".", the code set the C library reports for the environment's locale; without that
//   either, "UTF-8".
// - SUPPLANG_Q4 is the first regular file that opens among <d>/NLS/SUPPLANG_Q4 for each <d> of
//   MORReffilesPath, <d>/reffiles/NLS/SUPPLANG_Q4 for each <d> of MORInstallPath, and
//   <d>/SUPPLANG_Q4 for each <d> of KELSysNLSInstallPath (each a ":"-separated list, like PATH).
// - With no such file, the process uses the environment's code set (or UTF-8 if iconv does not know
//   it) and the language "English", and leaves the C library locale alone.
// - With a file, LANG must be validated by one of its entries (lines between "*BEGIN*" and "*END*",
//   four fields separated by blanks):  <lang> <language> <locale> <code set>, for example
//       en_US  English  en_US.UTF-8  UTF-8
//   <lang> is LANG without its code set ("en_US" for "en_US.UTF-8"), and <code set> must name the
//   environment's code set (case, '-' and '_' ignored) and be known to iconv. The process then takes
//   the entry's language and code set and hands <locale> to setlocale. If no entry validates LANG,
//   the process falls back to the language "English" and its code set from the table below.
// Nothing is printed unless the environment variable KELSysNLSCoreTrace is set; then each step
// writes a diagnostic line marked "[PID:<pid>]" to the framework's diagnostics.
#ifndef KELSysNLS_H
#define KELSysNLS_H

#include <cstddef>
#include <string>

#include "KELSysCodePage.h"
#include "KELSysResult.h"

// One entry of SUPPLANG_Q4; absent fields are empty.
struct KELSysNLSEntry {
  std::string m_Lang;      // LANG without its code set
  std::string m_Language;  // language name, as in the table ("French")
  std::string m_Locale;    // the name handed to setlocale
  std::string m_CodeSet;   // the code set
};

class KELSysNLS {
 public:
  static constexpr size_t CodeSetBufferSize = 85;
  static constexpr const char* DefaultLanguage = "English";

  // The code set of a language name ("Japanese" gives "IBM-932"), compared exactly, copied with its
  // zero byte into oCodeSet (CodeSetBufferSize bytes). KEL_E_INVALIDARG for a null name or buffer,
  // KEL_E_NOTFOUND for a name not in the table (oCodeSet untouched).
  static KELSysResult GetCodeSetOfLanguage(const char* iLanguage, char* oCodeSet);

  // The settings of this process, settled at the first call. Never fails: problems degrade to the
  // defaults described above.
  static const KELSysNLS& GetProcess();

  // The two ways of starting: from the environment alone, or from LANG validated against the
  // entries of SUPPLANG_Q4. Exactly one must be asked for (iFromEnvironment != iFromLANG); anything
  // else is reported as a catastrophic failure and gives UTF-8 and "English".
  static KELSysNLS Start(bool iFromEnvironment, bool iFromLANG, const std::string& iLANG,
                         const std::string& iCodeSet, const KELSysNLSEntry* iEntries, size_t iCount);

  const std::string& GetLanguage() const noexcept { return m_Language; }
  // The name handed to setlocale, empty when the locale was left alone.
  const std::string& GetLocale() const noexcept { return m_Locale; }
  const std::string& GetCodeSet() const noexcept { return m_CodePage.GetName(); }
  const KELSysCodePage& GetCodePage() const noexcept { return m_CodePage; }
  bool IsUTF8() const noexcept { return m_CodePage.IsUTF8(); }

 private:
  KELSysNLS(std::string iLanguage, std::string iLocale, const char* iCodeSet);
  static KELSysNLS StartFromEnvironment(const std::string& iCodeSet);
  static KELSysNLS StartFromLANG(const std::string& iLANG, const std::string& iCodeSet,
                                 const KELSysNLSEntry* iEntries, size_t iCount);
  static KELSysNLS StartDefault();

  std::string m_Language;
  std::string m_Locale;
  KELSysCodePage m_CodePage;
};

#endif
