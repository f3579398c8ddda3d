#include "KELInsRegReport.h"

#include <fnmatch.h>

#include <algorithm>
#include <optional>
#include <vector>

#include "KELInsRegKey.h"

namespace {

using H = KELInsRegKey;

bool Matches(const std::string& iPattern, const std::string& iText) {
  return fnmatch(iPattern.c_str(), iText.c_str(), 0) == 0;
}

std::string ValueLine(const std::string& iKey, const KELInsRegValue& iValue) {
  std::string l_Line = iKey + "    ";
  KELInsRegAppendValueLine(l_Line, iValue);
  return l_Line;
}

void FindBelow(const KELInsRegKeyName& iName, const KELInsRegTree& iTree, const std::string& iPattern,
               KELInsRegFindIn iIn, std::vector<std::string>& ioLines) {
  const bool l_All = iIn == KELInsRegFindIn::Everything;
  const std::string l_Full = iName.Full();
  for (const KELInsRegValue& l_Value : iTree.m_Values) {
    bool l_Found = (l_All || iIn == KELInsRegFindIn::Values) && Matches(iPattern, l_Value.m_Name);
    if (!l_Found && (l_All || iIn == KELInsRegFindIn::Data))
      l_Found = std::any_of(l_Value.m_Strings.begin(), l_Value.m_Strings.end(),
                            [&](const std::string& iItem) { return Matches(iPattern, iItem); });
    if (l_Found) ioLines.push_back(ValueLine(l_Full, l_Value));
  }
  for (const KELInsRegSubkey& l_Subkey : iTree.m_Subkeys) {
    KELInsRegKeyName l_Child = iName.Child(l_Subkey.m_Name);
    if ((l_All || iIn == KELInsRegFindIn::Keys) && Matches(iPattern, l_Subkey.m_Name))
      ioLines.push_back(l_Child.Full());
    FindBelow(l_Child, l_Subkey.m_Tree, iPattern, iIn, ioLines);
  }
}

// The key iName as it stands, or nothing when it does not exist.
std::optional<KELInsRegKey> OpenIfThere(const KELInsRegKeyName& iName) {
  try {
    KELInsRegKey l_Key = H::OpenKey(iName.m_Hive, iName.Path(), H::ReadOnly);
    KELInsRegCheckSound(l_Key, iName);
    return l_Key;
  } catch (const KELInsRegKeyError& l_Error) {
    if (l_Error.Reason().empty()) return std::nullopt;  // no such key
    throw KELInsRegTreeError{KELInsRegDescribe(iName.Full(), l_Error, "cannot open the key")};
  }
}

bool SameData(const KELInsRegValue& iOne, const KELInsRegValue& iOther) {
  return iOne.m_Type == iOther.m_Type && iOne.m_Number == iOther.m_Number &&
         iOne.m_Strings == iOther.m_Strings;
}

void PreviewKey(const KELInsRegKeyName& iName, const KELInsRegTree& iTree, bool iThere, std::string& ioOut) {
  std::optional<KELInsRegKey> l_Key;
  if (iThere && !iName.IsHiveRoot()) l_Key = OpenIfThere(iName);
  const bool l_New = !iName.IsHiveRoot() && !l_Key;
  const std::string l_Full = iName.Full();
  if (l_New) ioOut += "add key " + l_Full + '\n';
  std::vector<KELInsRegValue> l_Old;
  if (l_Key) l_Old = KELInsRegReadValues(*l_Key, iName);
  for (const KELInsRegValue& l_Value : iTree.m_Values) {
    auto l_Was = std::find_if(l_Old.begin(), l_Old.end(),
                              [&](const KELInsRegValue& iOld) { return iOld.m_Name == l_Value.m_Name; });
    if (l_Was == l_Old.end()) {
      ioOut += "add value " + ValueLine(l_Full, l_Value) + '\n';
    } else if (!SameData(*l_Was, l_Value)) {
      ioOut += "change value " + ValueLine(l_Full, l_Value) + "    (was " + KELInsRegTypeName(l_Was->m_Type) +
               "    ";
      KELInsRegAppendData(ioOut, *l_Was, "\\0");
      ioOut += ")\n";
    }
  }
  std::vector<const KELInsRegSubkey*> l_Subkeys;
  for (const KELInsRegSubkey& l_Subkey : iTree.m_Subkeys) l_Subkeys.push_back(&l_Subkey);
  std::sort(l_Subkeys.begin(), l_Subkeys.end(),
            [](const KELInsRegSubkey* iOne, const KELInsRegSubkey* iOther) {
              return iOne->m_Name < iOther->m_Name;
            });
  for (const KELInsRegSubkey* l_Subkey : l_Subkeys)
    PreviewKey(iName.Child(l_Subkey->m_Name), l_Subkey->m_Tree, !l_New, ioOut);
}

}  // namespace

std::string KELInsRegFind(const KELInsRegKeyName& iName, const KELInsRegTree& iTree,
                          const std::string& iPattern, KELInsRegFindIn iIn) {
  std::vector<std::string> l_Lines;
  FindBelow(iName, iTree, iPattern, iIn, l_Lines);
  std::sort(l_Lines.begin(), l_Lines.end());
  std::string l_Text;
  for (const std::string& l_Line : l_Lines) l_Text += l_Line + '\n';
  return l_Text;
}

std::string KELInsRegPreviewMerge(const KELInsRegKeyName& iName, const KELInsRegTree& iTree) {
  std::string l_Text;
  // The missing parents first: a key below one that is missing is missing too.
  KELInsRegKeyName l_Parent = iName;
  l_Parent.m_Components.clear();
  bool l_There = true;
  for (size_t l_At = 0; l_At + 1 < iName.m_Components.size(); ++l_At) {
    l_Parent.m_Components.push_back(iName.m_Components[l_At]);
    if (l_There && OpenIfThere(l_Parent)) continue;
    l_There = false;
    l_Text += "add key " + l_Parent.Full() + '\n';
  }
  PreviewKey(iName, iTree, l_There, l_Text);
  return l_Text;
}
