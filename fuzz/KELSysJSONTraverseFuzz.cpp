// Traversal alone on any text: it never crashes, and a callback that answers false ends it with a
// failure at once. The first input byte chooses after how many events the callbacks stop; the rest
// is the text.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "KELSysJSON.h"

namespace {

class Stopper : public KELSysJSONTraverse {
 public:
  explicit Stopper(int iAnswers) : m_Answers(iAnswers) {}
  int m_Calls = 0;
  bool m_Said = false;  // answered false

  bool OnObjectBegin() override { return Answer(); }
  bool OnPairKey(const char* iKey, size_t iLength) override { return Touch(iKey, iLength); }
  bool OnObjectEnd() override { return Answer(); }
  bool OnArrayBegin() override { return Answer(); }
  bool OnArrayItemBegin() override { return Answer(); }
  bool OnArrayItemEnd() override { return Answer(); }
  bool OnArrayEnd() override { return Answer(); }
  bool OnNull() override { return Answer(); }
  bool OnBoolean(bool) override { return Answer(); }
  bool OnDouble(double) override { return Answer(); }
  bool OnInteger(int64_t) override { return Answer(); }
  bool OnString(const char* iBytes, size_t iLength) override { return Touch(iBytes, iLength); }

 private:
  bool Answer() {
    Check(!m_Said, "a callback came after one answered false");
    m_Said = ++m_Calls == m_Answers;
    return !m_Said;
  }
  // The bytes handed out lie inside the text: reading them all lets the sanitizer see.
  bool Touch(const char* iBytes, size_t iLength) {
    unsigned l_Sum = 0;
    for (size_t l_Index = 0; l_Index < iLength; ++l_Index)
      l_Sum += static_cast<unsigned char>(iBytes[l_Index]);
    m_Sum += l_Sum;
    return Answer();
  }
  static void Check(bool iHolds, const char* iWhat) {
    if (iHolds) return;
    std::fprintf(stderr, "KELSysJSONTraverseFuzz: %s\n", iWhat);
    std::abort();
  }

  int m_Answers;
  unsigned m_Sum = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize) {
  if (iSize == 0) return 0;
  const char* l_Text = reinterpret_cast<const char*>(iData + 1);
  KELSysJSON l_JSON;
  KELSysJSONTraverseCustom l_Check;
  const KELSysResult l_Whole = l_JSON.Traverse(l_Text, iSize - 1, l_Check);
  Stopper l_Stopper(iData[0] == 0 ? -1 : iData[0]);
  const KELSysResult l_Stopped = l_JSON.Traverse(l_Text, iSize - 1, l_Stopper);
  if (l_Stopper.m_Said ? l_Stopped != KEL_E_FAIL : l_Stopped != l_Whole) std::abort();
  return 0;
}
