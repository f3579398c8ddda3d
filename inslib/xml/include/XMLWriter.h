// Writes XML trees as indented UTF-8 text. Elements open on a new line indented by two spaces a
// level; attributes come out in ascending byte order of their ' name="value"' text, whatever the
// order they were set in; attribute values and texts are escaped (the five characters " & ' < >
// become entities, every other byte is copied); names and comments are written raw. Once a text
// has been written, line breaks are left out until the next element has been written, so mixed
// content stays on its line. A writer may be reused: every call starts afresh.
#ifndef XMLWriter_H
#define XMLWriter_H

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XMLContent.h"
#include "XMLElement.h"
#include "XMLText.h"

namespace XML {

// The declaration that opens every document (no line break after it).
inline constexpr std::string_view Declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

class Writer {
 public:
  Writer();

  // The element's text; with iWithDeclaration the declaration, a line break, then the element.
  std::string ToString(const Element& iElement, bool iWithDeclaration);
  // The declaration, then each node as a child of a top-level element would be written.
  std::string ToString(const ContentList& iContent);
  // The declaration, a line break and the element; nothing after its closing tag. Stream errors
  // are left in the stream's state.
  void Write(const Element& iElement, std::ostream& oStream);
  // The declaration and the nodes, as ToString(ContentList).
  void Write(const ContentList& iContent, std::ostream& oStream);

 private:
  // What was written last; a text suppresses line breaks.
  enum Kind : std::int32_t { KindElement = 0, KindComment = 1, KindText = 2 };

  void Start(std::ostream* oStream);
  void WriteRoot(const Element& iElement, bool iNoLeadingBreak);
  void WriteNodes(const Element* iParent, const std::shared_ptr<Content>* iBegin,
                  const std::shared_ptr<Content>* iEnd);
  void WriteList(const ContentList& iContent);
  bool Open(const Element& iElement, bool iNoLeadingBreak);
  void Close(const Element& iElement);
  void WriteAttributes(const AttributePack& iAttributes);
  void WriteComment(const std::string& iText);
  void WriteText(const Text& iText);
  void Break();
  void Indent();
  void Flush(std::size_t iAbove);

  std::string m_Unit;
  std::int32_t m_Depth;
  std::int32_t m_Kind;
  std::string m_Out;
  std::ostream* m_Stream;
  // The attributes of the element being written, name and value.
  std::vector<std::pair<std::string_view, std::string_view>> m_Pieces;
};

}  // namespace XML

#endif
