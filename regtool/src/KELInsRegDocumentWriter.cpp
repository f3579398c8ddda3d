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

// Hands iTree, the key iName's at iLevel, and the trees below it to ioWriter.
void Feed(KELInsRegDocumentWriter& ioWriter, const KELInsRegKeyName& iName, const KELInsRegTree& iTree,
          size_t iLevel) {
  ioWriter.Enter(iName, iLevel, iTree.m_Values);
  for (const auto& [l_Name, l_Tree] : iTree.m_Subkeys)
    Feed(ioWriter, iName.Child(l_Name), l_Tree, iLevel + 1);
  ioWriter.Leave(iLevel);
}

}  // namespace

// A key at level L is an object whose members stand at indentation 2L+1, its subkeys' names at 2L+2.
void KELInsRegDocumentWriter::Enter(const KELInsRegKeyName& iName, size_t iLevel,
                                    const std::vector<KELInsRegValue>& iValues) {
  const size_t l_Indent = 2 * iLevel + 1;
  m_HasSubkeys.resize(iLevel);
  if (iLevel == 0) {
    m_Text += "{\n  \"Key\": ";
    KELInsRegAppendJSONString(m_Text, iName.Full());
    m_Text += ",\n";
  } else {
    m_Text += m_HasSubkeys.back() ? ",\n" : "\n";
    m_HasSubkeys.back() = true;
    AppendIndent(m_Text, l_Indent - 1);
    KELInsRegAppendJSONString(m_Text, iName.m_Components.back());
    m_Text += ": {\n";
  }
  m_HasSubkeys.push_back(false);
  AppendIndent(m_Text, l_Indent);
  m_Text += "\"Values\": {";
  for (size_t l_At = 0; l_At < iValues.size(); ++l_At) {
    const KELInsRegValue& l_Value = iValues[l_At];
    m_Text += l_At ? ",\n" : "\n";
    AppendIndent(m_Text, l_Indent + 1);
    KELInsRegAppendJSONString(m_Text, l_Value.m_Name);
    m_Text += ": [" + std::to_string(l_Value.m_Type) + ", ";
    AppendData(m_Text, l_Value);
    m_Text += ']';
  }
  if (!iValues.empty()) {
    m_Text += '\n';
    AppendIndent(m_Text, l_Indent);
  }
  m_Text += "},\n";
  AppendIndent(m_Text, l_Indent);
  m_Text += "\"Subkeys\": {";
}

void KELInsRegDocumentWriter::Leave(size_t iLevel) {
  const size_t l_Indent = 2 * iLevel + 1;
  if (m_HasSubkeys[iLevel]) {
    m_Text += '\n';
    AppendIndent(m_Text, l_Indent);
  }
  m_Text += '}';
  if (iLevel == 0) {
    m_Text += "\n}\n";
  } else {
    m_Text += '\n';
    AppendIndent(m_Text, l_Indent - 1);
    m_Text += '}';
  }
}

void KELInsRegWriteDocument(std::string& oText, const KELInsRegKeyName& iName, const KELInsRegTree& iTree) {
  KELInsRegDocumentWriter l_Writer(oText);
  Feed(l_Writer, iName, iTree, 0);
}
