// The import side of the document: a strict JSON reader that knows the document's shape, so each
// fault is reported where it stands, and nothing is built that the shape does not allow (no
// recursion but the keys' own, which is bounded).
#include <algorithm>
#include <limits>
#include <unordered_set>

#include "KELInsRegDocument.h"
#include "KELInsRegKey.h"
#include "KELInsRegText.h"

namespace {

using H = KELInsRegKey;

constexpr size_t k_MaxKeyText = 65536;

// The names of the values or subkeys read so far into iItems, kept as their indexes there: an object
// of millions of members holds each name once, in the tree, and not a second time here.
template <class T>
class NameSet {
 public:
  explicit NameSet(const std::vector<T>& iItems) : m_Set(0, Hash{&iItems}, Same{&iItems}), m_Items(&iItems) {}
  // Adds the name of the last item; false when an item before it has that name.
  bool AddLast() { return m_Set.insert(m_Items->size() - 1).second; }

 private:
  struct Hash {
    const std::vector<T>* m_Items;
    size_t operator()(size_t iAt) const { return std::hash<std::string>()((*m_Items)[iAt].m_Name); }
  };
  struct Same {
    const std::vector<T>* m_Items;
    bool operator()(size_t iOne, size_t iOther) const {
      return (*m_Items)[iOne].m_Name == (*m_Items)[iOther].m_Name;
    }
  };
  std::unordered_set<size_t, Hash, Same> m_Set;
  const std::vector<T>* m_Items;
};

class Parser {
 public:
  explicit Parser(std::string_view iText) : m_Text(iText) {}

  void Document(KELInsRegKeyName& oName, KELInsRegTree& oTree) {
    SkipBlanks();
    if (m_At == m_Text.size()) Fail("empty document");
    char l_HaveKey = 0;
    size_t l_KeyAt = 0, l_ValuesAt = 0;
    std::string l_Key;
    Object("the document", [&](const std::string& iMember, size_t iAt) {
      if (iMember == "Key") {
        Once(l_HaveKey, iAt, iMember);
        SkipBlanks();
        l_KeyAt = m_At;
        l_Key = String("\"Key\"", k_MaxKeyText);
      } else {
        if (iMember == "Values") l_ValuesAt = iAt;
        KeyMember(iMember, iAt, oTree, 0);
      }
    });
    SkipBlanks();
    if (m_At != m_Text.size()) Fail("unexpected text after the document");
    if (!l_HaveKey) Fail("the document has no \"Key\"", 0);
    std::string l_Why;
    std::optional<KELInsRegKeyName> l_Name = KELInsRegKeyName::Parse(l_Key, l_Why);
    if (!l_Name) Fail("bad \"Key\": " + l_Why, l_KeyAt);
    if (l_Name->IsHiveRoot() && !oTree.m_Values.empty()) Fail("a hive root holds no values", l_ValuesAt);
    oName = std::move(*l_Name);
  }

 private:
  [[noreturn]] void Fail(std::string iWhat, size_t iAt) {
    throw KELInsRegDocumentError{std::move(iWhat), iAt};
  }
  [[noreturn]] void Fail(std::string iWhat) { Fail(std::move(iWhat), m_At); }

  void SkipBlanks() {
    while (m_At < m_Text.size() &&
           (m_Text[m_At] == ' ' || m_Text[m_At] == '\t' || m_Text[m_At] == '\n' || m_Text[m_At] == '\r'))
      ++m_At;
  }
  // The next byte after blanks, 0 at the end.
  char Next() {
    SkipBlanks();
    return m_At < m_Text.size() ? m_Text[m_At] : '\0';
  }
  void Expect(char iChar, const char* iWhere) {
    if (Next() != iChar) Unexpected(std::string("'") + iChar + "' " + iWhere);
    ++m_At;
  }
  [[noreturn]] void Unexpected(const std::string& iExpected) {
    if (m_At >= m_Text.size()) Fail("unexpected end of the document, expected " + iExpected);
    Fail("expected " + iExpected);
  }
  static void Once(char& ioSeen, size_t iAt, const std::string& iMember) {
    if (ioSeen) throw KELInsRegDocumentError{"duplicate member \"" + iMember + "\"", iAt};
    ioSeen = true;
  }

