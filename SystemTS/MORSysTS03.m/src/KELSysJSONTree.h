// Deep copy and teardown of value trees without recursion, so that neither depends on the nesting
// depth of the tree (a hostile text can nest a million levels in two megabytes).
#ifndef KELSysJSONTree_H
#define KELSysJSONTree_H

#include <vector>

#include "KELSysJSONPair.h"
#include "KELSysJSONValue.h"

class KELSysJSONTree {
 public:
  // Appends deep copies of iSource's elements to oTarget. Throws std::bad_alloc; what was appended
  // before stays in oTarget.
  // Item is KELSysJSONValue or KELSysJSONPair.
  template <class Item>
  static void Copy(std::vector<Item>& oTarget, const std::vector<Item>& iSource);

  // Empties the list and everything below it. The first levels are emptied by direct recursion,
  // at most kRecursion deep; deeper ones level by level from an explicit list.
  template <class Item>
  static void Release(std::vector<Item>& ioItems) noexcept {
    Release(ioItems, 0);
  }
  // Empties what the value holds below it; its own payloads stay.
  static void Release(KELSysJSONValue& ioValue) noexcept { Release(ioValue, 0); }

  // A value's type, scalar and string payloads, without its containers.
  static void CopyShallow(KELSysJSONValue& oTarget, const KELSysJSONValue& iSource);
  // True when the value's array, object or missing-member value holds anything.
  static bool HasChildren(const KELSysJSONValue& iValue) noexcept;

 private:
  struct CopyTask {
    KELSysJSONValue* m_Target;
    const KELSysJSONValue* m_Source;
  };
  struct Detached;

  static void CopyLevel(std::vector<KELSysJSONValue>& oTarget, const std::vector<KELSysJSONValue>& iSource,
                        std::vector<CopyTask>& ioWork);
  static void CopyLevel(std::vector<KELSysJSONPair>& oTarget, const std::vector<KELSysJSONPair>& iSource,
                        std::vector<CopyTask>& ioWork);
  static void CopyBelow(KELSysJSONValue& oTarget, const KELSysJSONValue& iSource,
                        std::vector<CopyTask>& ioWork);
  static KELSysJSONValue& ValueOf(KELSysJSONValue& iItem) { return iItem; }
  static KELSysJSONValue& ValueOf(KELSysJSONPair& iItem) { return iItem.m_Value; }
  static constexpr int kRecursion = 32;
  template <class Item>
  static void Release(std::vector<Item>& ioItems, int iDepth) noexcept;
  static void Release(KELSysJSONValue& ioValue, int iDepth) noexcept;
  static void Detach(KELSysJSONValue& ioValue, std::vector<Detached>& ioPending) noexcept;
  static void Drain(std::vector<Detached>& ioPending) noexcept;
};

#endif
