#include "InstallArguments.h"

#include <array>
#include <ostream>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 7> s_OptionNames = {"-level", "-type", "-hfxlevel", "-xml",
                                                           "-json",  "-o",    "-h"};

// An option taking a value: where the value goes and what to say when it is not a value.
struct ValueOption {
  std::string_view m_Name;
  std::string InstallQuery::*m_Field;
  const char* m_BadValue;
};

constexpr std::array<ValueOption, 4> s_ValueOptions = {{
    {"-level", &InstallQuery::level,
     "Option -level must be followed by the level you want to filter. For instance -level B419"},
    {"-type", &InstallQuery::type,
     "Option -type must be followed by the installation type you want to filter. For instance -type Desktop"},
    {"-hfxlevel", &InstallQuery::hfxLevel,
     "Option -hfxlevel must be followed by the Hotfix level you want to filter. For instance -hfxlevel "
     "419.2"},
    {"-o", &InstallQuery::outputPath,
     "Option -o must be followed by the path of the file that will contain the result of the search."},
}};

bool IsOptionName(std::string_view iText) {
  for (std::string_view l_Name : s_OptionNames)
    if (iText == l_Name) return true;
  return false;
}

const ValueOption* FindValueOption(std::string_view iText) {
  for (const ValueOption& l_Option : s_ValueOptions)
    if (iText == l_Option.m_Name) return &l_Option;
  return nullptr;
}

// Stores the value behind option iOption at iArgv[iIndex]; false after reporting why there is none.
bool TakeValue(const ValueOption& iOption, int iIndex, int iArgc, const char* const* iArgv,
               InstallArguments& ioArgs, std::ostream& oErr) {
  if (iIndex + 1 >= iArgc) {
    oErr << "Missing value behind " << iOption.m_Name << " option" << std::endl;
    return false;
  }
  std::string_view l_Value = iArgv[iIndex + 1];
  if (l_Value.empty() || IsOptionName(l_Value)) {
    oErr << iOption.m_BadValue << std::endl;
    return false;
  }
  ioArgs.query.*iOption.m_Field = l_Value;
  return true;
}

}  // namespace

InstallArguments ParseInstallArguments(int iArgc, const char* const* iArgv, std::ostream& oErr) {
  InstallArguments l_Args;
  for (int l_Index = 1; l_Index < iArgc;) {
    std::string_view l_Arg = iArgv[l_Index];
    if (l_Arg == "-h") {
      l_Args.showUsage = true;
      break;
    }
    if (const ValueOption* l_Option = FindValueOption(l_Arg)) {
      if (!TakeValue(*l_Option, l_Index, iArgc, iArgv, l_Args, oErr)) {
        l_Args.showUsage = true;
        break;
      }
      l_Index += 2;
    } else if (l_Arg == "-xml" || l_Arg == "-json") {
      (l_Arg == "-xml" ? l_Args.wantXml : l_Args.wantJson) = true;
      ++l_Index;
    } else {
      oErr << "Option " << l_Arg << " is not a valid option." << std::endl;
      l_Args.showUsage = true;
      break;
    }
  }
  return l_Args;
}
