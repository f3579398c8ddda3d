#include "KELSysJSONValue.h"

#include <cstring>
#include <new>
#include <utility>

#include "KELSysJSONBlock.h"
#include "KELSysJSONTree.h"
#include "KELSysJSONWriter.h"

KELSysJSONValue::KELSysJSONValue(const KELSysJSONValue& iOther)
    : KELSysJSONBase(iOther), m_Type(iOther.m_Type), m_Scalar(iOther.m_Scalar), m_String(iOther.m_String) {
  try {
    KELSysJSONTree::CopyBelow(*this, iOther);
  } catch (...) {
    FreeContainers();  // no destructor runs for a constructor that throws
    throw;
  }
}

KELSysJSONValue::KELSysJSONValue(KELSysJSONValue&& iOther) noexcept
    : KELSysJSONBase(iOther),
      m_Type(iOther.m_Type),
      m_Scalar(iOther.m_Scalar),
      m_String(std::move(iOther.m_String)),
      m_Array(iOther.m_Array),
      m_Object(iOther.m_Object) {
  iOther.m_Type = KELSysJSONTypeNull;
  iOther.m_Array = nullptr;
  iOther.m_Object = nullptr;
}

KELSysJSONValue::~KELSysJSONValue() { FreeContainers(); }

void KELSysJSONValue::FreeContainers() noexcept {
  if (!m_Array && !m_Object) return;
  KELSysJSONTree::Release(*this);
  if (m_Array) KELSysJSONBlock::Delete(m_Array);
  if (m_Object) KELSysJSONBlock::Delete(m_Object);
  m_Array = nullptr;
  m_Object = nullptr;
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
  std::swap(m_Type, ioOther.m_Type);
  std::swap(m_Scalar, ioOther.m_Scalar);
  m_String.swap(ioOther.m_String);
  std::swap(m_Array, ioOther.m_Array);
  std::swap(m_Object, ioOther.m_Object);
}

// What a value without containers shows through the const accessors.
const KELSysJSONArray& KELSysJSONValue::GetArray() const {
  static const KELSysJSONArray s_None;
  return m_Array ? *m_Array : s_None;
}

const KELSysJSONObject& KELSysJSONValue::GetObject() const {
  static const KELSysJSONObject s_None;
  return m_Object ? *m_Object : s_None;
}

KELSysJSONArray& KELSysJSONValue::MakeArray() {
  return *(m_Array = KELSysJSONBlock::New<KELSysJSONArray>(0));
}

KELSysJSONObject& KELSysJSONValue::MakeObject() {
  return *(m_Object = KELSysJSONBlock::New<KELSysJSONObject>(0));
}

void KELSysJSONValue::SetNull() {
  m_Type = KELSysJSONTypeNull;
  m_Scalar.m_Integer = 0;
  m_String.clear();
  if (m_Array) m_Array->Clear();
  if (m_Object) m_Object->Clear();
}

void KELSysJSONValue::SetBoolean(bool iValue) {
  SetNull();
  m_Type = KELSysJSONTypeBoolean;
  m_Scalar.m_Boolean = iValue;
}

void KELSysJSONValue::SetInteger(int64_t iValue) {
  SetNull();
  m_Type = KELSysJSONTypeInteger;
  m_Scalar.m_Integer = iValue;
}

void KELSysJSONValue::SetInteger(int32_t iValue) { SetInteger(static_cast<int64_t>(iValue)); }

void KELSysJSONValue::SetDouble(double iValue) {
  SetNull();
  m_Type = KELSysJSONTypeDouble;
  m_Scalar.m_Double = iValue;
}

KELSysResult KELSysJSONValue::SetString(const char* iBytes) {
  return iBytes ? SetString(iBytes, std::strlen(iBytes)) : (SetNull(), KEL_S_OK);
}

KELSysResult KELSysJSONValue::SetString(const char* iBytes, size_t iLength) {
  if (iBytes == nullptr) {
    SetNull();
    return KEL_S_OK;
  }
  try {
    std::string l_Bytes(iBytes, iLength);  // the bytes may lie below this value
    SetNull();
    m_String.swap(l_Bytes);
  } catch (const std::bad_alloc&) {
    SetNull();
    return KEL_E_OUTOFMEMORY;
  }
  m_Type = KELSysJSONTypeString;
  return KEL_S_OK;
}

// The container is taken (or copied) before the value is cleared: it may lie below the value.
// A value that already has the container keeps it (references to it stay good) and takes the
// content over.
template <class Container>
KELSysResult KELSysJSONValue::Take(Container* KELSysJSONValue::*iSlot, KELSysJSONType iType,
                                   Container&& iContainer) {
  Container l_Taken(std::move(iContainer));
  SetNull();
  try {
    if (!(this->*iSlot)) this->*iSlot = KELSysJSONBlock::New<Container>(0);
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
  *(this->*iSlot) = std::move(l_Taken);
  m_Type = iType;
  return KEL_S_OK;
}

template <class Container>
KELSysResult KELSysJSONValue::Copy(Container* KELSysJSONValue::*iSlot, KELSysJSONType iType,
                                   const Container& iContainer) {
  try {
    return Take(iSlot, iType, Container(iContainer));
  } catch (const std::bad_alloc&) {
    SetNull();
    return KEL_E_OUTOFMEMORY;
  }
}

KELSysResult KELSysJSONValue::SetObject(const KELSysJSONObject& iObject) {
  return Copy(&KELSysJSONValue::m_Object, KELSysJSONTypeObject, iObject);
}

KELSysResult KELSysJSONValue::SetObject(KELSysJSONObject&& iObject) {
  return Take(&KELSysJSONValue::m_Object, KELSysJSONTypeObject, std::move(iObject));
}

KELSysResult KELSysJSONValue::SetArray(const KELSysJSONArray& iArray) {
  return Copy(&KELSysJSONValue::m_Array, KELSysJSONTypeArray, iArray);
}

KELSysResult KELSysJSONValue::SetArray(KELSysJSONArray&& iArray) {
  return Take(&KELSysJSONValue::m_Array, KELSysJSONTypeArray, std::move(iArray));
}

KELSysResult KELSysJSONValue::Write(std::string& oOut, bool iCompact, const std::string& iIndent) const {
  return KELSysJSONWriter(oOut, iCompact, iIndent).Run(*this);
}
