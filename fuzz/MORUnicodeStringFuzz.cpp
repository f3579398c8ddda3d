// Any bytes through the framework string: UTF-8 bytes must come back unchanged, UTF-16 units must
// settle after one trip through UTF-8, and STEP text and numbers must be read without harm.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "MORStringWarning.h"
#include "MORUnicodeString.h"

namespace {

void Check(bool iCondition) {
  if (!iCondition) std::abort();
}

std::string UTF8(const MORUnicodeString& iText) {
  size_t l_Length = 0;
  const char* l_Bytes = iText.ConvertToUTF8(&l_Length);
  return std::string(l_Bytes, l_Length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize) {
  MORStringWarning::SetProcessActive(false);
  const char* l_Bytes = reinterpret_cast<const char*>(iData);
  std::string l_Input(l_Bytes, iSize);

  MORUnicodeString l_Text = MORUnicodeString::FromUTF8(l_Bytes, iSize);
  Check(UTF8(l_Text) == l_Input);
  Check(l_Text.GetLength() <= static_cast<int>(iSize));

  std::u16string l_Units(iSize / 2, u'\0');
  std::memcpy(l_Units.data(), iData, l_Units.size() * 2);
  std::string l_Once = UTF8(MORUnicodeString(l_Units.data(), l_Units.size()));
  Check(UTF8(MORUnicodeString::FromUTF8(l_Once.data(), l_Once.size())) == l_Once);

  std::string l_Express = "\"" + std::string(l_Input.c_str()) + "\"";
  MORUnicodeString l_STEP;
  Check(l_STEP.BuildFromSTEP(l_Express.c_str()) == KEL_S_OK);
  long long l_Number = 0;
  l_Text.ConvertToNum(l_Number);
  l_Text.ConvertToMBCS();
  return 0;
}
