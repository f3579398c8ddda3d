// A plain file behind MORILockBytes: one POSIX descriptor, positioned reads and writes. The object
// owns its descriptor and closes it when destroyed; it takes no lock itself (the registry locks key
// files through the descriptor).
//
// Only regular files are opened. A FIFO, a device, a socket or a directory is refused at once (it is
// opened without blocking and checked before any read), so that a hostile file cannot hang a reader.
// A regular file of any size opens; readers read no more than MORFileLockBytesMaxSize of one, so
// that it cannot exhaust them either.
#ifndef MORFileLockBytes_H
#define MORFileLockBytes_H

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <memory>

#include "MORILockBytes.h"

inline constexpr uint64_t MORFileLockBytesMaxSize = uint64_t(64) << 20;  // 64 MiB

class MORFileLockBytes final : public MORILockBytes {
 public:
  // Opens iPath (relative to the directory descriptor iDirFd unless iPath is absolute; AT_FDCWD
  // for the working directory) in mode iMode (MORLockBytesRead or MORLockBytesReadWrite). The share
  // mode iShare is accepted for callers that pass one and is not enforced. On success oFile holds
  // the open file. Failures: the code of the failed system call (KELSysResultFromErrno), KEL_E_FAIL
  // for a file that is not a regular file.
  static KELSysResult Open(int iDirFd, const char* iPath, uint32_t iMode, uint32_t iShare,
                           std::unique_ptr<MORFileLockBytes>& oFile);
  // As Open, relative to iDirFd, but only along a path without links that stays below iDirFd
  // (every step "NAME/.." must come back there). Any other path fails, with ELOOP or EXDEV, and so
  // does every open on a system that cannot resolve paths this way: callers then take another way.
  static KELSysResult OpenBelow(int iDirFd, const char* iPath, uint32_t iMode,
                                std::unique_ptr<MORFileLockBytes>& oFile);

  ~MORFileLockBytes() override;
  MORFileLockBytes(const MORFileLockBytes&) = delete;
  MORFileLockBytes& operator=(const MORFileLockBytes&) = delete;

  KELSysResult ReadAt(uint64_t iOffset, void* oBuffer, size_t iCount, size_t& oRead) override;
  KELSysResult WriteAt(uint64_t iOffset, const void* iBuffer, size_t iCount, size_t& oWritten) override;
  KELSysResult SetSize(uint64_t iSize) override;
  KELSysResult Stat(MORLockBytesStat& oStat) override;

  // Makes the next Stat ask the system: the file may have changed since the open (a lock awaited).
  void ForgetOpenStat() { m_OpenStatFresh = false; }
  // The open mode, as Stat reports it, without asking the system.
  uint32_t GetMode() const { return m_Mode; }
  // The descriptor (still owned by the object), and the file's device and inode as at the open.
  int GetDescriptor() const { return m_Fd; }
  dev_t GetDevice() const { return m_Device; }
  ino_t GetInode() const { return m_Inode; }

 private:
  MORFileLockBytes(int iFd, uint32_t iMode, const struct stat& iStat);
  // Keeps the descriptor iFd (closing it unless it is kept) when it is an open regular file; a
  // negative iFd reports errno.
  static KELSysResult Adopt(int iFd, uint32_t iMode, std::unique_ptr<MORFileLockBytes>& oFile);

  int m_Fd;
  uint32_t m_Mode;
  // The status taken when the file was opened. The first Stat after the open answers from it
  // instead of asking the system again; any later Stat asks.
  uint64_t m_OpenSize;
  bool m_OpenStatFresh = true;
  dev_t m_Device;
  ino_t m_Inode;
};

#endif
