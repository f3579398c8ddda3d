// The JSON tokenizer: one forward pass over a text that writes fixed 20-byte token records into a
// caller-owned array. It allocates nothing; when the array is full it stops with
// KELSysJSONTokenizeNoMemory, and after the caller has grown the array, running it again resumes where
// it stopped without producing any token twice.
//
// The tokenizer is lax: it checks brackets, string escapes and the bytes of primitives, but not what
// a primitive says nor where values may stand. Several top-level values, bare words and primitives
// used as keys all tokenize; the tree builder decides what they mean.
//
// Nesting is bounded: a container opened inside KELSysJSONMaxDepth open ones makes the text
// invalid. Every level costs a reader a container in the tree and a frame in each walk, and a text
// of nothing but brackets would otherwise ask for a tree node every two bytes and a walk as deep
// as the text is long; no document this library reads comes near the bound.
#ifndef KELSysJSONPrivate_H
#define KELSysJSONPrivate_H

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "KELSysResult.h"
#include "KELSysTrace.h"

enum KELSysJSONTokenType : int32_t {
  KELSysJSONTokenUndefined = 0,
  KELSysJSONTokenObject = 1,
  KELSysJSONTokenArray = 2,
  KELSysJSONTokenString = 3,
  KELSysJSONTokenPrimitive = 4,
};

// One token. Offsets are bytes into the text. A string spans the bytes between its quotes; a
// container ends one past its closing bracket. While a container is open its m_End is negative: the
// tokenizer keeps there the link to the container open around it (-2 - its index, -1 for none). For an
// object, m_Size counts its keys (each key holds its value as its own child); for an array, its elements.
struct KELSysJSONTokenRecord {
  int32_t m_Type;
  int32_t m_Start;
  int32_t m_End;
  int32_t m_Size;
  int32_t m_Parent;  // index of the enclosing token, -1 at top level
};
static_assert(sizeof(KELSysJSONTokenRecord) == 20, "token records are 20 bytes");

// Results of KELSysJSONTokenizer::Run besides a token count.
enum KELSysJSONTokenizeResult : int32_t {
  KELSysJSONTokenizeNoMemory = -1,    // the token array is full; grow it and run again
  KELSysJSONTokenizeInvalid = -2,     // a byte that cannot stand where it is
  KELSysJSONTokenizeIncomplete = -3,  // the text ends inside a string or a container
  KELSysJSONTokenizeTooDeep = -4,     // a container opened inside KELSysJSONMaxDepth open ones
};

// The most containers that may be open at once.
inline constexpr uint32_t KELSysJSONMaxDepth = 1000;

// The most memory that KELSysJSON::Read takes at its peak on a fresh document, per byte of text,
// plus KELSysJSONPeakFixed, whatever the text. The tree is most of it: 24 bytes a value, 48 a pair,
// and for a container with members a block of about 56 bytes beside the members. The costliest
// texts are therefore containers of one member each, nested ("[[[1]]]" costs 80 bytes for every two
// of "[]"); a value every two bytes ("[1,1,...]") costs 12 bytes a byte, and so does the first
// pass's chain of tokens hung below each other by colons ("1:1:1..."). A reader that must stay
// under less gives Read a budget, which refuses the costlier texts before building them. Texts up
// to KELSysJSONTokenReadLimit go through the token array and cost at most 36 times their size, well
// inside KELSysJSONPeakFixed, which also holds the reading thread's own start-up (its stack and
// heap pages, counted when a peak is measured by resident set).
inline constexpr size_t KELSysJSONPeakPerByte = 44;
inline constexpr size_t KELSysJSONPeakFixed = size_t(1) << 20;

// KELSysJSON::Read takes texts up to this size through the token array, which then holds at most
// half as many tokens: for such texts that is the faster way, and it costs at most 40 KiB.
inline constexpr size_t KELSysJSONTokenReadLimit = 4096;

// The largest text the 32-bit token offsets can describe.
inline constexpr size_t KELSysJSONMaxText = 0x7FFFFFFF;

// Says on the "KELSysJSON" channel that a container opened at iPosition lies more than
// KELSysJSONMaxDepth levels deep.
inline void KELSysJSONTraceTooDeep(uint32_t iPosition) {
  if (KELSysTrace* l_Trace = KELSysTrace::Find("KELSysJSON"))
    l_Trace->Print(KELSysTraceError, "JSON nesting deeper than %u levels at position %u\n",
                   KELSysJSONMaxDepth, iPosition);
}

