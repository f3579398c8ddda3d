// Builders and writers shared by the JSON document tests.
#ifndef JSONTestUtil_H
#define JSONTestUtil_H

#include <sstream>

#include "JSON.h"

// An object with the members added in the order given; an array with the elements.
inline std::shared_ptr<JSON::Value> Obj(
    std::initializer_list<std::pair<std::string, std::shared_ptr<JSON::Value>>> iMembers) {
  std::shared_ptr<JSON::Value> l_Object = JSON::CreateObject();
  for (const auto& [l_Key, l_Value] : iMembers) l_Object->GetObjectValues().Add(l_Key, l_Value);
  return l_Object;
}
inline std::shared_ptr<JSON::Value> Arr(std::initializer_list<std::shared_ptr<JSON::Value>> iElements) {
  std::shared_ptr<JSON::Value> l_Array = JSON::CreateArray();
  for (const std::shared_ptr<JSON::Value>& l_Element : iElements) l_Array->GetArrayValues().Add(l_Element);
  return l_Array;
}

// The compact text of iValue, through the stream form.
inline std::string Compact(const JSON::Value& iValue) {
  std::ostringstream l_Out;
  iValue.Serialize(l_Out);
  return l_Out.str();
}

#endif
