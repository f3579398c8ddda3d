#include "KELSysRegStore.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <memory>
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

// The type of the entry iName of the folder iDirFd, from the system (through links when iFollow is
// set).
unsigned char EntryType(int iDirFd, const char* iName, bool iFollow) {
  struct stat l_Stat;
  if (fstatat(iDirFd, iName, &l_Stat, iFollow ? 0 : AT_SYMLINK_NOFOLLOW) != 0) return DT_UNKNOWN;
  if (S_ISDIR(l_Stat.st_mode)) return DT_DIR;
  if (S_ISREG(l_Stat.st_mode)) return DT_REG;
  return S_ISLNK(l_Stat.st_mode) ? DT_LNK : DT_UNKNOWN;
}

// FNV-1a: names are short, and a folder holds few enough of them for this to spread them well.
size_t NameHash(std::string_view iName) {
  uint64_t l_Hash = 14695981039346656037ull;
  for (char l_Byte : iName) l_Hash = (l_Hash ^ uint8_t(l_Byte)) * 1099511628211ull;
  return size_t(l_Hash ^ (l_Hash >> 29));
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
  int l_Fd = open(iFolder, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (l_Fd < 0) return LastError();
  std::string l_Names;
  KELSysResult l_Rc = KELSysRegListSubKeysAt(l_Fd, l_Names);
  close(l_Fd);
  if (l_Rc != KEL_S_OK) return l_Rc;
  KELSysRegAppendNames(l_Names, oNames);
  return KEL_S_OK;
}

KELSysResult KELSysRegListSubKeysAt(int iFd, std::string& oNames) {
  // The raw listing: entries are read straight into one buffer per thread, and only the names that
  // matter are copied out.
  constexpr size_t k_Room = size_t(64) << 10;
  thread_local std::unique_ptr<char[]> t_Entries(new char[k_Room]);
  thread_local std::string t_Folders;
  thread_local std::vector<uint32_t> t_FolderAt, t_Slots;
  std::string& l_Folders = t_Folders;  // folder names, each followed by a zero byte
  std::vector<uint32_t>& l_FolderAt = t_FolderAt;
  l_Folders.clear();
  l_FolderAt.clear();
  const size_t l_First = oNames.size();
  for (;;) {
    const ssize_t l_Got = getdents64(iFd, t_Entries.get(), k_Room);
    if (l_Got < 0 && errno == EINTR) continue;
    if (l_Got < 0) {
      oNames.resize(l_First);
      return LastError();
    }
    if (l_Got == 0) break;
    for (ssize_t l_Off = 0; l_Off < l_Got;) {
      const auto* l_Entry = reinterpret_cast<const dirent64*>(t_Entries.get() + l_Off);
      l_Off += l_Entry->d_reclen;
      if (IsDots(l_Entry->d_name)) continue;
      const std::string_view l_Name(l_Entry->d_name);
      const bool l_Json =
          l_Name.size() > KELSysRegKeyExtension.size() && l_Name.ends_with(KELSysRegKeyExtension);
      unsigned char l_Type = l_Entry->d_type;
      if (l_Type == DT_LNK || l_Type == DT_UNKNOWN) l_Type = EntryType(iFd, l_Entry->d_name, true);
      if (l_Type == DT_DIR) {
        l_FolderAt.push_back(uint32_t(l_Folders.size()));
        l_Folders.append(l_Name).push_back('\0');
      } else if (l_Type == DT_REG && l_Json) {
        oNames.append(l_Name.substr(0, l_Name.size() - KELSysRegKeyExtension.size())).push_back('\0');
      }
    }
  }
  // The key files keep their order; each is kept when a folder of its name stands beside it, found
  // through a small hash table of the folders.
  size_t l_Size = 16;
  while (l_Size < 2 * l_FolderAt.size()) l_Size *= 2;
  std::vector<uint32_t>& l_Slots = t_Slots;
  l_Slots.assign(l_Size, 0);
  auto l_Folder = [&](uint32_t iAt) { return std::string_view(l_Folders.data() + iAt); };
  for (size_t l_Index = 0; l_Index < l_FolderAt.size(); ++l_Index) {
    size_t l_Slot = NameHash(l_Folder(l_FolderAt[l_Index])) & (l_Size - 1);
    while (l_Slots[l_Slot] != 0) l_Slot = (l_Slot + 1) & (l_Size - 1);
    l_Slots[l_Slot] = uint32_t(l_Index + 1);
  }
  size_t l_Kept = l_First;
  for (size_t l_At = l_First, l_End; (l_End = oNames.find('\0', l_At)) != std::string::npos;
       l_At = l_End + 1) {
    const std::string_view l_Base(oNames.data() + l_At, l_End - l_At);
    bool l_Found = false;
    for (size_t l_Slot = NameHash(l_Base) & (l_Size - 1); !l_Found && l_Slots[l_Slot] != 0;
         l_Slot = (l_Slot + 1) & (l_Size - 1))
      l_Found = l_Folder(l_FolderAt[l_Slots[l_Slot] - 1]) == l_Base;
    if (!l_Found) continue;
    if (l_Kept != l_At) std::memmove(oNames.data() + l_Kept, l_Base.data(), l_Base.size() + 1);
    l_Kept += l_Base.size() + 1;
  }
  oNames.resize(l_Kept);
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
    const unsigned char l_Type =
        l_Entry->d_type != DT_UNKNOWN ? l_Entry->d_type : EntryType(l_Top.m_Dir.Fd(), l_Entry->d_name, false);
    if (l_Type == DT_DIR) {
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
