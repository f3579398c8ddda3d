// JSON document trees. Every value is created by one of the factories below and held by shared
// pointers; one value may sit in several containers and lives as long as its last holder.
// Trees of any depth can be cloned, written and destroyed: none of these recurse.
#ifndef JSONValue_H
#define JSONValue_H

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace JSON {

// Kinds of value. The numbers are fixed: they are stored and tested as they are.
enum Type : std::int32_t {
  TypeObject = 0,
  TypeArray = 1,
  TypeNumber = 2,
  TypeString = 3,
  TypeTrue = 4,
  TypeFalse = 5,
  TypeNull = 6,
};

class Object;
class Array;

class Value {
 public:
  virtual ~Value();
  Value(const Value&) = delete;
  Value& operator=(const Value&) = delete;

  // A deep copy: a container is copied with every value below it.
  virtual std::shared_ptr<Value> Clone() const = 0;
  // Members of an object, elements of an array, 0 for a scalar.
  virtual std::size_t Size() const = 0;

  // Indented text: four spaces a level, the first line at iLevel; strings are written as stored,
  // without escapes.
  void Write(std::ostream& oStream, int iLevel = 0) const;
  // Compact text ({"a": 1, "b": [true, null]}); quote, backslash, backspace, form feed, LF, CR and
  // TAB in strings are escaped, every other byte is copied. Keys are written as stored.
  void Serialize(std::ostream& oStream) const;
  // The same, appended to oText.
  void Serialize(std::string& oText) const;

  std::int32_t GetType() const { return m_Type; }
  // "Object", "Array", "Number", "String", "True", "False", "Null", or "???" for anything else.
  std::string GetTypeName() const;
  bool IsObject() const { return m_Type == TypeObject; }
  bool IsArray() const { return m_Type == TypeArray; }
  bool IsNumber() const { return m_Type == TypeNumber; }
  bool IsString() const { return m_Type == TypeString; }
  bool IsTrue() const { return m_Type == TypeTrue; }
  bool IsFalse() const { return m_Type == TypeFalse; }
  bool IsBoolean() const { return IsTrue() || IsFalse(); }
  bool IsNull() const { return m_Type == TypeNull; }

  // This value as an object; throws std::runtime_error
  // "JSON::Value::GetObjectValues - Value is not an Object. Actual type: <type name>" otherwise.
  Object& GetObjectValues();
  const Object& GetObjectValues() const;
  // This value as an array; throws std::runtime_error
  // "JSON::Value::GetArrayValues - Value is not an Array. Actual type: <type name>" otherwise.
  Array& GetArrayValues();
  const Array& GetArrayValues() const;

 protected:
  // Containers free their children through this, so that a chain of 100,000 nested arrays does not
  // become 100,000 nested destructor calls.
  static void ReleaseNested(Value& ioContainer);
  // Moves ioChild to oPending when it is a container with children of its own.
  static void DeferNested(std::shared_ptr<Value>& ioChild, std::vector<std::shared_ptr<Value>>& oPending);

 private:
  friend class Item;
  friend class Object;
  friend class Array;
  explicit Value(std::int32_t iType) : m_Type(iType) {}
  // Drops every child; with oPending, children that have children of their own move there instead.
  virtual void DropChildren(std::vector<std::shared_ptr<Value>>* oPending) = 0;

  std::int32_t m_Type;
};

// Factories. Numbers keep their text exactly as given; nothing is validated.
std::shared_ptr<Value> CreateObject();
std::shared_ptr<Value> CreateArray();
std::shared_ptr<Value> CreateNumber(std::string iText);
// A string holding iText; a null instead when iEmptyAsNull is set and iText is empty.
std::shared_ptr<Value> CreateString(std::string iText, bool iEmptyAsNull = false);
std::shared_ptr<Value> CreateTrue();
std::shared_ptr<Value> CreateFalse();
std::shared_ptr<Value> CreateBoolean(bool iValue);
std::shared_ptr<Value> CreateNull();

}  // namespace JSON

#endif
