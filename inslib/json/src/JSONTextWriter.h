// Turns a JSON tree into text, compact or indented, without recursion. The text collects in a
// string; when a stream is given the string is handed to it in large blocks, so that a big
// document costs neither a stream call per token nor a second copy of the whole text.
#ifndef JSONTextWriter_H
#define JSONTextWriter_H

#include <iosfwd>
#include <string>
#include <vector>

#include "JSONValue.h"

namespace JSON {

class TextWriter {
 public:
  // Text goes to the end of oText; with oStream set, oText is its buffer and ends up empty.
  TextWriter(std::string& oText, std::ostream* oStream, bool iIndented, int iLevel);

  // Writes iRoot (an empty pointer is written as null) and hands everything left to the stream.
  void Run(const Value* iRoot);

 private:
  struct Frame {
    const Value* m_Container;
    std::size_t m_Next;
  };

  void Open(const Value* iValue);
  void StartChild(const Frame& iFrame);
  void Close(const Frame& iFrame);
  void Scalar(const Value& iValue);
  void Break(std::size_t iLevel);
  void Flush(std::size_t iAbove);

  std::string& m_Text;
  std::ostream* m_Stream;
  bool m_Indented;
  std::size_t m_Level;
  std::vector<Frame> m_Stack;
};

}  // namespace JSON

#endif
