#include "KELInsRegTree.h"

#include <algorithm>

#include "KELInsRegChange.h"
#include "KELInsRegKey.h"
#include "KELInsRegText.h"

namespace {

using H = KELInsRegKey;

std::vector<std::string> SortedSubkeys(const KELInsRegKey* iKey, int32_t iHive) {
  std::vector<std::string> l_Names;
  if (iKey)
    iKey->GetSubkeys(l_Names);
  else
    H::GetSubkeys(iHive, l_Names);
  std::sort(l_Names.begin(), l_Names.end());
  return l_Names;
}

}  // namespace

KELInsRegValue KELInsRegReadValue(const KELInsRegKey& iKey, const std::string& iStored) {
  KELInsRegValue l_Value;
  l_Value.m_Name = KELInsRegShow(iStored);
  l_Value.m_Type = iKey.GetValueType(iStored);
  switch (l_Value.m_Type) {
    case H::TypeDWORD:
      l_Value.m_Number = iKey.GetDWORDValue(iStored);
      break;
    case H::TypeQWORD:
      l_Value.m_Number = iKey.GetQWORDValue(iStored);
      break;
    case H::TypeString:
      l_Value.m_Strings.emplace_back();
      iKey.GetValue(iStored, l_Value.m_Strings.back());
      break;
    default:
      l_Value.m_Strings = iKey.GetMultiStringValue(iStored);
      break;
  }
  for (std::string& l_Text : l_Value.m_Strings) l_Text = KELInsRegShow(l_Text);
  return l_Value;
}

namespace {

[[noreturn]] void Throw(const KELInsRegKeyName& iName, const std::exception& iError, const char* iFallback) {
  throw KELInsRegTreeError{KELInsRegDescribe(iName.Full(), iError, iFallback)};
}

// The sorted subkeys of iKey (of the hive iHive when iKey is null), listed by the key itself, so that
// its subkeys then open by their key files alone.
std::vector<std::string> ListSubkeys(const KELInsRegKeyName& iName, const KELInsRegKey* iKey) {
  try {
    return SortedSubkeys(iKey, iName.m_Hive);
  } catch (const std::exception& l_Error) {
    Throw(iName, l_Error, "cannot list the subkeys");
  }
}

// Reads the key ioName (open in iKey; null for a hive root) and below it, handing each key to
// ioVisitor. ioName is as it was on return.
void Visit(KELInsRegVisitor& ioVisitor, KELInsRegKeyName& ioName, const KELInsRegKey* iKey, size_t iLevel) {
  std::vector<KELInsRegValue> l_Values;
  if (iKey) {
    KELInsRegCheckSound(*iKey, ioName);
    l_Values = KELInsRegReadValues(*iKey, ioName);
  }
  const std::vector<std::string> l_Names = ListSubkeys(ioName, iKey);
  ioVisitor.Enter(ioName, iLevel, l_Values);
  // The subkeys' names are this one's with a component more, for the time each is read.
  for (const std::string& l_Name : l_Names) {
    ioName.m_Components.push_back(l_Name);
    KELInsRegKey l_Key;
    try {
      l_Key = iKey ? H::OpenKey(*iKey, l_Name, H::ReadOnly) : H::OpenKey(ioName.m_Hive, l_Name, H::ReadOnly);
    } catch (const std::exception& l_Error) {
      Throw(ioName, l_Error, "cannot open the key");
    }
    Visit(ioVisitor, ioName, &l_Key, iLevel + 1);
    ioName.m_Components.pop_back();
  }
  ioVisitor.Leave(iLevel);
}

// Keeps what a walk hands over as a tree.
class TreeBuilder final : public KELInsRegVisitor {
 public:
  explicit TreeBuilder(KELInsRegTree& oTree) : m_Path{&oTree} {}
  void Enter(const KELInsRegKeyName& iName, size_t iLevel,
             const std::vector<KELInsRegValue>& iValues) override {
    m_Path.resize(iLevel + 1);
    if (iLevel > 0) {
      std::vector<KELInsRegSubkey>& l_Subkeys = m_Path[iLevel - 1]->m_Subkeys;
      l_Subkeys.push_back({iName.m_Components.back(), KELInsRegTree()});
      m_Path[iLevel] = &l_Subkeys.back().m_Tree;
    }
    m_Path[iLevel]->m_Values = iValues;
  }
  void Leave(size_t) override {}

