#include "KELSysJSONTree.h"

#include <memory>
#include <new>
#include <utility>

// What one value held below it, taken out so that the value itself dies shallow.
struct KELSysJSONTree::Detached {
  std::vector<KELSysJSONValue> m_Values;
  std::vector<KELSysJSONPair> m_Pairs;
  std::unique_ptr<KELSysJSONValue> m_Missing;
};

void KELSysJSONTree::CopyShallow(KELSysJSONValue& oTarget, const KELSysJSONValue& iSource) {
  oTarget.m_String = iSource.m_String;
  oTarget.m_Type = iSource.m_Type;
  oTarget.m_Scalar = iSource.m_Scalar;
}

bool KELSysJSONTree::HasChildren(const KELSysJSONValue& iValue) noexcept {
  return !iValue.m_Array.m_Values.Items().empty() || !iValue.m_Object.m_Pairs.Items().empty() ||
         iValue.m_Object.m_Missing != nullptr;
}

// Copies one level: every element shallow, and queues those with something below them. The target
// is reserved first, so the queued addresses stay valid while later levels are filled.
void KELSysJSONTree::CopyLevel(std::vector<KELSysJSONValue>& oTarget,
                               const std::vector<KELSysJSONValue>& iSource, std::vector<CopyTask>& ioWork) {
  oTarget.reserve(oTarget.size() + iSource.size());
  for (const KELSysJSONValue& l_Source : iSource) {
    KELSysJSONValue& l_Target = oTarget.emplace_back();
    CopyShallow(l_Target, l_Source);
    if (HasChildren(l_Source)) ioWork.push_back({&l_Target, &l_Source});
  }
}

void KELSysJSONTree::CopyLevel(std::vector<KELSysJSONPair>& oTarget,
                               const std::vector<KELSysJSONPair>& iSource, std::vector<CopyTask>& ioWork) {
  oTarget.reserve(oTarget.size() + iSource.size());
  for (const KELSysJSONPair& l_Source : iSource) {
    KELSysJSONPair& l_Target = oTarget.emplace_back();
    l_Target.m_Key = l_Source.m_Key;
    CopyShallow(l_Target.m_Value, l_Source.m_Value);
    if (HasChildren(l_Source.m_Value)) ioWork.push_back({&l_Target.m_Value, &l_Source.m_Value});
  }
}

// The missing-member value is a lookup artefact, not content: it is not copied.
void KELSysJSONTree::CopyBelow(KELSysJSONValue& oTarget, const KELSysJSONValue& iSource,
                               std::vector<CopyTask>& ioWork) {
  CopyLevel(oTarget.m_Array.m_Values.Items(), iSource.m_Array.m_Values.Items(), ioWork);
  CopyLevel(oTarget.m_Object.m_Pairs.Items(), iSource.m_Object.m_Pairs.Items(), ioWork);
}

template <class Item>
void KELSysJSONTree::Copy(std::vector<Item>& oTarget, const std::vector<Item>& iSource) {
  std::vector<CopyTask> l_Work;
  CopyLevel(oTarget, iSource, l_Work);
  while (!l_Work.empty()) {
    CopyTask l_Next = l_Work.back();
    l_Work.pop_back();
    CopyBelow(*l_Next.m_Target, *l_Next.m_Source, l_Work);
  }
}

// Moves what the value holds into the pending list. Should the list itself fail to grow, the
// value keeps its children and they are destroyed the ordinary (recursive) way: only a process
// already out of memory can get there.
void KELSysJSONTree::Detach(KELSysJSONValue& ioValue, std::vector<Detached>& ioPending) noexcept {
  if (!HasChildren(ioValue)) return;
  try {
    ioPending.emplace_back();
  } catch (const std::bad_alloc&) {
    return;
  }
  Detached& l_Slot = ioPending.back();
  l_Slot.m_Values.swap(ioValue.m_Array.m_Values.Items());
  l_Slot.m_Pairs.swap(ioValue.m_Object.m_Pairs.Items());
  l_Slot.m_Missing.swap(ioValue.m_Object.m_Missing);
}

void KELSysJSONTree::Drain(std::vector<Detached>& ioPending) noexcept {
  while (!ioPending.empty()) {
    Detached l_Level = std::move(ioPending.back());
    ioPending.pop_back();
    for (KELSysJSONValue& l_Value : l_Level.m_Values) Detach(l_Value, ioPending);
    for (KELSysJSONPair& l_Pair : l_Level.m_Pairs) Detach(l_Pair.m_Value, ioPending);
    if (l_Level.m_Missing) Detach(*l_Level.m_Missing, ioPending);
  }  // l_Level dies here with nothing below its values
}

template <class Item>
void KELSysJSONTree::Release(std::vector<Item>& ioItems, int iDepth) noexcept {
  for (Item& l_Item : ioItems)
    if (HasChildren(ValueOf(l_Item))) Release(ValueOf(l_Item), iDepth + 1);
  ioItems.clear();
}

void KELSysJSONTree::Release(KELSysJSONValue& ioValue, int iDepth) noexcept {
  if (iDepth < kRecursion) {
    Release(ioValue.m_Array.m_Values.Items(), iDepth);
    Release(ioValue.m_Object.m_Pairs.Items(), iDepth);
    if (ioValue.m_Object.m_Missing) Release(*ioValue.m_Object.m_Missing, iDepth + 1);
    return;
  }
  std::vector<Detached> l_Pending;
  Detach(ioValue, l_Pending);
  Drain(l_Pending);
}

template void KELSysJSONTree::Copy(std::vector<KELSysJSONValue>&, const std::vector<KELSysJSONValue>&);
template void KELSysJSONTree::Copy(std::vector<KELSysJSONPair>&, const std::vector<KELSysJSONPair>&);
template void KELSysJSONTree::Release(std::vector<KELSysJSONValue>&, int) noexcept;
template void KELSysJSONTree::Release(std::vector<KELSysJSONPair>&, int) noexcept;
