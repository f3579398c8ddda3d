// Element and attribute names come from a small vocabulary repeated all over a document. Each
// distinct name is stored once, for the life of the process, and nodes keep only its number.
#ifndef XMLNames_H
#define XMLNames_H

#include <cstdint>
#include <string_view>

namespace XML {

class Names {
 public:
  // The number of iName, given to it when it is first seen. Any thread may call it.
  static std::uint32_t Intern(std::string_view iName);
  // The name numbered iId, which Intern returned.
  static std::string_view Get(std::uint32_t iId);
};

}  // namespace XML

#endif
