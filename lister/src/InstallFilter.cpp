#include "InstallFilter.h"

InstallFilter::InstallFilter(const InstallQuery& iQuery)
    : m_Level(iQuery.level), m_Type(iQuery.type), m_HfxLevel(iQuery.hfxLevel) {
  // Only a "*" that is both the last one and the final character is a wildcard; "*top" or "D*p"
  // are plain type names.
  std::string::size_type l_Star = m_Type.rfind('*');
  if (l_Star != std::string::npos && l_Star + 1 == m_Type.size()) {
    m_Type.pop_back();
    m_TypeIsPrefix = true;
  }
}

bool InstallFilter::Accepts(std::string_view iLevel, std::string_view iType,
                            std::string_view iHfxLevel) const {
  return AcceptsLevel(iLevel) && AcceptsType(iType) && (m_HfxLevel.empty() || iHfxLevel == m_HfxLevel);
}

bool InstallFilter::AcceptsType(std::string_view iType) const {
  if (m_TypeIsPrefix) return iType.starts_with(m_Type);
  return m_Type.empty() || iType == m_Type;
}
