#include "XMLComment.h"

namespace XML {

std::shared_ptr<Content> Comment::Clone() const { return CreateComment(m_Text); }

std::shared_ptr<Comment> CreateComment(const std::string& iText) { return std::make_shared<Comment>(iText); }

}  // namespace XML
