// A plain file behind MORILockBytes: one POSIX descriptor, no locking, positioned reads and writes.
// The object owns its descriptor and closes it when destroyed.
//
// Only regular files are opened. A FIFO, a device, a socket or a directory is refused at once
// (it is opened without blocking and checked before any read), and so is a file larger than
// MORFileLockBytesMaxSize, so that a hostile file can neither hang nor exhaust a reader.
#ifndef MORFileLockBytes_H
#define MORFileLockBytes_H

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <memory>

#include "MORILockBytes.h"

// The size limit, 1 MiB, bounds what reading one file can cost, since the registry parses a key
// file whole into a tree that it holds while the key is open. Measured on the costliest texts (a
// number, an empty string or an empty container every two or three bytes, many members; deep
// nesting stops at the parser's depth bound), a key file of n bytes costs its reader at most
// 36 n + 1 MiB at the peak: 48 bytes a tree value and 20 a token record every two bytes, and the
// text itself. A plain key file of string values costs about 7 n. Up to the limit L that is at most
// 16 n + 20 L + 1 MiB = 16 n + 21 MiB, and 21 MiB more for every other key open at the same time.
// A key file holds a key's values only (its subkeys are folders), a few hundred bytes for the keys
// of an installation: 1 MiB is a thousand times that, and a hostile file of that size costs tens of
// megabytes and milliseconds, where at 64 MiB one took gigabytes and seconds.
inline constexpr uint64_t MORFileLockBytesMaxSize = uint64_t(1) << 20;  // 1 MiB

class MORFileLockBytes final : public MORILockBytes {
 public:
  // Opens iPath (relative to the directory descriptor iDirFd unless iPath is absolute; AT_FDCWD
  // for the working directory) in mode iMode (MORLockBytesRead or MORLockBytesReadWrite). The share
  // mode iShare is accepted for callers that pass one and is not enforced. On success oFile holds
  // the open file. Failures: the code of the failed system call (KELSysResultFromErrno), KEL_E_FAIL
  // for a file that is not a regular file, KELSysResultFromErrno(EFBIG) for one over the size limit.
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

  // The open mode, as Stat reports it, without asking the system.
  uint32_t GetMode() const { return m_Mode; }

 private:
  MORFileLockBytes(int iFd, uint32_t iMode, const struct stat& iStat);
  // Keeps the descriptor iFd (closing it unless it is kept) when it is an open regular file within
  // the size limit; a negative iFd reports errno.
  static KELSysResult Adopt(int iFd, uint32_t iMode, std::unique_ptr<MORFileLockBytes>& oFile);

  int m_Fd;
  uint32_t m_Mode;
  // The status taken when the file was opened. The first Stat after the open answers from it
  // instead of asking the system again; any later Stat asks.
  uint64_t m_OpenSize;
  bool m_OpenStatFresh = true;
};

#endif
