// Keys as a tree: creating a key with its parents, listing subkeys, deleting subkeys.
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KELSysRegKey.h"
#include "KELSysRegPath.h"
#include "KELSysRegStore.h"
#include "KELSysTrace.h"
#include "MORFileLockBytes.h"

namespace {

bool IsHiveFile(std::string_view iName) {
  return iName == "HKCR.json" || iName == "HKLM.json" || iName == "HKCU.json";
}

}  // namespace

KELSysResult KELSysRegKey::CreateKey(int iHive, const MORUnicodeString& iKeyPath, uint32_t iAccess) {
  std::string l_Root;
  // The hive folder itself is no key file: creating it would walk above the hive.
  if (!KELSysRegHiveRoot(iHive, l_Root) || iKeyPath.IsEmpty()) return KEL_E_FAIL;
  return Create(l_Root, iKeyPath, iAccess);
}

KELSysResult KELSysRegKey::CreateKey(const KELSysRegKey& iParent, const MORUnicodeString& iKeyPath,
                                     uint32_t iAccess) {
  if (iParent.m_FilePath.empty()) return KEL_E_FAIL;
  return Create(iParent.m_FilePath, iKeyPath, iAccess);
}

KELSysResult KELSysRegKey::Create(const std::string& iBase, const MORUnicodeString& iKeyPath,
                                  uint32_t iAccess) {
  size_t l_Length = 0;
  const char* l_Bytes = iKeyPath.ConvertToMBCS(&l_Length);
  std::string_view l_KeyPath(l_Bytes, l_Length);
  std::string l_File;
  KELSysRegMapKeyPath(iBase, l_KeyPath, l_File);
  size_t l_Slash = l_File.rfind('/');
  if (l_Slash != std::string::npos && l_Slash > 0) {
    KELSysResult l_Rc = KELSysRegMakeFolders(l_File.substr(0, l_Slash));
    if (l_Rc != KEL_S_OK) return l_Rc;
  }
  EnsureParentAreKeys(l_File);
  KELSysResult l_Rc = KELSysRegMakeFolders(std::string(KELSysRegKeyFolder(l_File)));
  if (l_Rc != KEL_S_OK) return l_Rc;
  return OpenKeyReal(std::move(l_File), iAccess, -1, true);
}

void KELSysRegKey::EnsureParentAreKeys(const std::string& iFile) {
  std::string l_Current = iFile;
  for (;;) {
    std::string_view l_Name = KELSysRegBaseName(l_Current);
    if (IsHiveFile(l_Name)) KELSysRegEnsureFile(l_Current.c_str());
    if (IsHiveFile(l_Name) || l_Name == KELSysRegKeyExtension) return;
    if (m_Trace)
      m_Trace->Print(KELSysTraceDebug, "  EnsureParentAreKeys l_Current %.*s, l_CurrentPath: %s\n",
                     int(l_Name.size()), l_Name.data(), l_Current.c_str());
    KELSysRegEnsureFile(l_Current.c_str());
    // The parent key's file: the folder holding this file, with the extension. Each step is
    // shorter, so the walk ends at the latest at the file-system root ("/.json" or ".json").
    size_t l_Slash = l_Current.rfind('/');
    l_Current.resize(l_Slash == std::string::npos ? 0 : l_Slash);
    l_Current.append(KELSysRegKeyExtension);
  }
}

KELSysResult KELSysRegKey::EnumKeys(std::vector<MORUnicodeString>& oNames) {
  const KELSysResult l_Rc = ListSubKeys();
  if (l_Rc != KEL_S_OK) return l_Rc;
  KELSysRegAppendNames(std::string_view(m_Listed).substr(1), oNames);  // after its leading zero byte
  return KEL_S_OK;
}

KELSysResult KELSysRegKey::EnumKeysMBCS(std::vector<std::string>& oNames) {
  const KELSysResult l_Rc = ListSubKeys();
  if (l_Rc != KEL_S_OK) return l_Rc;
  KELSysRegAppendNames(std::string_view(m_Listed).substr(1), oNames);  // after its leading zero byte
  return KEL_S_OK;
}

bool KELSysRegKey::SubKeyFile(const MORUnicodeString& iSubKeyPath, std::string& oFile) {
  size_t l_Length = 0;
  const char* l_Bytes = iSubKeyPath.ConvertToMBCS(&l_Length);
  std::string_view l_KeyPath(l_Bytes, l_Length);
  KELSysRegMapKeyPath(m_FilePath, l_KeyPath, oFile);
  bool l_Self = oFile == m_FilePath;
  if (l_Self) CloseKey();
  return l_Self;
}

KELSysResult KELSysRegKey::DeleteSubKey(const MORUnicodeString& iSubKeyPath) {
  if (CheckWriteAccess() != KEL_S_OK) return KEL_E_ACCESSDENIED;
  std::string l_File;
  SubKeyFile(iSubKeyPath, l_File);
  std::string l_Folder(KELSysRegKeyFolder(l_File));
  if (!KELSysRegIsFolder(l_Folder.c_str())) return KEL_E_ACCESSDENIED;
  // The folder goes first and alone: it is not empty while the key has subkeys, and then
  // nothing is removed.
  if (rmdir(l_Folder.c_str()) != 0 || unlink(l_File.c_str()) != 0) return KELSysResultFromErrno(errno);
  return KEL_S_OK;
}

KELSysResult KELSysRegKey::RecurseDeleteKey(const MORUnicodeString& iSubKeyPath) {
  if (CheckWriteAccess() != KEL_S_OK) return KEL_E_ACCESSDENIED;
  std::string l_File;
  SubKeyFile(iSubKeyPath, l_File);
  KELSysResult l_Rc = KEL_E_FAIL;
  struct stat l_Stat;
  if (stat(l_File.c_str(), &l_Stat) == 0 && (S_ISREG(l_Stat.st_mode) || S_ISDIR(l_Stat.st_mode))) {
    int l_Removed = S_ISREG(l_Stat.st_mode) ? unlink(l_File.c_str()) : rmdir(l_File.c_str());
    l_Rc = l_Removed == 0 ? KEL_S_OK : KELSysResultFromErrno(errno);
  }
  if (m_Trace)
    m_Trace->Print(KELSysTraceDebug, "  RecurseDeleteKey 1 l_Path: %s, l_Rc: %x\n", l_File.c_str(),
                   unsigned(l_Rc));
  std::string l_Folder(KELSysRegKeyFolder(l_File));
  if (l_Rc == KEL_S_OK && lstat(l_Folder.c_str(), &l_Stat) == 0) {
    if (S_ISDIR(l_Stat.st_mode))
      l_Rc = KELSysRegRemoveTree(l_Folder.c_str());
    else if (S_ISLNK(l_Stat.st_mode) && KELSysRegIsFolder(l_Folder.c_str()))
      // A link standing for the folder is removed itself: what it points to is not the key's.
      l_Rc = unlink(l_Folder.c_str()) == 0 ? KEL_S_OK : KELSysResultFromErrno(errno);
  }
  if (m_Trace)
    m_Trace->Print(KELSysTraceDebug, "  RecurseDeleteKey 2 l_Path: %s, l_Rc: %x\n", l_File.c_str(),
                   unsigned(l_Rc));
  return l_Rc;
}
