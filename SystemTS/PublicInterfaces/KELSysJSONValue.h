// A JSON value: a type tag and the payload that the tag names. A value always has an array and an
// object of its own (empty unless its type is array or object); their storage is made on first use,
// so a scalar or a string costs no container. String payloads are raw bytes, kept exactly as they
// stood between the quotes of the parsed text (escapes are not decoded), at most 4 GiB - 1 of them.
//
// Every setter first clears the value back to null (type null, empty string, both containers
// emptied) and then sets type and payload; the containers stay the same objects. Moving or swapping
// values hands their containers over, so references into them follow the containers. Copies are
// deep; copying, destroying and writing a value of any nesting depth uses no recursion.
//
// A value is 24 bytes: it holds one thing out of line at most (string bytes, an array, an object).
// A value that needs two at once (a string whose containers were asked for, a null array that is
// then set to a number, ...) keeps them in a small record of their own; making that record is the
// one way a setter can fail for lack of memory besides the payload itself.
#ifndef KELSysJSONValue_H
#define KELSysJSONValue_H

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "KELSysJSONArray.h"
#include "KELSysJSONBase.h"
#include "KELSysJSONObject.h"

enum KELSysJSONType : uint32_t {
  KELSysJSONTypeNull = 0,
  KELSysJSONTypeBoolean = 1,
  KELSysJSONTypeInteger = 2,
  KELSysJSONTypeDouble = 3,
  KELSysJSONTypeString = 4,
  KELSysJSONTypeObject = 5,
  KELSysJSONTypeArray = 6,
};

class KELSysJSONValue : public KELSysJSONBase {
 public:
  KELSysJSONValue() = default;
  KELSysJSONValue(const KELSysJSONValue& iOther);
  // The source is left null.
  KELSysJSONValue(KELSysJSONValue&& iOther) noexcept : KELSysJSONBase(iOther) { Become(iOther); }
  KELSysJSONValue& operator=(const KELSysJSONValue& iOther);
  KELSysJSONValue& operator=(KELSysJSONValue&& iOther) noexcept;
  // A value with nothing out of line costs a test to destroy.
  ~KELSysJSONValue() override {
    if (m_Storage != kInline) Free();
  }

  KELSysJSONType GetType() const { return static_cast<KELSysJSONType>(m_Type); }
  bool IsNull() const { return m_Type == KELSysJSONTypeNull; }

  // Payloads. Each is meaningful only for its own type; the others read as false, 0, 0.0 or "".
  // The bytes of a string stay where they are until the value is set again or destroyed (making
  // its containers, moving or swapping it does not move them).
  bool GetBoolean() const { return m_Type == KELSysJSONTypeBoolean && Scalar().m_Boolean; }
  int64_t GetInteger() const { return m_Type == KELSysJSONTypeInteger ? Scalar().m_Integer : 0; }
  double GetDouble() const { return m_Type == KELSysJSONTypeDouble ? Scalar().m_Double : 0.0; }
  std::string_view GetString() const {
    if (m_Type != KELSysJSONTypeString || m_Length == 0) return std::string_view("", 0);
    return {Scalar().m_Bytes, m_Length};
  }
  // The containers. The first non-const call on a value that has none makes it, and throws
  // std::bad_alloc when that fails.
  KELSysJSONArray& GetArray() {
    KELSysJSONArray* l_Array = ArrayOf();
    return l_Array ? *l_Array : MakeArray();
  }
  const KELSysJSONArray& GetArray() const;
  KELSysJSONObject& GetObject() {
    KELSysJSONObject* l_Object = ObjectOf();
    return l_Object ? *l_Object : MakeObject();
  }
  const KELSysJSONObject& GetObject() const;

  void SetNull();
  // Scalars. KEL_S_OK, or KEL_E_OUTOFMEMORY with the value left null: only a value that keeps a
  // container (it was one, or one was asked for) needs memory for a scalar.
  KELSysResult SetBoolean(bool iValue);
  KELSysResult SetInteger(int64_t iValue);
  KELSysResult SetInteger(int32_t iValue);
  KELSysResult SetDouble(double iValue);
  // String payloads are bytes. A null iBytes leaves the value null. Returns KEL_S_OK, or
  // KEL_E_OUTOFMEMORY with the value left null, also for more than 4 GiB - 1 bytes. An empty string
  // takes no memory.
  KELSysResult SetString(const char* iBytes);
  KELSysResult SetString(const char* iBytes, size_t iLength);
  KELSysResult SetString(std::string_view iBytes) { return SetString(iBytes.data(), iBytes.size()); }
  // A copy of iObject / iArray (which may lie inside this value), or takes it over. Returns KEL_S_OK,
  // or KEL_E_OUTOFMEMORY with the value left null.
  KELSysResult SetObject(const KELSysJSONObject& iObject);
  KELSysResult SetObject(KELSysJSONObject&& iObject);
  KELSysResult SetArray(const KELSysJSONArray& iArray);
  KELSysResult SetArray(KELSysJSONArray&& iArray);

