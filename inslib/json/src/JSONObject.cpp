#include "JSONObject.h"

#include <functional>

#include "JSONTree.h"

namespace JSON {

namespace {

// Small objects, the common case, are searched in order: cheaper than hashing, and no index to
// allocate. Larger ones get the index.
constexpr std::size_t kIndexFrom = 8;

std::size_t HashOf(std::string_view iKey) { return std::hash<std::string_view>{}(iKey); }

}  // namespace

Object::~Object() { ReleaseNested(*this); }

void Object::Add(std::string iKey, std::shared_ptr<Value> iValue) {
  const std::ptrdiff_t l_Found = Find(iKey);
  if (l_Found >= 0) {
    m_Members[static_cast<std::size_t>(l_Found)].m_Value = std::move(iValue);
    return;
  }
  // Most objects hold a handful of members: one block for up to eight rather than growing 1, 2, 4, 8.
  if (m_Members.empty()) m_Members.reserve(8);
  m_Members.push_back({std::move(iKey), std::move(iValue)});
  if (!m_Slots.empty() && 2 * m_Members.size() <= m_Slots.size()) {
    Index(m_Members.size() - 1);
  } else if (m_Members.size() > kIndexFrom) {
    Rehash();
  }
}

std::shared_ptr<Value> Object::Get(std::string_view iKey) const {
  const std::ptrdiff_t l_Found = Find(iKey);
  if (l_Found < 0) return nullptr;
  return m_Members[static_cast<std::size_t>(l_Found)].m_Value;
}

std::shared_ptr<Value> Object::Clone() const { return CloneTree(*this); }

void Object::DropChildren(std::vector<std::shared_ptr<Value>>* oPending) {
  if (oPending) {
    for (Entry& l_Member : m_Members) DeferNested(l_Member.m_Value, *oPending);
  }
  m_Members.clear();
  m_Slots.clear();
}

std::ptrdiff_t Object::Find(std::string_view iKey) const {
  if (!m_Slots.empty()) return FindIndexed(iKey);
  for (std::size_t l_Pos = 0; l_Pos < m_Members.size(); ++l_Pos) {
    if (m_Members[l_Pos].m_Key == iKey) return static_cast<std::ptrdiff_t>(l_Pos);
  }
  return -1;
}

std::ptrdiff_t Object::FindIndexed(std::string_view iKey) const {
  const std::size_t l_Mask = m_Slots.size() - 1;
  for (std::size_t l_Slot = HashOf(iKey) & l_Mask;; l_Slot = (l_Slot + 1) & l_Mask) {
    const std::uint32_t l_Entry = m_Slots[l_Slot];
    if (l_Entry == 0) return -1;
    if (m_Members[l_Entry - 1].m_Key == iKey) return static_cast<std::ptrdiff_t>(l_Entry - 1);
  }
}

void Object::Index(std::size_t iPosition) {
  const std::size_t l_Mask = m_Slots.size() - 1;
  std::size_t l_Slot = HashOf(m_Members[iPosition].m_Key) & l_Mask;
  while (m_Slots[l_Slot] != 0) l_Slot = (l_Slot + 1) & l_Mask;
  m_Slots[l_Slot] = static_cast<std::uint32_t>(iPosition + 1);
}

void Object::Rehash() {
  // At most half full, so that probe runs stay short and a free slot always ends them.
  std::size_t l_Size = 4 * kIndexFrom;
  while (l_Size < 2 * m_Members.size()) l_Size *= 2;
  m_Slots.assign(l_Size, 0);
  for (std::size_t l_Pos = 0; l_Pos < m_Members.size(); ++l_Pos) Index(l_Pos);
}

}  // namespace JSON
