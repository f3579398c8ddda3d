#include "KELInsRegKey.h"

#include <algorithm>
#include <array>
#include <concepts>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "KELInsRegHive.h"
#include "KELSysJSON.h"
#include "KELSysRegKey.h"
#include "KELSysRegRoot.h"
#include "MORFileLockBytes.h"
#include "MORUnicodeString.h"

namespace {

uint32_t Access(int32_t iWritable) {
  return iWritable == KELInsRegKey::ReadWrite ? KELSysRegAccessReadWrite : KELSysRegAccessRead;
}

[[noreturn]] void Fail(const char* iOperation, const std::string& iObject) {
  throw std::runtime_error(std::string(iOperation) + " - " + iObject);
}

// The framework's codes are compared as the 32-bit values they are: only success passes.
void Check(KELSysResult iResult, const char* iOperation, const std::string& iObject) {
  if (iResult != KEL_S_OK) throw KELInsRegKeyError(std::string(iOperation) + " - " + iObject, iResult);
}

// The same where the object's text takes some making: it is made on failure only.
template <std::invocable Describe>
void Check(KELSysResult iResult, const char* iOperation, Describe&& iDescribe) {
  if (iResult != KEL_S_OK) Check(iResult, iOperation, std::string(iDescribe()));
}

std::string ToBytes(const MORUnicodeString& iText) {
  size_t l_Length = 0;
  const char* l_Bytes = iText.ConvertToMBCS(&l_Length);
  return std::string(l_Bytes, l_Length);
}

MORUnicodeString ToUnicode(const std::string& iText) { return MORUnicodeString(iText.data(), iText.size()); }

bool IsASCII(const std::string& iText) {
  return std::all_of(iText.begin(), iText.end(), [](char iByte) { return (iByte & 0x80) == 0; });
}

// A value name as the framework takes it. A walk asks for the same few names ("Path", "SPlevel")
// in every key, so the last few ASCII ones are kept converted, together with the narrow text the
// registry makes of them for its lookups. ASCII converts alike under every code set, so a kept
// name never goes stale; other names are converted on each call, into oScratch.
const MORUnicodeString& ValueName(const std::string& iName, MORUnicodeString& oScratch) {
  struct Kept {
    std::string m_Bytes;
    MORUnicodeString m_Text;
  };
  constexpr size_t k_Kept = 4;
  thread_local std::array<Kept, k_Kept> t_Kept;
  thread_local size_t t_Next = 0;
  for (const Kept& l_Kept : t_Kept)
    if (!l_Kept.m_Text.IsEmpty() && l_Kept.m_Bytes == iName) return l_Kept.m_Text;
  oScratch = ToUnicode(iName);
  if (iName.empty() || !IsASCII(iName)) return oScratch;
  Kept& l_New = t_Kept[t_Next++ % k_Kept];
  l_New.m_Bytes = iName;
  l_New.m_Text = std::move(oScratch);
  return l_New.m_Text;
}

void ToByteList(const std::vector<MORUnicodeString>& iNames, std::vector<std::string>& oNames) {
  oNames.reserve(iNames.size());
  for (const MORUnicodeString& l_Name : iNames) oNames.push_back(ToBytes(l_Name));
}

// The typed number reads and writes, one framework query or setter each.
template <class Number>
Number GetNumber(KELSysRegKey& ioKey, const std::string& iName,
                 KELSysResult (KELSysRegKey::*iQuery)(const MORUnicodeString&, Number&)) {
  Number l_Value = 0;
  MORUnicodeString l_Scratch;
  Check((ioKey.*iQuery)(ValueName(iName, l_Scratch), l_Value), "GetValue", iName);
  return l_Value;
}

template <class Number>
void SetNumber(KELSysRegKey& ioKey, const std::string& iName, Number iValue,
               KELSysResult (KELSysRegKey::*iSet)(const MORUnicodeString&, Number)) {
  MORUnicodeString l_Scratch;
  Check((ioKey.*iSet)(ValueName(iName, l_Scratch), iValue), "SetValue",
        [&] { return iName + ", " + std::to_string(iValue); });
}

// Runs an open or create on a new framework key, which is dropped again unless it succeeded.
template <class F>
std::unique_ptr<KELSysRegKey> Make(F&& iOpen, const char* iOperation, const std::string& iPath) {
  auto l_Key = std::make_unique<KELSysRegKey>();
  Check(iOpen(*l_Key, ToUnicode(iPath)), iOperation, iPath);
  return l_Key;
}

}  // namespace

