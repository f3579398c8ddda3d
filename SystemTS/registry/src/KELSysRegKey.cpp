// Opening, reading, writing back and closing keys. Values are in KELSysRegKeyValues.cpp, creation,
// subkeys and deletion in KELSysRegKeyTree.cpp.
#include "KELSysRegKey.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>
#include <optional>

#include "KELSysJSON.h"
#include "KELSysJSONPrivate.h"
#include "KELSysRegLock.h"
#include "KELSysRegPath.h"
#include "KELSysRegPlainValues.h"
#include "KELSysRegStore.h"
#include "KELSysTrace.h"
#include "KELSysTraceObj.h"
#include "MORFileLockBytes.h"

namespace {

// Key files up to this size are parsed with a document (and a read buffer) kept per thread, so that
// the many small keys of a walk allocate no parser each; bigger ones get their own, freed at once.
constexpr uint64_t k_ReusedDocumentLimit = uint64_t(1) << 20;

// How many times a writer opens a key file again that was removed or replaced while it waited.
constexpr int k_Reopens = 100;

bool IsSingleComponent(std::string_view iKeyPath) {
  return !iKeyPath.empty() && iKeyPath.find_first_of("\\/") == std::string_view::npos;
}

uint32_t OpenMode(uint32_t iAccess) {
  return (iAccess & KELSysRegAccessReadWrite) == KELSysRegAccessReadWrite ? MORLockBytesReadWrite
                                                                          : MORLockBytesRead;
}

// The path "NAME/../NAME.json" of the key file of the child NAME, as seen from the parent's folder,
// in oPath; false when NAME is no plain name (dots, a zero byte) or too long for the buffer.
template <size_t N>
bool ThroughFolder(std::string_view iName, char (&oPath)[N]) {
  if (iName == "." || iName == ".." || iName.find('\0') != std::string_view::npos ||
      2 * iName.size() + 4 + KELSysRegKeyExtension.size() >= N)
    return false;
  char* l_At = std::copy(iName.begin(), iName.end(), oPath);
  l_At = std::copy_n("/../", 4, l_At);
  l_At = std::copy(iName.begin(), iName.end(), l_At);
  *std::copy(KELSysRegKeyExtension.begin(), KELSysRegKeyExtension.end(), l_At) = '\0';
  return true;
}

// The path "FOLDER/../NAME.json" of the key file FOLDER.json, whose folder FOLDER ends in NAME, in
// oPath; false unless iFile is such an absolute path without a zero byte, short enough for oPath.
// Resolved from the root, without links, the step "NAME/.." comes back to the folder that NAME was
// found in.
template <size_t N>
bool ThroughOwnFolder(std::string_view iFile, char (&oPath)[N]) {
  std::string_view l_Folder = KELSysRegKeyFolder(iFile);
  std::string_view l_Name = KELSysRegBaseName(l_Folder);
  if (l_Folder.size() == iFile.size() || !iFile.starts_with('/') || l_Name.empty() || l_Name == "." ||
      l_Name == ".." || iFile.find('\0') != std::string_view::npos || iFile.size() + 4 + l_Name.size() >= N)
    return false;
  char* l_At = std::copy(l_Folder.begin(), l_Folder.end(), oPath);
  l_At = std::copy_n("/../", 4, l_At);
  l_At = std::copy(l_Name.begin(), l_Name.end(), l_At);
  *std::copy(KELSysRegKeyExtension.begin(), KELSysRegKeyExtension.end(), l_At) = '\0';
  return true;
}

// Where the whole-path lookup is not worth trying: a registry reached through a link (a linked home
// folder, say) fails it on every key. After a few such failures in a row below one base, keys below
// it are opened the two-step way only.
struct LinkedBase {
  std::string m_Base;
  int m_Failures = 0;
};
constexpr int k_LinkedFailures = 4;
thread_local LinkedBase t_LinkedBase;

// "line L, column C" of the byte at iOffset (columns count bytes, from 1).
std::string LineAndColumn(std::string_view iText, size_t iOffset) {
  iOffset = std::min(iOffset, iText.size());
  size_t l_Line = 1 + size_t(std::count(iText.begin(), iText.begin() + ptrdiff_t(iOffset), '\n'));
  size_t l_Start = iText.rfind('\n', iOffset == 0 ? 0 : iOffset - 1);
  size_t l_Column = iOffset == 0 || l_Start == std::string_view::npos ? iOffset + 1 : iOffset - l_Start;
  if (iOffset > 0 && l_Start != std::string_view::npos && l_Start >= iOffset) l_Column = 1;
  return "line " + std::to_string(l_Line) + ", column " + std::to_string(l_Column);
}

// The containers open at iOffset, strings skipped: tells a text nested too deep from a malformed one.
size_t DepthAt(std::string_view iText, size_t iOffset) {
  size_t l_Depth = 0;
  bool l_String = false;
  for (size_t l_At = 0; l_At < std::min(iOffset, iText.size()); ++l_At) {
    char l_Byte = iText[l_At];
    if (l_String) {
      if (l_Byte == '\\')
        ++l_At;
      else if (l_Byte == '"')
        l_String = false;
    } else if (l_Byte == '"') {
      l_String = true;
    } else if (l_Byte == '[' || l_Byte == '{') {
      ++l_Depth;
    } else if ((l_Byte == ']' || l_Byte == '}') && l_Depth > 0) {
      --l_Depth;
    }
  }
  return l_Depth;
}

// Why iText, which the reader refused as not JSON, is refused: read again with a trace that keeps
// the position the parser reports.
std::string ParseProblem(std::string_view iText) {
  auto l_Lines = std::make_shared<KELSysTraceMemoryObj>();
  KELSysTrace l_Errors("KELSysRegKey", l_Lines);
  KELSysJSON l_Document;
  KELSysJSONValue l_Root;
  l_Document.Read(iText.data(), iText.size(), l_Root, &l_Errors);
  const std::string& l_Text = l_Lines->GetText();
  size_t l_At = l_Text.find("at position ");
  unsigned l_Position = 0;
  if (l_At == std::string::npos || std::sscanf(l_Text.c_str() + l_At, "at position %u", &l_Position) != 1)
    return "not valid JSON";
  if (DepthAt(iText, l_Position) >= KELSysJSONMaxDepth)
    return "nested deeper than " + std::to_string(KELSysJSONMaxDepth) + " levels at " +
           LineAndColumn(iText, l_Position);
  return "not valid JSON at " + LineAndColumn(iText, l_Position);
}

}  // namespace

