#include "KELSysNLS.h"

#include <atomic>
#include <cctype>
#include <clocale>
#include <cstring>
#include <deque>
#include <mutex>
#include <utility>

#include "KELSysNLSCore.h"
#include "KELSysNLSDiagnostic.h"
#include "MORSysTS00Testing.h"

namespace {

struct LanguageCodeSet {
  const char* m_Language;
  const char* m_CodeSet;
};

constexpr LanguageCodeSet kLanguages[] = {
    {"English", "ISO-8859-1"},        {"French", "ISO-8859-1"},     {"German", "ISO-8859-1"},
    {"Dutch", "ISO-8859-1"},          {"Danish", "ISO-8859-1"},     {"Spanish", "ISO-8859-1"},
    {"Italian", "ISO-8859-1"},        {"Portuguese", "ISO-8859-1"}, {"Swedish", "ISO-8859-1"},
    {"Finnish", "ISO-8859-1"},        {"Icelandic", "ISO-8859-1"},  {"Japanese", "IBM-932"},
    {"Simplified_Chinese", "EUC-CN"}, {"Korean", "EUC-KR"},         {"Czech", "ISO-8859-2"},
    {"Polish", "ISO-8859-2"},         {"Russian", "ISO-8859-5"},    {"Traditional_Chinese", "CN-BIG5"},
};

// The settled settings. Kept for the whole process (never freed), so that references handed out
// stay valid, even in destructors of static objects and after a test reset.
constinit std::mutex s_Lock;
constinit std::atomic<const KELSysNLS*> s_Process{nullptr};

std::deque<KELSysNLS>& AllSettings() {
  static auto* l_All = new std::deque<KELSysNLS>;
  return *l_All;
}

// "UTF-8", "utf8" and "UTF_8" name the same code set.
std::string NormalisedCodeSet(const std::string& iCodeSet) {
  std::string l_Result;
  for (char l_Char : iCodeSet)
    if (l_Char != '-' && l_Char != '_')
      l_Result += static_cast<char>(std::toupper(static_cast<unsigned char>(l_Char)));
  return l_Result;
}

std::string LangInFileForm(const std::string& iLANG) { return iLANG.substr(0, iLANG.find('.')); }

// The entry that validates LANG, or null after reporting that none gives a usable code set.
const KELSysNLSEntry* FindEntry(const std::string& iLang, const std::string& iCodeSet,
                                const KELSysNLSEntry* iEntries, size_t iCount) {
  std::string l_Wanted = NormalisedCodeSet(iCodeSet);
  for (size_t l_Index = 0; l_Index < iCount; ++l_Index) {
    const KELSysNLSEntry& l_Entry = iEntries[l_Index];
    if (l_Entry.m_Lang != iLang || l_Entry.m_CodeSet.empty()) continue;
    if (NormalisedCodeSet(l_Entry.m_CodeSet) != l_Wanted) continue;
    if (KELSysCodePage(l_Entry.m_CodeSet.c_str()).IsValid()) return &l_Entry;
  }
  KELSysNLSDiagnostic("ERROR: SUPPLANG_Q4 does not contain a valid code set for code page: %s.\n",
                      iCodeSet.c_str());
  return nullptr;
}

}  // namespace

KELSysResult KELSysNLS::GetCodeSetOfLanguage(const char* iLanguage, char* oCodeSet) {
  if (!iLanguage || !oCodeSet) return KEL_E_INVALIDARG;
  for (const LanguageCodeSet& l_Entry : kLanguages) {
    if (std::strcmp(l_Entry.m_Language, iLanguage) != 0) continue;
    std::strncpy(oCodeSet, l_Entry.m_CodeSet, CodeSetBufferSize - 1);
    oCodeSet[CodeSetBufferSize - 1] = '\0';
    return KEL_S_OK;
  }
  return KEL_E_NOTFOUND;
}

KELSysNLS::KELSysNLS(std::string iLanguage, std::string iLocale, const char* iCodeSet)
    : m_Language(std::move(iLanguage)), m_Locale(std::move(iLocale)), m_CodePage(iCodeSet) {}