std::string KELInsRegKeyError::Reason() const {
  if (!m_Reason.empty()) return m_Reason;
  uint32_t l_Bits = static_cast<uint32_t>(m_Result);
  // Failed system calls come as 0x8007 and their errno; the registry's own refusals have no reason.
  if ((l_Bits & 0xFFFF0000u) != 0x80070000u || m_Result == KEL_E_INVALIDARG) return "";
  // The registry refuses a change with the code that a failed system call gives for EIO (5): from an
  // operation that only makes system calls, that code is the input/output error.
  if (m_Result == KEL_E_ACCESSDENIED) {
    const std::string_view l_What = what();
    for (const char* l_Operation : {"OpenKey - ", "CreateKey - ", "GetSubkeys - ", "CloseKey - "})
      if (l_What.starts_with(l_Operation)) return std::strerror(EIO);
    return std::strerror(EACCES);
  }
  if (m_Result == KEL_E_TIMEOUT) return "the key stayed locked by another process";
  return std::strerror(int(l_Bits & 0xFFFFu));
}

KELInsRegKey::KELInsRegKey() noexcept = default;
KELInsRegKey::~KELInsRegKey() {
  if (m_Borrowed) (void)m_Key.release();
}
KELInsRegKey::KELInsRegKey(KELInsRegKey&& ioOther) noexcept
    : m_Key(std::move(ioOther.m_Key)), m_Borrowed(std::exchange(ioOther.m_Borrowed, false)) {}
KELInsRegKey& KELInsRegKey::operator=(KELInsRegKey&& ioOther) noexcept {
  if (this != &ioOther) {
    if (m_Borrowed) (void)m_Key.release();
    m_Key = std::move(ioOther.m_Key);
    m_Borrowed = std::exchange(ioOther.m_Borrowed, false);
  }
  return *this;
}
KELInsRegKey::KELInsRegKey(std::unique_ptr<KELSysRegKey> iKey) noexcept : m_Key(std::move(iKey)) {}
KELInsRegKey KELInsRegKey::Borrow(KELSysRegKey& iKey) noexcept {
  KELInsRegKey l_Handle{std::unique_ptr<KELSysRegKey>(&iKey)};
  l_Handle.m_Borrowed = true;
  return l_Handle;
}

std::string KELInsRegKey::Damage() const { return Key().GetDamage(); }
std::string KELInsRegKey::FilePath() const { return Key().GetFilePath(); }

KELSysRegKey& KELInsRegKey::Key() const {
  if (!m_Key) throw std::runtime_error("Null pointer");
  return *m_Key;
}

void KELInsRegKey::SetRegistryRoot(const std::string& iRoot) { KELSysRegSetRegistryRoot(iRoot.c_str()); }

void KELInsRegKey::Close() {
  if (!m_Key) return;
  if (m_Borrowed) {
    (void)m_Key.release();
    m_Borrowed = false;
    return;
  }
  std::unique_ptr<KELSysRegKey> l_Key = std::move(m_Key);
  // The path is named only when the close fails, after which the key no longer has it.
  std::string l_File = l_Key->GetFilePath();
  Check(l_Key->CloseKey(), "CloseKey", [&] {
    MORUnicodeString l_Path;
    if (!l_File.empty()) l_Path.BuildFromMBCS(l_File.c_str(), l_File.size());
    return ToBytes(l_Path);
  });
}

KELInsRegKey KELInsRegKey::CreateKey(int32_t iHive, const std::string& iPath) {
  return KELInsRegKey(Make(
      [&](KELSysRegKey& ioKey, const MORUnicodeString& iName) {
        return ioKey.CreateKey(KELInsRegHiveId(iHive), iName, KELSysRegAccessReadWrite);
      },
      "CreateKey", iPath));
}

KELInsRegKey KELInsRegKey::CreateKey(const KELInsRegKey& iParent, const std::string& iPath) {
  const KELSysRegKey& l_Parent = iParent.Key();
  return KELInsRegKey(Make(
      [&](KELSysRegKey& ioKey, const MORUnicodeString& iName) {
        return ioKey.CreateKey(l_Parent, iName, KELSysRegAccessReadWrite);
      },
      "CreateKey", iPath));
}

KELInsRegKey KELInsRegKey::OpenKey(int32_t iHive, const std::string& iPath, int32_t iWritable) {
  return KELInsRegKey(Make(
      [&](KELSysRegKey& ioKey, const MORUnicodeString& iName) {
        return ioKey.OpenKey(KELInsRegHiveId(iHive), iName, Access(iWritable));
      },
      "OpenKey", iPath));
}

