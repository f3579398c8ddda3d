// A byte store addressed by offset, as the registry keeps its key files: read and write at an
// offset, set the size, and report size and open mode. Every operation returns a result code and
// never throws.
#ifndef MORILockBytes_H
#define MORILockBytes_H

#include <cstddef>
#include <cstdint>

#include "KELSysResult.h"

// Open modes, as reported in MORLockBytesStat::grfMode.
inline constexpr uint32_t MORLockBytesRead = 0;       // read only
inline constexpr uint32_t MORLockBytesReadWrite = 2;  // read and write

// What Stat reports.
struct MORLockBytesStat {
  uint64_t cbSize = 0;   // current size in bytes
  uint32_t grfMode = 0;  // the open mode: MORLockBytesRead or MORLockBytesReadWrite
};

class MORILockBytes {
 public:
  virtual ~MORILockBytes() = default;

  // Reads up to iCount bytes from iOffset into oBuffer; oRead gets the count read, which is short
  // only at the end of the data. KEL_S_OK or the failure of the read.
  virtual KELSysResult ReadAt(uint64_t iOffset, void* oBuffer, size_t iCount, size_t& oRead) = 0;

  // Writes iCount bytes at iOffset; oWritten gets the count written. The store first makes sure it
  // can hold the whole range, and when it cannot (no space left, a size limit) it is left exactly as
  // it was and nothing is written. A failure after that (a file-size limit within the range, an
  // error of the device) can leave the first oWritten bytes written: the caller that needs all or
  // nothing puts the old bytes back. KEL_E_ACCESSDENIED when the store is read-only; otherwise the
  // failure of the system.
  virtual KELSysResult WriteAt(uint64_t iOffset, const void* iBuffer, size_t iCount, size_t& oWritten) = 0;

  // Cuts or extends the data to iSize bytes. KEL_E_ACCESSDENIED when the store is read-only.
  virtual KELSysResult SetSize(uint64_t iSize) = 0;

  // The current size and the open mode.
  virtual KELSysResult Stat(MORLockBytesStat& oStat) = 0;
};

#endif