// The byte loop of a token machine, shared by the tokenizer below and the registry's reader, so
// that both read every text alike. A machine has m_Pos (the byte being read) and takes these steps,
// each answering 0 or one of KELSysJSONTokenizeResult: Open(type) and Close(type) for brackets,
// Colon(), Comma(), and Leaf(type, start, end) for a string or a primitive. A machine may answer
// KELSysJSONTokenizeNoMemory from Open or Leaf only without changing anything, so that the loop
// can run again from the same byte.
class KELSysJSONLex {
 public:
  // The machine runs as a local copy: tokens are integers too, so writing them through a pointer
  // would otherwise make the compiler reload the machine's state from memory after every token.
  template <class Machine>
  static int32_t Pass(Machine& ioMachine, const char* iText, uint32_t iLength) {
    Machine l_Machine(ioMachine);
    const int32_t l_Result = Loop(l_Machine, iText, iLength);
    ioMachine = l_Machine;
    return l_Result;
  }

 private:
  // What a byte begins, from one table look-up.
  enum ByteClass : unsigned char {
    kBlank,
    kObject,
    kArray,
    kObjectEnd,
    kArrayEnd,
    kQuote,
    kColon,
    kComma,
    kNul,
    kOther
  };
  static ByteClass ClassOf(char iByte) {
    static constexpr struct Table {
      ByteClass m_Class[256];
      constexpr Table() : m_Class() {
        for (ByteClass& l_Class : m_Class) l_Class = kOther;
        m_Class[static_cast<unsigned char>('\t')] = m_Class[static_cast<unsigned char>('\n')] = kBlank;
        m_Class[static_cast<unsigned char>('\r')] = m_Class[static_cast<unsigned char>(' ')] = kBlank;
        m_Class[static_cast<unsigned char>('{')] = kObject;
        m_Class[static_cast<unsigned char>('[')] = kArray;
        m_Class[static_cast<unsigned char>('}')] = kObjectEnd;
        m_Class[static_cast<unsigned char>(']')] = kArrayEnd;
        m_Class[static_cast<unsigned char>('"')] = kQuote;
        m_Class[static_cast<unsigned char>(':')] = kColon;
        m_Class[static_cast<unsigned char>(',')] = kComma;
        m_Class[0] = kNul;
      }
    } s_Table;
    return s_Table.m_Class[static_cast<unsigned char>(iByte)];
  }

  template <class Machine>
  [[gnu::always_inline]] static int32_t Loop(Machine& ioMachine, const char* iText, uint32_t iLength) {
    uint32_t& l_Pos = ioMachine.m_Pos;
    for (; l_Pos < iLength; ++l_Pos) {
      int32_t l_Result;
      switch (ClassOf(iText[l_Pos])) {
        case kBlank:
          continue;
        case kNul:
          return 0;
        case kObject:
          l_Result = ioMachine.Open(KELSysJSONTokenObject);
          break;
        case kArray:
          l_Result = ioMachine.Open(KELSysJSONTokenArray);
          break;
        case kObjectEnd:
          l_Result = ioMachine.Close(KELSysJSONTokenObject);
          break;
        case kArrayEnd:
          l_Result = ioMachine.Close(KELSysJSONTokenArray);
          break;
        case kQuote:
          l_Result = String(ioMachine, iText, iLength);
          break;
        case kColon:
          ioMachine.Colon();
          continue;
        case kComma:
          ioMachine.Comma();
          continue;
        default:
          l_Result = Primitive(ioMachine, iText, iLength);
          break;
      }
      if (l_Result < 0) return l_Result;
    }
    return 0;
  }

  static bool IsHex(char iByte) {
    return (iByte >= '0' && iByte <= '9') || (iByte >= 'a' && iByte <= 'f') || (iByte >= 'A' && iByte <= 'F');
  }

  // One escape after a backslash at iText[ioPos - 1]; ioPos is left on the escape's last byte.
  static int32_t Escape(const char* iText, uint32_t iLength, uint32_t& ioPos) {
    if (ioPos >= iLength || iText[ioPos] == '\0') return KELSysJSONTokenizeIncomplete;
    switch (iText[ioPos]) {
      case '"':
      case '/':
      case '\\':
      case 'b':
      case 'f':
      case 'n':
      case 'r':
      case 't':
        return 0;
      case 'u':
        for (int l_Digit = 0; l_Digit < 4; ++l_Digit) {
          ++ioPos;
          if (ioPos >= iLength || iText[ioPos] == '\0') return KELSysJSONTokenizeIncomplete;
          if (!IsHex(iText[ioPos])) return KELSysJSONTokenizeInvalid;
        }
        return 0;
      default:
        return KELSysJSONTokenizeInvalid;
    }
  }

