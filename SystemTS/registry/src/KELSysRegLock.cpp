#include "KELSysRegLock.h"

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

namespace {

// The forks this process has made (counted before each, so a child sees the count its parent has
// after it). While it is unchanged since a lock was taken, no other process shares the locked open
// file description, and closing its last descriptor releases the lock without an unlock of its own.
std::atomic<unsigned> g_Forks{0};

unsigned Forks() {
  static const bool s_Counting =
      pthread_atfork([] { g_Forks.fetch_add(1, std::memory_order_relaxed); }, nullptr, nullptr) == 0;
  // Without the count every release unlocks explicitly.
  return s_Counting ? g_Forks.load(std::memory_order_relaxed) : ~0u;
}

// The exclusive holds of every thread of the process. Most processes (a listing) never hold one: the
// count spares them the mutex.
struct HoldTable {
  std::mutex m_Mutex;
  std::vector<KELSysRegHold*> m_Holds;
  std::atomic<size_t> m_Count{0};
};

HoldTable& Table() {
  static HoldTable s_Table;
  return s_Table;
}

// Asks for the lock iOperation (LOCK_SH or LOCK_EX) until it is granted or KELSysRegLockWait is over.
KELSysResult Wait(int iFd, int iOperation) {
  if (flock(iFd, iOperation | LOCK_NB) == 0) return KEL_S_OK;
  const auto l_Deadline = std::chrono::steady_clock::now() + KELSysRegLockWait;
  long l_Pause = 50'000;  // ns
  for (;;) {
    if (errno != EWOULDBLOCK && errno != EINTR) return KELSysResultFromErrno(errno);
    if (std::chrono::steady_clock::now() >= l_Deadline) return KEL_E_TIMEOUT;
    timespec l_Sleep{0, l_Pause};
    nanosleep(&l_Sleep, nullptr);
    l_Pause = std::min(2 * l_Pause, 1'000'000L);
    if (flock(iFd, iOperation | LOCK_NB) == 0) return KEL_S_OK;
  }
}

// This thread's hold on the file, or nullptr. Called with the table's mutex held.
KELSysRegHold* Find(const HoldTable& iTable, dev_t iDevice, ino_t iInode) {
  const std::thread::id l_Thread = std::this_thread::get_id();
  for (KELSysRegHold* l_Hold : iTable.m_Holds)
    if (l_Hold->m_Device == iDevice && l_Hold->m_Inode == iInode && l_Hold->m_Thread == l_Thread)
      return l_Hold;
  return nullptr;
}

}  // namespace

KELSysResult KELSysRegLock::Exclusive(int iFd, dev_t iDevice, ino_t iInode, KELSysRegHold*& oHold,
                                      bool& oJoined) {
  HoldTable& l_Table = Table();
  oHold = nullptr;
  oJoined = false;
  if (l_Table.m_Count.load(std::memory_order_acquire) != 0) {
    std::lock_guard<std::mutex> l_Guard(l_Table.m_Mutex);
    KELSysRegHold* l_Hold = Find(l_Table, iDevice, iInode);
    if (l_Hold) {
      // The lock must now outlive the descriptor of the key that took it: the hold gets its own.
      if (!l_Hold->m_OwnFd) {
        int l_Fd = fcntl(l_Hold->m_Fd, F_DUPFD_CLOEXEC, 0);
        if (l_Fd < 0) return KELSysResultFromErrno(errno);
        l_Hold->m_Fd = l_Fd;
        l_Hold->m_OwnFd = true;
      }
      ++l_Hold->m_Count;
      oHold = l_Hold;
      oJoined = true;
      return KEL_S_OK;
    }
  }
  KELSysResult l_Rc = Wait(iFd, LOCK_EX);
  if (l_Rc != KEL_S_OK) return l_Rc;
  oHold = Hold(iFd, iDevice, iInode);
  return KEL_S_OK;
}

KELSysResult KELSysRegLock::LockExclusive(int iFd) { return Wait(iFd, LOCK_EX); }

KELSysRegHold* KELSysRegLock::Hold(int iFd, dev_t iDevice, ino_t iInode) {
  auto* l_Hold = new KELSysRegHold;
  l_Hold->m_Device = iDevice;
  l_Hold->m_Inode = iInode;
  l_Hold->m_Thread = std::this_thread::get_id();
  l_Hold->m_Fd = iFd;
  l_Hold->m_Count = 1;
  l_Hold->m_Forks = Forks();
  HoldTable& l_Table = Table();
  std::lock_guard<std::mutex> l_Guard(l_Table.m_Mutex);
  l_Table.m_Holds.push_back(l_Hold);
  l_Table.m_Count.store(l_Table.m_Holds.size(), std::memory_order_release);
  return l_Hold;
}

void KELSysRegLock::Release(KELSysRegHold*& ioHold) {
  if (!ioHold) return;
  KELSysRegHold* l_Hold = ioHold;
  ioHold = nullptr;
  HoldTable& l_Table = Table();
  {
    std::lock_guard<std::mutex> l_Guard(l_Table.m_Mutex);
    if (--l_Hold->m_Count != 0) return;
    std::erase(l_Table.m_Holds, l_Hold);
    l_Table.m_Count.store(l_Table.m_Holds.size(), std::memory_order_release);
  }
  // The caller closes its key's descriptor right after, and the hold's own one is closed here; that
  // releases the lock, unless a child made by fork since has a descriptor of the same open file
  // description: then it is unlocked at once, whatever the child does.
  const unsigned l_Forks = Forks();
  if (l_Forks != l_Hold->m_Forks || l_Forks == ~0u) flock(l_Hold->m_Fd, LOCK_UN);
  if (l_Hold->m_OwnFd) close(l_Hold->m_Fd);
  delete l_Hold;
}

KELSysResult KELSysRegLock::Shared(int iFd) { return Wait(iFd, LOCK_SH); }

bool KELSysRegLock::AnyHeld() { return Table().m_Count.load(std::memory_order_acquire) != 0; }

bool KELSysRegLock::HeldByThread(dev_t iDevice, ino_t iInode) {
  HoldTable& l_Table = Table();
  if (l_Table.m_Count.load(std::memory_order_acquire) == 0) return false;
  std::lock_guard<std::mutex> l_Guard(l_Table.m_Mutex);
  return Find(l_Table, iDevice, iInode) != nullptr;
}
