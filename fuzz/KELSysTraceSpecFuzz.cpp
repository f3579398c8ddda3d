// Hostile KELSysTrace values and option-file lines: parsing never crashes, never hangs, and every
// channel it accepts has a usable name and output.
#include <cstdint>
#include <cstring>
#include <string>

#include "KELSysTraceManagerBase.h"

namespace {

// A single specification is not split further, so only names from a whole value are free of
// separators.
void Check(const KELSysTraceManagerBase& iManager, const char* iForbidden) {
  for (const std::string& l_Name : iManager.GetChannelNames()) {
    const KELSysTraceSettings* l_Settings = iManager.GetSettings(l_Name);
    if (l_Name.empty() || l_Name.find_first_of(iForbidden) != std::string::npos || l_Settings == nullptr ||
        l_Settings->m_Output.empty()) {
      __builtin_trap();
    }
    if (l_Settings->Get(KELSysTraceAttrRotateCount) > KELSysTraceManagerBase::kMaxRotateCount)
      __builtin_trap();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize) {
  // An environment value ends at its first NUL.
  std::string l_Text(reinterpret_cast<const char*>(iData), iSize);
  l_Text.resize(strnlen(l_Text.c_str(), l_Text.size()));

  KELSysTraceManagerBase l_FromVariable;
  l_FromVariable.AddSpecifications(l_Text.c_str());
  Check(l_FromVariable, ",;:| \t\n");

  KELSysTraceManagerBase l_FromFile;
  l_FromFile.AddSpecification(l_Text, true);
  Check(l_FromFile, " \t\n");
  return 0;
}