  // A string from the opening quote at m_Pos. Any failure leaves m_Pos on that quote; success
  // leaves it on the closing one.
  template <class Machine>
  [[gnu::always_inline]] static int32_t String(Machine& ioMachine, const char* iText, uint32_t iLength) {
    const uint32_t l_Quote = ioMachine.m_Pos;
    uint32_t l_Pos = l_Quote + 1;
    for (;;) {
      l_Pos = SkipPlain(iText, iLength, l_Pos);
      if (l_Pos >= iLength || iText[l_Pos] == '\0') return KELSysJSONTokenizeIncomplete;
      if (iText[l_Pos] == '"') break;
      ++l_Pos;  // past the backslash
      int32_t l_Result = Escape(iText, iLength, l_Pos);
      if (l_Result < 0) return l_Result;
      ++l_Pos;
    }
    const int32_t l_Result =
        ioMachine.Leaf(KELSysJSONTokenString, static_cast<int32_t>(l_Quote) + 1, static_cast<int32_t>(l_Pos));
    if (l_Result != KELSysJSONTokenizeNoMemory) ioMachine.m_Pos = l_Pos;
    return l_Result;
  }

  // The first byte from iPos on that is a double quote, a backslash or NUL (iLength if none).
  // Strings are most of a text: eight bytes are tested at once.
  static uint32_t SkipPlain(const char* iText, uint32_t iLength, uint32_t iPos) {
    constexpr uint64_t l_Ones = 0x0101010101010101ull, l_Highs = 0x8080808080808080ull;
    for (; iPos + 8 <= iLength; iPos += 8) {
      uint64_t l_Word;
      std::memcpy(&l_Word, iText + iPos, 8);
      const uint64_t l_Quote = l_Word ^ (l_Ones * '"'), l_Slash = l_Word ^ (l_Ones * '\\');
      // Some byte of x is zero exactly when (x - 0x01...) & ~x has a high bit set; the lowest such
      // bit is exact (wrong ones can only follow a true zero), so it names the first stop byte.
      const uint64_t l_Stop = (((l_Word - l_Ones) & ~l_Word) | ((l_Quote - l_Ones) & ~l_Quote) |
                               ((l_Slash - l_Ones) & ~l_Slash)) &
                              l_Highs;
      if (l_Stop == 0) continue;
      if constexpr (std::endian::native == std::endian::little)
        return iPos + static_cast<uint32_t>(std::countr_zero(l_Stop) / 8);
      break;
    }
    while (iPos < iLength && iText[iPos] != '"' && iText[iPos] != '\\' && iText[iPos] != '\0') ++iPos;
    return iPos;
  }

  // A primitive from m_Pos to the next separator or the end of the text; m_Pos is left on its last
  // byte. Every byte must be printable ASCII; on a failure m_Pos points at the offending byte.
  template <class Machine>
  [[gnu::always_inline]] static int32_t Primitive(Machine& ioMachine, const char* iText, uint32_t iLength) {
    const uint32_t l_First = ioMachine.m_Pos;
    uint32_t l_Pos = l_First;
    for (; l_Pos < iLength; ++l_Pos) {
      const unsigned char l_Class = PrimitiveClass(static_cast<unsigned char>(iText[l_Pos]));
      if (l_Class == kPrimitiveEnd) break;
      if (l_Class == kPrimitiveBad) {
        ioMachine.m_Pos = l_Pos;
        return KELSysJSONTokenizeInvalid;
      }
    }
    const int32_t l_Result =
        ioMachine.Leaf(KELSysJSONTokenPrimitive, static_cast<int32_t>(l_First), static_cast<int32_t>(l_Pos));
    if (l_Result != KELSysJSONTokenizeNoMemory) ioMachine.m_Pos = l_Pos - 1;
    return l_Result;
  }