  using KELSysJSONBase::Write;
  // The value's text; see KELSysJSONBase::Write.
  KELSysResult Write(std::string& oOut, bool iCompact, const std::string& iIndent) const override;

  void Swap(KELSysJSONValue& ioOther) noexcept;

 private:
  friend class KELSysJSONTree;
  friend class KELSysJSONBuilder;

  // What the payload slot holds besides the type's scalar.
  enum Storage : uint8_t {
    kInline,  // nothing out of line: a null, a scalar, an empty string, an empty container
    kBytes,   // the string's bytes (a KELSysJSONBytes run)
    kArray,   // the array (a KELSysJSONBlock container), whatever the type says
    kObject,  // the object, likewise
    kParts,   // a Parts record
  };
  struct Parts;
  union Payload {
    bool m_Boolean;
    int64_t m_Integer = 0;
    double m_Double;
    const char* m_Bytes;
    KELSysJSONArray* m_Array;
    KELSysJSONObject* m_Object;
    Parts* m_Parts;
  };
  // A value that needs two payloads at once. Either container may be null.
  struct Parts {
    KELSysJSONArray* m_Array = nullptr;
    KELSysJSONObject* m_Object = nullptr;
    Payload m_Scalar;  // boolean, integer, double, or string bytes
  };

  const Payload& Scalar() const { return m_Storage == kParts ? m_Payload.m_Parts->m_Scalar : m_Payload; }
  KELSysJSONArray* ArrayOf() const {
    return m_Storage == kArray   ? m_Payload.m_Array
           : m_Storage == kParts ? m_Payload.m_Parts->m_Array
                                 : nullptr;
  }
  KELSysJSONObject* ObjectOf() const {
    return m_Storage == kObject  ? m_Payload.m_Object
           : m_Storage == kParts ? m_Payload.m_Parts->m_Object
                                 : nullptr;
  }
  void SetType(KELSysJSONType iType) { m_Type = static_cast<uint8_t>(iType); }
  // The slot that holds the scalar or the string bytes, on a value whose payload is free. Throws
  // std::bad_alloc (a value that keeps a container needs a Parts record).
  Payload& ScalarSlot() { return m_Storage == kInline ? m_Payload : PartsScalar(); }
  Payload& PartsScalar();
  // The slot for the value's Container, null or not. Throws std::bad_alloc.
  template <class Container>
  Container*& SlotOf();
  // True when the payload holds the container of storage iKind, or takes it now (null): a value
  // with nothing out of line and no scalar can hold one container there.
  bool PayloadHolds(Storage iKind);
  // Moves the value's state into a Parts record. Throws std::bad_alloc.
  Parts& ToParts();
  // Frees what the value holds out of line; the fields are left as they are.
  void Free() noexcept;
  // Drops the string bytes; the value is left null with its containers.
  void DropBytes() noexcept;
  // Takes ioSource's fields into this value, which holds nothing out of line; ioSource is left null.
  void Become(KELSysJSONValue& ioSource) noexcept {
    m_Type = ioSource.m_Type;
    m_Storage = ioSource.m_Storage;
    m_Length = ioSource.m_Length;
    m_Payload = ioSource.m_Payload;
    ioSource.m_Type = KELSysJSONTypeNull;
    ioSource.m_Storage = kInline;
    ioSource.m_Length = 0;
    ioSource.m_Payload.m_Integer = 0;
  }
  // Sets a scalar; on a failure to find room for it the value is left null.
  template <class Field>
  KELSysResult SetScalar(KELSysJSONType iType, Field Payload::*iField, Field iValue);
  // Installs string bytes (a KELSysJSONBytes run, or null for none) on a null value.
  void PlaceBytes(const char* iBytes, uint32_t iLength);
  KELSysJSONArray& MakeArray();
  KELSysJSONObject& MakeObject();
  // Clears the value, then makes it iType holding iContainer.
  template <class Container>
  KELSysResult Take(KELSysJSONType iType, Container&& iContainer);
  template <class Container>
  KELSysResult Copy(KELSysJSONType iType, const Container& iContainer);

  uint8_t m_Type = KELSysJSONTypeNull;
  Storage m_Storage = kInline;
  uint32_t m_Length = 0;  // of the string bytes
  Payload m_Payload;
};

template <>
KELSysJSONArray*& KELSysJSONValue::SlotOf<KELSysJSONArray>();
template <>
KELSysJSONObject*& KELSysJSONValue::SlotOf<KELSysJSONObject>();

#endif
