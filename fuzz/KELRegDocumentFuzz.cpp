// Hostile import documents for KELReg: reading never crashes, never hangs and never accepts what the
// registry could not take; a document it accepts is written back as one that reads to the same tree
// and writes the same bytes again.
#include <cstdint>
#include <string>
#include <string_view>

#include "KELInsRegDocument.h"

namespace {

void CheckTree(const KELInsRegTree& iTree, size_t iDepth) {
  if (iDepth > KELInsRegMaxDepth) __builtin_trap();
  for (const KELInsRegValue& l_Value : iTree.m_Values) {
    size_t l_Data = 0;
    for (const std::string& l_Item : l_Value.m_Strings) l_Data += l_Item.size();
    if (l_Value.m_Type < 1 || l_Value.m_Type > 4 || l_Value.m_Name.size() > KELInsRegMaxValueName ||
        l_Data > KELInsRegMaxData || (l_Value.m_Type == 1 && l_Value.m_Number > UINT32_MAX) ||
        (l_Value.m_Type == 3 && l_Value.m_Strings.size() != 1))
      __builtin_trap();
  }
  std::string l_Why;
  for (const auto& [l_Name, l_Subkey] : iTree.m_Subkeys) {
    if (!KELInsRegKeyName::IsValidComponent(l_Name, l_Why)) __builtin_trap();
    CheckTree(l_Subkey, iDepth + 1);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize) {
  std::string_view l_Text(reinterpret_cast<const char*>(iData), iSize);
  KELInsRegKeyName l_Name;
  KELInsRegTree l_Tree;
  try {
    KELInsRegParseDocument(l_Text, l_Name, l_Tree);
  } catch (const KELInsRegDocumentError& l_Error) {
    if (l_Error.m_What.empty() || l_Error.m_Offset > iSize) __builtin_trap();
    (void)l_Error.Where(l_Text);
    return 0;
  }
  CheckTree(l_Tree, 0);
  std::string l_Written;
  KELInsRegWriteDocument(l_Written, l_Name, l_Tree);
  KELInsRegKeyName l_ReadName;
  KELInsRegTree l_Read;
  try {
    KELInsRegParseDocument(l_Written, l_ReadName, l_Read);
  } catch (const KELInsRegDocumentError&) {
    __builtin_trap();  // what KELReg writes it must read
  }
  std::string l_Again;
  KELInsRegWriteDocument(l_Again, l_ReadName, l_Read);
  if (l_Again != l_Written || l_ReadName.Full() != l_Name.Full()) __builtin_trap();
  return 0;
}
