#include "JSONTextWriter.h"

#include <algorithm>
#include <array>
#include <ostream>

#include "JSONArray.h"
#include "JSONItem.h"
#include "JSONObject.h"

namespace JSON {

namespace {

constexpr std::size_t kBlock = 32 * 1024;

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

}  // namespace

TextWriter::TextWriter(std::string* oText, std::ostream* oStream, bool iIndented, int iLevel)
    : m_Text(oText),
      m_Stream(oStream),
      m_Indented(iIndented),
      m_Level(iLevel > 0 ? static_cast<std::size_t>(iLevel) : 0),
      m_Buffer(new char[kBlock]),
      m_Pos(m_Buffer.get()),
      m_End(m_Buffer.get() + kBlock) {}

void TextWriter::Run(const Value* iRoot) {
  Open(iRoot);
  while (!m_Stack.empty()) {
    Frame& l_Top = m_Stack.back();
    if (l_Top.m_Next == l_Top.m_Container->Size()) {
      Close(l_Top);
      m_Stack.pop_back();
      continue;
    }
    Separate(l_Top);
    const std::size_t l_Index = l_Top.m_Next++;
    // Open may push and so move l_Top: it is not used after.
    if (!l_Top.m_Container->IsObject()) {
      Open(static_cast<const Array*>(l_Top.m_Container)->GetElements()[l_Index].get());
      continue;
    }
    const Object& l_Object = static_cast<const Object&>(*l_Top.m_Container);
    const Object::Member l_Member = l_Object.At(l_Top.m_Offset);
    l_Top.m_Offset = l_Member.m_End;
    Put('"');
    Put(l_Member.m_Key);
    Put("\": ");
    if (l_Member.m_Kind == Object::kHeld) {
      Open(l_Object.Held(l_Index)->get());
    } else {
      Scalar(l_Member.m_Kind, l_Member.m_Text);
    }
  }
  Drain();
}

void TextWriter::Open(const Value* iValue) {
  if (!iValue) {
    Put("null");
  } else if (iValue->IsObject() || iValue->IsArray()) {
    Put(iValue->IsObject() ? '{' : '[');
    m_Stack.push_back({iValue, 0, Object::kFirst});
  } else {
    Scalar(iValue->GetType(), static_cast<const Item&>(*iValue).GetText());
  }
}

void TextWriter::Separate(const Frame& iFrame) {
  if (iFrame.m_Next > 0) Put(m_Indented ? std::string_view(",") : std::string_view(", "));
  if (m_Indented) Break(m_Level + m_Stack.size());
}

void TextWriter::Close(const Frame& iFrame) {
  if (m_Indented && iFrame.m_Next > 0) Break(m_Level + m_Stack.size() - 1);
  Put(iFrame.m_Container->IsObject() ? '}' : ']');
}

void TextWriter::Scalar(std::int32_t iType, std::string_view iText) {
  switch (iType) {
    case TypeNumber:
      Put(iText);
      break;
    case TypeString:
      Put('"');
      // Only the compact form escapes; the indented form shows strings as they are stored.
      if (m_Indented) {
        Put(iText);
      } else {
        PutEscaped(iText);
      }
      Put('"');
      break;
    case TypeTrue:
      Put("true");
      break;
    case TypeFalse:
      Put("false");
      break;
    case TypeNull:
      Put("null");
      break;
    default:
      Put("???");
  }
}

void TextWriter::Break(std::size_t iLevel) {
  static constexpr std::string_view kSpaces =
      "                                                                ";
  Put('\n');
  for (std::size_t l_Left = 4 * iLevel; l_Left > 0;) {
    const std::size_t l_Part = std::min(l_Left, kSpaces.size());
    Put(kSpaces.substr(0, l_Part));
    l_Left -= l_Part;
  }
}

// Copies unchanged runs whole and puts a backslash and a letter for each byte that needs one.
void TextWriter::PutEscaped(std::string_view iText) {
  const char* l_Run = iText.data();
  const char* const l_End = l_Run + iText.size();
  for (const char* l_Pos = l_Run; l_Pos != l_End; ++l_Pos) {
    const char l_Letter = kEscapes[static_cast<unsigned char>(*l_Pos)];
    if (l_Letter == 0) continue;
    Put(std::string_view(l_Run, static_cast<std::size_t>(l_Pos - l_Run)));
    Put('\\');
    Put(l_Letter);
    l_Run = l_Pos + 1;
  }
  Put(std::string_view(l_Run, static_cast<std::size_t>(l_End - l_Run)));
}

// A piece that does not fit: hand on what is buffered, then buffer the piece or, when it is
// larger than the whole buffer, hand it on directly.
void TextWriter::Spill(std::string_view iText) {
  Drain();
  if (iText.size() <= kBlock) {
    Put(iText);
  } else if (m_Text) {
    m_Text->append(iText);
  } else {
    m_Stream->write(iText.data(), static_cast<std::streamsize>(iText.size()));
  }
}

void TextWriter::Drain() {
  const std::size_t l_Size = static_cast<std::size_t>(m_Pos - m_Buffer.get());
  if (l_Size == 0) return;
  if (m_Text) {
    m_Text->append(m_Buffer.get(), l_Size);
  } else {
    m_Stream->write(m_Buffer.get(), static_cast<std::streamsize>(l_Size));
  }
  m_Pos = m_Buffer.get();
}

}  // namespace JSON
