// A JSON array: an ordered sequence of values held by value. Copies are deep; destroying or copying
// an array of any nesting depth uses no recursion.
#ifndef KELSysJSONArray_H
#define KELSysJSONArray_H

#include <cstddef>
#include <string>

#include "KELSysJSONBase.h"
#include "KELSysJSONValueList.h"

class KELSysJSONArray : public KELSysJSONBase {
 public:
  KELSysJSONArray() = default;
  KELSysJSONArray(const KELSysJSONArray&) = default;
  KELSysJSONArray(KELSysJSONArray&&) noexcept = default;
  KELSysJSONArray& operator=(const KELSysJSONArray&) = default;
  KELSysJSONArray& operator=(KELSysJSONArray&&) noexcept = default;
  ~KELSysJSONArray() override = default;

  size_t GetSize() const { return m_Values.GetCount(); }
  // The element at iIndex, nullptr past the end.
  KELSysJSONValue* GetAt(size_t iIndex) { return m_Values.GetAt(iIndex); }
  const KELSysJSONValue* GetAt(size_t iIndex) const { return m_Values.GetAt(iIndex); }

  // Appends a copy of iValue (or takes it over). KEL_S_OK or KEL_E_OUTOFMEMORY.
  KELSysResult Append(const KELSysJSONValue& iValue) { return m_Values.Append(iValue); }
  KELSysResult Append(KELSysJSONValue&& iValue) {
    return m_Values.Append(static_cast<KELSysJSONValue&&>(iValue));
  }
  bool RemoveAt(size_t iIndex) { return m_Values.RemoveAt(iIndex); }
  void Clear() { m_Values.Clear(); }

  KELSysJSONValueList& GetValues() { return m_Values; }
  const KELSysJSONValueList& GetValues() const { return m_Values; }

  // Range-for over the elements.
  KELSysJSONValue* begin() { return m_Values.begin(); }
  KELSysJSONValue* end();
  const KELSysJSONValue* begin() const { return m_Values.begin(); }
  const KELSysJSONValue* end() const;

  using KELSysJSONBase::Write;
  // "[" elements "]"; see KELSysJSONBase::Write.
  KELSysResult Write(std::string& oOut, bool iCompact, const std::string& iIndent) const override;

 private:
  friend class KELSysJSONBlock;
  friend class KELSysJSONTree;
  friend class KELSysJSONBuilder;
  friend class KELSysJSONValue;
  using Item = KELSysJSONValue;
  KELSysJSONValueListImpl& List() { return m_Values; }
  KELSysJSONValueListImpl m_Values;
};

#endif
