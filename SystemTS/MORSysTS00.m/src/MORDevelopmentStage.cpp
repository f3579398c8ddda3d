#include "MORDevelopmentStage.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "MORSysTS00Testing.h"

namespace {

// -1 until the environment has been read; an atomic so the flag can be read before main without
// depending on the order in which initialisers run.
constinit std::atomic<int> s_DevelopmentStage{-1};

int ReadDevelopmentStage() {
  const char* l_Value = std::getenv("MORDevelopmentStage");
  return (l_Value && std::strcmp(l_Value, "FALSE") == 0) ? 0 : 1;
}

// Settles the flag while the process starts, as every framework process does.
[[maybe_unused]] const bool s_ReadAtStart = MORDevelopmentStage::IsOn();

}  // namespace

bool MORDevelopmentStage::IsOn() noexcept {
  int l_Value = s_DevelopmentStage.load(std::memory_order_acquire);
  if (l_Value < 0) {
    l_Value = ReadDevelopmentStage();
    s_DevelopmentStage.store(l_Value, std::memory_order_release);
  }
  return l_Value != 0;
}

void MORDevelopmentStageResetForTests() { s_DevelopmentStage.store(-1); }
