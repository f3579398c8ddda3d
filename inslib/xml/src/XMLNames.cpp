#include "XMLNames.h"

#include <array>
#include <cstring>
#include <mutex>
#include <new>
#include <unordered_map>

namespace XML {

namespace {

constexpr std::size_t kChunk = 1024;
constexpr std::size_t kChunks = 4096;

// Chunks are never moved or freed, so a name handed out stays readable without the lock.
std::array<std::string_view*, kChunks> s_Chunks{};

struct Table {
  std::mutex m_Lock;
  std::unordered_map<std::string_view, std::uint32_t> m_Ids;
  std::uint32_t m_Count = 0;
};

Table& TheTable() {
  static Table* s_Table = new Table;
  return *s_Table;
}

// The last names this thread interned: a document repeats a few names, and finding one here costs
// neither the lock nor a hash.
struct Recent {
  std::string_view m_Name;
  std::uint32_t m_Id = 0;
};
constexpr std::size_t kRecent = 8;
thread_local std::array<Recent, kRecent> t_Recent;
thread_local std::size_t t_Replace = 0;

}  // namespace

std::uint32_t Names::Intern(std::string_view iName) {
  for (const Recent& l_Recent : t_Recent)
    if (l_Recent.m_Name.data() && l_Recent.m_Name == iName) return l_Recent.m_Id;
  Table& l_Table = TheTable();
  std::lock_guard<std::mutex> l_Guard(l_Table.m_Lock);
  auto l_Found = l_Table.m_Ids.find(iName);
  if (l_Found == l_Table.m_Ids.end()) {
    if (l_Table.m_Count == kChunk * kChunks) throw std::bad_alloc();
    std::string_view*& l_Chunk = s_Chunks[l_Table.m_Count / kChunk];
    if (!l_Chunk) l_Chunk = new std::string_view[kChunk];
    char* l_Bytes = new char[iName.size() + 1];
    std::memcpy(l_Bytes, iName.data(), iName.size());
    const std::string_view l_Kept(l_Bytes, iName.size());
    l_Chunk[l_Table.m_Count % kChunk] = l_Kept;
    l_Found = l_Table.m_Ids.emplace(l_Kept, l_Table.m_Count++).first;
  }
  t_Recent[t_Replace++ % kRecent] = {l_Found->first, l_Found->second};
  return l_Found->second;
}

std::string_view Names::Get(std::uint32_t iId) { return s_Chunks[iId / kChunk][iId % kChunk]; }

}  // namespace XML
