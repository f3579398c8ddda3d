#include "JSONTextWriter.h"

#include <array>
#include <ostream>

#include "JSONItem.h"
#include "JSONObject.h"
#include "JSONTree.h"

namespace JSON {

namespace {

constexpr std::size_t kBlock = 64 * 1024;

// For each byte, the letter written after a backslash, or 0 when the byte is copied as it is.
constexpr std::array<char, 256> MakeEscapes() {
  std::array<char, 256> l_Table{};
  l_Table['"'] = '"';
  l_Table['\\'] = '\\';
  l_Table['\b'] = 'b';
  l_Table['\f'] = 'f';
  l_Table['\n'] = 'n';
  l_Table['\r'] = 'r';
  l_Table['\t'] = 't';
  return l_Table;
}
constexpr std::array<char, 256> kEscapes = MakeEscapes();

void AppendEscaped(std::string& oText, const std::string& iText) {
  const char* l_Run = iText.data();
  const char* const l_End = l_Run + iText.size();
  for (const char* l_Pos = l_Run; l_Pos != l_End; ++l_Pos) {
    const char l_Letter = kEscapes[static_cast<unsigned char>(*l_Pos)];
    if (l_Letter == 0) continue;
    oText.append(l_Run, l_Pos);
    oText += '\\';
    oText += l_Letter;
    l_Run = l_Pos + 1;
  }
  oText.append(l_Run, l_End);
}

}  // namespace

TextWriter::TextWriter(std::string& oText, std::ostream* oStream, bool iIndented, int iLevel)
    : m_Text(oText),
      m_Stream(oStream),
      m_Indented(iIndented),
      m_Level(iLevel > 0 ? static_cast<std::size_t>(iLevel) : 0) {}

void TextWriter::Run(const Value* iRoot) {
  Open(iRoot);
  while (!m_Stack.empty()) {
    Frame& l_Top = m_Stack.back();
    if (l_Top.m_Next == l_Top.m_Container->Size()) {
      Close(l_Top);
      m_Stack.pop_back();
      continue;
    }
    StartChild(l_Top);
    // Open may push and so move l_Top: take the child first.
    const Value* l_Child = ChildAt(*l_Top.m_Container, l_Top.m_Next++).get();
    Open(l_Child);
    Flush(kBlock);
  }
  Flush(0);
}

void TextWriter::Open(const Value* iValue) {
  if (!iValue) {
    m_Text += "null";
  } else if (iValue->IsObject() || iValue->IsArray()) {
    m_Text += iValue->IsObject() ? '{' : '[';
    m_Stack.push_back({iValue, 0});
  } else {
    Scalar(*iValue);
  }
}

void TextWriter::StartChild(const Frame& iFrame) {
  if (iFrame.m_Next > 0) m_Text += m_Indented ? "," : ", ";
  if (m_Indented) Break(m_Level + m_Stack.size());
  if (iFrame.m_Container->IsObject()) {
    m_Text += '"';
    m_Text += static_cast<const Object*>(iFrame.m_Container)->GetMembers()[iFrame.m_Next].m_Key;
    m_Text += "\": ";
  }
}

void TextWriter::Close(const Frame& iFrame) {
  if (m_Indented && iFrame.m_Next > 0) Break(m_Level + m_Stack.size() - 1);
  m_Text += iFrame.m_Container->IsObject() ? '}' : ']';
}

void TextWriter::Scalar(const Value& iValue) {
  switch (iValue.GetType()) {
    case TypeNumber:
      m_Text += static_cast<const Item&>(iValue).GetText();
      break;
    case TypeString:
      m_Text += '"';
      // Only the compact form escapes; the indented form shows strings as they are stored.
      if (m_Indented) {
        m_Text += static_cast<const Item&>(iValue).GetText();
      } else {
        AppendEscaped(m_Text, static_cast<const Item&>(iValue).GetText());
      }
      m_Text += '"';
      break;
    case TypeTrue:
      m_Text += "true";
      break;
    case TypeFalse:
      m_Text += "false";
      break;
    case TypeNull:
      m_Text += "null";
      break;
    default:
      m_Text += "???";
  }
}

void TextWriter::Break(std::size_t iLevel) {
  m_Text += '\n';
  m_Text.append(4 * iLevel, ' ');
}

void TextWriter::Flush(std::size_t iAbove) {
  if (!m_Stream || m_Text.size() < iAbove || m_Text.empty()) return;
  m_Stream->write(m_Text.data(), static_cast<std::streamsize>(m_Text.size()));
  m_Text.clear();
}

}  // namespace JSON
