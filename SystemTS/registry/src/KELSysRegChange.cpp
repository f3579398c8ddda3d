// Changes made all at once: the journal, the hidden names, the commit point and recovery. The
// protocol, its invariants and the order of its syncs are described in KELSysRegChange.h; the steps
// below keep them in that order.
#include "KELSysRegChange.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <ctime>
#include <set>
#include <thread>

#include "KELSysJSON.h"
#include "KELSysJSONObject.h"
#include "KELSysRegKey.h"
#include "KELSysRegLock.h"
#include "KELSysRegPath.h"
#include "KELSysRegStore.h"
#include "MORFileLockBytes.h"

namespace {

constexpr const char* k_Tool = ".KELReg";
constexpr const char* k_Journal = "journal";
constexpr const char* k_Quarantine = "quarantine";
constexpr const char* k_Header = "KELSysRegChange ";  // then P (pending) or C (committed)
constexpr std::chrono::seconds k_ChangeWait{60};

bool s_Sync = true;

// Syncs iFd unless syncs are off; 0 or -1 with errno set.
int Sync(int iFd) { return s_Sync ? fsync(iFd) : 0; }

// A descriptor closed with the object.
struct Fd {
  int m_Fd = -1;
  Fd() = default;
  explicit Fd(int iFd) : m_Fd(iFd) {}
  Fd(Fd&& ioOther) noexcept : m_Fd(ioOther.m_Fd) { ioOther.m_Fd = -1; }
  Fd& operator=(Fd&& ioOther) noexcept {
    std::swap(m_Fd, ioOther.m_Fd);
    return *this;
  }
  Fd(const Fd&) = delete;
  ~Fd() {
    if (m_Fd >= 0) close(m_Fd);
  }
  operator int() const { return m_Fd; }
};

std::string Parent(const std::string& iPath) {
  size_t l_Slash = iPath.rfind('/');
  return l_Slash == std::string::npos ? std::string() : iPath.substr(0, l_Slash);
}
std::string Base(const std::string& iPath) { return std::string(KELSysRegBaseName(iPath)); }
std::string Hidden(const std::string& iName, const char* iSuffix) { return "." + iName + iSuffix; }

}  // namespace

// The folders below the root that a change uses, each opened once, a component at a time and never
// through a link (a link on the way fails with ELOOP, anything but a folder with ENOTDIR), and kept
// until the change ends or the cache fills up.
struct KELSysRegChange::Folders {
  explicit Folders(int iRootFd) : m_Root(iRootFd) {}
  ~Folders() { Clear(); }
  Folders(const Folders&) = delete;
  Folders& operator=(const Folders&) = delete;

