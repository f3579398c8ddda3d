#include "KELSysJSONValue.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "KELSysJSONBlock.h"
#include "KELSysJSONTree.h"
#include "KELSysJSONWriter.h"

// A tree costs a reader a value per member: their size bounds what a hostile key file can make it
// hold.
#if defined(__x86_64__)
static_assert(sizeof(KELSysJSONValue) == 24, "a value is a vptr, its tags and one 8-byte payload");
#endif

KELSysJSONValue::KELSysJSONValue(const KELSysJSONValue& iOther) : KELSysJSONBase(iOther) {
  try {
    KELSysJSONTree::CopyShallow(*this, iOther);
    KELSysJSONTree::CopyBelow(*this, iOther);
  } catch (...) {
    Free();  // no destructor runs for a constructor that throws
    throw;
  }
}

void KELSysJSONValue::Free() noexcept {
  DropBytes();
  if (ArrayOf() || ObjectOf()) KELSysJSONTree::Release(*this);
  if (KELSysJSONArray* l_Array = ArrayOf()) KELSysJSONBlock::Delete(l_Array);
  if (KELSysJSONObject* l_Object = ObjectOf()) KELSysJSONBlock::Delete(l_Object);
  if (m_Storage == kParts) delete m_Payload.m_Parts;
}

// Only a non-empty string has bytes: in the payload slot, or in the parts beside containers.
void KELSysJSONValue::DropBytes() noexcept {
  if (m_Type != KELSysJSONTypeString) return;
  if (m_Storage == kBytes) {
    KELSysJSONBytes::Delete(m_Payload.m_Bytes);
    m_Storage = kInline;
    m_Payload.m_Integer = 0;
  } else if (m_Storage == kParts) {
    KELSysJSONBytes::Delete(m_Payload.m_Parts->m_Scalar.m_Bytes);
    m_Payload.m_Parts->m_Scalar.m_Integer = 0;
  }
  m_Type = KELSysJSONTypeNull;
  m_Length = 0;
}

KELSysJSONValue::Parts& KELSysJSONValue::ToParts() {
  if (m_Storage == kParts) return *m_Payload.m_Parts;
  Parts* l_Parts = new Parts();
  if (m_Storage == kArray)
    l_Parts->m_Array = m_Payload.m_Array;
  else if (m_Storage == kObject)
    l_Parts->m_Object = m_Payload.m_Object;
  else
    l_Parts->m_Scalar = m_Payload;
  m_Storage = kParts;
  m_Payload.m_Parts = l_Parts;
  return *l_Parts;
}

// A container slot left null (its making failed) frees the payload slot again.
KELSysJSONValue::Payload& KELSysJSONValue::PartsScalar() {
  if ((m_Storage == kArray && m_Payload.m_Array == nullptr) ||
      (m_Storage == kObject && m_Payload.m_Object == nullptr)) {
    m_Storage = kInline;
    return m_Payload;
  }
  return ToParts().m_Scalar;
}

bool KELSysJSONValue::PayloadHolds(Storage iKind) {
  if (m_Storage == iKind) return true;
  if (m_Storage != kInline || m_Type == KELSysJSONTypeBoolean || m_Type == KELSysJSONTypeInteger ||
      m_Type == KELSysJSONTypeDouble)
    return false;
  m_Storage = iKind;
  if (iKind == kArray)
    m_Payload.m_Array = nullptr;
  else
    m_Payload.m_Object = nullptr;
  return true;
}

template <>
KELSysJSONArray*& KELSysJSONValue::SlotOf<KELSysJSONArray>() {
  return PayloadHolds(kArray) ? m_Payload.m_Array : ToParts().m_Array;
}

template <>
KELSysJSONObject*& KELSysJSONValue::SlotOf<KELSysJSONObject>() {
  return PayloadHolds(kObject) ? m_Payload.m_Object : ToParts().m_Object;
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
  Become(ioOther);
  ioOther.Become(l_Mine);
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
  KELSysJSONArray*& l_Slot = SlotOf<KELSysJSONArray>();
  return *(l_Slot = KELSysJSONBlock::New<KELSysJSONArray>(0));
}

