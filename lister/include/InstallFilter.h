// The filter test of a query, prepared once and applied to every installation found.
#ifndef InstallFilter_H
#define InstallFilter_H

#include <string>
#include <string_view>

#include "InstallQuery.h"

class InstallFilter {
 public:
  // Level and hotfix level compare exactly. The type compares exactly too, unless its last "*" is
  // its final character: then the text before that "*" is a prefix (so "*" alone takes every
  // type). Empty query fields accept everything. All comparisons are case-sensitive.
  explicit InstallFilter(const InstallQuery& iQuery);

  bool Accepts(std::string_view iLevel, std::string_view iType, std::string_view iHfxLevel) const;
  // The level and type parts of the test alone: false when no installation of that build level, or
  // of that type, can pass.
  bool AcceptsLevel(std::string_view iLevel) const { return m_Level.empty() || iLevel == m_Level; }
  bool AcceptsType(std::string_view iType) const;

 private:
  std::string m_Level;
  std::string m_Type;
  std::string m_HfxLevel;
  bool m_TypeIsPrefix = false;  // m_Type then holds the prefix, without its "*"
};

#endif