KELSysRegKey::KELSysRegKey() : m_Trace(KELSysTrace::Find("KELSYSREGKEY")) {}

KELSysRegKey::~KELSysRegKey() { CloseKey(); }

KELSysResult KELSysRegKey::OpenKey(int iHive, const MORUnicodeString& iKeyPath, uint32_t iAccess) {
  std::string l_Root;
  if (!KELSysRegHiveRoot(iHive, l_Root)) return KEL_E_FAIL;
  size_t l_Length = 0;
  const char* l_Bytes = iKeyPath.ConvertToMBCS(&l_Length);
  return Open(l_Root, std::string_view(l_Bytes, l_Length), iAccess, nullptr);
}

KELSysResult KELSysRegKey::OpenKey(const KELSysRegKey& iParent, const MORUnicodeString& iKeyPath,
                                   uint32_t iAccess) {
  if (iParent.m_FilePath.empty()) return KEL_E_FAIL;
  size_t l_Length = 0;
  const char* l_Bytes = iKeyPath.ConvertToMBCS(&l_Length);
  return OpenKeyMBCS(iParent, std::string_view(l_Bytes, l_Length), iAccess);
}

KELSysResult KELSysRegKey::OpenKeyMBCS(const KELSysRegKey& iParent, std::string_view iKeyPath,
                                       uint32_t iAccess) {
  if (iParent.m_FilePath.empty()) return KEL_E_FAIL;
  // Opening below itself closes the parent on the way: its folder descriptor cannot be used.
  return Open(iParent.m_FilePath, iKeyPath, iAccess, &iParent == this ? nullptr : &iParent);
}

