#include "KELSysJSONValue.h"

#include <cstring>
#include <new>
#include <utility>

#include "KELSysJSONBlock.h"
#include "KELSysJSONTree.h"
#include "KELSysJSONWriter.h"

KELSysJSONValue::KELSysJSONValue(const KELSysJSONValue& iOther) : KELSysJSONBase(iOther), m_Parts() {
  try {
    KELSysJSONTree::CopyShallow(*this, iOther);
    KELSysJSONTree::CopyBelow(*this, iOther);
  } catch (...) {
    SetNull();  // no destructor runs for a constructor that throws
    FreeContainers();
    throw;
  }
}

KELSysJSONValue::KELSysJSONValue(KELSysJSONValue&& iOther) noexcept : KELSysJSONBase(iOther), m_Parts() {
  Become(std::move(iOther));
}

KELSysJSONValue::~KELSysJSONValue() {
  DropString();
  FreeContainers();
}

const std::string& KELSysJSONValue::NoString() {
  static const std::string s_None;
  return s_None;
}

void KELSysJSONValue::DropString() noexcept {
  if (m_Type != KELSysJSONTypeString) return;
  if (m_Loose) {
    delete m_Parts.m_Scalar.m_Loose;
    m_Loose = false;
  } else {
    m_String.~basic_string();
    new (&m_Parts) Parts();
  }
  m_Type = KELSysJSONTypeNull;
  m_Parts.m_Scalar.m_Integer = 0;
}

void KELSysJSONValue::PlaceString(std::string&& iBytes) noexcept {
  m_Parts.~Parts();
  new (&m_String) std::string(std::move(iBytes));
  m_Type = KELSysJSONTypeString;
}

void KELSysJSONValue::ToParts() {
  if (HasParts()) return;
  std::string* l_Loose = new std::string(std::move(m_String));
  m_String.~basic_string();
  new (&m_Parts) Parts();
  m_Parts.m_Scalar.m_Loose = l_Loose;
  m_Loose = true;
}

template <>
KELSysJSONArray*& KELSysJSONValue::SlotOf<KELSysJSONArray>() {
  return m_Parts.m_Array;
}

template <>
KELSysJSONObject*& KELSysJSONValue::SlotOf<KELSysJSONObject>() {
  return m_Parts.m_Object;
}

void KELSysJSONValue::Become(KELSysJSONValue&& ioSource) noexcept {
  if (!ioSource.HasParts()) {
    PlaceString(std::move(ioSource.m_String));
    ioSource.DropString();
    return;
  }
  m_Type = ioSource.m_Type;
  m_Loose = ioSource.m_Loose;
  m_Parts = ioSource.m_Parts;
  ioSource.m_Type = KELSysJSONTypeNull;
  ioSource.m_Loose = false;
  ioSource.m_Parts = Parts();
}

void KELSysJSONValue::FreeContainers() noexcept {
  if (!ArrayOf() && !ObjectOf()) return;
  KELSysJSONTree::Release(*this);
  if (m_Parts.m_Array) KELSysJSONBlock::Delete(m_Parts.m_Array);
  if (m_Parts.m_Object) KELSysJSONBlock::Delete(m_Parts.m_Object);
  m_Parts.m_Array = nullptr;
  m_Parts.m_Object = nullptr;
}

// Both assignments build the new content first: the source may lie below this value.
KELSysJSONValue& KELSysJSONValue::operator=(const KELSysJSONValue& iOther) {
  if (this != &iOther) {
    KELSysJSONValue l_Copy(iOther);
    Swap(l_Copy);
  }
  return *this;
}

KELSysJSONValue& KELSysJSONValue::operator=(KELSysJSONValue&& iOther) noexcept {
  if (this != &iOther) {
    KELSysJSONValue l_Taken(std::move(iOther));
    Swap(l_Taken);
  }
  return *this;
}

void KELSysJSONValue::Swap(KELSysJSONValue& ioOther) noexcept {
  KELSysJSONValue l_Mine(std::move(*this));
  Become(std::move(ioOther));
  ioOther.Become(std::move(l_Mine));
}

// What a value without containers shows through the const accessors.
const KELSysJSONArray& KELSysJSONValue::GetArray() const {
  static const KELSysJSONArray s_None;
  const KELSysJSONArray* l_Array = ArrayOf();
  return l_Array ? *l_Array : s_None;
}

