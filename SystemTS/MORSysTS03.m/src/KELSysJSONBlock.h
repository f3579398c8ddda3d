// The heap blocks that hold a value's array or object. A block holds a small header, the container,
// and room for the container's first items right behind it, so a container built with a known
// member count costs one allocation. The items may later leave the block (the list grows, or it
// is moved to another container), so the block counts who uses it: the container living in it,
// and the list whose items lie in it. It is given up when neither is left.
//
// String payloads and keys live in blocks of their own kind (KELSysJSONBytes): the bytes behind an
// 8-byte header.
//
// The blocks of one build are carved out of larger chunks (KELSysJSONBlockSource): a tree of many
// small containers and strings then costs a few allocations instead of one per node. A chunk counts
// the blocks alive in it and is freed with the last of them.
#ifndef KELSysJSONBlock_H
#define KELSysJSONBlock_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

struct KELSysJSONChunk {
  uint64_t m_Blocks;  // blocks alive in the chunk, plus one while a source still carves from it
};

// Hands out the blocks of one build. Throws std::bad_alloc.
class KELSysJSONBlockSource {
 public:
  // iExpected: an estimate of the bytes the build will ask for, which sizes the chunks.
  explicit KELSysJSONBlockSource(size_t iExpected) : m_Budget(iExpected) {}
  ~KELSysJSONBlockSource() {
    if (m_Chunk) Drop(m_Chunk);
  }
  KELSysJSONBlockSource(const KELSysJSONBlockSource&) = delete;
  KELSysJSONBlockSource& operator=(const KELSysJSONBlockSource&) = delete;

  // iSize bytes, 8-byte aligned; oChunk is the chunk they lie in, or null for a block of their own.
  void* Take(size_t iSize, KELSysJSONChunk*& oChunk) {
    iSize = (iSize + 7) & ~size_t{7};
    if (iSize > kLargest) {
      oChunk = nullptr;
      return ::operator new(iSize);
    }
    if (iSize > static_cast<size_t>(m_End - m_Next)) NewChunk(iSize);
    void* l_Block = m_Next;
    m_Next += iSize;
    ++m_Chunk->m_Blocks;
    oChunk = m_Chunk;
    return l_Block;
  }

  static void Drop(KELSysJSONChunk* iChunk) noexcept {
    if (--iChunk->m_Blocks == 0) ::operator delete(static_cast<void*>(iChunk));
  }

 private:
  // Chunks stay under the size at which the C library maps memory of its own for each request.
  // Bigger blocks get their own allocation, so that what a chunk's end leaves unused stays under
  // 1/32 of the chunk: a reader that weighs a text by its blocks then knows its cost within that.
  static constexpr size_t kSmallest = 1024, kChunk = 64 * 1024, kLargest = kChunk / 32;

  // A build that needs more than its estimate (strings and keys are not in it) gets chunks twice
  // the size of the last, up to the largest: few allocations, and one chunk of slack at most.
  void NewChunk(size_t iAtLeast) {
    size_t l_Size = m_Budget < kSmallest ? kSmallest : m_Budget > kChunk ? kChunk : m_Budget;
    if (l_Size < 2 * m_Last) l_Size = 2 * m_Last < kChunk ? 2 * m_Last : kChunk;
    m_Last = l_Size;
    l_Size += sizeof(KELSysJSONChunk);
    if (l_Size < iAtLeast + sizeof(KELSysJSONChunk)) l_Size = iAtLeast + sizeof(KELSysJSONChunk);
    char* l_Raw = static_cast<char*>(::operator new(l_Size));
    if (m_Chunk) Drop(m_Chunk);
    m_Chunk = new (l_Raw) KELSysJSONChunk{1};
    m_Next = l_Raw + sizeof(KELSysJSONChunk);
    m_End = l_Raw + l_Size;
    m_Budget -= l_Size < m_Budget ? l_Size : m_Budget;
  }

  KELSysJSONChunk* m_Chunk = nullptr;
  char* m_Next = nullptr;
  char* m_End = nullptr;
  size_t m_Budget;
  size_t m_Last = 0;  // the size of the last chunk
};

