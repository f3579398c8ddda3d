#include "KELSysRegPath.h"

#include <algorithm>
#include <cstdlib>

#include "KELSysRegRoot.h"
#include "KELSysRegStore.h"
#include "KELSysRegTestRoot.h"

namespace {

constexpr const char* k_SystemRoot = "/etc/.Quorvane";

// Only tests move the system root; the product always uses k_SystemRoot.
std::string& RootOverride() {
  static std::string s_Root;
  return s_Root;
}

// A registry root chosen by the program: all three hives below it, HKCU included.
std::string& RegistryRoot() {
  static std::string s_Root;
  return s_Root;
}

const char* SystemRoot() {
  if (!RegistryRoot().empty()) return RegistryRoot().c_str();
  const std::string& l_Override = RootOverride();
  return l_Override.empty() ? k_SystemRoot : l_Override.c_str();
}

}  // namespace

void KELSysRegSetRootForTest(const char* iRoot) { RootOverride() = iRoot ? iRoot : ""; }

KELSysResult KELSysRegSetRegistryRoot(const char* iRoot) {
  std::string& l_Root = RegistryRoot();
  l_Root = iRoot ? iRoot : "";
  while (l_Root.size() > 1 && l_Root.back() == '/') l_Root.pop_back();
  return KEL_S_OK;
}

std::string KELSysRegGetRegistryRoot() { return RegistryRoot(); }

KELSysResult KELSysRegListHive(int iHive, std::vector<MORUnicodeString>& oNames) {
  std::string l_Root;
  if (!KELSysRegHiveRoot(iHive, l_Root)) return KEL_E_FAIL;
  return KELSysRegListSubKeys(l_Root.c_str(), oNames);
}

bool KELSysRegHiveRoot(int iHive, std::string& oRoot) {
  oRoot.clear();
  switch (iHive) {
    case 5:
      oRoot.append(SystemRoot()).append("/HKCR");
      return true;
    case 7:
      oRoot.append(SystemRoot()).append("/HKLM");
      return true;
    case 6: {
      if (!RegistryRoot().empty()) {
        oRoot.append(RegistryRoot()).append("/HKCU");
        return true;
      }
      const char* l_Home = getenv("HOME");
      if (l_Home == nullptr || *l_Home == '\0') return false;
      oRoot.append(l_Home);
      if (oRoot.back() != '/') oRoot += '/';
      oRoot.append(".Quorvane/HKCU");
      return true;
    }
    default:
      return false;
  }
}

void KELSysRegMapKeyPath(std::string_view iBase, std::string_view iKeyPath, std::string& oFile) {
  if (iKeyPath.empty()) {
    oFile.assign(iBase);
    return;
  }
  std::string_view l_Folder = KELSysRegKeyFolder(iBase);
  oFile.clear();
  oFile.reserve(l_Folder.size() + 1 + iKeyPath.size() + KELSysRegKeyExtension.size());
  oFile.append(l_Folder);
  oFile += '/';
  const size_t l_Start = oFile.size();
  oFile.append(iKeyPath);
  std::replace(oFile.begin() + ptrdiff_t(l_Start), oFile.end(), '\\', '/');
  oFile.append(KELSysRegKeyExtension);
}

std::string_view KELSysRegKeyFolder(std::string_view iFile) {
  if (iFile.ends_with(KELSysRegKeyExtension)) iFile.remove_suffix(KELSysRegKeyExtension.size());
  return iFile;
}

std::string_view KELSysRegBaseName(std::string_view iPath) {
  size_t l_Slash = iPath.rfind('/');
  return l_Slash == std::string_view::npos ? iPath : iPath.substr(l_Slash + 1);
}
