#include <string>

#include "KELInsRegDocument.h"
#include "KELInsRegKey.h"
#include "KELInsRegText.h"

namespace {

void AppendIndent(std::string& ioOut, size_t iLevel) { ioOut.append(2 * iLevel, ' '); }

void AppendData(std::string& ioOut, const KELInsRegValue& iValue) {
  if (iValue.m_Type == KELInsRegKey::TypeDWORD || iValue.m_Type == KELInsRegKey::TypeQWORD) {
    ioOut += std::to_string(iValue.m_Number);
  } else if (iValue.m_Type == KELInsRegKey::TypeString) {
    KELInsRegAppendJSONString(ioOut, iValue.m_Strings.at(0));
  } else {
    ioOut += '[';
    for (size_t l_At = 0; l_At < iValue.m_Strings.size(); ++l_At) {
      if (l_At) ioOut += ", ";
      KELInsRegAppendJSONString(ioOut, iValue.m_Strings[l_At]);
    }
    ioOut += ']';
  }
}

// The members "Values" and "Subkeys" of a key's object, at indentation iLevel.
void AppendKey(std::string& ioOut, const KELInsRegTree& iTree, size_t iLevel) {
  AppendIndent(ioOut, iLevel);
  ioOut += "\"Values\": {";
  for (size_t l_At = 0; l_At < iTree.m_Values.size(); ++l_At) {
    const KELInsRegValue& l_Value = iTree.m_Values[l_At];
    ioOut += l_At ? ",\n" : "\n";
    AppendIndent(ioOut, iLevel + 1);
    KELInsRegAppendJSONString(ioOut, l_Value.m_Name);
    ioOut += ": [" + std::to_string(l_Value.m_Type) + ", ";
    AppendData(ioOut, l_Value);
    ioOut += ']';
  }
  if (!iTree.m_Values.empty()) {
    ioOut += '\n';
    AppendIndent(ioOut, iLevel);
  }
  ioOut += "},\n";
  AppendIndent(ioOut, iLevel);
  ioOut += "\"Subkeys\": {";
  for (size_t l_At = 0; l_At < iTree.m_Subkeys.size(); ++l_At) {
    ioOut += l_At ? ",\n" : "\n";
    AppendIndent(ioOut, iLevel + 1);
    KELInsRegAppendJSONString(ioOut, iTree.m_Subkeys[l_At].m_Name);
    ioOut += ": {\n";
    AppendKey(ioOut, iTree.m_Subkeys[l_At].m_Tree, iLevel + 2);
    ioOut += '\n';
    AppendIndent(ioOut, iLevel + 1);
    ioOut += '}';
  }
  if (!iTree.m_Subkeys.empty()) {
    ioOut += '\n';
    AppendIndent(ioOut, iLevel);
  }
  ioOut += '}';
}

}  // namespace

void KELInsRegWriteDocument(std::string& oText, const KELInsRegKeyName& iName, const KELInsRegTree& iTree) {
  oText += "{\n  \"Key\": ";
  KELInsRegAppendJSONString(oText, iName.Full());
  oText += ",\n";
  AppendKey(oText, iTree, 1);
  oText += "\n}\n";
}