KELSysResult KELSysRegKey::Open(const std::string& iBase, std::string_view iKeyPath, uint32_t iAccess,
                                const KELSysRegKey* iParent) {
  std::string_view l_KeyPath = iKeyPath;
  std::string l_File;
  KELSysRegMapKeyPath(iBase, l_KeyPath, l_File);
  // A child named by one component is looked up in the parent's folder, held open for all its
  // children, instead of walking the whole path again for each.
  int l_DirFd = iParent && IsSingleComponent(l_KeyPath) ? iParent->KeyFolderFd() : -1;
  char l_Through[256];
  if (l_DirFd >= 0 && !m_File && OpenMode(iAccess) == MORLockBytesRead &&
      l_KeyPath.size() + KELSysRegKeyExtension.size() < sizeof l_Through && iParent->Listed(l_KeyPath)) {
    // A name that the parent's listing of this folder has just given stood there as a key file
    // beside a folder: a reader looks the key file alone up, which must not be a link either.
    *std::copy(KELSysRegKeyExtension.begin(), KELSysRegKeyExtension.end(),
               std::copy(l_KeyPath.begin(), l_KeyPath.end(), l_Through)) = '\0';
    int l_Opened = MORFileLockBytes::OpenDescriptorNotLinked(l_DirFd, l_Through, OpenMode(iAccess));
    if (l_Opened >= 0) return OpenKeyReal(std::move(l_File), iAccess, l_DirFd, false, l_Opened);
  }
  if (l_DirFd >= 0 && !m_File && ThroughFolder(l_KeyPath, l_Through)) {
    // With no key held there is nothing to write back first, so the key file may be opened before
    // the key folder is known to exist: "NAME/../NAME.json", resolved without links and below the
    // parent's folder, proves both in one lookup. What it cannot prove (a missing key, a link, a
    // file that does not open) is settled the ordinary way below.
    int l_Opened = MORFileLockBytes::OpenDescriptorBelow(l_DirFd, l_Through, OpenMode(iAccess));
    if (l_Opened >= 0) return OpenKeyReal(std::move(l_File), iAccess, l_DirFd, false, l_Opened);
  }
  char l_Whole[PATH_MAX];
  LinkedBase& l_Linked = t_LinkedBase;
  if (l_DirFd < 0 && !m_File && !(l_Linked.m_Failures >= k_LinkedFailures && l_Linked.m_Base == iBase) &&
      ThroughOwnFolder(l_File, l_Whole)) {
    // The same for a key named from the hive, or by several steps: the whole path, resolved from
    // the root without links, proves that the key folder is a folder and opens the file that
    // stat and open of the whole path would find.
    int l_Opened = MORFileLockBytes::OpenDescriptorWithoutLinks(AT_FDCWD, l_Whole, OpenMode(iAccess));
    if (l_Opened >= 0) {
      if (l_Linked.m_Failures != 0 && l_Linked.m_Base == iBase) l_Linked.m_Failures = 0;
      return OpenKeyReal(std::move(l_File), iAccess, -1, false, l_Opened);
    }
    if (errno == ELOOP && l_Linked.m_Base == iBase) {
      ++l_Linked.m_Failures;
    } else if (errno == ELOOP) {
      l_Linked.m_Base = iBase;
      l_Linked.m_Failures = 1;
    }
  }
  struct stat l_Stat;
  int l_Found;
  if (l_DirFd >= 0) {
    l_Found = fstatat(l_DirFd, std::string(l_KeyPath).c_str(), &l_Stat, 0);
  } else {
    std::string l_Folder(KELSysRegKeyFolder(l_File));
    l_Found = stat(l_Folder.c_str(), &l_Stat);
  }
  if (l_Found != 0 || !S_ISDIR(l_Stat.st_mode)) return KEL_E_FAIL;
  return OpenKeyReal(std::move(l_File), iAccess, l_DirFd, false);
}

const MORUnicodeString& KELSysRegKey::GetPath() const {
  if (m_Path.IsEmpty() && !m_FilePath.empty()) m_Path.BuildFromMBCS(m_FilePath.c_str(), m_FilePath.size());
  return m_Path;
}