  // An object: calls iMember(name, offset of the name) with the position at the member's value.
  template <class F>
  void Object(const char* iOf, F&& iMember) {
    if (Next() != '{') Unexpected(std::string("an object for ") + iOf);
    ++m_At;
    if (Next() == '}') {
      ++m_At;
      return;
    }
    for (;;) {
      if (Next() != '"') Unexpected("a member name in " + std::string(iOf));
      size_t l_At = m_At;
      std::string l_Name = String("a member name", std::max(KELInsRegMaxValueName, k_MaxKeyText));
      Expect(':', "after a member name");
      iMember(l_Name, l_At);
      char l_Next = Next();
      ++m_At;
      if (l_Next == '}') return;
      if (l_Next != ',') {
        --m_At;
        Unexpected("',' or '}' in " + std::string(iOf));
      }
    }
  }

  // A member of a key's object: "Values" or "Subkeys".
  void KeyMember(const std::string& iMember, size_t iAt, KELInsRegTree& oTree, size_t iDepth) {
    if (iMember == "Values") {
      Once(m_SeenValues[iDepth], iAt, iMember);
      Values(oTree);
    } else if (iMember == "Subkeys") {
      Once(m_SeenSubkeys[iDepth], iAt, iMember);
      Subkeys(oTree, iDepth);
    } else {
      Fail("unknown member \"" + iMember + "\" (expected \"Key\", \"Values\" or \"Subkeys\")", iAt);
    }
  }

  void Key(KELInsRegTree& oTree, size_t iDepth) {
    if (iDepth > KELInsRegMaxDepth)
      Fail("keys nested deeper than " + std::to_string(KELInsRegMaxDepth) + " levels");
    if (m_SeenValues.size() <= iDepth) m_SeenValues.resize(iDepth + 1), m_SeenSubkeys.resize(iDepth + 1);
    m_SeenValues[iDepth] = m_SeenSubkeys[iDepth] = false;
    Object("a key", [&](const std::string& iMember, size_t iAt) { KeyMember(iMember, iAt, oTree, iDepth); });
  }

  void Subkeys(KELInsRegTree& oTree, size_t iDepth) {
    NameSet l_Seen(oTree.m_Subkeys);
    Object("\"Subkeys\"", [&](const std::string& iName, size_t iAt) {
      std::string l_Why;
      if (!KELInsRegKeyName::IsValidComponent(iName, l_Why)) Fail("bad subkey name: " + l_Why, iAt);
      oTree.m_Subkeys.push_back({iName, KELInsRegTree()});
      if (!l_Seen.AddLast()) Fail("duplicate subkey \"" + iName + "\"", iAt);
      Key(oTree.m_Subkeys.back().m_Tree, iDepth + 1);
    });
  }

  void Values(KELInsRegTree& oTree) {
    NameSet l_Seen(oTree.m_Values);
    SkipBlanks();
    const size_t l_At = m_At;
    std::string l_Stored;  // the values as the key file will hold them
    Object("\"Values\"", [&](const std::string& iName, size_t iAt) {
      if (iName.size() > KELInsRegMaxValueName)
        Fail("value name longer than " + std::to_string(KELInsRegMaxValueName) + " bytes", iAt);
      oTree.m_Values.emplace_back().m_Name = iName;
      if (!l_Seen.AddLast()) Fail("duplicate value \"" + iName + "\"", iAt);
      Value(oTree.m_Values.back());
      if (!l_Stored.empty()) l_Stored += ',';
      Store(oTree.m_Values.back(), l_Stored);
    });
    // The registry would not write a key file that long, nor one that would cost its readers more
    // than its size allows: refused here, before anything is written.
    if (l_Stored.size() > H::MaxKeyFileSize())
      Fail("the values of this key take " + std::to_string(l_Stored.size()) +
               " bytes in its key file, more than the " + std::to_string(H::MaxKeyFileSize()) +
               " the registry holds",
           l_At);
    if (!H::IsReadable(l_Stored))
      Fail("the values of this key would take more memory to read than the registry allows for the " +
               std::to_string(l_Stored.size()) +
               " bytes they take in its key file (many short values holding lists)",
           l_At);
  }

