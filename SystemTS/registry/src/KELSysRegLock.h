// Advisory locks on key files: the one place the registry takes them.
//
// Kind. flock(2) locks: one lock on the whole file, owned by the open file description. Closing some
// other descriptor of the same file elsewhere in the process does not drop it (as it would a classic
// record lock), and both the shared and the exclusive kind can be taken on a descriptor opened
// read-only, which every created key needs: a key created with read access alone still holds the
// exclusive lock over its read. Open file description record locks would need a descriptor opened for
// writing for the exclusive kind. Other programs that touch key files are kept apart only when they
// take flock locks too.
//
// What is held. A key opened for writing (access 0x9), and every created key, holds the exclusive lock
// from before it reads its file on open to after its write-back on close, so that read-modify-write
// cycles of several processes on one key follow one another and none is lost. A key opened read-only
// takes the shared lock around its one read only: it never reads a write-back halfway, and holds
// nothing while its caller works.
//
// Waiting. A lock that is not free is asked for again, after pauses growing from 50 us to 1 ms, until
// KELSysRegLockWait has passed; the open then fails with KEL_E_TIMEOUT. No system call waits for a lock
// with a time limit, and ending a waiting call with a timer signal would take a signal away from the
// application.
//
// Within one thread. The exclusive locks a thread holds are listed by device and inode. A further key
// that the same thread opens on such a file shares the hold instead of waiting for itself: a writable
// one joins it (the file is unlocked when the last of them is closed), a read-only one reads at once.
// Each key object keeps its own copy of the values, and the last one closed writes the file, as the
// thread asked. Other threads wait as other processes do. A child made by fork shares the locks of
// the descriptors it inherits.
#ifndef KELSysRegLock_H
#define KELSysRegLock_H

#include <sys/types.h>

#include <chrono>
#include <string>
#include <thread>

#include "KELSysResult.h"

// How long an open waits for the lock of a key file before it fails.
inline constexpr std::chrono::milliseconds KELSysRegLockWait{5000};

// An exclusive lock that this thread holds on one key file, shared by the key objects it opened there.
struct KELSysRegHold {
  // The key file's bytes as they stand under this hold: as read on open, then as last written back.
  // A failed write-back puts them back.
  std::string m_Bytes;
  // Whether m_Bytes are what the file holds (and so its size is theirs): false after a failed
  // write-back whose old bytes could not be put back.
  bool m_Exact = true;

  // The rest is KELSysRegLock's.
  dev_t m_Device = 0;
  ino_t m_Inode = 0;
  std::thread::id m_Thread;
  // A descriptor of the locked open file description: that of the key that took the lock, until a
  // second key joins; from then on a duplicate of it owned by the hold (m_OwnFd), so that the lock
  // outlives the first key's descriptor.
  int m_Fd = -1;
  bool m_OwnFd = false;
  unsigned m_Forks = 0;  // the process's fork count when the lock was taken
  unsigned m_Count = 0;
};

class KELSysRegLock {
 public:
  // Takes the exclusive lock on the open key file iFd (device iDevice, inode iInode), or joins this
  // thread's hold on it (oJoined). On success oHold is the hold, to be given back with Release; the
  // key that took the lock keeps iFd open until then. KEL_E_TIMEOUT when the wait is over; the
  // failure of a system call otherwise.
  static KELSysResult Exclusive(int iFd, dev_t iDevice, ino_t iInode, KELSysRegHold*& oHold, bool& oJoined);
  // The same in two steps, for a key file not yet known, when no thread holds a lock (AnyHeld is
  // false, so there is no hold of this thread to join): the lock on iFd (results as Exclusive),
  // then, once the file is known, the hold made of it.
  static KELSysResult LockExclusive(int iFd);
  static KELSysRegHold* Hold(int iFd, dev_t iDevice, ino_t iInode);
  // Leaves the hold (unlocking the file when it was the last key on it); sets ioHold to nullptr.
  static void Release(KELSysRegHold*& ioHold);

  // Takes the shared lock on iFd for one read; closing the descriptor releases it. KEL_E_TIMEOUT
  // when the wait is over; the failure of a system call otherwise. A read-only key of a thread that
  // holds the file exclusively (HeldByThread) takes none.
  static KELSysResult Shared(int iFd);
  // Whether any thread of the process holds an exclusive lock; when none does, a reader need not
  // know which file it opened before locking it.
  static bool AnyHeld();
  static bool HeldByThread(dev_t iDevice, ino_t iInode);
};

#endif
