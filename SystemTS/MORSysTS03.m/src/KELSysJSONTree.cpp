#include "KELSysJSONTree.h"

#include <cstdint>
#include <new>
#include <string_view>
#include <type_traits>
#include <utility>

#include "KELSysJSONBlock.h"

void KELSysJSONTree::CopyShallow(KELSysJSONValue& oTarget, const KELSysJSONValue& iSource) {
  switch (iSource.GetType()) {
    case KELSysJSONTypeString: {
      const std::string_view l_Bytes = iSource.GetString();
      oTarget.PlaceBytes(l_Bytes.empty() ? nullptr : KELSysJSONBytes::New(l_Bytes.data(), l_Bytes.size()),
                         static_cast<uint32_t>(l_Bytes.size()));
      return;
    }
    case KELSysJSONTypeBoolean:
    case KELSysJSONTypeInteger:
    case KELSysJSONTypeDouble:
      oTarget.m_Payload = iSource.Scalar();
      break;
    default:
      break;  // the payload slot of the others holds no scalar
  }
  oTarget.m_Type = iSource.m_Type;
}

bool KELSysJSONTree::HasMembers(const KELSysJSONValue& iValue) noexcept {
  const KELSysJSONArray* l_Array = iValue.ArrayOf();
  const KELSysJSONObject* l_Object = iValue.ObjectOf();
  return (l_Array && l_Array->m_Values.m_Count > 0) || (l_Object && l_Object->m_Pairs.m_Count > 0);
}

bool KELSysJSONTree::ContainersHold(const KELSysJSONValue& iValue) noexcept {
  const KELSysJSONObject* l_Object = iValue.ObjectOf();
  return HasMembers(iValue) || (l_Object && l_Object->m_Missing);
}

// Copies one level: every item shallow, and queues those with members below them. The target's
// room is made first, so the queued addresses stay valid while later levels are filled.
template <class List>
void KELSysJSONTree::CopyLevel(List& oTarget, const List& iSource, std::vector<CopyTask>& ioWork) {
  oTarget.Reserve(size_t{oTarget.m_Count} + iSource.m_Count);
  for (const auto& l_Source : iSource) {
    auto& l_Target = oTarget.EmplaceBack();
    if constexpr (std::is_same_v<std::decay_t<decltype(l_Source)>, KELSysJSONPair>) {
      if (l_Source.m_KeyLength > 0) {
        l_Target.m_Key = KELSysJSONBytes::New(l_Source.m_Key, l_Source.m_KeyLength);
        l_Target.m_KeyLength = l_Source.m_KeyLength;
      }
    }
    CopyShallow(ValueOf(l_Target), ValueOf(l_Source));
    if (HasMembers(ValueOf(l_Source))) ioWork.push_back({&ValueOf(l_Target), &ValueOf(l_Source)});
  }
}

// The missing-member value is a lookup artefact, not content: it is not copied. Containers are
// made with room for exactly the members copied into them.
void KELSysJSONTree::CopyMembers(KELSysJSONValue& oTarget, const KELSysJSONValue& iSource,
                                 std::vector<CopyTask>& ioWork) {
  const KELSysJSONArray* l_Array = iSource.ArrayOf();
  const KELSysJSONObject* l_Object = iSource.ObjectOf();
  if (l_Array && l_Array->m_Values.m_Count > 0) {
    KELSysJSONArray*& l_Target = oTarget.SlotOf<KELSysJSONArray>();
    if (!l_Target) l_Target = KELSysJSONBlock::New<KELSysJSONArray>(l_Array->m_Values.m_Count);
    CopyLevel(l_Target->m_Values, l_Array->m_Values, ioWork);
  }
  if (l_Object && l_Object->m_Pairs.m_Count > 0) {
    KELSysJSONObject*& l_Target = oTarget.SlotOf<KELSysJSONObject>();
    if (!l_Target) l_Target = KELSysJSONBlock::New<KELSysJSONObject>(l_Object->m_Pairs.m_Count);
    CopyLevel(l_Target->m_Pairs, l_Object->m_Pairs, ioWork);
  }
}

void KELSysJSONTree::CopyTasks(std::vector<CopyTask>& ioWork) {
  while (!ioWork.empty()) {
    CopyTask l_Next = ioWork.back();
    ioWork.pop_back();
    CopyMembers(*l_Next.m_Target, *l_Next.m_Source, ioWork);
  }
}