KELInsRegKey KELInsRegKey::OpenKey(const KELInsRegKey& iParent, const std::string& iPath, int32_t iWritable) {
  const KELSysRegKey& l_Parent = iParent.Key();
  if (IsASCII(iPath)) {
    // ASCII is the same text in every code set: it goes to the registry as it is.
    auto l_Key = std::make_unique<KELSysRegKey>();
    Check(l_Key->OpenKeyMBCS(l_Parent, iPath, Access(iWritable)), "OpenKey", iPath);
    return KELInsRegKey(std::move(l_Key));
  }
  return KELInsRegKey(
      Make([&](KELSysRegKey& ioKey,
               const MORUnicodeString& iName) { return ioKey.OpenKey(l_Parent, iName, Access(iWritable)); },
           "OpenKey", iPath));
}

void KELInsRegKey::DeleteKey(const std::string& iName) {
  Check(Key().DeleteSubKey(ToUnicode(iName)), "DeleteKey", iName);
}

void KELInsRegKey::DeleteKeyTree(const std::string& iName) {
  Check(Key().RecurseDeleteKey(ToUnicode(iName)), "DeleteKeyTree", iName);
}

void KELInsRegKey::DeleteValue(const std::string& iName) {
  MORUnicodeString l_Scratch;
  Check(Key().DeleteValue(ValueName(iName, l_Scratch)), "DeleteValue", iName);
}

void KELInsRegKey::GetValue(const std::string& iName, int32_t& oValue) const {
  KELSysRegKey& l_Key = Key();
  // The caller's variable receives whatever the registry left in the result, before the code is
  // looked at: a malformed value is written and still reported as a failure.
  uint32_t l_Value = static_cast<uint32_t>(oValue);
  MORUnicodeString l_Scratch;
  KELSysResult l_Result = l_Key.QueryDWORDValue(ValueName(iName, l_Scratch), l_Value);
  oValue = static_cast<int32_t>(l_Value);
  Check(l_Result, "GetValue", iName);
}

void KELInsRegKey::GetValue(const std::string& iName, std::string& oValue) const {
  if (!TryGetValue(iName, oValue)) Fail("GetValue", iName);
}

bool KELInsRegKey::TryGetValue(const std::string& iName, std::string& oValue) const {
  KELSysRegKey& l_Key = Key();
  if (IsASCII(iName)) {
    // An ASCII name is its own UTF-8, and ASCII data its own text in the process code set; other
    // data is converted as below.
    thread_local std::string t_Data;
    if (l_Key.QueryStringValueUTF8(iName, t_Data) != KEL_S_OK) return false;
    if (IsASCII(t_Data)) {
      oValue.assign(t_Data);
    } else {
      MORUnicodeString l_Value = MORUnicodeString::FromUTF8(t_Data.data(), t_Data.size());
      oValue = ToBytes(l_Value);
    }
    return true;
  }
  MORUnicodeString l_Scratch, l_Value;
  if (l_Key.QueryStringValue(ValueName(iName, l_Scratch), l_Value) != KEL_S_OK) return false;
  size_t l_Length = 0;
  const char* l_Bytes = l_Value.ConvertToMBCS(&l_Length);
  oValue.assign(l_Bytes, l_Length);
  return true;
}

void KELInsRegKey::SetValue(const std::string& iName, const std::string& iValue) {
  MORUnicodeString l_Scratch;
  Check(Key().SetStringValue(ValueName(iName, l_Scratch), ToUnicode(iValue)), "SetValue",
        [&] { return iName + ", " + iValue; });
}

void KELInsRegKey::SetValue(const std::string& iName, int32_t iValue) {
  MORUnicodeString l_Scratch;
  Check(Key().SetDWORDValue(ValueName(iName, l_Scratch), static_cast<uint32_t>(iValue)), "SetValue",
        [&] { return iName + ", " + std::to_string(iValue); });
}

uint64_t KELInsRegKey::MaxKeyFileSize() { return MORFileLockBytesMaxSize; }

// The whole key file, for a key of a one-letter name: a longer name adds to the budget at least what
// it adds to the cost, so a text read with this name is read with any.
bool KELInsRegKey::IsReadable(std::string_view iValues) {
  std::string l_Text = "{\"Version\":\"1.0\",\"K\":{";
  l_Text.append(iValues);
  l_Text += "}}";
  KELSysJSON l_Scale;
  return l_Scale.Weigh(l_Text.data(), l_Text.size(), size_t(MORFileLockBytesReadBudget(l_Text.size()))) !=
         KEL_E_OUTOFMEMORY;
}

uint32_t KELInsRegKey::GetValueType(const std::string& iName) const {
  KELSysRegKey& l_Key = Key();
  uint32_t l_Type = 0;
  MORUnicodeString l_Scratch;
  Check(l_Key.QueryValueType(ValueName(iName, l_Scratch), l_Type), "GetValue", iName);
  return l_Type;
}

