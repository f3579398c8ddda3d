#include "MORFileLockBytes.h"

#include <errno.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

namespace {

KELSysResult LastError() { return KELSysResultFromErrno(errno); }

// O_NONBLOCK: opening a FIFO without a writer, or a device, must not wait. The descriptor is
// checked right after and only regular files are kept, on which the flag has no effect.
int OpenFlags(uint32_t iMode) {
  return (iMode == MORLockBytesReadWrite ? O_RDWR : O_RDONLY) | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
}

// The type, size, count of names, device and inode of the open file iFd, in oStat (its other fields
// are left out): 0, or -1 with errno set. Only these are asked for: the whole status, as fstat
// takes it, costs some file systems several times more (ext4 works out the blocks of a small file
// kept within its inode).
int Status(int iFd, struct stat& oStat) {
  constexpr unsigned k_Wanted = STATX_TYPE | STATX_MODE | STATX_NLINK | STATX_INO | STATX_SIZE;
  struct statx l_Status;
  if (statx(iFd, "", AT_EMPTY_PATH | AT_STATX_SYNC_AS_STAT, k_Wanted, &l_Status) != 0) {
    // A system without statx (or one that filters it out) still has fstat.
    if (errno != ENOSYS && errno != EPERM) return -1;
    return fstat(iFd, &oStat);
  }
  if ((l_Status.stx_mask & k_Wanted) != k_Wanted) return fstat(iFd, &oStat);
  oStat.st_mode = l_Status.stx_mode;
  oStat.st_size = off_t(l_Status.stx_size);
  oStat.st_nlink = nlink_t(l_Status.stx_nlink);
  oStat.st_dev = makedev(l_Status.stx_dev_major, l_Status.stx_dev_minor);
  oStat.st_ino = ino_t(l_Status.stx_ino);
  return 0;
}

// Cleared for good when the system turns openat2 down as such (too old, or filtered out).
std::atomic<bool> s_CanResolveBelow{true};

// openat2 with the resolve flags iResolve; ENOSYS once the system has turned it down.
int OpenResolved(int iDirFd, const char* iPath, uint32_t iMode, uint64_t iResolve) {
  if (!s_CanResolveBelow.load(std::memory_order_relaxed)) {
    errno = ENOSYS;
    return -1;
  }
  open_how l_How{};
  l_How.flags = uint64_t(OpenFlags(iMode));
  l_How.resolve = iResolve;
  int l_Fd = int(syscall(SYS_openat2, iDirFd, iPath, &l_How, sizeof l_How));
  if (l_Fd < 0 && (errno == ENOSYS || errno == EPERM || errno == EINVAL || errno == E2BIG))
    s_CanResolveBelow.store(false, std::memory_order_relaxed);
  return l_Fd;
}

}  // namespace

KELSysResult MORFileLockBytes::Open(int iDirFd, const char* iPath, uint32_t iMode, uint32_t iShare,
                                    std::unique_ptr<MORFileLockBytes>& oFile) {
  (void)iShare;  // sharing is not enforced here: the registry locks key files itself
  return Adopt(OpenDescriptor(iDirFd, iPath, iMode), iMode, oFile);
}

KELSysResult MORFileLockBytes::OpenBelow(int iDirFd, const char* iPath, uint32_t iMode,
                                         std::unique_ptr<MORFileLockBytes>& oFile) {
  return Adopt(OpenDescriptorBelow(iDirFd, iPath, iMode), iMode, oFile);
}

int MORFileLockBytes::OpenDescriptor(int iDirFd, const char* iPath, uint32_t iMode) {
  return openat(iDirFd, iPath, OpenFlags(iMode));
}

int MORFileLockBytes::OpenDescriptorBelow(int iDirFd, const char* iPath, uint32_t iMode) {
  return OpenResolved(iDirFd, iPath, iMode, RESOLVE_NO_SYMLINKS | RESOLVE_BENEATH);
}