int KELSysRegKey::KeyFolderFd() const {
  if (m_DirFd < 0 && !m_FilePath.empty()) {
    // Open for reading, so that the one descriptor serves the listing too; a folder that may be
    // searched but not read still serves the opens of children.
    std::string l_Folder(KELSysRegKeyFolder(m_FilePath));
    m_DirFd = open(l_Folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    m_DirReadable = m_DirFd >= 0;
    if (!m_DirReadable) m_DirFd = open(l_Folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  }
  return m_DirFd;
}

KELSysResult KELSysRegKey::ListSubKeys() const {
  m_Listed.assign(1, '\0');
  m_ListedAt = 0;
  if (m_FilePath.empty()) return KEL_E_FAIL;
  const int l_Fd = KeyFolderFd();
  if (l_Fd >= 0 && m_DirReadable) {
    if (m_DirListed && lseek(l_Fd, 0, SEEK_SET) != 0) return KELSysResultFromErrno(errno);
    m_DirListed = true;
    return KELSysRegListSubKeysAt(l_Fd, m_Listed);
  }
  // The folder as its path names it now (it may have become readable since the key was opened);
  // its names do not serve the opens of children, which take the ordinary way.
  std::string l_Folder(KELSysRegKeyFolder(m_FilePath));
  const int l_Listing = open(l_Folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (l_Listing < 0) return KELSysResultFromErrno(errno);
  const KELSysResult l_Rc = KELSysRegListSubKeysAt(l_Listing, m_Listed);
  close(l_Listing);
  m_ListedAt = m_Listed.size() - 1;
  return l_Rc;
}

bool KELSysRegKey::Listed(std::string_view iName) const {
  // Children are mostly opened in the order of the listing, some perhaps skipped: the search goes on
  // from the last one found, through a few names only, so that other orders cost no more than the
  // ordinary way.
  constexpr int k_Ahead = 64;
  size_t l_At = m_ListedAt + 1;
  for (int l_Step = 0; l_Step < k_Ahead && l_At < m_Listed.size(); ++l_Step) {
    const size_t l_End = m_Listed.find('\0', l_At);
    if (std::string_view(m_Listed).substr(l_At, l_End - l_At) == iName) {
      m_ListedAt = l_End;
      return true;
    }
    l_At = l_End + 1;
  }
  return false;
}

KELSysResult KELSysRegKey::OpenKeyReal(std::string iFile, uint32_t iAccess, int iDirFd, bool iCreate,
                                       int iOpened) {
  CloseKey();
  uint32_t l_Mode = OpenMode(iAccess);
  KELSysResult l_Rc = KEL_E_FAIL;
  if (m_Trace)
    m_Trace->Print(KELSysTraceDebug, "  OpenKeyReal m_Path: %s, l_OpenMode: %d, l_Rc: %x\n",
                   m_FilePath.c_str(), int(l_Mode), unsigned(l_Rc));
  const bool l_Exclusive = iCreate || l_Mode == MORLockBytesReadWrite;
  if (!l_Exclusive && iOpened >= 0 && !KELSysRegLock::AnyHeld()) return OpenToRead(std::move(iFile), iOpened);
  // A writer that had to wait may find the file removed meanwhile (and perhaps made again): it then
  // opens the file by its name once more.
  for (int l_Try = 0;; ++l_Try) {
    int l_Fd = iOpened;
    iOpened = -1;
    if (l_Fd < 0) {
      // Given the folder of the key file, only the file's own name is looked up in it.
      const char* l_Path =
          iDirFd >= 0 ? iFile.c_str() + (iFile.size() - KELSysRegBaseName(iFile).size()) : iFile.c_str();
      l_Fd = MORFileLockBytes::OpenDescriptor(iDirFd >= 0 ? iDirFd : AT_FDCWD, l_Path, l_Mode);
    }
    // The lock is taken before the file is checked, so that the status then taken is the one it
    // reads by, and tells a writer whether the file was removed while it waited. Only where some key
    // of the process holds an exclusive lock must it first know which file it has, to share this
    // thread's hold on it.
    const bool l_LockFirst = l_Fd >= 0 && !KELSysRegLock::AnyHeld();
    if (l_LockFirst && (l_Rc = Lock(iFile, l_Fd, l_Exclusive)) != KEL_S_OK) {
      close(l_Fd);
      return l_Rc;
    }
    l_Rc = MORFileLockBytes::Adopt(l_Fd, l_Mode, m_File);
    if (l_Rc != KEL_S_OK) return l_Rc;
    if (l_LockFirst && l_Exclusive) {
      m_Hold = KELSysRegLock::Hold(m_File->GetDescriptor(), m_File->GetDevice(), m_File->GetInode());
    } else if (!l_LockFirst) {
      l_Rc = Lock(iFile, m_File->GetDescriptor(), l_Exclusive);
      if (l_Rc != KEL_S_OK) {
        m_File.reset();
        return l_Rc;
      }
      // The size and names seen at the open may be those before a write-back or a removal that the
      // lock has since waited out.
      m_File->Restat();
    }
    if (!l_Exclusive || m_File->GetLinks() != 0) break;
    KELSysRegLock::Release(m_Hold);
    m_File.reset();
    // Changes replace a key file by renaming a new one over it: a writer that waited again and again
    // on files replaced meanwhile gives up rather than write to one that no longer has a name.
    if (l_Try == k_Reopens) return KEL_E_TIMEOUT;
  }
  m_FilePath = std::move(iFile);
  m_Values = std::make_unique<KELSysJSONObject>();
  bool l_Whole = ReadValues();
  // A reader keeps no descriptor, and so no lock, once it has read.
  if (!l_Exclusive) m_File->Close();
  if (!l_Whole) {
    // The key stays open without its file: it has no values, lists its subkeys, refuses every
    // change, and is never written back over the bytes it could not read.
    KELSysRegLock::Release(m_Hold);
    m_File.reset();
  }
  return KEL_S_OK;
}

// The first read of a reader's key file: its result, the bytes it gave (in the thread's room for
// them) and whether they settle what the file is.
struct KELSysRegKey::FirstRead {
  KELSysResult m_Rc = KEL_S_OK;
  const char* m_Text = nullptr;
  size_t m_Room = 0;
  size_t m_Got = 0;
  bool m_Settled = false;
};

KELSysResult KELSysRegKey::OpenToRead(std::string iFile, int iFd) {
  KELSysResult l_Rc = Lock(iFile, iFd, false);
  if (l_Rc != KEL_S_OK) {
    close(iFd);
    return l_Rc;
  }
  // A read that ends within the room has read the whole file, which is therefore regular
  // (MORFileLockBytes::AdoptUnchecked) and of that size. Only what has read as empty, or filled
  // the room (a key file this long is rare), or failed, is asked what it is.
  constexpr size_t k_Room = size_t(64) << 10;
  thread_local std::unique_ptr<char[]> t_Room;
  if (!t_Room) t_Room.reset(new (std::nothrow) char[k_Room]);
  m_File = MORFileLockBytes::AdoptUnchecked(iFd, MORLockBytesRead);
  FirstRead l_First;
  l_First.m_Text = t_Room.get();
  l_First.m_Room = k_Room;
  l_First.m_Rc = t_Room ? m_File->ReadSome(0, t_Room.get(), k_Room, l_First.m_Got) : KEL_E_OUTOFMEMORY;
  l_First.m_Settled = l_First.m_Rc == KEL_S_OK && l_First.m_Got > 0 && l_First.m_Got < k_Room;
  if (!l_First.m_Settled && (l_Rc = m_File->Settle()) != KEL_S_OK) {
    m_File.reset();
    return l_Rc;
  }
  m_FilePath = std::move(iFile);
  m_Values = std::make_unique<KELSysJSONObject>();
  const bool l_Whole = ReadValues(&l_First);
  // A reader keeps no descriptor, and so no lock, once it has read.
  m_File->Close();
  if (!l_Whole) m_File.reset();
  return KEL_S_OK;
}

KELSysResult KELSysRegKey::Lock(const std::string& iFile, int iFd, bool iExclusive) {
  KELSysResult l_Rc = KEL_S_OK;
  bool l_Joined = false;
  if (iExclusive && !m_File)
    l_Rc = KELSysRegLock::LockExclusive(iFd);
  else if (iExclusive)
    l_Rc = KELSysRegLock::Exclusive(iFd, m_File->GetDevice(), m_File->GetInode(), m_Hold, l_Joined);
  else if (!m_File || !KELSysRegLock::HeldByThread(m_File->GetDevice(), m_File->GetInode()))
    l_Rc = KELSysRegLock::Shared(iFd);
  if (l_Rc != KEL_S_OK && m_Trace)
    m_Trace->Print(KELSysTraceError, "  OpenKeyReal %s: %s lock not granted within %lld ms (%s)\n",
                   iFile.c_str(), iExclusive ? "exclusive" : "shared",
                   static_cast<long long>(KELSysRegLockWait.count()), KELSysResultName(l_Rc).c_str());
  m_OwnHold = iExclusive && !l_Joined;
  return l_Rc;
}

bool KELSysRegKey::Damaged(std::string iWhy) {
  m_Damage = std::move(iWhy);
  return true;
}

bool KELSysRegKey::NotRead(KELSysResult iRc) {
  uint32_t l_Bits = static_cast<uint32_t>(iRc);
  if (iRc == KEL_E_OUTOFMEMORY)
    m_Damage = "memory ran out while reading it";
  else if ((l_Bits & 0xFFFF0000u) == 0x80070000u)
    m_Damage = std::strerror(int(l_Bits & 0xFFFFu));  // the errno of the read, as it failed
  else
    m_Damage = "cut short while it was read";
  if (m_Trace)
    m_Trace->Print(KELSysTraceWarning, "  ReadValues %s: not read whole (%s); the key opens without values\n",
                   m_FilePath.c_str(), KELSysResultName(iRc).c_str());
  return false;
}

// The framework JSON reader of the thread, for key files up to k_ReusedDocumentLimit, and whether
// it traces what it reads (it looks at its trace channel once, when it is made).
struct ThreadReader {
  KELSysJSON m_Document;
  bool m_Traced = KELSysTrace::Find("KELSysJSON") != nullptr;
};

bool KELSysRegKey::ReadValues(const FirstRead* iFirst) {
  MORLockBytesStat l_Stat;
  if (iFirst && iFirst->m_Settled) {
    l_Stat.grfMode = m_File->GetMode();
    l_Stat.cbSize = iFirst->m_Got;
  } else if (KELSysResult l_Rc = m_File->Stat(l_Stat); l_Rc != KEL_S_OK) {
    return NotRead(l_Rc);
  }
  if (m_Trace) m_Trace->Print(KELSysTraceDebug, "    l_Stat.grfMode: %d\n", int(l_Stat.grfMode));
  if (l_Stat.cbSize == 0) return true;
  if (l_Stat.cbSize > MORFileLockBytesMaxSize) {
    m_Damage = std::to_string(l_Stat.cbSize) + " bytes, over the limit of " +
               std::to_string(MORFileLockBytesMaxSize);
    if (m_Trace)
      m_Trace->Print(KELSysTraceWarning,
                     "  ReadValues %s: %llu bytes, over the limit of %llu; the key opens without values\n",
                     m_FilePath.c_str(), static_cast<unsigned long long>(l_Stat.cbSize),
                     static_cast<unsigned long long>(MORFileLockBytesMaxSize));
    return false;
  }
  if (iFirst && iFirst->m_Rc != KEL_S_OK) return NotRead(iFirst->m_Rc);
  if (iFirst && iFirst->m_Got == l_Stat.cbSize) return TakeValues(iFirst->m_Text, iFirst->m_Got);
  // A first read that filled its room is followed by a read of the whole file; one that ended short
  // of the file's size is a file cut short.
  if (iFirst && iFirst->m_Got < iFirst->m_Room) return NotRead(KEL_E_FAIL);

  // A writer's own hold keeps the bytes: a failed write-back puts them back. The document is done
  // with once the values are built, so a writer uses the thread's too.
  thread_local std::string t_Text;
  std::string l_OwnText;
  std::string& l_Text = m_OwnHold                                ? m_Hold->m_Bytes
                        : l_Stat.cbSize <= k_ReusedDocumentLimit ? t_Text
                                                                 : l_OwnText;
  try {
    l_Text.resize(size_t(l_Stat.cbSize));
  } catch (const std::bad_alloc&) {
    return NotRead(KEL_E_OUTOFMEMORY);
  }
  size_t l_Read = 0;
  KELSysResult l_Rc = m_File->ReadAt(0, l_Text.data(), l_Text.size(), l_Read);
  if (l_Rc != KEL_S_OK || l_Read != l_Text.size()) return NotRead(l_Rc != KEL_S_OK ? l_Rc : KEL_E_FAIL);
  return TakeValues(l_Text.data(), l_Text.size());
}

bool KELSysRegKey::TakeValues(const char* iText, size_t iSize) {
  thread_local ThreadReader t_Reader;
  std::optional<KELSysJSON> l_OwnDocument;
  const bool l_Reuse = iSize <= k_ReusedDocumentLimit;
  KELSysJSON& l_Document = l_Reuse ? t_Reader.m_Document : l_OwnDocument.emplace();

  // A reader that wants no trace of the parse takes a plain key file as its text, without a tree:
  // most keys are opened for a string or two.
  std::string_view l_Plain;
  if (!m_Hold && !m_Trace && iSize <= KELSysJSONTokenReadLimit && !t_Reader.m_Traced &&
      KELSysRegPlainValues(std::string_view(iText, iSize), KeyName(), l_Plain)) {
    m_Plain.assign(l_Plain);
    return true;
  }

  // Text that is not JSON, or lacks the key's member, leaves the key without values. Text that
  // would cost more to read than the file's size allows is not read.
  KELSysJSONValue l_Root;
  const uint64_t l_Budget = MORFileLockBytesReadBudget(iSize);
  KELSysResult l_Rc = l_Document.Read(iText, iSize, l_Root, nullptr, size_t(l_Budget));
  if (l_Rc == KEL_E_OUTOFMEMORY) {
    m_Damage = std::to_string(iSize) + " bytes that would take more than " + std::to_string(l_Budget) +
               " bytes to read";
    if (m_Trace)
      m_Trace->Print(KELSysTraceWarning,
                     "  ReadValues %s: %llu bytes that would take more than %llu to read (or memory ran "
                     "out); the key opens without values\n",
                     m_FilePath.c_str(), static_cast<unsigned long long>(iSize),
                     static_cast<unsigned long long>(l_Budget));
    return false;
  }
  if (l_Rc != KEL_S_OK) return Damaged(ParseProblem(std::string_view(iText, iSize)));
  KELSysJSONValue* l_Member =
      l_Root.GetType() == KELSysJSONTypeObject ? l_Root.GetObject().Find(KeyName()) : nullptr;
  if (l_Member == nullptr || l_Member->GetType() != KELSysJSONTypeObject)
    return Damaged("holds no values of key " + std::string(KeyName()));
  *m_Values = std::move(l_Member->GetObject());
  return true;
}

void KELSysRegKey::MakeValues() {
  if (m_Plain.empty()) return;
  // The values object's own text reads as the tree that the whole file's member holds.
  KELSysJSON l_Document;
  KELSysJSONValue l_Root;
  if (l_Document.Read(m_Plain.data(), m_Plain.size(), l_Root) == KEL_S_OK &&
      l_Root.GetType() == KELSysJSONTypeObject)
    *m_Values = std::move(l_Root.GetObject());
  m_Plain.clear();
}

std::string_view KELSysRegKey::KeyName() const {
  std::string_view l_Name = KELSysRegBaseName(m_FilePath);
  if (l_Name.ends_with(KELSysRegKeyExtension)) l_Name.remove_suffix(KELSysRegKeyExtension.size());
  return l_Name;
}

KELSysResult KELSysRegKey::CloseKey() {
  KELSysResult l_Rc = WriteBack();
  Release();
  return l_Rc;
}

KELSysResult KELSysRegKey::MakeText(std::string& oText) {
  MakeValues();  // a reader that kept its plain text shows the text it would write as any other
  KELSysJSONObject l_Root;
  KELSysJSONValue l_Version, l_Values;
  l_Version.SetString("1.0");
  l_Values.SetObject(std::move(*m_Values));
  oText.clear();
  if (l_Root.AddPair("Version", std::move(l_Version)) != KEL_S_OK ||
      l_Root.AddPair(KeyName(), std::move(l_Values)) != KEL_S_OK)
    return KEL_E_OUTOFMEMORY;
  KELSysResult l_Rc = l_Root.Write(oText, true, std::string());
  if (l_Rc != KEL_S_OK) return l_Rc;  // never write a document that is not whole
  const size_t l_Length = oText.size();
  // A text over the size limit would be refused by every later reader, which would then see the key
  // without values: it is not written, and the key file keeps its old text.
  if (l_Length > MORFileLockBytesMaxSize) {
    if (m_Trace)
      m_Trace->Print(KELSysTraceError,
                     "  CloseKey %s: text of %zu bytes over the limit of %llu, not written\n",
                     m_FilePath.c_str(), l_Length, static_cast<unsigned long long>(MORFileLockBytesMaxSize));
    return KELSysResultFromErrno(EFBIG);
  }
  // Nor is a text that would cost a reader more than its size allows (one written more tightly than
  // the text it was read from, which had blanks between containers of one member each).
  if (l_Length > KELSysJSONTokenReadLimit) {
    const uint64_t l_Budget = MORFileLockBytesReadBudget(l_Length);
    KELSysJSON l_Scale;
    if (l_Scale.Weigh(oText.data(), l_Length, size_t(l_Budget)) != KEL_S_OK) {
      if (m_Trace)
        m_Trace->Print(
            KELSysTraceError,
            "  CloseKey %s: text of %zu bytes that would take more than %llu to read, not written\n",
            m_FilePath.c_str(), l_Length, static_cast<unsigned long long>(l_Budget));
      return KELSysResultFromErrno(EFBIG);
    }
  }
  return KEL_S_OK;
}

KELSysResult KELSysRegKey::WriteBack() {
  if (!m_Values || !m_File) return KEL_S_OK;
  bool l_Writable = m_File->GetMode() == MORLockBytesReadWrite;
  // A read-only key cannot write its file: unless the text is wanted for the trace, there is
  // nothing to do. Nor is a file that was not read whole rewritten unless its values were changed.
  if ((!l_Writable && !m_Trace) || (!m_Damage.empty() && !m_Changed)) return KEL_S_OK;
  if (!l_Writable || !m_Hold) {
    std::string l_Shown;
    MakeText(l_Shown);  // for the trace: what would be written
    if (m_Trace) m_Trace->Print(KELSysTraceDebug, "  CloseKey l_JSON: %s\n", l_Shown.c_str());
    return KEL_S_OK;
  }
  std::string l_Text;
  KELSysResult l_Rc = MakeText(l_Text);
  if (l_Rc != KEL_S_OK) return l_Rc;
  size_t l_Length = l_Text.size();
  // Under the hold the file holds m_Bytes, unless a failed write-back could not put them back.
  uint64_t l_OldSize = m_Hold->m_Bytes.size();
  if (!m_Hold->m_Exact) {
    MORLockBytesStat l_Stat;
    l_Rc = m_File->Stat(l_Stat);
    if (l_Rc != KEL_S_OK) return l_Rc;
    l_OldSize = l_Stat.cbSize;
  }
  // A shorter text is written padded with blanks to the old length and then cut, so that the file
  // holds valid JSON at every moment: never the new text followed by a tail of the old one.
  if (l_OldSize > l_Length) l_Text.resize(size_t(l_OldSize), ' ');
  size_t l_Written = 0;
  KELSysResult l_WriteRc = m_File->Overwrite(l_Text.data(), l_Text.size(), l_OldSize, l_Written);
  if (m_Trace) m_Trace->Print(KELSysTraceDebug, "  CloseKey l_JSON: %.*s\n", int(l_Length), l_Text.c_str());
  if (l_WriteRc != KEL_S_OK || l_Written != l_Text.size())
    return Restore(l_Written, l_WriteRc != KEL_S_OK ? l_WriteRc : KEL_E_FAIL);
  if (l_Length < l_Text.size() && (l_Rc = m_File->SetSize(l_Length)) != KEL_S_OK)
    return Restore(l_Text.size(), l_Rc);
  l_Text.resize(l_Length);
  m_Hold->m_Bytes = std::move(l_Text);
  m_Hold->m_Exact = true;
  return KEL_S_OK;
}

KELSysResult KELSysRegKey::Restore(size_t iWritten, KELSysResult iRc) {
  const std::string& l_Old = m_Hold->m_Bytes;
  size_t l_Written = 0;
  KELSysResult l_Rc = m_File->WriteAt(0, l_Old.data(), std::min(iWritten, l_Old.size()), l_Written);
  MORLockBytesStat l_Stat;
  if (l_Rc == KEL_S_OK) l_Rc = m_File->Stat(l_Stat);
  if (l_Rc == KEL_S_OK && l_Stat.cbSize != l_Old.size()) l_Rc = m_File->SetSize(l_Old.size());
  m_Hold->m_Exact = l_Rc == KEL_S_OK;
  if (m_Trace)
    m_Trace->Print(KELSysTraceError, "  CloseKey %s: write-back failed (%s), old text %s (%s)\n",
                   m_FilePath.c_str(), KELSysResultName(iRc).c_str(),
                   l_Rc == KEL_S_OK ? "put back" : "not put back", KELSysResultName(l_Rc).c_str());
  return iRc;
}

void KELSysRegKey::Release() {
  KELSysRegLock::Release(m_Hold);
  m_OwnHold = false;
  m_Changed = false;
  m_Staged = false;
  m_Damage.clear();
  m_Plain.clear();
  m_Listed.clear();
  m_ListedAt = 0;
  m_DirReadable = m_DirListed = false;
  m_File.reset();
  m_Values.reset();
  m_Path.Clear();
  m_FilePath.clear();
  if (m_DirFd >= 0) close(m_DirFd);
  m_DirFd = -1;
}

KELSysResult KELSysRegKey::CheckWriteAccess() {
  if (m_Staged) return KEL_S_OK;
  // The open mode, as Stat would report it: a reader's descriptor is already closed.
  if (!m_File) return KEL_E_ACCESSDENIED;
  uint32_t l_Mode = m_File->GetMode();
  bool l_Allowed = (l_Mode & MORLockBytesReadWrite) != 0;
  if (m_Trace)
    m_Trace->Print(KELSysTraceDebug,
                   l_Allowed ? "  CheckWriteAccess true (l_Stat.grfMode: %d)\n"
                             : "  CheckWriteAccess false (l_Stat.grfMode: %d)\n",
                   int(l_Mode));
  return l_Allowed ? KEL_S_OK : KEL_E_ACCESSDENIED;
}