  // A descriptor of the folder iPath ("" for the root), owned by the cache; -1 with errno set.
  int Get(const std::string& iPath) {
    if (iPath.empty()) return m_Root;
    auto l_Found = m_Fds.find(iPath);
    if (l_Found != m_Fds.end()) return l_Found->second;
    if (m_Fds.size() >= 256) Clear();
    size_t l_Slash = iPath.rfind('/');
    int l_Up = Get(l_Slash == std::string::npos ? std::string() : iPath.substr(0, l_Slash));
    if (l_Up < 0) return -1;
    const char* l_Name = iPath.c_str() + (l_Slash == std::string::npos ? 0 : l_Slash + 1);
    int l_Fd = openat(l_Up, l_Name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (l_Fd >= 0) m_Fds.emplace(iPath, l_Fd);
    return l_Fd;
  }
  // Forgets iPath and the folders below it: renamed or removed.
  void Forget(const std::string& iPath) {
    for (auto l_It = m_Fds.lower_bound(iPath); l_It != m_Fds.end() && l_It->first.starts_with(iPath);) {
      if (l_It->first.size() != iPath.size() && l_It->first[iPath.size()] != '/') {
        ++l_It;
        continue;
      }
      close(l_It->second);
      l_It = m_Fds.erase(l_It);
    }
  }
  void Clear() {
    for (auto& [l_Path, l_Fd] : m_Fds) close(l_Fd);
    m_Fds.clear();
  }

  int m_Root;
  std::map<std::string, int> m_Fds;
};

namespace {

using Folders = KELSysRegChange::Folders;

// The type of iName in iDirFd, not following a link: S_IFDIR, S_IFREG, S_IFLNK, another type, or 0
// when there is none (-1 with errno for another failure).
int TypeAt(int iDirFd, const std::string& iName) {
  struct stat l_Stat;
  if (fstatat(iDirFd, iName.c_str(), &l_Stat, AT_SYMLINK_NOFOLLOW) == 0) return int(l_Stat.st_mode & S_IFMT);
  return errno == ENOENT ? 0 : -1;
}

// The type of the folder iPath, an ancestor of a key asked for, found by opening it into the cache
// (a folder it is not opens as none, and fstatat then tells what it is): S_IFDIR, 0 when there is
// none, another type, or -1 with errno. ioDirFd: its parent's descriptor, got again from the cache,
// which may have been emptied to make room.
int FolderAt(Folders& ioFolders, const std::string& iPath, int& ioDirFd) {
  const bool l_Opened = ioFolders.Get(iPath) >= 0;
  const int l_Error = errno;
  ioDirFd = ioFolders.Get(Parent(iPath));
  if (l_Opened) return S_IFDIR;
  if (ioDirFd < 0) return -1;
  if (l_Error == ENOENT) return 0;
  return TypeAt(ioDirFd, Base(iPath));
}

// Writes iText as the new file iName in iDirFd and syncs it. A leftover of that name (a change cut
// off before its commit point) is removed and the file made again, unless iFresh: the folder was just
// made, and anything in it is not the change's to remove.
int WriteNew(int iDirFd, const std::string& iName, const std::string& iText, const struct stat* iLike,
             bool iFresh = false) {
  const int l_Flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  Fd l_Fd(openat(iDirFd, iName.c_str(), l_Flags, 0666));
  if (l_Fd < 0 && errno == EEXIST && !iFresh) {
    if (unlinkat(iDirFd, iName.c_str(), 0) != 0) return -1;
    l_Fd = Fd(openat(iDirFd, iName.c_str(), l_Flags, 0666));
  }
  if (l_Fd < 0) return -1;
  // A key file that is replaced keeps its mode, and its owner where the process may give it.
  if (iLike && (fchmod(l_Fd, iLike->st_mode & 07777) != 0 ||
                (geteuid() == 0 && fchown(l_Fd, iLike->st_uid, iLike->st_gid) != 0)))
    return -1;
  for (size_t l_Done = 0; l_Done < iText.size();) {
    ssize_t l_Written = write(l_Fd, iText.data() + l_Done, iText.size() - l_Done);
    if (l_Written < 0 && errno != EINTR) return -1;
    if (l_Written > 0) l_Done += size_t(l_Written);
  }
  if (Sync(l_Fd) != 0) return -1;
  int l_Fd2 = l_Fd.m_Fd;
  l_Fd.m_Fd = -1;
  return close(l_Fd2);
}

// Removes iName from iDirFd whatever it is (a folder with everything below it, never following a
// link); 0 also when there is nothing.
int RemoveAt(int iDirFd, const std::string& iName) {
  int l_Type = TypeAt(iDirFd, iName);
  if (l_Type < 0) return -1;
  if (l_Type == 0) return 0;
  if (l_Type != S_IFDIR) return unlinkat(iDirFd, iName.c_str(), 0) == 0 || errno == ENOENT ? 0 : -1;
  KELSysResult l_Rc = KELSysRegRemoveTreeAt(iDirFd, iName.c_str());
  if (l_Rc == KEL_S_OK) return 0;
  errno = int(static_cast<uint32_t>(l_Rc) & 0xFFFFu);
  return -1;
}

}  // namespace

// A key the change touches: one of the path to each key asked for.
struct KELSysRegChange::Node {
  std::string m_Path;  // below the root: "HKLM/A/B" (its file is m_Path + ".json")
  Node* m_Parent = nullptr;
  bool m_HasFile = false;    // its key file was there when the change looked
  bool m_HasFolder = false;  // and its folder
  bool m_Ready = false;      // m_Key holds its values (opened with its lock, or staged without a file)
  struct stat m_FileStat {};
  KELSysRegKey m_Key;
  std::string m_Text;  // the key file text to write, when m_WriteFile
  bool m_WriteFile = false;
};

// One step after the commit point, as the journal lists it.
struct KELSysRegChange::Step {
  char m_Kind;         // 'F' rename a hidden file over its key file, 'D' a hidden folder to its key's
                       // name, 'R' remove a key
  std::string m_From;  // F, D: the hidden name, below the root
  std::string m_To;    // the key file, key folder, or (R) the key's folder
};

namespace {

using Step = KELSysRegChange::Step;

void PutPath(std::string& ioText, const std::string& iPath) {
  ioText += std::to_string(iPath.size()) + ':' + iPath;
}

std::string Journal(char iState, const std::vector<Step>& iSteps) {
  std::string l_Text = std::string(k_Header) + iState + '\n';
  for (const Step& l_Step : iSteps) {
    l_Text += l_Step.m_Kind;
    l_Text += ' ';
    if (l_Step.m_Kind != 'R') {
      PutPath(l_Text, l_Step.m_From);
      l_Text += ' ';
    }
    PutPath(l_Text, l_Step.m_To);
    l_Text += '\n';
  }
  return l_Text + "end\n";
}

bool GetPath(std::string_view& ioText, std::string& oPath) {
  size_t l_Colon = ioText.find(':');
  if (l_Colon == std::string_view::npos || l_Colon == 0 || l_Colon > 9) return false;
  size_t l_Size = 0;
  for (char l_Digit : ioText.substr(0, l_Colon)) {
    if (l_Digit < '0' || l_Digit > '9') return false;
    l_Size = l_Size * 10 + size_t(l_Digit - '0');
  }
  if (ioText.size() < l_Colon + 1 + l_Size) return false;
  oPath.assign(ioText.substr(l_Colon + 1, l_Size));
  ioText.remove_prefix(l_Colon + 1 + l_Size);
  // A journal names nothing outside the root, and no step that climbs.
  return !oPath.empty() && oPath[0] != '/' && ("/" + oPath + "/").find("/../") == std::string::npos;
}

std::string PathText(const std::string& iRoot, const std::string& iBelow) {
  return iBelow.empty() ? iRoot : iRoot == "/" ? "/" + iBelow : iRoot + "/" + iBelow;
}

// Reads a journal's text: its state ('P', 'C', or 0 for an empty or unfinished one) and steps.
char ParseJournal(std::string_view iText, std::vector<Step>& oSteps) {
  if (!iText.starts_with(k_Header) || !iText.ends_with("\nend\n")) return 0;
  char l_State = iText[std::strlen(k_Header)];
  iText.remove_prefix(std::strlen(k_Header) + 2);
  while (iText != "end\n") {
    Step l_Step{iText.empty() ? '\0' : iText[0], "", ""};
    if ((l_Step.m_Kind != 'F' && l_Step.m_Kind != 'D' && l_Step.m_Kind != 'R') || iText.size() < 2) return 0;
    iText.remove_prefix(2);
    if (l_Step.m_Kind != 'R' && !(GetPath(iText, l_Step.m_From) && iText.starts_with(' '))) return 0;
    if (l_Step.m_Kind != 'R') iText.remove_prefix(1);
    if (!GetPath(iText, l_Step.m_To) || !iText.starts_with('\n')) return 0;
    iText.remove_prefix(1);
    oSteps.push_back(std::move(l_Step));
  }
  return l_State == 'P' || l_State == 'C' ? l_State : 0;
}

// What a registry's tool folder tells: where its root is, and its journal.
struct Registry {
  std::string m_Root, m_HiveName;
  Fd m_RootFd, m_ToolFd, m_Journal;
};

bool FindRegistry(int iHive, Registry& oRegistry) {
  std::string l_Hive;
  if (!KELSysRegHiveRoot(iHive, l_Hive)) return false;
  oRegistry.m_Root = Parent(l_Hive);
  oRegistry.m_HiveName = Base(l_Hive);
  if (oRegistry.m_Root.empty()) oRegistry.m_Root = "/";
  return true;
}

std::string ReadAll(int iFd) {
  std::string l_Text;
  char l_Block[8192];
  for (off_t l_At = 0;;) {
    ssize_t l_Read = pread(iFd, l_Block, sizeof l_Block, l_At);
    if (l_Read < 0 && errno == EINTR) continue;
    if (l_Read <= 0) break;
    l_Text.append(l_Block, size_t(l_Read));
    l_At += l_Read;
  }
  return l_Text;
}

// Does the steps of a committed journal, each one again where it was done already, and syncs every
// folder they changed. 0, or -1 with errno and oFailed naming the path.
int Finish(Folders& ioFolders, const std::vector<Step>& iSteps, std::string& oFailed) {
  std::set<std::string> l_Changed;
  size_t l_Index = 0;
  for (const Step& l_Step : iSteps) {
    oFailed = l_Step.m_To;
    ++l_Index;
    const std::string l_Folder = Parent(l_Step.m_To), l_Name = Base(l_Step.m_To);
    int l_Dir = ioFolders.Get(l_Folder);
    if (l_Dir < 0) return -1;
    if (l_Step.m_Kind == 'R') {
      // Named by the step, not by the key: short whatever the key's name, and the same when done again.
      const std::string l_Removed = ".kelreg-removed-" + std::to_string(l_Index);
      // The folder goes first, so that the key stops showing at once; a step done again finds it
      // gone already.
      if (RemoveAt(l_Dir, l_Removed) != 0) return -1;
      ioFolders.Forget(l_Step.m_To);
      if (renameat(l_Dir, l_Name.c_str(), l_Dir, l_Removed.c_str()) != 0 && errno != ENOENT) return -1;
      if (unlinkat(l_Dir, (l_Name + ".json").c_str(), 0) != 0 && errno != ENOENT) return -1;
      if (RemoveAt(l_Dir, l_Removed) != 0) return -1;
    } else {
      ioFolders.Forget(l_Step.m_From);
      if (renameat(l_Dir, Base(l_Step.m_From).c_str(), l_Dir, l_Name.c_str()) != 0 && errno != ENOENT)
        return -1;
    }
    l_Changed.insert(l_Folder);
  }
  for (const std::string& l_Folder : l_Changed) {
    oFailed = l_Folder;
    int l_Dir = ioFolders.Get(l_Folder);
    if (l_Dir < 0 || Sync(l_Dir) != 0) return -1;
  }
  return 0;
}

// Removes the hidden names of a change that did not reach its commit point.
int RollBack(Folders& ioFolders, const std::vector<Step>& iSteps, std::string& oFailed) {
  std::set<std::string> l_Changed;
  for (const Step& l_Step : iSteps) {
    if (l_Step.m_Kind == 'R') continue;
    oFailed = l_Step.m_From;
    int l_Dir = ioFolders.Get(Parent(l_Step.m_From));
    if (l_Dir < 0 && errno == ENOENT) continue;
    ioFolders.Forget(l_Step.m_From);
    if (l_Dir < 0 || RemoveAt(l_Dir, Base(l_Step.m_From)) != 0) return -1;
    l_Changed.insert(Parent(l_Step.m_From));
  }
  for (const std::string& l_Folder : l_Changed) {
    oFailed = l_Folder;
    int l_Dir = ioFolders.Get(l_Folder);
    if (l_Dir < 0 || Sync(l_Dir) != 0) return -1;
  }
  return 0;
}

// Empties the journal: the change is over.
int Clear(int iJournal) {
  if (ftruncate(iJournal, 0) != 0) return -1;
  return s_Sync ? fdatasync(iJournal) : 0;
}

// Opens the registry's root, its tool folder (made when missing, if iMake) and its journal.
// 0, or -1 with errno and oFailed naming the path.
int OpenRegistry(Registry& ioRegistry, bool iMake, std::string& oFailed) {
  oFailed = ioRegistry.m_Root;
  ioRegistry.m_RootFd = Fd(open(ioRegistry.m_Root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (ioRegistry.m_RootFd < 0 && errno == ENOENT && iMake) {
    // The first change of a machine or a user makes the registry's own folder (/etc/.Quorvane,
    // ~/.Quorvane; not its parents), its name synced before anything is written in it.
    const size_t l_Slash = ioRegistry.m_Root.find_last_of('/');
    const std::string l_Parent = l_Slash == std::string::npos ? "."
                                 : l_Slash == 0               ? "/"
                                                              : ioRegistry.m_Root.substr(0, l_Slash);
    if (mkdir(ioRegistry.m_Root.c_str(), 0755) != 0 && errno != EEXIST) return -1;
    Fd l_Above(open(l_Parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (l_Above < 0 || Sync(l_Above) != 0) return -1;
    ioRegistry.m_RootFd = Fd(open(ioRegistry.m_Root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  if (ioRegistry.m_RootFd < 0) return -1;
  // An existing journal opens in one call; the tool folder is opened only where that fails (to make
  // what is missing, or to tell why).
  ioRegistry.m_Journal = Fd(MORFileLockBytes::OpenDescriptorBelow(
      ioRegistry.m_RootFd, (std::string(k_Tool) + "/" + k_Journal).c_str(), MORLockBytesReadWrite));
  if (ioRegistry.m_Journal >= 0) return 0;
  oFailed = ioRegistry.m_Root + "/" + k_Tool;
  ioRegistry.m_ToolFd =
      Fd(openat(ioRegistry.m_RootFd, k_Tool, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (ioRegistry.m_ToolFd < 0 && errno == ENOENT && iMake) {
    if (mkdirat(ioRegistry.m_RootFd, k_Tool, 0755) != 0 && errno != EEXIST) return -1;
    if (Sync(ioRegistry.m_RootFd) != 0) return -1;
    ioRegistry.m_ToolFd =
        Fd(openat(ioRegistry.m_RootFd, k_Tool, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  }
  if (ioRegistry.m_ToolFd < 0) return -1;
  oFailed += std::string("/") + k_Journal;
  ioRegistry.m_Journal = Fd(openat(ioRegistry.m_ToolFd, k_Journal, O_RDWR | O_NOFOLLOW | O_CLOEXEC));
  if (ioRegistry.m_Journal < 0 && errno == ENOENT && iMake) {
    // Made once, and its name synced, so that a later change need only sync what it writes in it.
    ioRegistry.m_Journal =
        Fd(openat(ioRegistry.m_ToolFd, k_Journal, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (ioRegistry.m_Journal < 0 || Sync(ioRegistry.m_ToolFd) != 0) return -1;
  }
  return ioRegistry.m_Journal < 0 ? -1 : 0;
}

// Waits for the journal's lock (a minute at most): 0, or -1 with errno (ETIMEDOUT when it stayed taken).
int LockJournal(int iJournal) {
  auto l_Until = std::chrono::steady_clock::now() + k_ChangeWait;
  auto l_Pause = std::chrono::microseconds(100);
  while (flock(iJournal, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return -1;
    if (std::chrono::steady_clock::now() > l_Until) {
      errno = ETIMEDOUT;
      return -1;
    }
    std::this_thread::sleep_for(l_Pause);
    l_Pause = std::min(l_Pause * 2, std::chrono::microseconds(10000));
  }
  return 0;
}

// Finishes or rolls back what the locked journal holds. oWhat: what was done.
int RecoverLocked(Registry& ioRegistry, std::string& oWhat, std::string& oFailed) {
  std::string l_Text = ReadAll(ioRegistry.m_Journal);
  oWhat.clear();
  if (l_Text.empty()) return 0;
  std::vector<Step> l_Steps;
  char l_State = ParseJournal(l_Text, l_Steps);
  // A journal cut short was being written: nothing had been staged yet.
  Folders l_Folders(ioRegistry.m_RootFd);
  int l_Rc = l_State == 'C'   ? Finish(l_Folders, l_Steps, oFailed)
             : l_State == 'P' ? RollBack(l_Folders, l_Steps, oFailed)
                              : 0;
  if (l_Rc != 0) {
    oFailed = PathText(ioRegistry.m_Root, oFailed);
    return l_Rc;
  }
  oFailed = ioRegistry.m_Root + "/" + k_Tool + "/" + k_Journal;
  if (Clear(ioRegistry.m_Journal) != 0) return -1;
  oWhat = l_State == 'C' ? "finished an interrupted change" : "rolled back an interrupted change";
  return 0;
}

}  // namespace

KELSysRegChange::KELSysRegChange() = default;

KELSysRegChange::~KELSysRegChange() { Drop(); }

void KELSysRegChange::SetSyncing(bool iSync) { s_Sync = iSync; }

bool KELSysRegChange::IsChangeName(const std::string& iName) {
  return iName.size() > 1 && iName[0] == '.' &&
         (iName.ends_with(".json.kelreg") || iName.ends_with(".kelreg-new") ||
          iName.starts_with(".kelreg-removed-"));
}

bool KELSysRegChange::HiveFolder(int iHive, std::string& oRoot, std::string& oName) {
  Registry l_Registry;
  if (!FindRegistry(iHive, l_Registry)) return false;
  oRoot = l_Registry.m_Root;
  oName = l_Registry.m_HiveName;
  return true;
}

void KELSysRegChange::Drop() {
  // The keys were read for this change only: closed without a write-back (their lock goes with them).
  for (auto& l_Node : m_Nodes) l_Node->m_Key.Release();
  m_Nodes.clear();
  m_ByPath.clear();
  m_Removed.clear();
  m_Folders.reset();
  if (m_Journal >= 0) close(m_Journal);  // and with it the change lock
  if (m_RootFd >= 0) close(m_RootFd);
  m_Journal = m_RootFd = -1;
}

KELSysResult KELSysRegChange::Fail(int iErrno, const std::string& iWhat) {
  m_Error = iErrno;
  m_Why = PathText(m_Root, iWhat) + ": " + std::strerror(iErrno);
  return KELSysResultFromErrno(iErrno);
}

KELSysResult KELSysRegChange::Refuse(const std::string& iWhy) {
  m_Error = 0;
  m_Why = iWhy;
  return KEL_E_FAIL;
}

KELSysResult KELSysRegChange::Begin(int iHive, std::string* oRecovered) {
  Drop();
  Registry l_Registry;
  if (!FindRegistry(iHive, l_Registry)) return Refuse("no folder for this hive");
  m_Hive = iHive;
  m_Root = l_Registry.m_Root;
  m_HiveName = l_Registry.m_HiveName;
  std::string l_Failed, l_What;
  if (OpenRegistry(l_Registry, true, l_Failed) != 0 || LockJournal(l_Registry.m_Journal) != 0 ||
      RecoverLocked(l_Registry, l_What, l_Failed) != 0) {
    const int l_Error = errno;
    m_Root.clear();
    m_Error = l_Error;
    m_Why = l_Failed + ": " + std::strerror(l_Error);
    return KELSysResultFromErrno(l_Error);
  }
  if (oRecovered) *oRecovered = l_What;
  std::swap(m_RootFd, l_Registry.m_RootFd.m_Fd);
  std::swap(m_Journal, l_Registry.m_Journal.m_Fd);
  m_Folders = std::make_unique<Folders>(m_RootFd);
  return KEL_S_OK;
}

std::string KELSysRegChange::Physical(const Node& iNode) const {
  if (iNode.m_HasFolder) return iNode.m_Path;
  const bool l_ParentThere = !iNode.m_Parent || iNode.m_Parent->m_HasFolder;
  std::string l_Where = iNode.m_Parent ? Physical(*iNode.m_Parent) : std::string();
  if (!l_Where.empty()) l_Where += '/';
  return l_Where + (l_ParentThere ? Hidden(Base(iNode.m_Path), ".kelreg-new") : Base(iNode.m_Path));
}

KELSysResult KELSysRegChange::OpenKey(const MORUnicodeString& iKeyPath, bool iCreate, KELSysRegKey*& oKey) {
  oKey = nullptr;
  if (m_RootFd < 0) return Refuse("no change begun");
  size_t l_Length = 0;
  const char* l_Bytes = iKeyPath.ConvertToMBCS(&l_Length);
  std::string_view l_KeyPath(l_Bytes, l_Length);
  std::vector<std::string_view> l_Names;
  for (size_t l_Start = 0; !l_KeyPath.empty() && l_Start <= l_KeyPath.size();) {
    size_t l_End = std::min(l_KeyPath.find('\\', l_Start), l_KeyPath.size());
    std::string_view l_Name = l_KeyPath.substr(l_Start, l_End - l_Start);
    if (l_Name.empty() || l_Name == "." || l_Name == ".." || l_Name.find('/') != std::string_view::npos ||
        l_Name.find('\0') != std::string_view::npos)
      return Refuse("'" + std::string(l_Name) + "' cannot name a key");
    l_Names.push_back(l_Name);
    l_Start = l_End + 1;
  }
  // The hive is the first node of the path; each name adds one.
  std::string l_Path = m_HiveName;
  Node* l_Parent = nullptr;
  for (size_t l_At = 0; l_At <= l_Names.size(); ++l_At) {
    if (l_At > 0) (l_Path += '/') += l_Names[l_At - 1];
    Node*& l_Node = m_ByPath[l_Path];
    if (!l_Node) {
      auto l_New = std::make_unique<Node>();
      l_New->m_Path = l_Path;
      l_New->m_Parent = l_Parent;
      if (!l_Parent || l_Parent->m_HasFolder) {
        const std::string l_Folder = Parent(l_Path), l_Name = Base(l_Path);
        int l_Dir = m_Folders->Get(l_Folder);
        if (l_Dir < 0) {
          m_ByPath.erase(l_Path);
          return errno == ELOOP ? Refuse(PathText(m_Root, l_Folder) + ": a link, refused")
                                : Fail(errno, l_Folder);
        }
        // A key on the way to the one asked for is looked up by opening its folder, which the next
        // name needs anyway.
        int l_FolderType =
            l_At == l_Names.size() ? TypeAt(l_Dir, l_Name) : FolderAt(*m_Folders, l_Path, l_Dir);
        int l_FileType = l_Dir < 0 ? -1 : TypeAt(l_Dir, l_Name + ".json");
        KELSysResult l_Rc = KEL_S_OK;
        if (l_FolderType < 0 || l_FileType < 0)
          l_Rc = Fail(errno, l_Path);
        else if (l_FolderType == S_IFLNK || (l_FolderType != 0 && l_FolderType != S_IFDIR))
          l_Rc = Refuse(PathText(m_Root, l_Path) +
                        (l_FolderType == S_IFLNK ? ": a link, refused" : ": not a folder"));
        else if (l_FileType == S_IFLNK || (l_FileType != 0 && l_FileType != S_IFREG))
          l_Rc = Refuse(PathText(m_Root, l_Path) +
                        (l_FileType == S_IFLNK ? ".json: a link, refused" : ".json: not a regular file"));
        if (l_Rc != KEL_S_OK) {
          m_ByPath.erase(l_Path);
          return l_Rc;
        }
        l_New->m_HasFolder = l_FolderType == S_IFDIR;
        l_New->m_HasFile = l_FileType == S_IFREG;
      }
      l_Node = l_New.get();
      m_Nodes.push_back(std::move(l_New));
    }
    // A key exists when its folder does; one that this change makes exists for it too.
    if (!l_Node->m_HasFolder && !iCreate && !l_Node->m_Ready) return KEL_E_FAIL;
    l_Parent = l_Node;
  }
  KELSysResult l_Rc = Ready(*l_Parent);
  if (l_Rc == KEL_S_OK) oKey = &l_Parent->m_Key;
  return l_Rc;
}

KELSysResult KELSysRegChange::Ready(Node& ioNode) {
  if (ioNode.m_Ready) return KEL_S_OK;
  KELSysRegKey& l_Key = ioNode.m_Key;
  const std::string l_File = ioNode.m_Path + ".json";
  if (!ioNode.m_HasFile) {
    // A key without a file yet: its values are made here and written by Commit.
    l_Key.m_FilePath = PathText(m_Root, l_File);
    l_Key.m_Values = std::make_unique<KELSysJSONObject>();
    l_Key.m_Staged = true;
    ioNode.m_Ready = true;
    return KEL_S_OK;
  }
  int l_Dir = m_Folders->Get(Parent(l_File));
  if (l_Dir < 0) return Fail(errno, Parent(l_File));
  const std::string l_Name = Base(l_File);
  int l_Fd = openat(l_Dir, l_Name.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (l_Fd < 0)
    return errno == ELOOP ? Refuse(PathText(m_Root, l_File) + ": a link, refused") : Fail(errno, l_File);
  KELSysResult l_Rc =
      l_Key.OpenKeyReal(PathText(m_Root, l_File), KELSysRegAccessReadWrite, l_Dir, false, l_Fd);
  if (l_Rc == KEL_E_TIMEOUT)
    return Refuse(PathText(m_Root, l_File) + ": the key stayed locked by another process");
  if (l_Rc == KEL_E_FAIL) return Refuse(PathText(m_Root, l_File) + ": not a regular file");
  if (l_Rc != KEL_S_OK) return Fail(int(static_cast<uint32_t>(l_Rc) & 0xFFFFu), l_File);
  if (!l_Key.m_Damage.empty()) {
    std::string l_Why = PathText(m_Root, l_File) + ": " + l_Key.m_Damage;
    l_Key.Release();
    return Refuse(l_Why);
  }
  // The file read is the one the name shows now: no link put in its place while it was opened.
  struct stat& l_Stat = ioNode.m_FileStat;
  if (fstatat(l_Dir, l_Name.c_str(), &l_Stat, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(l_Stat.st_mode) ||
      l_Stat.st_ino != l_Key.m_File->GetInode() || l_Stat.st_dev != l_Key.m_File->GetDevice()) {
    l_Key.Release();
    return Refuse(PathText(m_Root, l_File) + ": replaced while it was opened, refused");
  }
  ioNode.m_Ready = true;
  return KEL_S_OK;
}

KELSysResult KELSysRegChange::RemoveKey(const MORUnicodeString& iKeyPath, bool iRecursive) {
  if (m_RootFd < 0) return Refuse("no change begun");
  size_t l_Length = 0;
  const char* l_Bytes = iKeyPath.ConvertToMBCS(&l_Length);
  std::string l_Path = m_HiveName + "/" + std::string(l_Bytes, l_Length);
  std::replace(l_Path.begin(), l_Path.end(), '\\', '/');
  if (l_Length == 0 || ("/" + l_Path + "/").find("/../") != std::string::npos ||
      ("/" + l_Path + "/").find("/./") != std::string::npos || l_Path.find("//") != std::string::npos)
    return Refuse("'" + std::string(l_Bytes, l_Length) + "' cannot name a key");
  int l_Dir = m_Folders->Get(Parent(l_Path));
  if (l_Dir < 0 && errno == ENOENT) return KEL_E_FAIL;
  if (l_Dir < 0)
    return errno == ELOOP ? Refuse(PathText(m_Root, Parent(l_Path)) + ": a link, refused")
                          : Fail(errno, Parent(l_Path));
  int l_Type = TypeAt(l_Dir, Base(l_Path));
  if (l_Type < 0) return Fail(errno, l_Path);
  if (l_Type == 0) return KEL_E_FAIL;
  if (l_Type != S_IFDIR)
    return Refuse(PathText(m_Root, l_Path) + (l_Type == S_IFLNK ? ": a link, refused" : ": not a folder"));
  if (TypeAt(l_Dir, Base(l_Path) + ".json") == S_IFLNK)
    return Refuse(PathText(m_Root, l_Path) + ".json: a link, refused");
  if (!iRecursive) {
    Fd l_Folder(openat(l_Dir, Base(l_Path).c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    DIR* l_List = l_Folder < 0 ? nullptr : fdopendir(l_Folder);
    if (!l_List) return Fail(errno, l_Path);
    l_Folder.m_Fd = -1;
    std::string l_Held;
    while (dirent* l_Entry = readdir(l_List)) {
      std::string_view l_Name = l_Entry->d_name;
      if (l_Name != "." && l_Name != "..") {
        l_Held = l_Name;
        break;
      }
    }
    closedir(l_List);
    if (!l_Held.empty()) {
      m_Error = ENOTEMPTY;
      m_Why = PathText(m_Root, l_Path) + " holds '" + l_Held + "', which is not a key of it";
      return KELSysResultFromErrno(ENOTEMPTY);
    }
  }
  m_Removed.push_back(l_Path);
  return KEL_S_OK;
}

KELSysResult KELSysRegChange::Plan(std::vector<Step>& oSteps) {
  for (const std::string& l_Path : m_Removed) oSteps.push_back({'R', "", l_Path});
  for (auto& l_Owned : m_Nodes) {
    Node& l_Node = *l_Owned;
    const bool l_ParentThere = !l_Node.m_Parent || l_Node.m_Parent->m_HasFolder;
    l_Node.m_WriteFile = !l_Node.m_HasFile || (l_Node.m_Ready && l_Node.m_Key.m_Changed);
    if (l_Node.m_WriteFile && !l_Node.m_Ready) {
      // A parent made on the way holds no values: an empty key file, as the registry makes them.
      l_Node.m_Text.clear();
    } else if (l_Node.m_WriteFile) {
      KELSysResult l_Rc = Ready(l_Node);
      if (l_Rc == KEL_S_OK) l_Rc = l_Node.m_Key.MakeText(l_Node.m_Text);
      if (l_Rc == KELSysResultFromErrno(EFBIG))
        return Refuse(PathText(m_Root, l_Node.m_Path) +
                      ".json: the key's values would make a key file that " + "readers refuse (over " +
                      std::to_string(MORFileLockBytesMaxSize) + " bytes, or too costly)");
      if (l_Rc != KEL_S_OK) return Fail(ENOMEM, l_Node.m_Path + ".json");
      // Values set as they were change nothing.
      if (l_Node.m_HasFile && l_Node.m_Key.m_Hold && l_Node.m_Text == l_Node.m_Key.m_Hold->m_Bytes)
        l_Node.m_WriteFile = false;
    }
    if (!l_ParentThere) continue;  // made inside its parent's hidden folder, which one step shows
    const std::string l_Folder = Parent(l_Node.m_Path), l_Name = Base(l_Node.m_Path);
    const std::string l_In = l_Folder.empty() ? "" : l_Folder + "/";
    if (l_Node.m_WriteFile)
      oSteps.push_back({'F', l_In + Hidden(l_Name + ".json", ".kelreg"), l_Node.m_Path + ".json"});
    if (!l_Node.m_HasFolder) oSteps.push_back({'D', l_In + Hidden(l_Name, ".kelreg-new"), l_Node.m_Path});
  }
  return KEL_S_OK;
}

KELSysResult KELSysRegChange::Stage(const std::vector<Step>& iSteps) {
  (void)iSteps;
  std::set<std::string> l_Synced;
  for (auto& l_Owned : m_Nodes) {
    Node& l_Node = *l_Owned;
    const bool l_ParentThere = !l_Node.m_Parent || l_Node.m_Parent->m_HasFolder;
    const std::string l_Where = l_ParentThere ? Parent(l_Node.m_Path) : Physical(*l_Node.m_Parent);
    const std::string l_Name = Base(l_Node.m_Path);
    if (!l_Node.m_WriteFile && l_Node.m_HasFolder) continue;
    int l_Dir = m_Folders->Get(l_Where);
    if (l_Dir < 0) return Fail(errno, l_Where);
    if (l_Node.m_WriteFile) {
      const std::string l_File = l_ParentThere ? Hidden(l_Name + ".json", ".kelreg") : l_Name + ".json";
      if (WriteNew(l_Dir, l_File, l_Node.m_Text, l_Node.m_HasFile ? &l_Node.m_FileStat : nullptr,
                   !l_ParentThere) != 0)
        return Fail(errno, (l_Where.empty() ? "" : l_Where + "/") + l_File);
    }
    if (!l_Node.m_HasFolder) {
      // A leftover hidden folder goes first; inside a folder just made there is none to look for.
      const std::string l_New = l_ParentThere ? Hidden(l_Name, ".kelreg-new") : l_Name;
      if ((l_ParentThere && RemoveAt(l_Dir, l_New) != 0) || mkdirat(l_Dir, l_New.c_str(), 0777) != 0)
        return Fail(errno, (l_Where.empty() ? "" : l_Where + "/") + l_New);
      l_Synced.insert((l_Where.empty() ? "" : l_Where + "/") + l_New);
    }
    l_Synced.insert(l_Where);
  }
  // The hidden names must outlast a power cut for the journal's steps to find them.
  for (const std::string& l_Folder : l_Synced) {
    int l_Dir = m_Folders->Get(l_Folder);
    if (l_Dir < 0 || Sync(l_Dir) != 0) return Fail(errno, l_Folder);
  }
  return KEL_S_OK;
}

KELSysResult KELSysRegChange::Commit() {
  if (m_RootFd < 0) return Refuse("no change begun");
  std::vector<Step> l_Steps;
  KELSysResult l_Rc = Plan(l_Steps);
  if (l_Rc != KEL_S_OK || l_Steps.empty()) {
    Drop();
    return l_Rc;
  }
  const std::string l_JournalPath = std::string(k_Tool) + "/" + k_Journal;
  // 1. The steps, pending, synced before anything they name is made. Begin left the journal empty
  // (found so, or emptied by its recovery) and its lock keeps it so.
  const std::string l_Text = Journal('P', l_Steps);
  if (pwrite(m_Journal, l_Text.data(), l_Text.size(), 0) != ssize_t(l_Text.size()) ||
      (s_Sync && fdatasync(m_Journal) != 0)) {
    l_Rc = Fail(errno ? errno : EIO, l_JournalPath);
    Clear(m_Journal);
    Drop();
    return l_Rc;
  }
  // 2. The new files and folders under hidden names, synced with the folders that hold them.
  l_Rc = Stage(l_Steps);
  if (l_Rc != KEL_S_OK) {
    std::string l_Failed;
    if (RollBack(*m_Folders, l_Steps, l_Failed) == 0) Clear(m_Journal);
    Drop();
    return l_Rc;
  }
  // 3. The commit point.
  const char l_Committed = 'C';
  const off_t l_Mark = off_t(std::strlen(k_Header));
  if (pwrite(m_Journal, &l_Committed, 1, l_Mark) != 1 || (s_Sync && fdatasync(m_Journal) != 0)) {
    // The mark may not be on the disk: the change is taken back, and should that fail too, the
    // next change settles it by what the journal says.
    l_Rc = Fail(errno ? errno : EIO, l_JournalPath);
    const char l_Pending = 'P';
    std::string l_Failed;
    if (pwrite(m_Journal, &l_Pending, 1, l_Mark) == 1 && (!s_Sync || fdatasync(m_Journal) == 0) &&
        RollBack(*m_Folders, l_Steps, l_Failed) == 0)
      Clear(m_Journal);
    else
      m_Why += " (the change may be committed: the next change finishes it or takes it back)";
    Drop();
    return l_Rc;
  }
  // 4. The steps, then the journal emptied. A failure from here on leaves a committed change that
  // the next one finishes.
  std::string l_Failed;
  if (Finish(*m_Folders, l_Steps, l_Failed) != 0)
    l_Rc = Fail(errno, l_Failed);
  else if (Clear(m_Journal) != 0)
    l_Rc = Fail(errno, l_JournalPath);
  if (l_Rc != KEL_S_OK) m_Why += " (the change is committed: the next change finishes it)";
  Drop();
  return l_Rc;
}

KELSysResult KELSysRegChange::Replace(int iDirFd, const std::string& iPath, const std::string& iText) {
  const std::string l_Name = Base(iPath), l_Hidden = Hidden(l_Name, ".kelreg");
  struct stat l_Old;
  bool l_Had = fstatat(iDirFd, l_Name.c_str(), &l_Old, AT_SYMLINK_NOFOLLOW) == 0;
  if (WriteNew(iDirFd, l_Hidden, iText, l_Had ? &l_Old : nullptr) != 0) {
    int l_Error = errno;
    unlinkat(iDirFd, l_Hidden.c_str(), 0);
    return Fail(l_Error, Parent(iPath) + "/" + l_Hidden);
  }
  if (renameat(iDirFd, l_Hidden.c_str(), iDirFd, l_Name.c_str()) != 0 || Sync(iDirFd) != 0)
    return Fail(errno, iPath);
  return KEL_S_OK;
}

KELSysResult KELSysRegChange::Quarantine(const std::string& iKey, std::string& oWhere) {
  if (m_RootFd < 0) return Refuse("no change begun");
  const std::string l_File = iKey + ".json";
  int l_Dir = m_Folders->Get(Parent(l_File));
  if (l_Dir < 0) return Fail(errno, Parent(l_File));
  if (TypeAt(l_Dir, Base(l_File)) != S_IFREG)
    return Refuse(PathText(m_Root, l_File) + ": not a regular file");
  // The quarantine keeps the key's path below a folder named for the time.
  char l_Stamp[32];
  std::time_t l_Now = std::time(nullptr);
  std::tm l_Time;
  std::strftime(l_Stamp, sizeof l_Stamp, "%Y%m%dT%H%M%SZ", gmtime_r(&l_Now, &l_Time));
  std::string l_Where = std::string(k_Tool) + "/" + k_Quarantine + "/" + l_Stamp;
  std::string l_Made;
  std::string l_Parents = l_Where + "/" + Parent(l_File);
  for (size_t l_Start = 0; l_Start <= l_Parents.size();) {
    size_t l_End = std::min(l_Parents.find('/', l_Start), l_Parents.size());
    const std::string l_Step = l_Parents.substr(0, l_End);
    int l_Up = m_Folders->Get(Parent(l_Step));
    if (l_Up < 0 || (mkdirat(l_Up, Base(l_Step).c_str(), 0700) != 0 && errno != EEXIST) || Sync(l_Up) != 0)
      return Fail(errno, l_Step);
    l_Start = l_End + 1;
  }
  int l_Target = m_Folders->Get(l_Parents);
  if (l_Target < 0) return Fail(errno, l_Parents);
  // Linked where the file system allows it, else copied: the bytes are kept either way.
  if (linkat(l_Dir, Base(l_File).c_str(), l_Target, Base(l_File).c_str(), 0) != 0) {
    if (errno != EXDEV && errno != EPERM && errno != EMLINK)
      return Fail(errno, l_Parents + "/" + Base(l_File));
    Fd l_In(openat(l_Dir, Base(l_File).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (l_In < 0) return Fail(errno, l_File);
    if (WriteNew(l_Target, Base(l_File), ReadAll(l_In), nullptr) != 0)
      return Fail(errno, l_Parents + "/" + Base(l_File));
  }
  if (Sync(l_Target) != 0) return Fail(errno, l_Parents);
  oWhere = PathText(m_Root, l_Parents + "/" + Base(l_File));
  // In its place a key without values, so that its subkeys stay listed.
  KELSysRegKey l_Empty;
  l_Empty.m_FilePath = PathText(m_Root, l_File);
  l_Empty.m_Values = std::make_unique<KELSysJSONObject>();
  std::string l_Text;
  l_Empty.MakeText(l_Text);
  l_Empty.m_Values.reset();
  return Replace(l_Dir, l_File, l_Text);
}

KELSysResult KELSysRegChange::RemoveLeftover(const std::string& iName) {
  if (m_RootFd < 0) return Refuse("no change begun");
  if (!IsChangeName(Base(iName)))
    return Refuse(PathText(m_Root, iName) + ": not a name that a change leaves");
  int l_Dir = m_Folders->Get(Parent(iName));
  if (l_Dir < 0 || RemoveAt(l_Dir, Base(iName)) != 0 || Sync(l_Dir) != 0) return Fail(errno, iName);
  return KEL_S_OK;
}

bool KELSysRegChange::FindInterrupted(int iHive, std::string& oJournal, bool& oCommitted) {
  Registry l_Registry;
  std::string l_Failed;
  if (!FindRegistry(iHive, l_Registry) || OpenRegistry(l_Registry, false, l_Failed) != 0) return false;
  oJournal = PathText(l_Registry.m_Root, std::string(k_Tool) + "/" + k_Journal);
  // A change that is going on holds the lock: it is not interrupted.
  if (flock(l_Registry.m_Journal, LOCK_SH | LOCK_NB) != 0) return false;
  std::string l_Text = ReadAll(l_Registry.m_Journal);
  if (l_Text.empty()) return false;
  std::vector<Step> l_Steps;
  oCommitted = ParseJournal(l_Text, l_Steps) == 'C';
  return true;
}
