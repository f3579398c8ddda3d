#include "JSONObject.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>

#include "JSONItem.h"
#include "JSONNodePool.h"
#include "KELInsPackedNumber.h"

namespace JSON {

struct Object::Extra {
  // By member position, as far as the last member that has a node.
  std::vector<std::shared_ptr<Value>> m_Nodes;
  // Once the object is large: where each member starts, and a hash index over the keys (open
  // addressing, position + 1, 0 free).
  std::vector<std::uint32_t> m_Offsets;
  std::vector<std::uint32_t> m_Slots;
  std::vector<Entry> m_View;
  bool m_ViewValid = false;
};

namespace {

// Small objects, the common case, are searched in order: cheaper than hashing, and no index to
// allocate. Larger ones get the index.
constexpr std::size_t kIndexFrom = 8;
// Blocks up to this size come from the node pool, where a step of growth costs little: they grow
// to the size needed, so that an object of a few members ends without slack. Larger ones double.
constexpr std::size_t kExactGrowth = 128;

std::size_t RoomFor(std::size_t iSize) {
  if (iSize <= kExactGrowth) return (iSize + 15) / 16 * 16;
  std::size_t l_Room = 2 * kExactGrowth;
  while (l_Room < iSize) l_Room *= 2;
  return l_Room;
}

std::size_t HashOf(std::string_view iKey) { return std::hash<std::string_view>{}(iKey); }

std::shared_ptr<Value> MakeScalar(std::int32_t iKind, std::string_view iText) {
  switch (iKind) {
    case TypeNumber:
      return CreateNumber(std::string(iText));
    case TypeString:
      return CreateString(std::string(iText));
    case TypeTrue:
      return CreateTrue();
    case TypeFalse:
      return CreateFalse();
    default:
      return CreateNull();
  }
}

}  // namespace

Object::Object() : Value(TypeObject) {}

Object::~Object() {
  ReleaseNested(*this);  // which frees the block too
}

std::size_t Object::Size() const { return Count(); }

void Object::Add(std::string iKey, std::shared_ptr<Value> iValue) {
  // A scalar that nobody else holds goes into the block as its kind and text; a node is made for it
  // again only when it is asked for.
  std::int32_t l_Kind = kHeld;
  std::string_view l_Text;
  if (iValue && iValue.use_count() == 1 && iValue->GetType() >= TypeNumber && iValue->GetType() <= TypeNull) {
    l_Kind = iValue->GetType();
    l_Text = static_cast<const Item&>(*iValue).GetText();
  }
  if (m_Extra) {
    m_Extra->m_View.clear();
    m_Extra->m_ViewValid = false;
  }
  Member l_Found;
  std::size_t l_Ordinal = 0;
  if (Find(iKey, l_Found, l_Ordinal)) {
    const std::size_t l_OldEnd = l_Found.m_End;
    const std::uint32_t l_OldSize = m_Size;
    Splice(l_Found.m_Begin, l_Found.m_End, iKey, l_Kind, l_Text);
    if (l_Kind == kHeld || Held(l_Ordinal)) Hold(l_Ordinal) = l_Kind == kHeld ? std::move(iValue) : nullptr;
    if (m_Extra && !m_Extra->m_Offsets.empty() && m_Size != l_OldSize) {
      for (std::uint32_t& l_Offset : m_Extra->m_Offsets)
        if (l_Offset >= l_OldEnd) l_Offset = l_Offset + m_Size - l_OldSize;
    }
    return;
  }
  const std::size_t l_Begin = m_Bytes ? m_Size : kFirst;
  Splice(l_Begin, l_Begin, iKey, l_Kind, l_Text);
  l_Ordinal = Count();
  const auto l_Count = static_cast<std::uint32_t>(l_Ordinal + 1);
  std::memcpy(m_Bytes, &l_Count, sizeof(l_Count));
  if (l_Kind == kHeld) Hold(l_Ordinal) = std::move(iValue);
  if (m_Extra && !m_Extra->m_Slots.empty()) {
    m_Extra->m_Offsets.push_back(static_cast<std::uint32_t>(l_Begin));
    if (2 * l_Count <= m_Extra->m_Slots.size()) {
      Index(l_Ordinal);
    } else {
      Rehash();
    }
  } else if (l_Count > kIndexFrom) {
    Rehash();
  }
}

std::shared_ptr<Value> Object::Get(std::string_view iKey) const {
  Member l_Found;
  std::size_t l_Ordinal = 0;
  if (!Find(iKey, l_Found, l_Ordinal)) return nullptr;
  return ValueOf(l_Found, l_Ordinal);
}

const std::vector<Object::Entry>& Object::GetMembers() const {
  if (!m_Extra) m_Extra = std::make_unique<Extra>();
  if (!m_Extra->m_ViewValid) {
    std::vector<Entry>& l_View = m_Extra->m_View;
    l_View.clear();
    l_View.reserve(Count());
    std::size_t l_Ordinal = 0;
    for (std::size_t l_Pos = kFirst; l_Pos < m_Size; ++l_Ordinal) {
      const Member l_Member = At(l_Pos);
      l_View.push_back({std::string(l_Member.m_Key), ValueOf(l_Member, l_Ordinal)});
      l_Pos = l_Member.m_End;
    }
    m_Extra->m_ViewValid = true;
  }
  return m_Extra->m_View;
}

std::shared_ptr<Value> Object::Clone() const { return CloneTree(*this); }

void Object::DropChildren(std::vector<std::shared_ptr<Value>>* oPending) {
  if (m_Extra) {
    m_Extra->m_View.clear();
    if (oPending) {
      for (std::shared_ptr<Value>& l_Node : m_Extra->m_Nodes) DeferNested(l_Node, *oPending);
    }
    m_Extra.reset();
  }
  if (m_Bytes) NodePool::Free(m_Bytes, RoomFor(m_Size));
  m_Bytes = nullptr;
  m_Size = 0;
}

Object::Member Object::At(std::size_t iBegin) const {
  std::uint64_t l_KeySize = 0;
  std::uint64_t l_Tag = 0;
  const char* l_Pos = KELInsPackedNumber::Get(m_Bytes + iBegin, l_KeySize);
  const std::string_view l_Key(l_Pos, l_KeySize);
  l_Pos = KELInsPackedNumber::Get(l_Pos + l_KeySize, l_Tag);
  const std::size_t l_TextSize = l_Tag >> 3;
  const auto l_Text = static_cast<std::size_t>(l_Pos - m_Bytes);
  return {l_Key, static_cast<std::int32_t>(l_Tag & 7), std::string_view(l_Pos, l_TextSize), iBegin,
          l_Text + l_TextSize};
}

const std::shared_ptr<Value>* Object::Held(std::size_t iOrdinal) const {
  if (!m_Extra || iOrdinal >= m_Extra->m_Nodes.size()) return nullptr;
  return &m_Extra->m_Nodes[iOrdinal];
}

std::shared_ptr<Value>& Object::Hold(std::size_t iOrdinal) const {
  if (!m_Extra) m_Extra = std::make_unique<Extra>();
  if (iOrdinal >= m_Extra->m_Nodes.size()) m_Extra->m_Nodes.resize(iOrdinal + 1);
  return m_Extra->m_Nodes[iOrdinal];
}

bool Object::Find(std::string_view iKey, Member& oMember, std::size_t& oOrdinal) const {
  if (m_Extra && !m_Extra->m_Slots.empty()) {
    const std::vector<std::uint32_t>& l_Slots = m_Extra->m_Slots;
    const std::size_t l_Mask = l_Slots.size() - 1;
    for (std::size_t l_Slot = HashOf(iKey) & l_Mask;; l_Slot = (l_Slot + 1) & l_Mask) {
      const std::uint32_t l_Entry = l_Slots[l_Slot];
      if (l_Entry == 0) return false;
      oMember = At(m_Extra->m_Offsets[l_Entry - 1]);
      if (oMember.m_Key == iKey) {
        oOrdinal = l_Entry - 1;
        return true;
      }
    }
  }
  oOrdinal = 0;
  for (std::size_t l_Pos = kFirst; l_Pos < m_Size; l_Pos = oMember.m_End, ++oOrdinal) {
    oMember = At(l_Pos);
    if (oMember.m_Key == iKey) return true;
  }
  return false;
}

const std::shared_ptr<Value>& Object::ValueOf(const Member& iMember, std::size_t iOrdinal) const {
  std::shared_ptr<Value>& l_Node = Hold(iOrdinal);
  if (iMember.m_Kind != kHeld && !l_Node) l_Node = MakeScalar(iMember.m_Kind, iMember.m_Text);
  return l_Node;
}

void Object::Splice(std::size_t iBegin, std::size_t iEnd, std::string_view iKey, std::int32_t iKind,
                    std::string_view iText) {
  const std::uint64_t l_Tag =
      (static_cast<std::uint64_t>(iText.size()) << 3) | static_cast<std::uint64_t>(iKind);
  const std::size_t l_Piece =
      KELInsPackedNumber::Size(iKey.size()) + iKey.size() + KELInsPackedNumber::Size(l_Tag) + iText.size();
  const std::size_t l_Old = m_Bytes ? m_Size : kFirst;
  const std::size_t l_Size = l_Old - (iEnd - iBegin) + l_Piece;
  if (l_Size > UINT32_MAX) throw std::bad_alloc();
  if (!m_Bytes || RoomFor(l_Size) != RoomFor(l_Old)) {
    char* l_Bytes = static_cast<char*>(NodePool::Allocate(RoomFor(l_Size)));
    if (m_Bytes) {
      std::memcpy(l_Bytes, m_Bytes, iBegin);
      if (l_Old > iEnd) std::memcpy(l_Bytes + iBegin + l_Piece, m_Bytes + iEnd, l_Old - iEnd);
      NodePool::Free(m_Bytes, RoomFor(l_Old));
    } else {
      std::memset(l_Bytes, 0, kFirst);
    }
    m_Bytes = l_Bytes;
  } else if (l_Old > iEnd) {
    std::memmove(m_Bytes + iBegin + l_Piece, m_Bytes + iEnd, l_Old - iEnd);
  }
  char* l_Pos = KELInsPackedNumber::Put(m_Bytes + iBegin, iKey.size());
  if (!iKey.empty()) std::memcpy(l_Pos, iKey.data(), iKey.size());
  l_Pos = KELInsPackedNumber::Put(l_Pos + iKey.size(), l_Tag);
  if (!iText.empty()) std::memcpy(l_Pos, iText.data(), iText.size());
  m_Size = static_cast<std::uint32_t>(l_Size);
}

void Object::CopyBytes(const Object& iSource) {
  if (iSource.m_Bytes) {
    m_Bytes = static_cast<char*>(NodePool::Allocate(RoomFor(iSource.m_Size)));
    std::memcpy(m_Bytes, iSource.m_Bytes, iSource.m_Size);
    m_Size = iSource.m_Size;
  }
  if (Count() > kIndexFrom) Rehash();
}

std::size_t Object::HeldCount() const { return m_Extra ? m_Extra->m_Nodes.size() : 0; }

std::uint32_t Object::Count() const {
  std::uint32_t l_Count = 0;
  if (m_Bytes) std::memcpy(&l_Count, m_Bytes, sizeof(l_Count));
  return l_Count;
}

void Object::Index(std::size_t iOrdinal) {
  std::vector<std::uint32_t>& l_Slots = m_Extra->m_Slots;
  const std::size_t l_Mask = l_Slots.size() - 1;
  std::size_t l_Slot = HashOf(At(m_Extra->m_Offsets[iOrdinal]).m_Key) & l_Mask;
  while (l_Slots[l_Slot] != 0) l_Slot = (l_Slot + 1) & l_Mask;
  l_Slots[l_Slot] = static_cast<std::uint32_t>(iOrdinal + 1);
}

void Object::Rehash() {
  if (!m_Extra) m_Extra = std::make_unique<Extra>();
  std::vector<std::uint32_t>& l_Offsets = m_Extra->m_Offsets;
  l_Offsets.clear();
  for (std::size_t l_Pos = kFirst; l_Pos < m_Size; l_Pos = At(l_Pos).m_End)
    l_Offsets.push_back(static_cast<std::uint32_t>(l_Pos));
  // At most half full, so that probe runs stay short and a free slot always ends them.
  std::size_t l_Size = 4 * kIndexFrom;
  const std::uint32_t l_Count = Count();
  while (l_Size < 2 * std::size_t{l_Count}) l_Size *= 2;
  m_Extra->m_Slots.assign(l_Size, 0);
  for (std::size_t l_Ordinal = 0; l_Ordinal < l_Count; ++l_Ordinal) Index(l_Ordinal);
}

}  // namespace JSON