const KELSysNLS& KELSysNLS::GetProcess() {
  if (const KELSysNLS* l_Settled = s_Process.load(std::memory_order_acquire)) return *l_Settled;
  std::lock_guard l_Guard(s_Lock);
  if (const KELSysNLS* l_Settled = s_Process.load(std::memory_order_relaxed)) return *l_Settled;
  const KELSysNLS* l_Settled = &AllSettings().emplace_back(KELSysNLSCore::StartUp());
  s_Process.store(l_Settled, std::memory_order_release);
  return *l_Settled;
}

void KELSysNLSResetForTests() {
  std::lock_guard l_Guard(s_Lock);
  s_Process.store(nullptr);
}

KELSysNLS KELSysNLS::Start(bool iFromEnvironment, bool iFromLANG, const std::string& iLANG,
                           const std::string& iCodeSet, const KELSysNLSEntry* iEntries, size_t iCount) {
  if (iFromEnvironment == iFromLANG) {
    KELSysNLSDiagnostic("[KELSysNLSCore] Catastrophic failure!");
    return StartDefault();
  }
  return iFromEnvironment ? StartFromEnvironment(iCodeSet) : StartFromLANG(iLANG, iCodeSet, iEntries, iCount);
}

KELSysNLS KELSysNLS::StartDefault() { return KELSysNLS(DefaultLanguage, "", "UTF-8"); }

KELSysNLS KELSysNLS::StartFromEnvironment(const std::string& iCodeSet) {
  KELSysNLS l_Settings(DefaultLanguage, "", iCodeSet.c_str());
  // A code set iconv does not know would make every non-ASCII conversion fail; UTF-8 needs no iconv.
  if (!l_Settings.m_CodePage.IsValid()) l_Settings.m_CodePage = KELSysCodePage("UTF-8");
  return l_Settings;
}

KELSysNLS KELSysNLS::StartFromLANG(const std::string& iLANG, const std::string& iCodeSet,
                                   const KELSysNLSEntry* iEntries, size_t iCount) {
  std::string l_Lang = LangInFileForm(iLANG);
  KELSysNLSDiagnostic("[KELSysNLS][INFO] LANG variable: \"%s\"", iLANG.c_str());
  KELSysNLSDiagnostic("[KELSysNLS][INFO] Lang string (in config file format): \"%s\"", l_Lang.c_str());
  const KELSysNLSEntry* l_Entry = FindEntry(l_Lang, iCodeSet, iEntries, iCount);
  if (!l_Entry) {
    KELSysNLSDiagnostic(
        "[KELSysNLS][WARNING] Failed to validate environment settings => Falling back to default locale "
        "settings");
    char l_CodeSet[CodeSetBufferSize];
    GetCodeSetOfLanguage(DefaultLanguage, l_CodeSet);
    KELSysNLS l_Settings(DefaultLanguage, "", l_CodeSet);
    if (!l_Settings.m_CodePage.IsValid()) {
      KELSysNLSDiagnostic("[KELSysNLSCore] Catastrophic failure!");
      return StartDefault();
    }
    return l_Settings;
  }
  KELSysNLSDiagnostic("[KELSysNLS][INFO] Locale string (translated): \"%s\"", l_Entry->m_Locale.c_str());
  std::string l_Language = l_Entry->m_Language.empty() ? DefaultLanguage : l_Entry->m_Language;
  // The code set is settled by the entry alone; a locale the C library lacks only leaves the C
  // library's own idea of the locale unchanged.
  std::string l_Locale;
  if (!l_Entry->m_Locale.empty() && std::setlocale(LC_ALL, l_Entry->m_Locale.c_str())) {
    KELSysNLSDiagnostic("[KELSysNLS][INFO] libC setlocale success: \"%s\"", l_Entry->m_Locale.c_str());
    l_Locale = l_Entry->m_Locale;
  }
  return KELSysNLS(l_Language, l_Locale, l_Entry->m_CodeSet.c_str());
}
