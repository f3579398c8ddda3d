// Builds a JSON tree top-down through a stack of open containers, and reads typed members out of
// trees. Every GetAttribute throws std::runtime_error whose message begins
// "JSON::Driver::GetAttribute - ": "Value is null" for an empty iObject, "Empty field: <key>" for a
// missing member, "<key> is not a <kind>. Actual type: <type name>" for a member of the wrong kind.
#ifndef JSONDriver_H
#define JSONDriver_H

#include <deque>
#include <string_view>

#include "JSONValue.h"

namespace JSON {

class Driver {
 public:
  Driver() = default;

  // Closes every open container and drops the root.
  void Reset();
  // Starts a new document whose root is an empty object (array), open for members (elements).
  void BeginObject();
  void BeginArray();
  // Adds (iKey, iValue) to the object being filled. When iValue is itself an object or an array,
  // it becomes the container being filled until End. False, and nothing changed, when no container
  // is open, the open one is not an object, or iValue is empty. iValue is passed on to
  // Object::Add: a scalar handed over as a temporary is kept compactly.
  bool AddMember(std::string iKey, std::shared_ptr<Value> iValue);
  // The same for the array being filled.
  bool AddElement(const std::shared_ptr<Value>& iValue);
  // Closes the container being filled; nothing when none is open.
  void End();

  const std::shared_ptr<Value>& GetRoot() const { return m_Root; }
  // The compact text of the root; "" without one.
  std::string ToString() const;

  // Member iKey of iObject; an empty pointer when iObject is empty, not an object or has no such
  // member.
  static std::shared_ptr<Value> FindMember(const std::shared_ptr<Value>& iObject, std::string_view iKey);

  // Numbers are converted from their stored text with std::stoi, std::stof and std::stoll, whose
  // own exceptions (std::invalid_argument, std::out_of_range) pass through.
  static void GetAttribute(const std::shared_ptr<Value>& iObject, std::string_view iKey, int& oValue);
  static void GetAttribute(const std::shared_ptr<Value>& iObject, std::string_view iKey, float& oValue);
  static void GetAttribute(const std::shared_ptr<Value>& iObject, std::string_view iKey,
                           std::int64_t& oValue);
  // True for true, false for false; any other kind is "not a Boolean".
  static void GetAttribute(const std::shared_ptr<Value>& iObject, std::string_view iKey, bool& oValue);
  static void GetAttribute(const std::shared_ptr<Value>& iObject, std::string_view iKey, std::string& oValue);
  // An object or an array member itself (shared, not copied).
  static void GetAttribute(const std::shared_ptr<Value>& iObject, std::string_view iKey,
                           std::shared_ptr<Value>& oValue);

 private:
  bool Push(const std::shared_ptr<Value>& iValue);

  std::shared_ptr<Value> m_Root;
  std::deque<std::shared_ptr<Value>> m_Open;
};

}  // namespace JSON

#endif