  static constexpr unsigned char kPrimitiveByte = 0, kPrimitiveEnd = 1, kPrimitiveBad = 2;
  static unsigned char PrimitiveClass(unsigned char iByte) {
    static constexpr struct Table {
      unsigned char m_Class[256];
      constexpr Table() : m_Class() {
        for (int l_Byte = 0; l_Byte < 256; ++l_Byte)
          m_Class[l_Byte] = l_Byte < 32 || l_Byte > 126 ? kPrimitiveBad : kPrimitiveByte;
        for (unsigned char l_End : {'\t', '\n', '\r', ' ', ',', ']', '}', ':', '\0'})
          m_Class[l_End] = kPrimitiveEnd;
      }
    } s_Table;
    return s_Table.m_Class[iByte];
  }
};

// The tokenizer: a token machine that writes every token into a caller-owned array of records.
class KELSysJSONTokenizer {
 public:
  uint32_t m_Pos = 0;    // next byte to read; after a failure, the byte the report points at
  uint32_t m_Next = 0;   // index of the next free token
  int32_t m_Super = -1;  // index of the enclosing token, -1 for none
  int32_t m_Inner = -1;  // innermost open container, -1 for none
  int32_t m_Root = -1;   // top-level token above the last token, -1 before the first
  uint32_t m_Depth = 0;  // containers open

  void Reset() { *this = KELSysJSONTokenizer(); }

  // Tokenizes iText up to iLength bytes or the first NUL. Returns the number of tokens, or one of
  // KELSysJSONTokenizeResult. iLength must not exceed KELSysJSONMaxText.
  int32_t Run(const char* iText, uint32_t iLength, KELSysJSONTokenRecord* ioTokens, uint32_t iCapacity);

 private:
  struct Machine;
};

struct KELSysJSONTokenizer::Machine : KELSysJSONTokenizer {
  KELSysJSONTokenRecord* m_Tokens;
  uint32_t m_Capacity;

  Machine(const KELSysJSONTokenizer& iState, KELSysJSONTokenRecord* ioTokens, uint32_t iCapacity)
      : KELSysJSONTokenizer(iState), m_Tokens(ioTokens), m_Capacity(iCapacity) {}

  // Takes the next free token, linked to the enclosing one. Nothing changes when none is free, so
  // that the pass can resume at the same byte.
  KELSysJSONTokenRecord* Take(int32_t iType, int32_t iStart, int32_t iEnd) {
    if (m_Next >= m_Capacity) return nullptr;
    KELSysJSONTokenRecord* l_Token = &m_Tokens[m_Next];
    *l_Token = {iType, iStart, iEnd, 0, m_Super};
    if (m_Super != -1)
      ++m_Tokens[m_Super].m_Size;
    else
      m_Root = static_cast<int32_t>(m_Next);
    ++m_Next;
    return l_Token;
  }

  int32_t Leaf(int32_t iType, int32_t iStart, int32_t iEnd) {
    return Take(iType, iStart, iEnd) ? 0 : KELSysJSONTokenizeNoMemory;
  }

  int32_t Open(int32_t iType) {
    if (m_Depth >= KELSysJSONMaxDepth) return KELSysJSONTokenizeTooDeep;
    if (!Take(iType, static_cast<int32_t>(m_Pos), -2 - m_Inner)) return KELSysJSONTokenizeNoMemory;
    m_Super = m_Inner = static_cast<int32_t>(m_Next) - 1;
    ++m_Depth;
    return 0;
  }

  // A closing bracket closes the innermost open token found going from the last token up through
  // its parents. Every token made while a container is open lies below it, and the enclosing
  // token always lies on the last token's chain of parents, so that token is the innermost open
  // container, kept in m_Inner: no walk is needed, and a text of closing brackets stays linear.
  // With none open, the walk would end at the last token's top-level token: the bracket is then
  // accepted, closing nothing, when that token's type matches and an enclosing token is set.
  int32_t Close(int32_t iType) {
    if (m_Next == 0) return KELSysJSONTokenizeInvalid;
    if (m_Inner == -1)
      return m_Tokens[m_Root].m_Type == iType && m_Super != -1 ? 0 : KELSysJSONTokenizeInvalid;
    KELSysJSONTokenRecord& l_Token = m_Tokens[m_Inner];
    if (l_Token.m_Type != iType) return KELSysJSONTokenizeInvalid;
    m_Inner = -2 - l_Token.m_End;
    --m_Depth;
    l_Token.m_End = static_cast<int32_t>(m_Pos) + 1;
    m_Super = l_Token.m_Parent;
    return 0;
  }

  void Colon() { m_Super = static_cast<int32_t>(m_Next) - 1; }
  void Comma() {
    if (m_Super != -1 && m_Tokens[m_Super].m_Type != KELSysJSONTokenObject &&
        m_Tokens[m_Super].m_Type != KELSysJSONTokenArray)
      m_Super = m_Tokens[m_Super].m_Parent;
  }
};