  // Appends the value as a key file holds it: "name":[type,data].
  static void Store(const KELInsRegValue& iValue, std::string& ioText) {
    ioText += '"' + KELInsRegStore(iValue.m_Name) + "\":[" + std::to_string(iValue.m_Type) + ',';
    switch (iValue.m_Type) {
      case H::TypeDWORD:
      case H::TypeQWORD:
        ioText += std::to_string(iValue.m_Number);
        break;
      case H::TypeString:
        ioText += '"' + KELInsRegStore(iValue.m_Strings.front()) + '"';
        break;
      default:
        ioText += '[';
        for (size_t l_Item = 0; l_Item < iValue.m_Strings.size(); ++l_Item)
          ioText += (l_Item ? ",\"" : "\"") + KELInsRegStore(iValue.m_Strings[l_Item]) + '"';
        ioText += ']';
    }
    ioText += ']';
  }

  // [type, data], read into ioValue, which has its name.
  void Value(KELInsRegValue& ioValue) {
    if (Next() != '[') Unexpected("a [type, data] pair");
    ++m_At;
    SkipBlanks();
    size_t l_TypeAt = m_At;
    uint64_t l_Type = Number("a value type", std::numeric_limits<uint64_t>::max());
    if (l_Type < H::TypeDWORD || l_Type > H::TypeMultiString)
      Fail("unknown value type " + std::to_string(l_Type) + " (1 to 4)", l_TypeAt);
    ioValue.m_Type = uint32_t(l_Type);
    Expect(',', "after the value type");
    size_t l_Total = 0;
    switch (ioValue.m_Type) {
      case H::TypeDWORD:
        ioValue.m_Number = Number("a REG_DWORD number", std::numeric_limits<uint32_t>::max());
        break;
      case H::TypeQWORD:
        ioValue.m_Number = Number("a REG_QWORD number", std::numeric_limits<uint64_t>::max());
        break;
      case H::TypeString:
        ioValue.m_Strings.push_back(String("a REG_SZ string", KELInsRegMaxData));
        break;
      default:
        if (Next() != '[') Unexpected("an array of strings for REG_MULTI_SZ");
        ++m_At;
        if (Next() == ']') {
          ++m_At;
          break;
        }
        for (;;) {
          ioValue.m_Strings.push_back(String("a string in a REG_MULTI_SZ list", KELInsRegMaxData - l_Total));
          l_Total += ioValue.m_Strings.back().size();
          char l_Next = Next();
          if (l_Next == ']') break;
          Expect(',', "or ']' in a REG_MULTI_SZ list");
        }
        ++m_At;
    }
    Expect(']', "after the value's data");
  }

  // A whole non-negative number not above iMax.
  uint64_t Number(const char* iWhat, uint64_t iMax) {
    char l_First = Next();
    size_t l_Start = m_At;
    if (l_First == '-') {
      ++m_At;
      if (m_At < m_Text.size() && m_Text[m_At] >= '0' && m_Text[m_At] <= '9')
        Fail(std::string(iWhat) + " out of range (negative)", l_Start);
    }
    if (l_First < '0' || l_First > '9') Unexpected(iWhat);
    uint64_t l_Value = 0;
    bool l_Over = false;
    while (m_At < m_Text.size() && m_Text[m_At] >= '0' && m_Text[m_At] <= '9') {
      unsigned l_Digit = unsigned(m_Text[m_At++] - '0');
      if (l_Value > (iMax - l_Digit) / 10) l_Over = true;
      if (!l_Over) l_Value = l_Value * 10 + l_Digit;
    }
    if (l_First == '0' && m_At - l_Start > 1) Fail("a number with a leading zero", l_Start);
    if (m_At < m_Text.size() && (m_Text[m_At] == '.' || m_Text[m_At] == 'e' || m_Text[m_At] == 'E'))
      Fail(std::string(iWhat) + " must be a whole number", l_Start);
    if (l_Over) Fail(std::string(iWhat) + " out of range (at most " + std::to_string(iMax) + ")", l_Start);
    return l_Value;
  }

