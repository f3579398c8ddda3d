// Turns a JSON tree into text, compact or indented, without recursion. Text collects in a fixed
// buffer that is handed on, when full and at the end, to the target string or stream: a big
// document costs neither a stream call per token nor a copy of the whole text.
#ifndef JSONTextWriter_H
#define JSONTextWriter_H

#include <cstring>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "JSONValue.h"

namespace JSON {

class TextWriter {
 public:
  // Text goes to the end of oText, or to oStream when oText is null.
  TextWriter(std::string* oText, std::ostream* oStream, bool iIndented, int iLevel);

  // Writes iRoot (an empty pointer is written as null) and hands everything on.
  void Run(const Value* iRoot);

 private:
  struct Frame {
    const Value* m_Container;
    std::size_t m_Next;
    std::size_t m_Offset;  // of an object's next member in its block
  };

  void Open(const Value* iValue);
  void Separate(const Frame& iFrame);
  void Close(const Frame& iFrame);
  void Scalar(std::int32_t iType, std::string_view iText);
  void Break(std::size_t iLevel);
  void PutEscaped(std::string_view iText);
  void Put(char iByte) {
    if (m_Pos == m_End) Drain();
    *m_Pos++ = iByte;
  }
  void Put(std::string_view iText) {
    if (static_cast<std::size_t>(m_End - m_Pos) < iText.size()) return Spill(iText);
    std::memcpy(m_Pos, iText.data(), iText.size());
    m_Pos += iText.size();
  }
  void Spill(std::string_view iText);
  void Drain();

  std::string* m_Text;
  std::ostream* m_Stream;
  bool m_Indented;
  std::size_t m_Level;
  std::vector<Frame> m_Stack;
  std::unique_ptr<char[]> m_Buffer;
  char* m_Pos;
  char* m_End;
};

}  // namespace JSON

#endif