 private:
  std::vector<KELInsRegTree*> m_Path;  // the trees of the key entered last and of its parents
};

}  // namespace

const char* KELInsRegTypeName(uint32_t iType) {
  static const char* const k_Names[] = {"", "REG_DWORD", "REG_QWORD", "REG_SZ", "REG_MULTI_SZ"};
  return iType <= H::TypeMultiString ? k_Names[iType] : "";
}

void KELInsRegAppendData(std::string& ioOut, const KELInsRegValue& iValue, const char* iBetweenItems) {
  if (iValue.m_Type == H::TypeDWORD || iValue.m_Type == H::TypeQWORD) {
    ioOut += std::to_string(iValue.m_Number);
    return;
  }
  for (size_t l_At = 0; l_At < iValue.m_Strings.size(); ++l_At) {
    if (l_At) ioOut += iBetweenItems;
    ioOut += KELInsRegEscapeControls(iValue.m_Strings[l_At]);
  }
}

void KELInsRegAppendValueLine(std::string& ioOut, const KELInsRegValue& iValue) {
  ioOut += KELInsRegEscapeControls(iValue.m_Name) + "    " + KELInsRegTypeName(iValue.m_Type) + "    ";
  KELInsRegAppendData(ioOut, iValue, "\\0");
}

std::string KELInsRegDescribe(const std::string& iKey, const std::exception& iError, const char* iFallback) {
  std::string l_Reason;
  if (const auto* l_Registry = dynamic_cast<const KELInsRegKeyError*>(&iError))
    l_Reason = l_Registry->Reason();
  return iKey + ": " + (l_Reason.empty() ? iFallback : l_Reason);
}

std::vector<KELInsRegValue> KELInsRegReadValues(const KELInsRegKey& iKey, const KELInsRegKeyName& iName) {
  std::vector<std::string> l_Stored;
  iKey.GetValues(l_Stored);
  std::vector<KELInsRegValue> l_Values;
  l_Values.reserve(l_Stored.size());
  for (const std::string& l_Name : l_Stored) {
    try {
      l_Values.push_back(KELInsRegReadValue(iKey, l_Name));
    } catch (const std::exception&) {
      throw KELInsRegTreeError{iName.Full() + ": value '" + KELInsRegShow(l_Name) +
                               "' is not a valid registry value"};
    }
  }
  return l_Values;
}

std::string KELInsRegFindValue(const KELInsRegKey& iKey, const std::string& iName, bool& oFound) {
  std::vector<std::string> l_Stored;
  iKey.GetValues(l_Stored);
  for (const std::string& l_Name : l_Stored)
    if (KELInsRegShow(l_Name) == iName) {
      oFound = true;
      return l_Name;
    }
  oFound = false;
  return KELInsRegStore(iName);
}

namespace {

KELInsRegKey OpenToRead(const KELInsRegKeyName& iName) {
  try {
    return H::OpenKey(iName.m_Hive, iName.Path(), H::ReadOnly);
  } catch (const std::exception& l_Error) {
    Throw(iName, l_Error, "no such key");
  }
}

}  // namespace

void KELInsRegWalkTree(const KELInsRegKeyName& iName, KELInsRegVisitor& ioVisitor) {
  KELInsRegKeyName l_Name = iName;
  if (iName.IsHiveRoot()) {
    Visit(ioVisitor, l_Name, nullptr, 0);
    return;
  }
  KELInsRegKey l_Key = OpenToRead(iName);
  Visit(ioVisitor, l_Name, &l_Key, 0);
}