inline int32_t KELSysJSONTokenizer::Run(const char* iText, uint32_t iLength, KELSysJSONTokenRecord* ioTokens,
                                        uint32_t iCapacity) {
  Machine l_Machine{*this, ioTokens, iCapacity};
  int32_t l_Result = KELSysJSONLex::Pass(l_Machine, iText, iLength);
  if (l_Result == 0)
    l_Result =
        l_Machine.m_Inner != -1 ? KELSysJSONTokenizeIncomplete : static_cast<int32_t>(l_Machine.m_Next);
  *this = l_Machine;
  return l_Result;
}

// A growable block of token records with the tokenizer state of its last pass.
class KELSysJSONTokenBlock {
 public:
  KELSysJSONTokenBlock() = default;
  ~KELSysJSONTokenBlock() { Free(); }
  KELSysJSONTokenBlock(const KELSysJSONTokenBlock&) = delete;
  KELSysJSONTokenBlock& operator=(const KELSysJSONTokenBlock&) = delete;

  KELSysJSONTokenRecord* m_Records = nullptr;
  uint32_t m_Capacity = 0;  // in tokens
  uint32_t m_Count = 0;     // tokens of the last successful pass
  KELSysJSONTokenizer m_State;

  void Free() {
    std::free(m_Records);
    m_Records = nullptr;
    m_Capacity = 0;
    m_Count = 0;
  }

  // Tokenizes a whole text. A block without records starts with iLength / 2 of them and doubles
  // while the tokenizer runs out (a block of none cannot grow). Returns KEL_S_OK;
  // KEL_E_INVALIDARG for a null or oversized text; KEL_E_OUTOFMEMORY when the block cannot grow (it
  // is freed); KEL_E_FAIL for a text that does not tokenize (the block is freed and, with iErrors,
  // "JSON parsing error at position %u" is reported against iFile and iLine). A text nested too deep
  // also says so on the "KELSysJSON" channel, at the bracket that opened one level too many.
  KELSysResult Tokenize(const char* iText, size_t iLength, KELSysTrace* iErrors,
                        const char* iFile = "SystemTS/PrivateInterfaces/KELSysJSONPrivate",
                        int iLine = __LINE__) {
    if (iText == nullptr || iLength > KELSysJSONMaxText) return KEL_E_INVALIDARG;
    m_State.Reset();
    m_Count = 0;
    const uint32_t l_Length = static_cast<uint32_t>(iLength);
    if (m_Capacity == 0 && !Grow(l_Length / 2)) return KEL_E_OUTOFMEMORY;
    for (;;) {
      int32_t l_Result = m_State.Run(iText, l_Length, m_Records, m_Capacity);
      if (l_Result >= 0) {
        m_Count = static_cast<uint32_t>(l_Result);
        return KEL_S_OK;
      }
      if (l_Result == KELSysJSONTokenizeNoMemory) {
        uint64_t l_Wanted = uint64_t{m_Capacity} * 2;
        if (l_Wanted > KELSysJSONMaxText) l_Wanted = KELSysJSONMaxText;
        if (l_Wanted <= m_Capacity || !Grow(static_cast<uint32_t>(l_Wanted))) {
          Free();
          return KEL_E_OUTOFMEMORY;
        }
        continue;
      }
      if (l_Result == KELSysJSONTokenizeTooDeep) KELSysJSONTraceTooDeep(m_State.m_Pos);
      if (iErrors)
        iErrors->Report(KELSysTraceError, iFile, iLine, "JSON parsing error at position %u\n", m_State.m_Pos);
      Free();
      return KEL_E_FAIL;
    }
  }

  // Room for at least iCapacity tokens. False when it cannot be had.
  bool Reserve(uint32_t iCapacity) { return iCapacity <= m_Capacity || Grow(iCapacity); }

 private:
  bool Grow(uint32_t iCapacity) {
    if (iCapacity == 0) return true;  // nothing to hold; the first token needed fails to grow
    void* l_Records = std::realloc(m_Records, size_t{iCapacity} * sizeof(KELSysJSONTokenRecord));
    if (l_Records == nullptr) return false;
    m_Records = static_cast<KELSysJSONTokenRecord*>(l_Records);
    m_Capacity = iCapacity;
    return true;
  }
};

#endif
