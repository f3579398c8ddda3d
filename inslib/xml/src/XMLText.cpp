#include "XMLText.h"

namespace XML {

namespace {
constexpr const char* kBlanks = " \r\n\t";
}

std::string Text::GetTrimmedText() const {
  const std::size_t l_First = m_Text.find_first_not_of(kBlanks);
  if (l_First == std::string::npos) return std::string();
  return m_Text.substr(l_First, m_Text.find_last_not_of(kBlanks) - l_First + 1);
}

bool Text::HasContent() const { return m_Text.find_first_not_of(kBlanks) != std::string::npos; }

std::shared_ptr<Content> Text::Clone() const { return CreateText(m_Text); }

std::shared_ptr<Text> CreateText(const std::string& iText) { return std::make_shared<Text>(iText); }

}  // namespace XML