  // A string, decoded to bytes, at most iMax of them.
  std::string String(const char* iWhat, size_t iMax) {
    if (Next() != '"') Unexpected(iWhat);
    size_t l_Start = m_At++;
    std::string l_Bytes;
    for (;;) {
      size_t l_Plain = m_At;
      while (m_At < m_Text.size() && m_Text[m_At] != '"' && m_Text[m_At] != '\\' &&
             static_cast<unsigned char>(m_Text[m_At]) >= 0x20)
        ++m_At;
      l_Bytes.append(m_Text.substr(l_Plain, m_At - l_Plain));
      if (l_Bytes.size() > iMax) Fail("string longer than " + std::to_string(iMax) + " bytes", l_Start);
      if (m_At >= m_Text.size()) Fail("unterminated string", l_Start);
      char l_Char = m_Text[m_At];
      if (l_Char == '"') break;
      if (l_Char != '\\') Fail("control byte in a string (write it as an escape)");
      Escape(l_Bytes);
    }
    ++m_At;
    return l_Bytes;
  }

  void Escape(std::string& ioBytes) {
    size_t l_At = m_At;
    if (l_At + 1 >= m_Text.size()) Fail("unterminated string");
    char l_Kind = m_Text[l_At + 1];
    if (char l_Byte = KELInsRegEscapedByte(l_Kind)) {
      ioBytes += l_Byte;
      m_At += 2;
      return;
    }
    if (l_Kind != 'u') Fail("bad escape in a string");
    uint32_t l_Unit = Hex4(l_At + 2);
    m_At += 6;
    if (l_Unit >= 0xD800 && l_Unit <= 0xDBFF) {
      if (m_At + 1 >= m_Text.size() || m_Text[m_At] != '\\' || m_Text[m_At + 1] != 'u')
        Fail("lone surrogate in a string", l_At);
      uint32_t l_Low = Hex4(m_At + 2);
      if (l_Low < 0xDC00 || l_Low > 0xDFFF) Fail("lone surrogate in a string", l_At);
      m_At += 6;
      KELInsRegAppendUTF8(ioBytes, 0x10000 + ((l_Unit - 0xD800) << 10) + (l_Low - 0xDC00));
    } else if (l_Unit >= 0xDC00 && l_Unit <= 0xDFFF) {
      // \udc80 to \udcff stand for a byte that is not UTF-8; other low surrogates for nothing.
      if (l_Unit < 0xDC80 || l_Unit > 0xDCFF) Fail("lone surrogate in a string", l_At);
      ioBytes += char(l_Unit - 0xDC00);
    } else {
      KELInsRegAppendUTF8(ioBytes, l_Unit);
    }
  }

  uint32_t Hex4(size_t iAt) {
    if (iAt + 4 > m_Text.size()) Fail("unterminated string");
    int32_t l_Value = KELInsRegHex4(m_Text, iAt);
    if (l_Value < 0) Fail("bad \\u escape in a string", iAt - 2);
    return uint32_t(l_Value);
  }

  std::string_view m_Text;
  size_t m_At = 0;
  // Whether "Values" and "Subkeys" were seen in the object being read at each depth.
  std::vector<char> m_SeenValues{0}, m_SeenSubkeys{0};
};

}  // namespace

std::string KELInsRegDocumentError::Where(std::string_view iText) const {
  size_t l_Offset = std::min(m_Offset, iText.size());
  size_t l_Line = 1 + size_t(std::count(iText.begin(), iText.begin() + l_Offset, '\n'));
  size_t l_Break = l_Offset == 0 ? std::string_view::npos : iText.rfind('\n', l_Offset - 1);
  size_t l_Column = l_Offset - (l_Break == std::string_view::npos ? 0 : l_Break + 1) + 1;
  return std::to_string(l_Line) + ":" + std::to_string(l_Column);
}

void KELInsRegParseDocument(std::string_view iText, KELInsRegKeyName& oName, KELInsRegTree& oTree) {
  if (iText.size() > KELInsRegMaxDocument)
    throw KELInsRegDocumentError{
        "document larger than " + std::to_string(KELInsRegMaxDocument >> 20) + " MiB", 0};
  oTree = KELInsRegTree();
  Parser(iText).Document(oName, oTree);
}
