#include "KELSysRegStore.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "KELSysRegPath.h"

namespace {

KELSysResult LastError() { return KELSysResultFromErrno(errno); }

bool IsDots(const char* iName) { return iName[0] == '.' && (!iName[1] || (iName[1] == '.' && !iName[2])); }

// A directory stream over a descriptor, closed with the object.
class Listing {
 public:
  explicit Listing(int iFd) : m_Dir(iFd >= 0 ? fdopendir(iFd) : nullptr) {
    if (iFd >= 0 && !m_Dir) close(iFd);
  }
  ~Listing() {
    if (m_Dir) closedir(m_Dir);
  }
  Listing(Listing&& iOther) noexcept : m_Dir(iOther.m_Dir) { iOther.m_Dir = nullptr; }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;
  bool IsOpen() const { return m_Dir != nullptr; }
  int Fd() const { return dirfd(m_Dir); }
  // The next entry other than "." and "..", or nullptr at the end or on a failure (errno set).
  dirent* Next() {
    errno = 0;
    dirent* l_Entry;
    while ((l_Entry = readdir(m_Dir)) != nullptr && IsDots(l_Entry->d_name)) {
    }
    return l_Entry;
  }

 private:
  DIR* m_Dir;
};

// The type of an entry: from the listing when it says, else from the system (through links when
// iFollow is set).
unsigned char EntryType(const Listing& iDir, const dirent& iEntry, bool iFollow) {
  if (iEntry.d_type != DT_UNKNOWN && !(iFollow && iEntry.d_type == DT_LNK)) return iEntry.d_type;
  struct stat l_Stat;
  if (fstatat(iDir.Fd(), iEntry.d_name, &l_Stat, iFollow ? 0 : AT_SYMLINK_NOFOLLOW) != 0) return DT_UNKNOWN;
  if (S_ISDIR(l_Stat.st_mode)) return DT_DIR;
  if (S_ISREG(l_Stat.st_mode)) return DT_REG;
  return S_ISLNK(l_Stat.st_mode) ? DT_LNK : DT_UNKNOWN;
}

}  // namespace

bool KELSysRegIsFolder(const char* iPath) {
  struct stat l_Stat;
  return stat(iPath, &l_Stat) == 0 && S_ISDIR(l_Stat.st_mode);
}

KELSysResult KELSysRegMakeFolders(const std::string& iPath) {
  if (KELSysRegIsFolder(iPath.c_str())) return KEL_S_OK;
  std::string l_Prefix;
  l_Prefix.reserve(iPath.size());
  for (size_t l_At = 1; l_At <= iPath.size(); ++l_At) {
    if (l_At < iPath.size() && iPath[l_At] != '/') continue;
    l_Prefix.assign(iPath, 0, l_At);
    if (mkdir(l_Prefix.c_str(), 0777) != 0 && errno != EEXIST) return LastError();
  }
  return KELSysRegIsFolder(iPath.c_str()) ? KEL_S_OK : KELSysResultFromErrno(ENOTDIR);
}

void KELSysRegEnsureFile(const char* iPath) {
  struct stat l_Stat;
  if (stat(iPath, &l_Stat) == 0 && S_ISREG(l_Stat.st_mode)) return;
  // No O_TRUNC: should the path have become a regular file in the meantime, its content stays.
  int l_Fd = open(iPath, O_WRONLY | O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
  if (l_Fd >= 0) close(l_Fd);
}

KELSysResult KELSysRegListSubKeys(const char* iFolder, std::vector<MORUnicodeString>& oNames) {
  Listing l_Dir(open(iFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!l_Dir.IsOpen()) return LastError();
  // All names go to one buffer; the key files keep their order, the folders are sorted to be
  // matched against them.
  std::string l_Names;
  std::vector<std::pair<size_t, size_t>> l_Files, l_Folders;
  while (dirent* l_Entry = l_Dir.Next()) {
    std::string_view l_Name(l_Entry->d_name);
    bool l_Json = l_Name.size() > KELSysRegKeyExtension.size() && l_Name.ends_with(KELSysRegKeyExtension);
    unsigned char l_Type = l_Entry->d_type;
    if (l_Type == DT_LNK || l_Type == DT_UNKNOWN) l_Type = EntryType(l_Dir, *l_Entry, true);
    if (l_Type == DT_DIR)
      l_Folders.emplace_back(l_Names.size(), l_Name.size());
    else if (l_Type == DT_REG && l_Json)
      l_Files.emplace_back(l_Names.size(), l_Name.size() - KELSysRegKeyExtension.size());
    else
      continue;
    l_Names.append(l_Name);
  }
  if (errno != 0) return LastError();
  auto l_View = [&l_Names](const std::pair<size_t, size_t>& iAt) {
    return std::string_view(l_Names).substr(iAt.first, iAt.second);
  };
  std::vector<std::string_view> l_Sorted;
  l_Sorted.reserve(l_Folders.size());
  for (const auto& l_At : l_Folders) l_Sorted.push_back(l_View(l_At));
  std::sort(l_Sorted.begin(), l_Sorted.end());
  for (const auto& l_At : l_Files) {
    std::string_view l_Base = l_View(l_At);
    if (std::binary_search(l_Sorted.begin(), l_Sorted.end(), l_Base))
      oNames.emplace_back(l_Base.data(), l_Base.size());
  }
  return KEL_S_OK;
}

KELSysResult KELSysRegRemoveTree(const char* iPath) { return KELSysRegRemoveTreeAt(AT_FDCWD, iPath); }

KELSysResult KELSysRegRemoveTreeAt(int iDirFd, const char* iName) {
  struct Level {
    Listing m_Dir;
    std::string m_Name;  // in the level above
  };
  std::vector<Level> l_Stack;
  l_Stack.push_back({Listing(openat(iDirFd, iName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)), ""});
  if (!l_Stack.back().m_Dir.IsOpen()) return LastError();
  while (!l_Stack.empty()) {
    Level& l_Top = l_Stack.back();
    dirent* l_Entry = l_Top.m_Dir.Next();
    if (l_Entry == nullptr) {
      if (errno != 0) return LastError();
      std::string l_Name = std::move(l_Top.m_Name);
      l_Stack.pop_back();
      int l_Rc = l_Stack.empty() ? unlinkat(iDirFd, iName, AT_REMOVEDIR)
                                 : unlinkat(l_Stack.back().m_Dir.Fd(), l_Name.c_str(), AT_REMOVEDIR);
      if (l_Rc != 0) return LastError();
      continue;
    }
    if (EntryType(l_Top.m_Dir, *l_Entry, false) == DT_DIR) {
      int l_Fd = openat(l_Top.m_Dir.Fd(), l_Entry->d_name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
      Listing l_Sub(l_Fd);
      if (!l_Sub.IsOpen()) return LastError();
      l_Stack.push_back({std::move(l_Sub), l_Entry->d_name});
    } else if (unlinkat(l_Top.m_Dir.Fd(), l_Entry->d_name, 0) != 0) {
      return LastError();
    }
  }
  return KEL_S_OK;
}
