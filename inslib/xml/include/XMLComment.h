// A comment node; its text is written between "<!--" and "-->" as it is.
#ifndef XMLComment_H
#define XMLComment_H

#include <string>

#include "XMLContent.h"

namespace XML {

class Comment final : public Content {
 public:
  explicit Comment(std::string iText) : Content(TypeComment), m_Text(std::move(iText)) {}

  std::string GetText() const { return m_Text; }

  std::shared_ptr<Content> Clone() const override;

 private:
  friend class Writer;
  std::string m_Text;
};

std::shared_ptr<Comment> CreateComment(const std::string& iText);

}  // namespace XML

#endif