KELInsRegTree KELInsRegReadTree(const KELInsRegKeyName& iName, bool iRecurse) {
  KELInsRegTree l_Tree;
  if (iRecurse) {
    TreeBuilder l_Builder(l_Tree);
    KELInsRegWalkTree(iName, l_Builder);
    return l_Tree;
  }
  KELInsRegKey l_Key;
  if (!iName.IsHiveRoot()) {
    l_Key = OpenToRead(iName);
    KELInsRegCheckSound(l_Key, iName);
    l_Tree.m_Values = KELInsRegReadValues(l_Key, iName);
  }
  for (std::string& l_Name : ListSubkeys(iName, l_Key.IsOpen() ? &l_Key : nullptr))
    l_Tree.m_Subkeys.push_back({std::move(l_Name), KELInsRegTree()});
  return l_Tree;
}

void KELInsRegSetValues(KELInsRegKey& ioKey, const std::vector<KELInsRegValue>& iValues) {
  for (const KELInsRegValue& l_Value : iValues) {
    std::string l_Name = KELInsRegStore(l_Value.m_Name);
    switch (l_Value.m_Type) {
      case H::TypeDWORD:
        ioKey.SetDWORDValue(l_Name, static_cast<uint32_t>(l_Value.m_Number));
        break;
      case H::TypeQWORD:
        ioKey.SetQWORDValue(l_Name, l_Value.m_Number);
        break;
      case H::TypeString:
        ioKey.SetValue(l_Name, KELInsRegStore(l_Value.m_Strings.at(0)));
        break;
      default: {
        std::vector<std::string> l_Items;
        l_Items.reserve(l_Value.m_Strings.size());
        for (const std::string& l_Item : l_Value.m_Strings) l_Items.push_back(KELInsRegStore(l_Item));
        ioKey.SetMultiStringValue(l_Name, l_Items);
        break;
      }
    }
  }
}

void KELInsRegCheckSound(const KELInsRegKey& iKey, const KELInsRegKeyName& iName) {
  std::string l_Damage = iKey.Damage();
  if (!l_Damage.empty()) throw KELInsRegTreeError{iName.Full() + ": " + iKey.FilePath() + ": " + l_Damage};
}

namespace {

void WriteInto(KELInsRegChange& ioChange, const KELInsRegKeyName& iName, const KELInsRegTree& iTree) {
  if (!iName.IsHiveRoot()) {
    try {
      KELInsRegSetValues(*ioChange.OpenKey(iName.Path(), true), iTree.m_Values);
    } catch (const std::exception& l_Error) {
      throw KELInsRegTreeError{KELInsRegDescribe(iName.Full(), l_Error, "cannot write the key")};
    }
  } else if (!iTree.m_Values.empty()) {
    throw KELInsRegTreeError{iName.Full() + ": a hive root holds no values"};
  }
  for (const auto& [l_Name, l_Tree] : iTree.m_Subkeys) WriteInto(ioChange, iName.Child(l_Name), l_Tree);
}

}  // namespace

void KELInsRegWriteTree(const KELInsRegKeyName& iName, const KELInsRegTree& iTree) {
  KELInsRegChange l_Change = KELInsRegBeginChange(iName);
  WriteInto(l_Change, iName, iTree);
  KELInsRegCommitChange(l_Change, iName);
}

KELInsRegChange KELInsRegBeginChange(const KELInsRegKeyName& iName) {
  try {
    return KELInsRegChange(iName.m_Hive);
  } catch (const std::exception& l_Error) {
    throw KELInsRegTreeError{KELInsRegDescribe(iName.Full(), l_Error, "cannot begin the change")};
  }
}

void KELInsRegCommitChange(KELInsRegChange& ioChange, const KELInsRegKeyName& iName) {
  try {
    ioChange.Commit();
  } catch (const std::exception& l_Error) {
    throw KELInsRegTreeError{KELInsRegDescribe(iName.Full(), l_Error, "cannot write the key")};
  }
}