int MORFileLockBytes::OpenDescriptorWithoutLinks(int iDirFd, const char* iPath, uint32_t iMode) {
  return OpenResolved(iDirFd, iPath, iMode, RESOLVE_NO_SYMLINKS);
}

KELSysResult MORFileLockBytes::Adopt(int iFd, uint32_t iMode, std::unique_ptr<MORFileLockBytes>& oFile) {
  if (iFd < 0) return LastError();
  struct stat l_Stat;
  KELSysResult l_Rc = KEL_S_OK;
  if (Status(iFd, l_Stat) != 0)
    l_Rc = LastError();
  else if (!S_ISREG(l_Stat.st_mode))
    l_Rc = KEL_E_FAIL;
  if (l_Rc != KEL_S_OK) {
    close(iFd);
    return l_Rc;
  }
  oFile.reset(new MORFileLockBytes(iFd, iMode == MORLockBytesReadWrite ? iMode : MORLockBytesRead, l_Stat));
  return KEL_S_OK;
}

int MORFileLockBytes::OpenDescriptorNotLinked(int iDirFd, const char* iName, uint32_t iMode) {
  return openat(iDirFd, iName, OpenFlags(iMode) | O_NOFOLLOW);
}

std::unique_ptr<MORFileLockBytes> MORFileLockBytes::AdoptUnchecked(int iFd, uint32_t iMode) {
  struct stat l_Unknown {};
  std::unique_ptr<MORFileLockBytes> l_File(
      new MORFileLockBytes(iFd, iMode == MORLockBytesReadWrite ? iMode : MORLockBytesRead, l_Unknown));
  l_File->m_OpenStatFresh = false;
  return l_File;
}

KELSysResult MORFileLockBytes::Settle() {
  struct stat l_Stat;
  if (Status(m_Fd, l_Stat) != 0) return LastError();
  if (!S_ISREG(l_Stat.st_mode)) return KEL_E_FAIL;
  m_OpenSize = uint64_t(l_Stat.st_size);
  m_Device = l_Stat.st_dev;
  m_Inode = l_Stat.st_ino;
  m_Links = l_Stat.st_nlink;
  m_OpenStatFresh = true;
  return KEL_S_OK;
}

MORFileLockBytes::MORFileLockBytes(int iFd, uint32_t iMode, const struct stat& iStat)
    : m_Fd(iFd),
      m_Mode(iMode),
      m_OpenSize(uint64_t(iStat.st_size)),
      m_Device(iStat.st_dev),
      m_Inode(iStat.st_ino),
      m_Links(iStat.st_nlink) {}

MORFileLockBytes::~MORFileLockBytes() { Close(); }

void MORFileLockBytes::Close() {
  if (m_Fd >= 0) close(m_Fd);
  m_Fd = -1;
}

KELSysResult MORFileLockBytes::ReadAt(uint64_t iOffset, void* oBuffer, size_t iCount, size_t& oRead) {
  m_OpenStatFresh = false;
  oRead = 0;
  char* l_Out = static_cast<char*>(oBuffer);
  while (oRead < iCount) {
    ssize_t l_Got = pread(m_Fd, l_Out + oRead, iCount - oRead, off_t(iOffset + oRead));
    if (l_Got < 0 && errno == EINTR) continue;
    if (l_Got < 0) return LastError();
    if (l_Got == 0) break;
    oRead += size_t(l_Got);
  }
  return KEL_S_OK;
}

KELSysResult MORFileLockBytes::ReadSome(uint64_t iOffset, void* oBuffer, size_t iCount, size_t& oRead) {
  m_OpenStatFresh = false;
  oRead = 0;
  ssize_t l_Got;
  while ((l_Got = pread(m_Fd, oBuffer, iCount, off_t(iOffset))) < 0 && errno == EINTR) {
  }
  if (l_Got < 0) return LastError();
  oRead = size_t(l_Got);
  return KEL_S_OK;
}

