#include "XMLWriter.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <ostream>
#include <string_view>

#include "XMLComment.h"
#include "XMLNames.h"
#include "XMLText.h"

namespace XML {

namespace {

// Text collects in a string handed to the stream in blocks of about this size.
constexpr std::size_t kBlock = 64 * 1024;

// The bytes that become entities, and their entities in the same order.
constexpr std::string_view kSpecials = "\"&'<>";
constexpr const char* kEntities[] = {"&quot;", "&amp;", "&apos;", "&lt;", "&gt;"};

// For each byte, 1 + its place in kSpecials, or 0 when it is copied as it is.
constexpr std::array<std::uint8_t, 256> kEntityOf = [] {
  std::array<std::uint8_t, 256> l_Of{};
  for (std::size_t l_Place = 0; l_Place < kSpecials.size(); ++l_Place) {
    l_Of[static_cast<unsigned char>(kSpecials[l_Place])] = static_cast<std::uint8_t>(l_Place + 1);
  }
  return l_Of;
}();

using Piece = std::pair<std::string_view, std::string_view>;

bool NeedsEntity(char iByte) { return kEntityOf[static_cast<unsigned char>(iByte)] != 0; }

void AppendEscaped(std::string& oOut, std::string_view iText) {
  const char* const l_End = iText.data() + iText.size();
  const char* l_Run = iText.data();
  for (const char* l_Special; (l_Special = std::find_if(l_Run, l_End, NeedsEntity)) != l_End;) {
    oOut.append(l_Run, l_Special);
    oOut += kEntities[kEntityOf[static_cast<unsigned char>(*l_Special)] - 1];
    l_Run = l_Special + 1;
  }
  oOut.append(l_Run, l_End);
}

// Orders ' a="…"' before ' b="…"' by comparing the names alone. Exact as long as no name holds
// '=': wherever one name is a prefix of the other, the '=' that follows the shorter one decides,
// just as it would in the whole texts. Names are short, so a plain loop beats a call to memcmp.
bool NameBefore(std::string_view iLeft, std::string_view iRight) {
  const std::size_t l_Common = std::min(iLeft.size(), iRight.size());
  for (std::size_t l_Pos = 0; l_Pos < l_Common; ++l_Pos) {
    if (iLeft[l_Pos] != iRight[l_Pos]) {
      return static_cast<unsigned char>(iLeft[l_Pos]) < static_cast<unsigned char>(iRight[l_Pos]);
    }
  }
  if (iLeft.size() == iRight.size()) return false;
  if (iLeft.size() < iRight.size()) return '=' < static_cast<unsigned char>(iRight[l_Common]);
  return static_cast<unsigned char>(iLeft[l_Common]) < '=';
}

bool HoldsEquals(const Piece& iAttribute) { return iAttribute.first.find('=') != std::string_view::npos; }

void AppendAttribute(std::string& oOut, const Piece& iAttribute) {
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

std::string Writer::ToString(const ContentList& iContent) {
  Start(nullptr);
  m_Out += Declaration;
  WriteList(iContent);
  return std::move(m_Out);
}

void Writer::Write(const Element& iElement, std::ostream& oStream) {
  Start(&oStream);
  m_Out += Declaration;
  WriteRoot(iElement, false);
  Flush(0);
}

void Writer::Write(const ContentList& iContent, std::ostream& oStream) {
  Start(&oStream);
  m_Out += Declaration;
  WriteList(iContent);
  Flush(0);
}

void Writer::Start(std::ostream* oStream) {
  m_Depth = 1;
  m_Kind = KindElement;
  m_Out.clear();
  m_Stream = oStream;
}

void Writer::WriteRoot(const Element& iElement, bool iNoLeadingBreak) {
  if (Open(iElement, iNoLeadingBreak)) {
    WriteNodes(&iElement, iElement.m_Children.data(),
               iElement.m_Children.data() + iElement.m_Children.size());
  }
}

void Writer::WriteList(const ContentList& iContent) {
  // Writing from a copy keeps every node alive and in place whatever the list's owner does.
  const std::vector<std::shared_ptr<Content>> l_Nodes(iContent.begin(), iContent.end());
  WriteNodes(nullptr, l_Nodes.data(), l_Nodes.data() + l_Nodes.size());
}

// Walks the children with an explicit stack of open elements, so any depth works. iParent, when
// given, is already open and is closed after its last child.
void Writer::WriteNodes(const Element* iParent, const std::shared_ptr<Content>* iBegin,
                        const std::shared_ptr<Content>* iEnd) {
  struct Frame {
    const Element* m_Element;
    const std::shared_ptr<Content>* m_Next;
    const std::shared_ptr<Content>* m_End;
  };
  std::vector<Frame> l_Stack{{iParent, iBegin, iEnd}};
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
        const std::shared_ptr<Content>* l_First = l_Element.m_Children.data();
        l_Stack.push_back({&l_Element, l_First, l_First + l_Element.m_Children.size()});
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
  m_Out += Names::Get(iElement.m_Name);
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
  m_Out += Names::Get(iElement.m_Name);
  m_Out += '>';
}

void Writer::WriteAttributes(const AttributePack& iAttributes) {
  m_Pieces.clear();
  for (std::size_t l_Pos = 0; l_Pos < iAttributes.End();) {
    const AttributePack::Entry l_Entry = iAttributes.At(l_Pos);
    m_Pieces.emplace_back(Names::Get(l_Entry.m_Name), l_Entry.m_Value);
    l_Pos = l_Entry.m_End;
  }
  if (std::any_of(m_Pieces.begin(), m_Pieces.end(), HoldsEquals)) {
    // Names holding '=' are rare enough to sort the whole texts as they will be written.
    std::vector<std::string> l_Texts;
    for (const Piece& l_Pair : m_Pieces) AppendAttribute(l_Texts.emplace_back(), l_Pair);
    std::sort(l_Texts.begin(), l_Texts.end());
    for (const std::string& l_Text : l_Texts) m_Out += l_Text;
    return;
  }
  // A few attributes, often set in order already: an insertion sort does best.
  for (std::size_t l_Next = 1; l_Next < m_Pieces.size(); ++l_Next) {
    for (std::size_t l_Pos = l_Next;
         l_Pos > 0 && NameBefore(m_Pieces[l_Pos].first, m_Pieces[l_Pos - 1].first); --l_Pos)
      std::swap(m_Pieces[l_Pos], m_Pieces[l_Pos - 1]);
  }
  for (const Piece& l_Pair : m_Pieces) AppendAttribute(m_Out, l_Pair);
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