const KELSysJSONObject& KELSysJSONValue::GetObject() const {
  static const KELSysJSONObject s_None;
  const KELSysJSONObject* l_Object = ObjectOf();
  return l_Object ? *l_Object : s_None;
}

KELSysJSONArray& KELSysJSONValue::MakeArray() {
  ToParts();
  return *(m_Parts.m_Array = KELSysJSONBlock::New<KELSysJSONArray>(0));
}

KELSysJSONObject& KELSysJSONValue::MakeObject() {
  ToParts();
  return *(m_Parts.m_Object = KELSysJSONBlock::New<KELSysJSONObject>(0));
}

void KELSysJSONValue::SetNull() {
  DropString();
  m_Type = KELSysJSONTypeNull;
  m_Parts.m_Scalar.m_Integer = 0;
  if (m_Parts.m_Array) m_Parts.m_Array->Clear();
  if (m_Parts.m_Object) m_Parts.m_Object->Clear();
}

void KELSysJSONValue::SetBoolean(bool iValue) {
  SetNull();
  m_Type = KELSysJSONTypeBoolean;
  m_Parts.m_Scalar.m_Boolean = iValue;
}

void KELSysJSONValue::SetInteger(int64_t iValue) {
  SetNull();
  m_Type = KELSysJSONTypeInteger;
  m_Parts.m_Scalar.m_Integer = iValue;
}

void KELSysJSONValue::SetInteger(int32_t iValue) { SetInteger(static_cast<int64_t>(iValue)); }

void KELSysJSONValue::SetDouble(double iValue) {
  SetNull();
  m_Type = KELSysJSONTypeDouble;
  m_Parts.m_Scalar.m_Double = iValue;
}

KELSysResult KELSysJSONValue::SetString(const char* iBytes) {
  return iBytes ? SetString(iBytes, std::strlen(iBytes)) : (SetNull(), KEL_S_OK);
}

// A value with containers keeps them, and its string beside them.
KELSysResult KELSysJSONValue::SetString(const char* iBytes, size_t iLength) {
  if (iBytes == nullptr) {
    SetNull();
    return KEL_S_OK;
  }
  try {
    std::string l_Bytes(iBytes, iLength);  // the bytes may lie below this value
    SetNull();
    if (!m_Parts.m_Array && !m_Parts.m_Object) {
      PlaceString(std::move(l_Bytes));
      return KEL_S_OK;
    }
    m_Parts.m_Scalar.m_Loose = new std::string(std::move(l_Bytes));
    m_Loose = true;
  } catch (const std::bad_alloc&) {
    SetNull();
    return KEL_E_OUTOFMEMORY;
  }
  m_Type = KELSysJSONTypeString;
  return KEL_S_OK;
}

// The container is taken (or copied) before the value is cleared: it may lie below the value. A
// value that already has the container keeps it (references to it stay good) and takes the content
// over.
template <class Container>
KELSysResult KELSysJSONValue::Take(KELSysJSONType iType, Container&& iContainer) {
  Container l_Taken(std::move(iContainer));
  SetNull();
  Container*& l_Slot = SlotOf<Container>();
  try {
    if (!l_Slot) l_Slot = KELSysJSONBlock::New<Container>(0);
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
  *l_Slot = std::move(l_Taken);
  m_Type = iType;
  return KEL_S_OK;
}

template <class Container>
KELSysResult KELSysJSONValue::Copy(KELSysJSONType iType, const Container& iContainer) {
  try {
    return Take(iType, Container(iContainer));
  } catch (const std::bad_alloc&) {
    SetNull();
    return KEL_E_OUTOFMEMORY;
  }
}

KELSysResult KELSysJSONValue::SetObject(const KELSysJSONObject& iObject) {
  return Copy(KELSysJSONTypeObject, iObject);
}

KELSysResult KELSysJSONValue::SetObject(KELSysJSONObject&& iObject) {
  return Take(KELSysJSONTypeObject, std::move(iObject));
}

KELSysResult KELSysJSONValue::SetArray(const KELSysJSONArray& iArray) {
  return Copy(KELSysJSONTypeArray, iArray);
}

KELSysResult KELSysJSONValue::SetArray(KELSysJSONArray&& iArray) {
  return Take(KELSysJSONTypeArray, std::move(iArray));
}

KELSysResult KELSysJSONValue::Write(std::string& oOut, bool iCompact, const std::string& iIndent) const {
  return KELSysJSONWriter(oOut, iCompact, iIndent).Run(*this);
}
