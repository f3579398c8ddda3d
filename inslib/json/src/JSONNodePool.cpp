#include "JSONNodePool.h"

#include <mutex>
#include <new>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define KEL_JSON_PLAIN_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KEL_JSON_PLAIN_HEAP 1
#endif
#endif

namespace JSON {

#ifdef KEL_JSON_PLAIN_HEAP

void* NodePool::Allocate(std::size_t iBytes) { return ::operator new(iBytes); }

void NodePool::Free(void* iBlock, std::size_t) noexcept { ::operator delete(iBlock); }

#else

namespace {

constexpr std::size_t kGrain = 16;
constexpr std::size_t kClasses = 8;  // blocks of 16, 32, ... 128 bytes
constexpr std::size_t kSlab = 64 * 1024;

struct FreeBlock {
  FreeBlock* m_Next;
};

struct ThreadBlocks {
  FreeBlock* m_Free[kClasses] = {};
  char* m_Cursor = nullptr;
  char* m_End = nullptr;
};

thread_local ThreadBlocks t_Blocks;

// Every slab stays listed here, so it is still reachable, not leaked, when the process ends.
void KeepSlab(void* iSlab) {
  static std::mutex* s_Lock = new std::mutex;
  static std::vector<void*>* s_Slabs = new std::vector<void*>;
  std::lock_guard<std::mutex> l_Guard(*s_Lock);
  s_Slabs->push_back(iSlab);
}

void* Carve(std::size_t iSize) {
  ThreadBlocks& l_Blocks = t_Blocks;
  if (static_cast<std::size_t>(l_Blocks.m_End - l_Blocks.m_Cursor) < iSize) {
    // The rest of the old slab is too small for this class; the other classes will not miss it.
    char* l_Slab = static_cast<char*>(::operator new(kSlab));
    KeepSlab(l_Slab);
    l_Blocks.m_Cursor = l_Slab;
    l_Blocks.m_End = l_Slab + kSlab;
  }
  void* l_Block = l_Blocks.m_Cursor;
  l_Blocks.m_Cursor += iSize;
  return l_Block;
}

}  // namespace

void* NodePool::Allocate(std::size_t iBytes) {
  if (iBytes == 0 || iBytes > kGrain * kClasses) return ::operator new(iBytes);
  const std::size_t l_Class = (iBytes - 1) / kGrain;
  FreeBlock*& l_Head = t_Blocks.m_Free[l_Class];
  if (!l_Head) return Carve((l_Class + 1) * kGrain);
  FreeBlock* l_Block = l_Head;
  l_Head = l_Block->m_Next;
  return l_Block;
}

void NodePool::Free(void* iBlock, std::size_t iBytes) noexcept {
  if (iBytes == 0 || iBytes > kGrain * kClasses) {
    ::operator delete(iBlock);
    return;
  }
  FreeBlock*& l_Head = t_Blocks.m_Free[(iBytes - 1) / kGrain];
  l_Head = ::new (iBlock) FreeBlock{l_Head};
}

#endif

}  // namespace JSON
