// A JSON value: a type tag and the payload that the tag names. A value always has an array and an
// object of its own (empty unless its type is array or object); their storage is made on first use,
// so a scalar or a string costs no container. String payloads are raw bytes, kept exactly as they
// stood between the quotes of the parsed text (escapes are not decoded).
//
// Every setter first clears the value back to null (type null, empty string, both containers
// emptied) and then sets type and payload; the containers stay the same objects. Moving or swapping
// values hands their containers over, so references into them follow the containers. Copies are
// deep; copying, destroying and writing a value of any nesting depth uses no recursion.
#ifndef KELSysJSONValue_H
#define KELSysJSONValue_H

#include <cstdint>
#include <string>
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
  KELSysJSONValue() : m_Parts() {}
  KELSysJSONValue(const KELSysJSONValue& iOther);
  // The source is left null.
  KELSysJSONValue(KELSysJSONValue&& iOther) noexcept;
  KELSysJSONValue& operator=(const KELSysJSONValue& iOther);
  KELSysJSONValue& operator=(KELSysJSONValue&& iOther) noexcept;
  ~KELSysJSONValue() override;

  KELSysJSONType GetType() const { return m_Type; }
  bool IsNull() const { return m_Type == KELSysJSONTypeNull; }

  // Payloads. Each is meaningful only for its own type; the others read as false, 0, 0.0 or "".
  bool GetBoolean() const { return m_Type == KELSysJSONTypeBoolean && m_Parts.m_Scalar.m_Boolean; }
  int64_t GetInteger() const { return m_Type == KELSysJSONTypeInteger ? m_Parts.m_Scalar.m_Integer : 0; }
  double GetDouble() const { return m_Type == KELSysJSONTypeDouble ? m_Parts.m_Scalar.m_Double : 0.0; }
  const std::string& GetString() const {
    if (m_Type != KELSysJSONTypeString) return NoString();
    return m_Loose ? *m_Parts.m_Scalar.m_Loose : m_String;
  }
  // The containers. The first non-const call on a value that has none makes it (and throws
  // std::bad_alloc when that fails); on a string value that moves the string, so a reference that
  // GetString gave before does not survive it.
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
  void SetBoolean(bool iValue);
  void SetInteger(int64_t iValue);
  void SetInteger(int32_t iValue);
  void SetDouble(double iValue);
  // String payloads are bytes. A null iBytes leaves the value null. Returns KEL_S_OK, or
  // KEL_E_OUTOFMEMORY with the value left null.
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

  // A value is a string held in place (m_String: no container can be made beside it), or its parts:
  // the containers, each in a block made by KELSysJSONBlock and null until first needed, and the
  // scalar payload, which for a string that has containers too (m_Loose) points to the string.
  struct Parts {
    KELSysJSONArray* m_Array = nullptr;
    KELSysJSONObject* m_Object = nullptr;
    union {
      bool m_Boolean;
      int64_t m_Integer = 0;
      double m_Double;
      std::string* m_Loose;
    } m_Scalar;
  };

  static const std::string& NoString();
  bool HasParts() const { return m_Type != KELSysJSONTypeString || m_Loose; }
  KELSysJSONArray* ArrayOf() const { return HasParts() ? m_Parts.m_Array : nullptr; }
  KELSysJSONObject* ObjectOf() const { return HasParts() ? m_Parts.m_Object : nullptr; }
  // Makes room for containers beside a string held in place. Throws std::bad_alloc.
  void ToParts();
  template <class Container>
  Container*& SlotOf();
  // Drops the string payload (the value is left with its parts, type null).
  void DropString() noexcept;
  // Takes everything ioSource has into this value, which must be null and without containers;
  // ioSource is left so.
  void Become(KELSysJSONValue&& ioSource) noexcept;
  // The string payload, on a value that is null and without containers.
  void PlaceString(std::string&& iBytes) noexcept;
  void FreeContainers() noexcept;
  KELSysJSONArray& MakeArray();
  KELSysJSONObject& MakeObject();
  // Clears the value, then makes it iType holding iContainer.
  template <class Container>
  KELSysResult Take(KELSysJSONType iType, Container&& iContainer);
  template <class Container>
  KELSysResult Copy(KELSysJSONType iType, const Container& iContainer);

  KELSysJSONType m_Type = KELSysJSONTypeNull;
  bool m_Loose = false;
  union {
    Parts m_Parts;
    std::string m_String;
  };
};

#endif
