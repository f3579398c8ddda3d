#include "DiscoverInstalls.h"

#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "InstallFilter.h"
#include "KELInsRegKey.h"
#include "KELSysTrace.h"

namespace {

constexpr const char* s_ProductTree = "SOFTWARE\\Quorvane\\Q4";
constexpr const char* s_CommonTree = "SOFTWARE\\Quorvane\\Q4_Common";
constexpr const char* s_NoHotfix = "UNKNOWN";
constexpr const char* s_CommonIdent = "NONE";

using Names = std::vector<std::string>;

// A string value to read and where it goes; the output keeps its value when the read fails.
struct ValueRead {
  const char* m_Name;
  std::string* m_Value;
};

// Every registry call is guarded on its own: a failure reported as a standard exception drops only
// what depends on it. Anything else is not a registry failure and goes on to the caller.
template <class F>
bool Try(F&& iCall) {
  try {
    iCall();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

// Opens oKey on iPath of the local-machine hive and lists its subkeys; no names when either fails.
Names OpenTree(const char* iPath, KELInsRegKey& oKey) {
  Names l_Names;
  if (!Try([&] {
        oKey = KELInsRegKey::OpenKey(KELInsRegKey::HiveLocalMachine, iPath, KELInsRegKey::ReadOnly);
        oKey.GetSubkeys(l_Names);
      }))
    l_Names.clear();
  return l_Names;
}

// Reads string values of an open key. A value that is not there is common (many installations have
// no hotfix level), so it is answered without an exception; the output then keeps its value.
void ReadFrom(const KELInsRegKey& iKey, std::span<const ValueRead> iReads) {
  for (const ValueRead& l_Read : iReads) Try([&] { iKey.TryGetValue(l_Read.m_Name, *l_Read.m_Value); });
}

// Opens oKey on subkey iName of iParent and lists its subkeys; false when either fails.
bool OpenBranch(const KELInsRegKey& iParent, const std::string& iName, KELInsRegKey& oKey, Names& oNames) {
  return Try([&] {
    oKey = KELInsRegKey::OpenKey(iParent, iName, KELInsRegKey::ReadOnly);
    oKey.GetSubkeys(oNames);
  });
}

class Discovery {
 public:
  explicit Discovery(const InstallQuery& iQuery)
      : m_Filter(iQuery),
        m_Traced(KELSysTrace::Find("KELSYSREGKEY") != nullptr || KELSysTrace::Find("KELSysJSON") != nullptr) {
  }

  InstallList Run();

 private:
  void WalkLevel(const KELInsRegKey& iProduct, const std::string& iLevel);
  void WalkType(const KELInsRegKey& iLevelKey, const std::string& iLevel, const std::string& iType);
  void ReadCommon(const KELInsRegKey& iCommon, const std::string& iType);
  // Reads string values of the subkey iSubkey of iParent, as the one-value reads of the key wrapper
  // would.
  void ReadValues(const KELInsRegKey& iParent, const std::string& iSubkey,
                  std::span<const ValueRead> iReads) const;
  void Keep(std::string_view iLevel, std::string_view iType, std::string_view iHfx, std::string_view iIdent,
            std::string_view iPath);

  // Whether the walk goes into the keys of a build level or type. Untraced, keys whose every
  // installation the filter would drop are left unread: nobody can tell.
  bool Visits(bool iAccepted) const { return iAccepted || m_Traced; }

  InstallFilter m_Filter;
  // With the registry's or the JSON parser's trace channel on, every key open, value read and key
  // parse shows in the trace, so the walk then makes each of them as described: every key visited,
  // and one open per value read. Otherwise a single open of a key serves all its values, and keys
  // that cannot pass the filter are skipped: nobody can tell, and it halves the work per
  // installation.
  bool m_Traced;
  InstallList m_List;
};

InstallList Discovery::Run() {
  // Both trees are open and listed before either is walked; neither hides the other.
  KELInsRegKey l_Product;
  KELInsRegKey l_Common;
  const Names l_Levels = OpenTree(s_ProductTree, l_Product);
  const Names l_Types = OpenTree(s_CommonTree, l_Common);
  for (const std::string& l_Level : l_Levels)
    if (Visits(m_Filter.AcceptsLevel(l_Level))) WalkLevel(l_Product, l_Level);
  for (const std::string& l_Type : l_Types)
    if (Visits(m_Filter.AcceptsType(l_Type))) ReadCommon(l_Common, l_Type);
  return std::move(m_List);
}

void Discovery::WalkLevel(const KELInsRegKey& iProduct, const std::string& iLevel) {
  KELInsRegKey l_LevelKey;
  Names l_Types;
  if (!OpenBranch(iProduct, iLevel, l_LevelKey, l_Types)) return;
  for (const std::string& l_Type : l_Types)
    if (Visits(m_Filter.AcceptsType(l_Type))) WalkType(l_LevelKey, iLevel, l_Type);
}

void Discovery::WalkType(const KELInsRegKey& iLevelKey, const std::string& iLevel, const std::string& iType) {
  KELInsRegKey l_TypeKey;
  Names l_Idents;
  if (!OpenBranch(iLevelKey, iType, l_TypeKey, l_Idents)) return;
  for (const std::string& l_Ident : l_Idents) {
    std::string l_Path;
    std::string l_Hfx = s_NoHotfix;
    const ValueRead l_Reads[] = {{"Path", &l_Path}, {"SPlevel", &l_Hfx}};
    ReadValues(l_TypeKey, l_Ident, l_Reads);
    Keep(iLevel, iType, l_Hfx, l_Ident, l_Path);
  }
}

void Discovery::ReadCommon(const KELInsRegKey& iCommon, const std::string& iType) {
  KELInsRegKey l_Key;
  if (!Try([&] { l_Key = KELInsRegKey::OpenKey(iCommon, iType, KELInsRegKey::ReadOnly); })) return;
  std::string l_Level;
  std::string l_Path;
  std::string l_Hfx = s_NoHotfix;
  const ValueRead l_Reads[] = {{"GAlevel", &l_Level}, {"Path", &l_Path}, {"SPlevel", &l_Hfx}};
  if (m_Traced)
    ReadValues(iCommon, iType, l_Reads);
  else
    ReadFrom(l_Key, l_Reads);
  Keep(l_Level, iType, l_Hfx, s_CommonIdent, l_Path);
}

void Discovery::ReadValues(const KELInsRegKey& iParent, const std::string& iSubkey,
                           std::span<const ValueRead> iReads) const {
  if (m_Traced) {
    for (const ValueRead& l_Read : iReads)
      Try([&] { iParent.GetValue(iSubkey, l_Read.m_Name, *l_Read.m_Value); });
    return;
  }
  KELInsRegKey l_Key;
  if (Try([&] { l_Key = KELInsRegKey::OpenKey(iParent, iSubkey, KELInsRegKey::ReadOnly); }))
    ReadFrom(l_Key, iReads);
}

void Discovery::Keep(std::string_view iLevel, std::string_view iType, std::string_view iHfx,
                     std::string_view iIdent, std::string_view iPath) {
  if (!m_Filter.Accepts(iLevel, iType, iHfx)) return;
  m_List.emplace_back(iLevel, iType, iHfx, iIdent, iPath);
}

}  // namespace

InstallList DiscoverInstalls(const InstallQuery& iQuery) { return Discovery(iQuery).Run(); }
