// Deep copy and teardown of value trees without recursion, so that neither depends on the nesting
// depth of the tree (a hostile text can nest a million levels in two megabytes).
#ifndef KELSysJSONTree_H
#define KELSysJSONTree_H

#include <vector>

#include "KELSysJSONPair.h"
#include "KELSysJSONValue.h"

class KELSysJSONTree {
 public:
  // Appends deep copies of iSource's items to oTarget. Throws std::bad_alloc; what was appended
  // before stays in oTarget.
  template <class List>
  static void Copy(List& oTarget, const List& iSource);
  // Gives oTarget (a null value without containers) deep copies of what iSource holds below it.
  // Throws std::bad_alloc, leaving in oTarget what was copied so far.
  static void CopyBelow(KELSysJSONValue& oTarget, const KELSysJSONValue& iSource);

  // Destroys the list's items and everything below them; the list keeps its storage. The first
  // levels are emptied by direct recursion, at most kRecursion deep; deeper ones level by level
  // from an explicit list.
  template <class List>
  static void Release(List& ioList) noexcept {
    Release(ioList, 0);
  }
  // Empties what the value holds below it; its own payloads and containers stay.
  static void Release(KELSysJSONValue& ioValue) noexcept { Release(ioValue, 0); }

  // A value's type, scalar and string payloads, without its containers. oTarget is a null value
  // that holds nothing out of line.
  static void CopyShallow(KELSysJSONValue& oTarget, const KELSysJSONValue& iSource);
  // True when the value's array or object has members.
  static bool HasMembers(const KELSysJSONValue& iValue) noexcept;
  // True when the value's array, object or missing-member value holds anything. A value with no
  // container costs a test of its storage tag.
  static bool HasChildren(const KELSysJSONValue& iValue) noexcept {
    return iValue.m_Storage >= KELSysJSONValue::kArray && ContainersHold(iValue);
  }

 private:
  struct CopyTask {
    KELSysJSONValue* m_Target;
    const KELSysJSONValue* m_Source;
  };
  // The containers taken off a value that is about to be destroyed.
  struct Detached {
    KELSysJSONArray* m_Array;
    KELSysJSONObject* m_Object;
  };

  template <class List>
  static void CopyLevel(List& oTarget, const List& iSource, std::vector<CopyTask>& ioWork);
  static void CopyMembers(KELSysJSONValue& oTarget, const KELSysJSONValue& iSource,
                          std::vector<CopyTask>& ioWork);
  static void CopyTasks(std::vector<CopyTask>& ioWork);
  static KELSysJSONValue& ValueOf(KELSysJSONValue& iItem) { return iItem; }
  static KELSysJSONValue& ValueOf(KELSysJSONPair& iItem) { return iItem.m_Value; }
  static const KELSysJSONValue& ValueOf(const KELSysJSONValue& iItem) { return iItem; }
  static const KELSysJSONValue& ValueOf(const KELSysJSONPair& iItem) { return iItem.m_Value; }
  static constexpr int kRecursion = 32;
  template <class List>
  static void Release(List& ioList, int iDepth) noexcept;
  static void Release(KELSysJSONValue& ioValue, int iDepth) noexcept;
  static bool ContainersHold(const KELSysJSONValue& iValue) noexcept;
  static void Detach(KELSysJSONValue& ioValue, std::vector<Detached>& ioPending) noexcept;
  static void Drain(std::vector<Detached>& ioPending) noexcept;
};

#endif
