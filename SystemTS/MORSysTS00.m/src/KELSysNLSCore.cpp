#include "KELSysNLSCore.h"

#include <langinfo.h>
#include <sys/stat.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "KELSysNLSDiagnostic.h"

namespace {

constexpr const char* kDefaultLANG = "en_US.UTF-8";
constexpr int kLineLimit = 512;

std::string Environment(const char* iName) {
  const char* l_Value = std::getenv(iName);
  return l_Value ? l_Value : "";
}

// The code set of a locale name: all of the text after its first '.', a modifier included
// ("UTF-8@euro" for "de_DE.UTF-8@euro"). A name with a modifier is what iconv is then asked for.
std::string CodeSetOf(const std::string& iLANG) {
  size_t l_Point = iLANG.find('.');
  return l_Point == std::string::npos ? "" : iLANG.substr(l_Point + 1);
}

// Opens the first regular file among <dir><iSuffix> for the dirs of the ":"-separated iList.
FILE* OpenFirst(const std::string& iList, const char* iSuffix, std::string& oPath) {
  size_t l_Start = 0;
  while (l_Start <= iList.size()) {
    size_t l_End = iList.find(':', l_Start);
    if (l_End == std::string::npos) l_End = iList.size();
    if (l_End > l_Start) {
      std::string l_Path = iList.substr(l_Start, l_End - l_Start) + iSuffix;
      struct stat l_Stat;
      FILE* l_File = std::fopen(l_Path.c_str(), "r");
      if (l_File && fstat(fileno(l_File), &l_Stat) == 0 && S_ISREG(l_Stat.st_mode)) {
        oPath = l_Path;
        return l_File;
      }
      if (l_File) std::fclose(l_File);
    }
    l_Start = l_End + 1;
  }
  return nullptr;
}

// Splits one entry line at blanks into its four fields.
KELSysNLSEntry ParseEntry(char* ioLine) {
  std::string* l_Fields[4];
  KELSysNLSEntry l_Entry;
  l_Fields[0] = &l_Entry.m_Lang;
  l_Fields[1] = &l_Entry.m_Language;
  l_Fields[2] = &l_Entry.m_Locale;
  l_Fields[3] = &l_Entry.m_CodeSet;
  char* l_Save = nullptr;
  char* l_Field = strtok_r(ioLine, " \t\r\n", &l_Save);
  for (int l_Index = 0; l_Index < 4 && l_Field; ++l_Index) {
    *l_Fields[l_Index] = l_Field;
    l_Field = strtok_r(nullptr, " \t\r\n", &l_Save);
  }
  return l_Entry;
}

}  // namespace

void KELSysNLSCore::DetectNLSCoreFromEnvironment(std::string& oLANG, std::string& oCodeSet) {
  const char* l_LANG = std::getenv("LANG");
  oLANG = l_LANG ? l_LANG : kDefaultLANG;
  KELSysNLSDiagnostic("[KELSysNLSCore][INFO] Environment locale: \"%s\"", oLANG.c_str());
  oCodeSet = CodeSetOf(oLANG);
  if (oCodeSet.empty()) {
    std::setlocale(LC_ALL, "");
    const char* l_CodeSet = nl_langinfo(CODESET);
    oCodeSet = l_CodeSet ? l_CodeSet : "";
  }
  if (oCodeSet.empty()) oCodeSet = "UTF-8";
  KELSysNLSDiagnostic("[KELSysNLSCore][INFO] DetectNLSCoreFromEnvironment | LangEnv=\"%s\" | CodePage=\"%s\"",
                      oLANG.c_str(), oCodeSet.c_str());
}

std::string KELSysNLSCore::FindSupplang() {
  std::string l_Path;
  FILE* l_File = OpenFirst(Environment("MORReffilesPath"), "/NLS/SUPPLANG_Q4", l_Path);
  if (!l_File) l_File = OpenFirst(Environment("MORInstallPath"), "/reffiles/NLS/SUPPLANG_Q4", l_Path);
  if (!l_File) l_File = OpenFirst(Environment("KELSysNLSInstallPath"), "/SUPPLANG_Q4", l_Path);
  if (!l_File) {
    KELSysNLSDiagnostic(
        "KELSysNLSCore failed to open SUPPLANG_Q4 file. Regenerate the runtime view, or reinstall the "
        "product.");
    return "";
  }
  std::fclose(l_File);
  return l_Path;
}

KELSysResult KELSysNLSCore::ReadSupplang(const std::string& iPath, std::vector<KELSysNLSEntry>& oEntries) {
  FILE* l_File = std::fopen(iPath.c_str(), "r");
  if (!l_File) return KEL_E_NOTFOUND;
  char l_Line[kLineLimit];
  bool l_Begun = false;
  while (!l_Begun && std::fgets(l_Line, kLineLimit, l_File))
    l_Begun = std::strstr(l_Line, "*BEGIN*") != nullptr;
  if (!l_Begun) {
    KELSysNLSDiagnostic("*BEGIN* OS section not found");
    std::fclose(l_File);
    return KEL_E_NOTFOUND;
  }
  while (std::fgets(l_Line, kLineLimit, l_File) && !std::strstr(l_Line, "*END*")) {
    KELSysNLSEntry l_Entry = ParseEntry(l_Line);
    if (!l_Entry.m_Lang.empty()) oEntries.push_back(std::move(l_Entry));
  }
  std::fclose(l_File);
  return KEL_S_OK;
}

KELSysNLS KELSysNLSCore::StartUp() {
  std::string l_LANG, l_CodeSet;
  DetectNLSCoreFromEnvironment(l_LANG, l_CodeSet);
  std::string l_Path = FindSupplang();
  if (l_Path.empty()) return KELSysNLS::Start(true, false, l_LANG, l_CodeSet, nullptr, 0);
  std::vector<KELSysNLSEntry> l_Entries;
  ReadSupplang(l_Path, l_Entries);
  return KELSysNLS::Start(false, true, l_LANG, l_CodeSet, l_Entries.data(), l_Entries.size());
}