KELSysResult MORFileLockBytes::WriteAt(uint64_t iOffset, const void* iBuffer, size_t iCount,
                                       size_t& oWritten) {
  m_OpenStatFresh = false;
  oWritten = 0;
  if (m_Mode != MORLockBytesReadWrite) return KEL_E_ACCESSDENIED;
  if (iCount == 0) return KEL_S_OK;
  struct stat l_Before;
  if (Status(m_Fd, l_Before) != 0) return LastError();
  // The whole range is reserved: a hole within the file needs room as much as the bytes beyond it.
  return Write(iOffset, iBuffer, iCount, uint64_t(l_Before.st_size), true, oWritten);
}

KELSysResult MORFileLockBytes::Overwrite(const void* iBuffer, size_t iCount, uint64_t iSize,
                                         size_t& oWritten) {
  m_OpenStatFresh = false;
  oWritten = 0;
  if (m_Mode != MORLockBytesReadWrite) return KEL_E_ACCESSDENIED;
  if (iCount == 0) return KEL_S_OK;
  return Write(0, iBuffer, iCount, iSize, false, oWritten);
}

KELSysResult MORFileLockBytes::Write(uint64_t iOffset, const void* iBuffer, size_t iCount, uint64_t iSize,
                                     bool iWholeRange, size_t& oWritten) {
  // Reserve the range (or only what lies beyond the file's end) before the first byte is written, so that a
  // full disk or an exhausted quota is met here, with the old content still whole, and not halfway through
  // the write.
  const uint64_t l_End = iOffset + iCount;
  const uint64_t l_From = iWholeRange ? iOffset : std::max(iSize, iOffset);
  if (l_End > l_From) {
    int l_Err = posix_fallocate(m_Fd, off_t(l_From), off_t(l_End - l_From));
    if (l_Err != 0) {
      // Some file systems keep the part they managed to allocate, with the size grown over it: give
      // the file back its old length.
      struct stat l_After;
      if (Status(m_Fd, l_After) == 0 && uint64_t(l_After.st_size) != iSize) {
        int l_Ignored = ftruncate(m_Fd, off_t(iSize));
        (void)l_Ignored;
      }
      return KELSysResultFromErrno(l_Err);
    }
  }
  const char* l_In = static_cast<const char*>(iBuffer);
  while (oWritten < iCount) {
    ssize_t l_Put = pwrite(m_Fd, l_In + oWritten, iCount - oWritten, off_t(iOffset + oWritten));
    if (l_Put < 0 && errno == EINTR) continue;
    if (l_Put <= 0) return l_Put < 0 ? LastError() : KEL_E_FAIL;
    oWritten += size_t(l_Put);
  }
  return KEL_S_OK;
}

KELSysResult MORFileLockBytes::SetSize(uint64_t iSize) {
  m_OpenStatFresh = false;
  if (m_Mode != MORLockBytesReadWrite) return KEL_E_ACCESSDENIED;
  return ftruncate(m_Fd, off_t(iSize)) == 0 ? KEL_S_OK : LastError();
}

void MORFileLockBytes::Restat() {
  struct stat l_Stat;
  m_OpenStatFresh = Status(m_Fd, l_Stat) == 0;
  if (!m_OpenStatFresh) return;
  m_OpenSize = uint64_t(l_Stat.st_size);
  m_Links = l_Stat.st_nlink;
}

KELSysResult MORFileLockBytes::Stat(MORLockBytesStat& oStat) {
  oStat.grfMode = m_Mode;
  if (m_OpenStatFresh) {
    // Nothing has touched the file through this object since it was opened a moment ago.
    m_OpenStatFresh = false;
    oStat.cbSize = m_OpenSize;
    return KEL_S_OK;
  }
  struct stat l_Stat;
  if (Status(m_Fd, l_Stat) != 0) return LastError();
  oStat.cbSize = uint64_t(l_Stat.st_size);
  return KEL_S_OK;
}
