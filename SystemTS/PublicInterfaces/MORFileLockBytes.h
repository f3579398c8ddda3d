// A plain file behind MORILockBytes: one POSIX descriptor, positioned reads and writes. The object
// owns its descriptor and closes it when destroyed; it takes no lock itself (the registry locks key
// files through the descriptor).
//
// Only regular files are opened. A FIFO, a device, a socket or a directory is refused at once (it is
// opened without blocking and checked before any read, or, taken by AdoptUnchecked, by a first read
// that cannot end as a regular file's does), so that a hostile file cannot hang a reader.
// A regular file of any size opens; readers read no more than MORFileLockBytesMaxSize of one, so
// that it cannot exhaust them either.
#ifndef MORFileLockBytes_H
#define MORFileLockBytes_H

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <memory>

#include "MORILockBytes.h"

// What reading a file may cost. The registry parses a key file whole into a tree that it holds
// while the key is open, so two bounds keep a hostile file from exhausting or stalling a reader:
//
// - The size limit, 1 MiB. A key file holds a key's values only (its subkeys are folders), a few
//   hundred bytes for the keys of an installation: 1 MiB is a thousand times that.
// - The reading budget: the parser weighs a text before it builds anything (a first pass counts
//   every container's members and every string's bytes) and refuses one whose tree and working
//   storage would take more than 14 n + 256 KiB for n bytes of text, as if memory had run out. With
//   the text itself, a key file of n bytes then costs its reader at most 16 n + 1 MiB at the peak,
//   whatever its shape, and every key open at the same time adds its own.
//
// Why 14 n: the tree takes 24 bytes a value, 48 a pair, 8 bytes and the string's own for a string
// or key, and about 64 for a container with members. A key file as the registry writes it (a value
// is a pair holding [type, data]) takes at most about 14 n however short its names and data, and
// about 6 n as the sample registry's are; a number, an empty string or an empty container every
// two or three bytes takes up to 12 n. Such files are read. Only texts made of containers that hold
// one member each, nested or side by side ("[[[1]]],[[[1]]]..."), would cost more, up to 44 n:
// they, and chains of tokens hung below each other by colons ("1:1:1..."), are refused, and the key
// opens without values, as for a text that is not JSON. Texts up to 4 KiB (at most about 216 KiB to
// read) are never refused. Time follows the same weight: reading is one pass that counts and one
// that builds, and a refused text costs the first pass alone.
inline constexpr uint64_t MORFileLockBytesMaxSize = uint64_t(1) << 20;  // 1 MiB
inline constexpr uint64_t MORFileLockBytesReadBudget(uint64_t iSize) {
  return 14 * iSize + (uint64_t(256) << 10);
}

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

  // The same opens in two steps, for callers that act on the descriptor before it is checked (the
  // registry takes its lock there, so that the size seen is the one it reads): the bare descriptor
  // (negative with errno set on failure), then Adopt, which keeps it as oFile when it is an open
  // regular file and closes it otherwise, reporting errno for a negative iFd.
  static int OpenDescriptor(int iDirFd, const char* iPath, uint32_t iMode);
  static int OpenDescriptorBelow(int iDirFd, const char* iPath, uint32_t iMode);
  // As OpenDescriptor, but only along a path without links (it may leave iDirFd, and may be
  // absolute). Fails with ELOOP on a link, and on every open where the system cannot resolve paths
  // this way.
  static int OpenDescriptorWithoutLinks(int iDirFd, const char* iPath, uint32_t iMode);
  static KELSysResult Adopt(int iFd, uint32_t iMode, std::unique_ptr<MORFileLockBytes>& oFile);
  // As OpenDescriptor, for the file iName of the folder iDirFd, which must not be a link (ELOOP).
  static int OpenDescriptorNotLinked(int iDirFd, const char* iName, uint32_t iMode);
  // Takes an open descriptor of a file reached without links as Adopt does, but before its kind is
  // known, so that a reader may read it first: a regular file is what a read from offset 0 that
  // ends short of the room it was given, with more than nothing, can only come from (a FIFO, a
  // folder or a socket fails to read at an offset or to open; a device node, which only the
  // administrator can make, reads as empty or fills the room). Any other read must be followed by
  // Settle before the file is trusted.
  static std::unique_ptr<MORFileLockBytes> AdoptUnchecked(int iFd, uint32_t iMode);
  // Asks for the status of a file taken unchecked: KEL_S_OK for a regular file, whose size the next
  // Stat answers; KEL_E_FAIL for any other kind; else the failure of the call.
  KELSysResult Settle();

  ~MORFileLockBytes() override;
  MORFileLockBytes(const MORFileLockBytes&) = delete;
  MORFileLockBytes& operator=(const MORFileLockBytes&) = delete;

  KELSysResult ReadAt(uint64_t iOffset, void* oBuffer, size_t iCount, size_t& oRead) override;
  // One read of up to iCount bytes at iOffset, which may end short of them (ReadAt reads on until
  // it has them all or meets the end).
  KELSysResult ReadSome(uint64_t iOffset, void* oBuffer, size_t iCount, size_t& oRead);
  KELSysResult WriteAt(uint64_t iOffset, const void* iBuffer, size_t iCount, size_t& oWritten) override;
  KELSysResult SetSize(uint64_t iSize) override;
  KELSysResult Stat(MORLockBytesStat& oStat) override;

  // Takes the file's status again, for the next Stat and for GetLinks: the file may have changed
  // since the open (a lock awaited). When the system cannot say, the next Stat asks it again and
  // GetLinks keeps its last answer.
  void Restat();
  // Writes iCount bytes at offset 0 of a file that the caller knows to be iSize bytes long (it holds
  // the file's lock): as WriteAt, but the file is not asked for its size and room is reserved first
  // only for the bytes beyond iSize. Where rewriting bytes already there needs room too (a hole, a
  // file system that copies on write), running out of it is a short write, which the caller puts
  // right as it does a file-size limit.
  KELSysResult Overwrite(const void* iBuffer, size_t iCount, uint64_t iSize, size_t& oWritten);
  // Closes the descriptor now (releasing any lock on it); reads, writes and Stat then fail.
  void Close();
  // The open mode, as Stat reports it, without asking the system.
  uint32_t GetMode() const { return m_Mode; }
  // The descriptor (still owned by the object), and the file's device and inode as at the open.
  int GetDescriptor() const { return m_Fd; }
  dev_t GetDevice() const { return m_Device; }
  ino_t GetInode() const { return m_Inode; }
  // The file's count of names as at the open or the last Restat: 0 once it has been removed.
  nlink_t GetLinks() const { return m_Links; }

 private:
  MORFileLockBytes(int iFd, uint32_t iMode, const struct stat& iStat);
  // Writes iCount bytes at iOffset into a file of iSize bytes, reserving room first for the whole
  // range, or (iWholeRange false) for what lies beyond iSize.
  KELSysResult Write(uint64_t iOffset, const void* iBuffer, size_t iCount, uint64_t iSize, bool iWholeRange,
                     size_t& oWritten);

  int m_Fd;
  uint32_t m_Mode;
  // The status taken when the file was opened (or by Restat). The first Stat after it answers from
  // it instead of asking the system again; any later Stat asks.
  uint64_t m_OpenSize;
  bool m_OpenStatFresh = true;
  dev_t m_Device;
  ino_t m_Inode;
  nlink_t m_Links;
};

#endif