class KELSysJSONBlock {
 public:
  // A new empty container with room for iRoom items in its own block, taken from iSource when
  // given. Throws std::bad_alloc.
  template <class Container>
  static Container* New(uint32_t iRoom, KELSysJSONBlockSource* iSource = nullptr) {
    using Item = typename Container::Item;
    const size_t l_Size = Size<Container>(iRoom);
    KELSysJSONChunk* l_Chunk = nullptr;
    char* l_Raw = static_cast<char*>(iSource ? iSource->Take(l_Size, l_Chunk) : ::operator new(l_Size));
    KELSysJSONBlock* l_Block = new (l_Raw) KELSysJSONBlock(l_Chunk);
    Container* l_Container = new (l_Raw + kHeader) Container();
    if (iRoom > 0) {
      auto& l_List = l_Container->List();
      l_List.m_Items = reinterpret_cast<Item*>(l_Raw + kHeader + sizeof(Container));
      l_List.m_Capacity = iRoom;
      l_List.m_Block = l_Block;
      ++l_Block->m_Users;
    }
    return l_Container;
  }

  // The bytes of the block that New makes for a container with room for iRoom items.
  template <class Container>
  static constexpr size_t Size(uint32_t iRoom) {
    return kHeader + sizeof(Container) + size_t{iRoom} * sizeof(typename Container::Item);
  }

  // Destroys a container made by New and gives up its block.
  template <class Container>
  static void Delete(Container* iContainer) noexcept {
    KELSysJSONBlock* l_Block =
        reinterpret_cast<KELSysJSONBlock*>(reinterpret_cast<char*>(iContainer) - kHeader);
    iContainer->~Container();
    Release(l_Block);
  }

  // One user less; the last one gives the block back.
  static void Release(KELSysJSONBlock* iBlock) noexcept {
    if (--iBlock->m_Users > 0) return;
    KELSysJSONChunk* l_Chunk = iBlock->m_Chunk;
    iBlock->~KELSysJSONBlock();
    if (l_Chunk)
      KELSysJSONBlockSource::Drop(l_Chunk);
    else
      ::operator delete(static_cast<void*>(iBlock));
  }

 private:
  explicit KELSysJSONBlock(KELSysJSONChunk* iChunk) : m_Chunk(iChunk) {}
  static constexpr size_t kHeader = 16;  // keeps the container and its items 8-byte aligned
  uint32_t m_Users = 1;
  KELSysJSONChunk* m_Chunk;
};
static_assert(sizeof(KELSysJSONBlock) <= 16, "a block header fits its room");

// A run of string bytes (not terminated) behind a header that says where the block came from: the
// chunk it was carved out of, or null for a block of its own. A one-byte run built by a parse thus
// takes 16 bytes, a fifteen-byte one 24. Callers keep the length.
class KELSysJSONBytes {
 public:
  // A copy of iLength (> 0) bytes, carved from iSource when given. Throws std::bad_alloc.
  static const char* New(const char* iBytes, size_t iLength, KELSysJSONBlockSource* iSource = nullptr) {
    KELSysJSONChunk* l_Chunk = nullptr;
    const size_t l_Size = kHeader + iLength;
    char* l_Raw = static_cast<char*>(iSource ? iSource->Take(l_Size, l_Chunk) : ::operator new(l_Size));
    new (l_Raw) Header{l_Chunk};
    std::memcpy(l_Raw + kHeader, iBytes, iLength);
    return l_Raw + kHeader;
  }

  // The bytes that New takes for a run of iLength (> 0) bytes.
  static constexpr size_t Size(size_t iLength) { return (kHeader + iLength + 7) & ~size_t{7}; }

  // Gives up a run made by New; null is ignored.
  static void Delete(const char* iBytes) noexcept {
    if (iBytes == nullptr) return;
    Header* l_Header = reinterpret_cast<Header*>(const_cast<char*>(iBytes) - kHeader);
    if (l_Header->m_Chunk)
      KELSysJSONBlockSource::Drop(l_Header->m_Chunk);
    else
      ::operator delete(static_cast<void*>(l_Header));
  }

 private:
  struct Header {
    KELSysJSONChunk* m_Chunk;
  };
  static constexpr size_t kHeader = sizeof(Header);
  static_assert(kHeader == 8, "string bytes follow an 8-byte header");
};

#endif
