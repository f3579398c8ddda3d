#include "MORStringWarning.h"

#include <atomic>
#include <cstdlib>

#include "MORSysTS00Testing.h"

namespace {

// Constant-initialised, so the switch works from any initialiser of any library.
constinit std::atomic<bool> s_ProcessActive{true};
constinit std::atomic<int> s_Suppressed{-1};  // -1 until MORStringWarningSuppress is read
constinit thread_local int t_OffDepth = 0;

}  // namespace

void MORStringWarning::SetProcessActive(bool iActive) noexcept { s_ProcessActive.store(iActive); }

bool MORStringWarning::IsProcessActive() noexcept { return s_ProcessActive.load(); }

bool MORStringWarning::IsActive() noexcept { return t_OffDepth == 0 && s_ProcessActive.load(); }

bool MORStringWarning::IsASCIICheckSuppressed() noexcept {
  int l_Value = s_Suppressed.load(std::memory_order_acquire);
  if (l_Value < 0) {
    l_Value = std::getenv("MORStringWarningSuppress") ? 1 : 0;
    s_Suppressed.store(l_Value, std::memory_order_release);
  }
  return l_Value != 0;
}

MORStringWarning::ThreadOff::ThreadOff() noexcept { ++t_OffDepth; }

MORStringWarning::ThreadOff::~ThreadOff() { --t_OffDepth; }

void MORStringWarningResetForTests() { s_Suppressed.store(-1); }
