// Blocks for tree nodes. A large document holds hundreds of thousands of small nodes, each with its
// shared-pointer count in the same block; taking them one by one from the general heap costs more
// than building the document does. Blocks of up to 128 bytes come instead from 64 KiB slabs and
// are recycled through per-thread free lists: a node may be freed on any thread, its block then
// serves that thread. Slabs are kept for the life of the process, so memory freed by one document
// is reused by the next one rather than given back. Sanitizer builds use the general heap, so that
// misuse of freed nodes is still caught.
#ifndef JSONNodePool_H
#define JSONNodePool_H

#include <cstddef>

namespace JSON {

class NodePool {
 public:
  static void* Allocate(std::size_t iBytes);
  static void Free(void* iBlock, std::size_t iBytes) noexcept;
};

// For std::allocate_shared.
template <class T>
struct NodeAllocator {
  using value_type = T;
  NodeAllocator() = default;
  template <class U>
  NodeAllocator(const NodeAllocator<U>&) {}
  T* allocate(std::size_t iCount) { return static_cast<T*>(NodePool::Allocate(iCount * sizeof(T))); }
  void deallocate(T* iBlock, std::size_t iCount) noexcept { NodePool::Free(iBlock, iCount * sizeof(T)); }
  template <class U>
  bool operator==(const NodeAllocator<U>&) const {
    return true;
  }
};

}  // namespace JSON

#endif