uint32_t KELInsRegKey::GetDWORDValue(const std::string& iName) const {
  return GetNumber(Key(), iName, &KELSysRegKey::QueryDWORDValue);
}

uint64_t KELInsRegKey::GetQWORDValue(const std::string& iName) const {
  return GetNumber(Key(), iName, &KELSysRegKey::QueryQWORDValue);
}

std::vector<std::string> KELInsRegKey::GetMultiStringValue(const std::string& iName) const {
  KELSysRegKey& l_Key = Key();
  std::vector<MORUnicodeString> l_Items;
  MORUnicodeString l_Scratch;
  Check(l_Key.QueryMultiStringValue(ValueName(iName, l_Scratch), l_Items), "GetValue", iName);
  std::vector<std::string> l_Value;
  ToByteList(l_Items, l_Value);
  return l_Value;
}

void KELInsRegKey::SetDWORDValue(const std::string& iName, uint32_t iValue) {
  SetNumber(Key(), iName, iValue, &KELSysRegKey::SetDWORDValue);
}

void KELInsRegKey::SetQWORDValue(const std::string& iName, uint64_t iValue) {
  SetNumber(Key(), iName, iValue, &KELSysRegKey::SetQWORDValue);
}

void KELInsRegKey::SetMultiStringValue(const std::string& iName, const std::vector<std::string>& iValue) {
  KELSysRegKey& l_Key = Key();
  std::vector<MORUnicodeString> l_Items;
  std::string l_Shown;
  l_Items.reserve(iValue.size());
  for (const std::string& l_Item : iValue) {
    if (!l_Items.empty()) l_Shown += ',';
    l_Shown += l_Item;
    l_Items.push_back(ToUnicode(l_Item));
  }
  MORUnicodeString l_Scratch;
  Check(l_Key.SetMultiStringValue(ValueName(iName, l_Scratch), l_Items), "SetValue", iName + ", " + l_Shown);
}

namespace {

// Subkey names as the file system gives them; those that are not ASCII are read in the process code
// set, as any other text is.
void ToProcessCodeSet(std::vector<std::string>& ioNames) {
  for (std::string& l_Name : ioNames)
    if (!IsASCII(l_Name)) l_Name = ToBytes(ToUnicode(l_Name));
}

}  // namespace

void KELInsRegKey::GetSubkeys(std::vector<std::string>& oNames) const {
  KELSysRegKey& l_Key = Key();
  oNames.clear();
  Check(l_Key.EnumKeysMBCS(oNames), "GetSubkeys", "");
  ToProcessCodeSet(oNames);
}

void KELInsRegKey::GetSubkeys(int32_t iHive, std::vector<std::string>& oNames) {
  oNames.clear();
  std::vector<MORUnicodeString> l_Names;
  Check(KELSysRegListHive(KELInsRegHiveId(iHive), l_Names), "GetSubkeys", std::to_string(iHive));
  ToByteList(l_Names, oNames);
}

void KELInsRegKey::GetValues(std::vector<std::string>& oNames) const {
  KELSysRegKey& l_Key = Key();
  oNames.clear();
  std::vector<MORUnicodeString> l_Names;
  Check(l_Key.EnumValues(l_Names), "GetValues", "");
  ToByteList(l_Names, oNames);
}

void KELInsRegKey::GetValue(int32_t iHive, const std::string& iPath, const std::string& iName,
                            int32_t& oValue) {
  OpenKey(iHive, iPath, ReadOnly).GetValue(iName, oValue);
}

void KELInsRegKey::GetValue(int32_t iHive, const std::string& iPath, const std::string& iName,
                            std::string& oValue) {
  OpenKey(iHive, iPath, ReadOnly).GetValue(iName, oValue);
}

void KELInsRegKey::GetValue(const std::string& iSubkey, const std::string& iName, int32_t& oValue) const {
  OpenKey(*this, iSubkey, ReadOnly).GetValue(iName, oValue);
}

void KELInsRegKey::GetValue(const std::string& iSubkey, const std::string& iName, std::string& oValue) const {
  OpenKey(*this, iSubkey, ReadOnly).GetValue(iName, oValue);
}

void KELInsRegKey::DeleteKeyTree(int32_t iHive, const std::string& iPath) {
  OpenKey(iHive, iPath, ReadWrite).DeleteKeyTree(std::string());
}

void KELInsRegKey::DeleteKey(int32_t iHive, const std::string& iPath) {
  OpenKey(iHive, iPath, ReadWrite).DeleteKey(std::string());
}
