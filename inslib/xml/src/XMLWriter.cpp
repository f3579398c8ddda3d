#include "XMLWriter.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <ostream>

#include "XMLComment.h"
#include "XMLText.h"

namespace XML {

namespace {

// Text collects in a string handed to the stream in blocks of about this size.
constexpr std::size_t kBlock = 64 * 1024;

constexpr const char* kSpecials = "\"&'<>";

const char* Entity(char iSpecial) {
  switch (iSpecial) {
    case '"':
      return "&quot;";
    case '&':
      return "&amp;";
    case '\'':
      return "&apos;";
    case '<':
      return "&lt;";
    default:
      return "&gt;";
  }
}

void AppendEscaped(std::string& oOut, const std::string& iText) {
  std::size_t l_Run = 0;
  for (std::size_t l_Pos = iText.find_first_of(kSpecials); l_Pos != std::string::npos;
       l_Pos = iText.find_first_of(kSpecials, l_Run)) {
    oOut.append(iText, l_Run, l_Pos - l_Run);
    oOut += Entity(iText[l_Pos]);
    l_Run = l_Pos + 1;
  }
  oOut.append(iText, l_Run, std::string::npos);
}

// Orders ' a="…"' before ' b="…"' by comparing the names alone. Exact as long as no name holds
// '=': wherever one name is a prefix of the other, the '=' that follows the shorter one decides,
// just as it would in the whole texts.
bool NameBefore(const std::string& iLeft, const std::string& iRight) {
  const std::size_t l_Common = std::min(iLeft.size(), iRight.size());
  const int l_Order = l_Common ? std::memcmp(iLeft.data(), iRight.data(), l_Common) : 0;
  if (l_Order != 0) return l_Order < 0;
  if (iLeft.size() == iRight.size()) return false;
  if (iLeft.size() < iRight.size()) return '=' < static_cast<unsigned char>(iRight[l_Common]);
  return static_cast<unsigned char>(iLeft[l_Common]) < '=';
}

void AppendAttribute(std::string& oOut, const Attribute& iAttribute) {
  oOut += ' ';
  oOut += iAttribute.first;
  oOut += "=\"";
  AppendEscaped(oOut, iAttribute.second);
  oOut += '"';
}

}  // namespace

Writer::Writer() : m_Unit("  "), m_Depth(1), m_Kind(KindElement), m_Stream(nullptr) {}

std::string Writer::ToString(const Element& iElement, bool iWithDeclaration) {
  Start(nullptr);
  if (iWithDeclaration) m_Out += Declaration;
  WriteRoot(iElement, !iWithDeclaration);
  return std::move(m_Out);
}

std::string Writer::ToString(ContentList iContent) {
  Start(nullptr);
  m_Out += Declaration;
  WriteNodes(nullptr, iContent);
  return std::move(m_Out);
}

void Writer::Write(const Element& iElement, std::ostream& oStream) {
  Start(&oStream);
  m_Out += Declaration;
  WriteRoot(iElement, false);
  Flush(0);
}

void Writer::Write(ContentList iContent, std::ostream& oStream) {
  Start(&oStream);
  m_Out += Declaration;
  WriteNodes(nullptr, iContent);
  Flush(0);
}

void Writer::Start(std::ostream* oStream) {
  m_Depth = 1;
  m_Kind = KindElement;
  m_Out.clear();
  m_Stream = oStream;
}

void Writer::WriteRoot(const Element& iElement, bool iNoLeadingBreak) {
  if (Open(iElement, iNoLeadingBreak)) WriteNodes(&iElement, iElement.m_Children);
}

// Walks the children with an explicit stack of open elements, so any depth works. iParent, when
// given, is already open and is closed after its last child.
void Writer::WriteNodes(const Element* iParent, const ContentList& iChildren) {
  struct Frame {
    const Element* m_Element;
    ContentList::const_iterator m_Next;
    ContentList::const_iterator m_End;
  };
  std::vector<Frame> l_Stack{{iParent, iChildren.begin(), iChildren.end()}};
  while (!l_Stack.empty()) {
    Frame& l_Top = l_Stack.back();
    if (l_Top.m_Next == l_Top.m_End) {
      if (l_Top.m_Element) {
        Close(*l_Top.m_Element);
        m_Kind = KindElement;
      }
      l_Stack.pop_back();
      continue;
    }
    const Content& l_Child = **l_Top.m_Next++;
    if (l_Child.GetType() == TypeElement) {
      const Element& l_Element = static_cast<const Element&>(l_Child);
      if (Open(l_Element, false)) {
        l_Stack.push_back({&l_Element, l_Element.m_Children.begin(), l_Element.m_Children.end()});
      } else {
        m_Kind = KindElement;
      }
    } else if (l_Child.GetType() == TypeComment) {
      WriteComment(static_cast<const Comment&>(l_Child).m_Text);
    } else if (l_Child.GetType() == TypeText) {
      WriteText(static_cast<const Text&>(l_Child));
    }
    Flush(kBlock);
  }
}

// Writes the start tag; true when the element has children and was left open one level deeper.
bool Writer::Open(const Element& iElement, bool iNoLeadingBreak) {
  if (m_Kind != KindText && !iNoLeadingBreak) Break();
  m_Out += '<';
  m_Out += iElement.m_Name;
  WriteAttributes(iElement.m_Attributes);
  // Children that write nothing (blank texts) still make the element non-empty.
  if (iElement.m_Children.empty()) {
    m_Out += "/>";
    return false;
  }
  m_Out += '>';
  ++m_Depth;
  return true;
}

void Writer::Close(const Element& iElement) {
  --m_Depth;
  if (m_Kind != KindText) Break();
  m_Out += "</";
  m_Out += iElement.m_Name;
  m_Out += '>';
}

void Writer::WriteAttributes(const AttributeList& iAttributes) {
  const bool l_Plain = std::none_of(iAttributes.begin(), iAttributes.end(), [](const Attribute& l_Pair) {
    return l_Pair.first.find('=') != std::string::npos;
  });
  if (!l_Plain) {
    // Names holding '=' are rare enough to sort the whole texts as they will be written.
    std::vector<std::string> l_Pieces;
    for (const Attribute& l_Pair : iAttributes) AppendAttribute(l_Pieces.emplace_back(), l_Pair);
    std::sort(l_Pieces.begin(), l_Pieces.end());
    for (const std::string& l_Piece : l_Pieces) m_Out += l_Piece;
    return;
  }
  m_Order.resize(iAttributes.size());
  std::iota(m_Order.begin(), m_Order.end(), 0u);
  std::sort(m_Order.begin(), m_Order.end(), [&](std::uint32_t iLeft, std::uint32_t iRight) {
    return NameBefore(iAttributes[iLeft].first, iAttributes[iRight].first);
  });
  for (std::uint32_t l_Index : m_Order) AppendAttribute(m_Out, iAttributes[l_Index]);
}

void Writer::WriteComment(const std::string& iText) {
  if (m_Kind != KindText) Break();
  m_Out += "<!--";
  m_Out += iText;
  m_Kind = KindComment;
  // A comment over several lines closes on its own line's indentation.
  if (iText.find_first_of("\n\r") != std::string::npos) Indent();
  m_Out += "-->";
}

void Writer::WriteText(const Text& iText) {
  // A blank text writes nothing and, having written nothing, does not hold back line breaks.
  if (!iText.HasContent()) return;
  AppendEscaped(m_Out, iText.m_Text);
  m_Kind = KindText;
}

void Writer::Break() {
  m_Out += '\n';
  Indent();
}

void Writer::Indent() {
  for (std::int32_t l_Level = 1; l_Level < m_Depth; ++l_Level) m_Out += m_Unit;
}

void Writer::Flush(std::size_t iAbove) {
  if (!m_Stream || m_Out.empty() || m_Out.size() < iAbove) return;
  m_Stream->write(m_Out.data(), static_cast<std::streamsize>(m_Out.size()));
  m_Out.clear();
}

}  // namespace XML