template <class List>
void KELSysJSONTree::Copy(List& oTarget, const List& iSource) {
  std::vector<CopyTask> l_Work;
  CopyLevel(oTarget, iSource, l_Work);
  CopyTasks(l_Work);
}

void KELSysJSONTree::CopyBelow(KELSysJSONValue& oTarget, const KELSysJSONValue& iSource) {
  if (!HasMembers(iSource)) return;
  std::vector<CopyTask> l_Work;
  CopyMembers(oTarget, iSource, l_Work);
  CopyTasks(l_Work);
}

// Takes the value's containers into the pending list. Should the list itself fail to grow, the
// value keeps them and they are destroyed the ordinary (recursive) way: only a process already
// out of memory can get there.
void KELSysJSONTree::Detach(KELSysJSONValue& ioValue, std::vector<Detached>& ioPending) noexcept {
  if (!HasChildren(ioValue)) return;
  try {
    ioPending.push_back({ioValue.ArrayOf(), ioValue.ObjectOf()});
  } catch (const std::bad_alloc&) {
    return;
  }
  if (ioValue.m_Storage == KELSysJSONValue::kParts) {
    ioValue.m_Payload.m_Parts->m_Array = nullptr;
    ioValue.m_Payload.m_Parts->m_Object = nullptr;
  } else {
    ioValue.m_Storage = KELSysJSONValue::kInline;  // the payload slot held the container only
    ioValue.m_Payload.m_Integer = 0;
  }
}

void KELSysJSONTree::Drain(std::vector<Detached>& ioPending) noexcept {
  while (!ioPending.empty()) {
    Detached l_Level = ioPending.back();
    ioPending.pop_back();
    if (l_Level.m_Array) {
      for (KELSysJSONValue& l_Value : l_Level.m_Array->m_Values) Detach(l_Value, ioPending);
      KELSysJSONBlock::Delete(l_Level.m_Array);  // nothing below its values any more
    }
    if (l_Level.m_Object) {
      for (KELSysJSONPair& l_Pair : l_Level.m_Object->m_Pairs) Detach(l_Pair.m_Value, ioPending);
      if (l_Level.m_Object->m_Missing) Detach(*l_Level.m_Object->m_Missing, ioPending);
      KELSysJSONBlock::Delete(l_Level.m_Object);
    }
  }
}

template <class List>
void KELSysJSONTree::Release(List& ioList, int iDepth) noexcept {
  for (auto& l_Item : ioList) {
    using Item = std::decay_t<decltype(l_Item)>;
    if (HasChildren(ValueOf(l_Item))) Release(ValueOf(l_Item), iDepth + 1);
    l_Item.Item::~Item();  // nothing below it any more: no recursion, no virtual call
  }
  ioList.m_Count = 0;
}

// Only values about to be destroyed get this far down, so the deep levels may take their
// containers away.
void KELSysJSONTree::Release(KELSysJSONValue& ioValue, int iDepth) noexcept {
  if (iDepth < kRecursion) {
    if (KELSysJSONArray* l_Array = ioValue.ArrayOf()) Release(l_Array->m_Values, iDepth);
    if (KELSysJSONObject* l_Object = ioValue.ObjectOf()) {
      Release(l_Object->m_Pairs, iDepth);
      if (l_Object->m_Missing) Release(*l_Object->m_Missing, iDepth + 1);
    }
    return;
  }
  std::vector<Detached> l_Pending;
  Detach(ioValue, l_Pending);
  Drain(l_Pending);
}

using KELSysJSONValueStore = KELSysJSONListImpl<KELSysJSONValue, KELSysJSONValueList>;
using KELSysJSONPairStore = KELSysJSONListImpl<KELSysJSONPair, KELSysJSONPairList>;
template void KELSysJSONTree::Copy(KELSysJSONValueStore&, const KELSysJSONValueStore&);
template void KELSysJSONTree::Copy(KELSysJSONPairStore&, const KELSysJSONPairStore&);
template void KELSysJSONTree::Release(KELSysJSONValueStore&, int) noexcept;
template void KELSysJSONTree::Release(KELSysJSONPairStore&, int) noexcept;
