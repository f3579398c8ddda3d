// The peak memory that one piece of work takes, measured in a child process so that nothing the
// caller allocated before, or frees to its own heap, blurs it. The work runs on a thread of its own,
// so that storage an earlier reader kept per thread does not hide what the work needs. Under AddressSanitizer
// the bytes are the allocator's own count of live heap bytes (its hooks see every block); otherwise they are
// the growth of the child's resident set, whose high-water mark is reset before the work starts.
#ifndef KELSysMemoryPeak_H
#define KELSysMemoryPeak_H

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <thread>

#if defined(__SANITIZE_ADDRESS__)
#define KEL_MEMORY_PEAK_HOOKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KEL_MEMORY_PEAK_HOOKS 1
#endif
#endif

#ifdef KEL_MEMORY_PEAK_HOOKS
// The sanitizer's allocator interface (declared here: not every compiler ships its header).
extern "C" size_t __sanitizer_get_allocated_size(const volatile void* iBlock);
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*iMalloc)(const volatile void*, size_t),
                                                         void (*iFree)(const volatile void*));
namespace KELSysMemoryPeakDetail {
inline std::atomic<bool> g_Counting{false};
inline std::atomic<int64_t> g_Live{0}, g_Peak{0};
inline void OnMalloc(const volatile void*, size_t iSize) {
  if (!g_Counting) return;
  const int64_t l_Live = g_Live += static_cast<int64_t>(iSize);
  for (int64_t l_Peak = g_Peak; l_Live > l_Peak && !g_Peak.compare_exchange_weak(l_Peak, l_Live);) {
  }
}
inline void OnFree(const volatile void* iBlock) {
  if (g_Counting) g_Live -= static_cast<int64_t>(__sanitizer_get_allocated_size(iBlock));
}
}  // namespace KELSysMemoryPeakDetail

// Under AddressSanitizer, in this process: the most heap bytes held at once beyond those held before,
// while iWork runs on a thread of its own (so that storage kept per thread from earlier work is not
// reused). The allocator's hooks count every block of every thread meanwhile.
inline int64_t KELSysHeapPeak(const std::function<void()>& iWork) {
  using namespace KELSysMemoryPeakDetail;
  [[maybe_unused]] static const int s_Hooked = __sanitizer_install_malloc_and_free_hooks(OnMalloc, OnFree);
  g_Live = g_Peak = 0;
  g_Counting = true;
  std::thread(iWork).join();
  g_Counting = false;
  return g_Peak;
}
#else
// Otherwise: the growth of this process's resident set while iWork runs on a thread of its own, its
// high-water mark reset before (-1 when it cannot be read).
inline int64_t KELSysHeapPeak(const std::function<void()>& iWork) {
  auto l_Status = [](const char* iField) -> int64_t {  // a "Vm...:  N kB" line, in bytes
    std::ifstream l_In("/proc/self/status");
    for (std::string l_Line; std::getline(l_In, l_Line);)
      if (l_Line.rfind(iField, 0) == 0) return std::stoll(l_Line.substr(std::strlen(iField))) * 1024;
    return -1;
  };
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << "5";  // resets the high-water mark to the current set
  const int64_t l_Before = l_Status("VmRSS:");
  std::thread(iWork).join();
  const int64_t l_Peak = l_Status("VmHWM:");
  return l_Before < 0 || l_Peak < 0 ? -1 : l_Peak - l_Before;
}
#endif

// Runs iWork in a child process and gives the most memory it held at once, in bytes (-1 when
// it cannot be measured).
inline int64_t KELSysMemoryPeak(const std::function<void()>& iWork) {
  int l_Pipe[2];
  if (pipe(l_Pipe) != 0) return -1;
  std::fflush(nullptr);
  const pid_t l_Child = fork();
  if (l_Child == 0) {  // the child's peak, or nothing when it cannot be sent
    const int64_t l_Peak = KELSysHeapPeak(iWork);
    _exit(write(l_Pipe[1], &l_Peak, sizeof l_Peak) == sizeof l_Peak ? 0 : 1);
  }
  close(l_Pipe[1]);
  int64_t l_Peak = -1;
  if (l_Child < 0 || read(l_Pipe[0], &l_Peak, sizeof l_Peak) != sizeof l_Peak) l_Peak = -1;
  close(l_Pipe[0]);
  if (l_Child > 0) waitpid(l_Child, nullptr, 0);
  return l_Peak;
}

#endif