KELSysJSONObject& KELSysJSONValue::MakeObject() {
  KELSysJSONObject*& l_Slot = SlotOf<KELSysJSONObject>();
  return *(l_Slot = KELSysJSONBlock::New<KELSysJSONObject>(0));
}

void KELSysJSONValue::SetNull() {
  DropBytes();
  m_Type = KELSysJSONTypeNull;
  m_Length = 0;
  if (m_Storage == kInline)
    m_Payload.m_Integer = 0;
  else if (m_Storage == kParts)
    m_Payload.m_Parts->m_Scalar.m_Integer = 0;
  if (KELSysJSONArray* l_Array = ArrayOf()) l_Array->Clear();
  if (KELSysJSONObject* l_Object = ObjectOf()) l_Object->Clear();
}

template <class Field>
KELSysResult KELSysJSONValue::SetScalar(KELSysJSONType iType, Field Payload::*iField, Field iValue) {
  SetNull();
  try {
    ScalarSlot().*iField = iValue;
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
  SetType(iType);
  return KEL_S_OK;
}

KELSysResult KELSysJSONValue::SetBoolean(bool iValue) {
  return SetScalar(KELSysJSONTypeBoolean, &Payload::m_Boolean, iValue);
}

KELSysResult KELSysJSONValue::SetInteger(int64_t iValue) {
  return SetScalar(KELSysJSONTypeInteger, &Payload::m_Integer, iValue);
}

KELSysResult KELSysJSONValue::SetInteger(int32_t iValue) { return SetInteger(static_cast<int64_t>(iValue)); }

KELSysResult KELSysJSONValue::SetDouble(double iValue) {
  return SetScalar(KELSysJSONTypeDouble, &Payload::m_Double, iValue);
}

KELSysResult KELSysJSONValue::SetString(const char* iBytes) {
  return iBytes ? SetString(iBytes, std::strlen(iBytes)) : (SetNull(), KEL_S_OK);
}

// An empty string needs no slot; any other keeps its bytes beside the value's containers.
void KELSysJSONValue::PlaceBytes(const char* iBytes, uint32_t iLength) {
  if (iLength > 0) {
    Payload& l_Slot = ScalarSlot();
    if (m_Storage == kInline) m_Storage = kBytes;
    l_Slot.m_Bytes = iBytes;
  }
  m_Length = iLength;
  SetType(KELSysJSONTypeString);
}

KELSysResult KELSysJSONValue::SetString(const char* iBytes, size_t iLength) {
  if (iBytes == nullptr || iLength > UINT32_MAX) {
    SetNull();
    return iBytes == nullptr ? KEL_S_OK : KEL_E_OUTOFMEMORY;
  }
  const char* l_Bytes = nullptr;
  try {
    if (iLength > 0) l_Bytes = KELSysJSONBytes::New(iBytes, iLength);  // they may lie below this value
    SetNull();
    PlaceBytes(l_Bytes, static_cast<uint32_t>(iLength));
  } catch (const std::bad_alloc&) {
    KELSysJSONBytes::Delete(l_Bytes);
    SetNull();
    return KEL_E_OUTOFMEMORY;
  }
  return KEL_S_OK;
}

// The container is taken (or copied) before the value is cleared: it may lie below the value. A
// value that already has the container keeps it (references to it stay good) and takes the content
// over.
template <class Container>
KELSysResult KELSysJSONValue::Take(KELSysJSONType iType, Container&& iContainer) {
  Container l_Taken(std::move(iContainer));
  SetNull();
  try {
    Container*& l_Slot = SlotOf<Container>();
    if (!l_Slot) l_Slot = KELSysJSONBlock::New<Container>(0);
    *l_Slot = std::move(l_Taken);
  } catch (const std::bad_alloc&) {
    return KEL_E_OUTOFMEMORY;
  }
  SetType(iType);
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
