// A text node: the characters as they are, escaped only when written.
#ifndef XMLText_H
#define XMLText_H

#include <string>

#include "XMLContent.h"

namespace XML {

class Text final : public Content {
 public:
  explicit Text(std::string iText) : Content(TypeText), m_Text(std::move(iText)) {}

  std::string GetText() const { return m_Text; }
  // The text without leading and trailing spaces, CR, LF and TAB.
  std::string GetTrimmedText() const;
  // True when the text holds a byte other than space, CR, LF and TAB.
  bool HasContent() const;

  std::shared_ptr<Content> Clone() const override;

 private:
  friend class Writer;
  std::string m_Text;
};

std::shared_ptr<Text> CreateText(const std::string& iText);

}  // namespace XML

#endif
