// Any text: parse -> build -> write (compact) -> parse -> build -> write gives the same text twice,
// and traversing the text reports exactly the events that the built tree holds. Small inputs are
// also written indented and read back to the same tree. Reading the text in one go accepts and
// refuses it as parse and build do, and builds the same tree.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "KELSysJSON.h"
#include "KELSysJSONPrivate.h"

namespace {

void Check(bool iHolds, const char* iWhat) {
  if (iHolds) return;
  std::fprintf(stderr, "KELSysJSONRoundTripFuzz: %s\n", iWhat);
  std::abort();
}

std::string DoubleEvent(double iValue) {
  uint64_t l_Bits;
  std::memcpy(&l_Bits, &iValue, sizeof l_Bits);
  return "d" + std::to_string(l_Bits) + " ";
}

std::string BytesEvent(char iTag, const char* iBytes, size_t iLength) {
  return iTag + std::to_string(iLength) + ":" + std::string(iBytes, iLength) + " ";
}

class Recorder : public KELSysJSONTraverse {
 public:
  std::string m_Events;
  bool OnObjectBegin() override { return Add("{ "); }
  bool OnPairKey(const char* iKey, size_t iLength) override { return Add(BytesEvent('k', iKey, iLength)); }
  bool OnObjectEnd() override { return Add("} "); }
  bool OnArrayBegin() override { return Add("[ "); }
  bool OnArrayItemBegin() override { return Add("< "); }
  bool OnArrayItemEnd() override { return Add("> "); }
  bool OnArrayEnd() override { return Add("] "); }
  bool OnNull() override { return Add("n "); }
  bool OnBoolean(bool iValue) override { return Add(iValue ? "t " : "f "); }
  bool OnDouble(double iValue) override { return Add(DoubleEvent(iValue)); }
  bool OnInteger(int64_t iValue) override { return Add("i" + std::to_string(iValue) + " "); }
  bool OnString(const char* iBytes, size_t iLength) override { return Add(BytesEvent('s', iBytes, iLength)); }

 private:
  bool Add(const std::string& iEvent) {
    m_Events += iEvent;
    return true;
  }
};

// The events a traversal would report for a tree, listed with an explicit stack.
std::string TreeEvents(const KELSysJSONValue& iRoot) {
  struct Open {
    const KELSysJSONValue* m_Value;
    size_t m_Next;
  };
  std::string l_Events;
  std::vector<Open> l_Stack;
  const KELSysJSONValue* l_Value = &iRoot;
  for (;;) {
    switch (l_Value->GetType()) {
      case KELSysJSONTypeNull:
        l_Events += "n ";
        break;
      case KELSysJSONTypeBoolean:
        l_Events += l_Value->GetBoolean() ? "t " : "f ";
        break;
      case KELSysJSONTypeInteger:
        l_Events += "i" + std::to_string(l_Value->GetInteger()) + " ";
        break;
      case KELSysJSONTypeDouble:
        l_Events += DoubleEvent(l_Value->GetDouble());
        break;
      case KELSysJSONTypeString:
        l_Events += BytesEvent('s', l_Value->GetString().data(), l_Value->GetString().size());
        break;
      case KELSysJSONTypeObject:
        l_Events += "{ ";
        l_Stack.push_back({l_Value, 0});
        break;
      case KELSysJSONTypeArray:
        l_Events += "[ ";
        l_Stack.push_back({l_Value, 0});
        break;
    }
    l_Value = nullptr;
    while (!l_Stack.empty() && !l_Value) {
      Open& l_Open = l_Stack.back();
      const bool l_Array = l_Open.m_Value->GetType() == KELSysJSONTypeArray;
      if (l_Array && l_Open.m_Next > 0) l_Events += "> ";
      const size_t l_Size =
          l_Array ? l_Open.m_Value->GetArray().GetSize() : l_Open.m_Value->GetObject().GetSize();
      if (l_Open.m_Next == l_Size) {
        l_Events += l_Array ? "] " : "} ";
        l_Stack.pop_back();
        continue;
      }
      const size_t l_Index = l_Open.m_Next++;
      if (l_Array) {
        l_Events += "< ";
        l_Value = l_Open.m_Value->GetArray().GetAt(l_Index);
      } else {
        const KELSysJSONPair* l_Pair = l_Open.m_Value->GetObject().GetAt(l_Index);
        l_Events += BytesEvent('k', l_Pair->GetKey().data(), l_Pair->GetKey().size());
        l_Value = &l_Pair->GetValue();
      }
    }
    if (!l_Value) return l_Events;
  }
}

std::string Write(const KELSysJSONValue& iRoot, bool iCompact) {
  std::string l_Out;
  Check(iRoot.Write(l_Out, iCompact, "") == KEL_S_OK, "a built tree does not write");
  return l_Out;
}

// Parses and builds a text the writer made, which must always succeed. The terminating NUL goes
// along: a fresh document starts with room for length / 2 tokens, none for a one-byte value.
KELSysJSONValue Reread(const std::string& iText) {
  KELSysJSON l_JSON;
  KELSysJSONValue l_Root;
  Check(l_JSON.Parse(iText.c_str(), iText.size() + 1) == KEL_S_OK, "written text does not parse");
  Check(l_JSON.Build(l_Root) == KEL_S_OK, "written text does not build");
  return l_Root;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize) {
  const char* l_Text = reinterpret_cast<const char*>(iData);
  KELSysJSON l_JSON;
  KELSysJSONValue l_Root;
  const bool l_Built = l_JSON.Parse(l_Text, iSize) == KEL_S_OK && l_JSON.Build(l_Root) == KEL_S_OK;
  Recorder l_Recorder;
  KELSysJSON l_Other;
  const bool l_Walked = l_Other.Traverse(l_Text, iSize, l_Recorder) == KEL_S_OK;
  Check(l_Built == l_Walked, "build and traversal disagree on the text");

  // A document that has held tokens before: a fresh one has no room for a one-byte text, which
  // the one-go read never lacks.
  KELSysJSON l_Warm, l_OneGo;
  const std::string l_Blank(64, ' ');
  Check(l_Warm.Parse(l_Blank.data(), l_Blank.size()) == KEL_S_OK, "blanks do not parse");
  KELSysJSONValue l_Expected, l_Read;
  const bool l_WarmBuilt = l_Warm.Parse(l_Text, iSize) == KEL_S_OK && l_Warm.Build(l_Expected) == KEL_S_OK;
  // Blanks after the text change nothing it says, and take it past the size that Read passes to
  // the tokens.
  std::string l_Long(l_Text, iSize);
  l_Long.append(KELSysJSONTokenReadLimit + 1, ' ');
  Check((l_OneGo.Read(l_Long.data(), l_Long.size(), l_Read) == KEL_S_OK) == l_WarmBuilt,
        "one-go read and build disagree");
  Check(TreeEvents(l_Read) == TreeEvents(l_Expected), "one-go read builds another tree");
  if (!l_Built) return 0;
  Check(l_Recorder.m_Events == TreeEvents(l_Root), "traversal events differ from the built tree");

  const std::string l_First = Write(l_Root, true);
  const std::string l_Second = Write(Reread(l_First), true);
  Check(l_First == l_Second, "compact write is not stable");
  if (iSize <= 512)
    Check(Write(Reread(Write(l_Root, false)), true) == l_First, "indented write reads back differently");
  return 0;
}
