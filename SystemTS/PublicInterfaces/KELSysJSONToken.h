// One token of a parsed text, as a document hands it out (KELSysJSON::GetToken).
#ifndef KELSysJSONToken_H
#define KELSysJSONToken_H

#include <cstdint>

class KELSysJSONToken {
 public:
  // Token types.
  static constexpr int32_t Undefined = 0;
  static constexpr int32_t Object = 1;
  static constexpr int32_t Array = 2;
  static constexpr int32_t String = 3;
  static constexpr int32_t Primitive = 4;

  KELSysJSONToken() = default;
  KELSysJSONToken(int32_t iType, int32_t iStart, int32_t iEnd, int32_t iSize, int32_t iParent)
      : m_Type(iType), m_Start(iStart), m_End(iEnd), m_Size(iSize), m_Parent(iParent) {}
  virtual ~KELSysJSONToken() = default;

  int32_t GetType() const { return m_Type; }
  // Byte offset of the first byte; for a string, the byte after the opening quote.
  int32_t GetStart() const { return m_Start; }
  // One past the last byte; for a string, its closing quote; for a container, one past its
  // closing bracket.
  int32_t GetEnd() const { return m_End; }
  // Direct children: an object's keys (each key holds its value), an array's elements.
  int32_t GetSize() const { return m_Size; }
  // Index of the enclosing token, -1 at top level.
  int32_t GetParent() const { return m_Parent; }

 private:
  int32_t m_Type = Undefined;
  int32_t m_Start = -1;
  int32_t m_End = -1;
  int32_t m_Size = 0;
  int32_t m_Parent = -1;
};

#endif
