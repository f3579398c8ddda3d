// The values of an open key: queries, setters, removal and listing. Changes stay in memory until
// the key is closed.
#include <optional>
#include <string_view>

#include "KELSysJSON.h"
#include "KELSysRegKey.h"
#include "KELSysRegPlainValues.h"
#include "KELSysTrace.h"

namespace {

std::string_view Utf8(const MORUnicodeString& iText) {
  size_t l_Length = 0;
  const char* l_Bytes = iText.ConvertToUTF8(&l_Length);
  return std::string_view(l_Bytes, l_Length);
}

bool IsType(const KELSysJSONValue& iValue, uint32_t iType) {
  if (iValue.GetType() == KELSysJSONTypeInteger) return iValue.GetInteger() == int64_t(iType);
  return iValue.GetType() == KELSysJSONTypeDouble && iValue.GetDouble() == double(iType);
}

// Hands out a number found by FindData (iRc being its result).
template <class Number>
KELSysResult TakeInteger(const KELSysJSONValue* iData, KELSysResult iRc, Number& oValue) {
  if (iData == nullptr) return iRc;
  if (iData->GetType() != KELSysJSONTypeInteger) return KEL_E_FAIL;
  oValue = Number(iData->GetInteger());  // the stored 64 bits, cut to the width asked for
  return iRc;
}

KELSysJSONValue MakeString(const MORUnicodeString& iText) {
  KELSysJSONValue l_Value;
  l_Value.SetString(Utf8(iText));
  return l_Value;
}

}  // namespace

KELSysResult KELSysRegKey::FindData(const MORUnicodeString& iValueName, uint32_t iType,
                                    const KELSysJSONValue*& oData) {
  return FindData(Utf8(iValueName), iType, oData);
}

KELSysResult KELSysRegKey::FindData(std::string_view iValueName, uint32_t iType,
                                    const KELSysJSONValue*& oData) {
  oData = nullptr;
  if (!m_Values) return KEL_S_OK;
  MakeValues();
  std::string_view l_Name = iValueName;
  const KELSysJSONValue* l_Value = m_Values->Find(l_Name);
  if (l_Value == nullptr) {
    if (m_Trace)
      m_Trace->Print(KELSysTraceDebug, "  QueryValue KO iValueName: %.*s\n", int(l_Name.size()),
                     l_Name.data());
    return KEL_E_FAIL;
  }
  if (m_Trace)
    m_Trace->Print(KELSysTraceDebug, "  QueryValue OK iValueName: %.*s\n", int(l_Name.size()), l_Name.data());
  if (l_Value->GetType() != KELSysJSONTypeArray) return KEL_E_FAIL;
  const KELSysJSONArray& l_Pair = l_Value->GetArray();
  if (l_Pair.GetSize() == 0) return KEL_S_OK;
  if (!IsType(*l_Pair.GetAt(0), iType)) return KEL_E_FAIL;
  oData = l_Pair.GetAt(1);
  // A third element spoils the value; the caller still hands out the data before failing.
  return l_Pair.GetSize() > 2 ? KEL_E_FAIL : KEL_S_OK;
}

KELSysResult KELSysRegKey::QueryDWORDValue(const MORUnicodeString& iValueName, uint32_t& oValue) {
  const KELSysJSONValue* l_Data;
  KELSysResult l_Rc = FindData(iValueName, KELSysRegTypeDWORD, l_Data);
  return TakeInteger(l_Data, l_Rc, oValue);
}

KELSysResult KELSysRegKey::QueryQWORDValue(const MORUnicodeString& iValueName, uint64_t& oValue) {
  const KELSysJSONValue* l_Data;
  KELSysResult l_Rc = FindData(iValueName, KELSysRegTypeQWORD, l_Data);
  return TakeInteger(l_Data, l_Rc, oValue);
}

KELSysResult KELSysRegKey::QueryStringValue(const MORUnicodeString& iValueName, MORUnicodeString& oValue) {
  if (!m_Plain.empty() && !m_Trace) {
    std::optional<std::string_view> l_Text;
    const KELSysResult l_Rc = KELSysRegPlainString(m_Plain, Utf8(iValueName), l_Text);
    if (l_Text) oValue.BuildFromUTF8(l_Text->data(), l_Text->size());
    return l_Rc;
  }
  const KELSysJSONValue* l_Data;
  KELSysResult l_Rc = FindData(iValueName, KELSysRegTypeString, l_Data);
  if (l_Data == nullptr) return l_Rc;
  if (l_Data->GetType() != KELSysJSONTypeString) return KEL_E_FAIL;
  const std::string_view l_Text = l_Data->GetString();
  oValue.BuildFromUTF8(l_Text.data(), l_Text.size());
  return l_Rc;
}

KELSysResult KELSysRegKey::QueryStringValueUTF8(std::string_view iValueName, std::string& oValue) {
  if (!m_Plain.empty() && !m_Trace) {
    std::optional<std::string_view> l_Text;
    const KELSysResult l_Rc = KELSysRegPlainString(m_Plain, iValueName, l_Text);
    if (l_Text) oValue.assign(*l_Text);
    return l_Rc;
  }
  const KELSysJSONValue* l_Data;
  KELSysResult l_Rc = FindData(iValueName, KELSysRegTypeString, l_Data);
  if (l_Data == nullptr) return l_Rc;
  if (l_Data->GetType() != KELSysJSONTypeString) return KEL_E_FAIL;
  oValue.assign(l_Data->GetString());
  return l_Rc;
}

KELSysResult KELSysRegKey::QueryMultiStringValue(const MORUnicodeString& iValueName,
                                                 std::vector<MORUnicodeString>& oValues) {
  const KELSysJSONValue* l_Data;
  KELSysResult l_Rc = FindData(iValueName, KELSysRegTypeMultiString, l_Data);
  if (l_Data == nullptr) return l_Rc;
  if (l_Data->GetType() != KELSysJSONTypeArray) return KEL_E_FAIL;
  for (const KELSysJSONValue& l_Item : l_Data->GetArray()) {
    if (l_Item.GetType() != KELSysJSONTypeString) return KEL_E_FAIL;
    oValues.push_back(MORUnicodeString::FromUTF8(l_Item.GetString().data(), l_Item.GetString().size()));
  }
  return l_Rc;
}

KELSysResult KELSysRegKey::QueryValueType(const MORUnicodeString& iValueName, uint32_t& oType) {
  if (!m_Values) return KEL_S_OK;
  MakeValues();
  const KELSysJSONValue* l_Value = m_Values->Find(Utf8(iValueName));
  if (l_Value == nullptr || l_Value->GetType() != KELSysJSONTypeArray) return KEL_E_FAIL;
  const KELSysJSONArray& l_Pair = l_Value->GetArray();
  if (l_Pair.GetSize() != 2) return KEL_E_FAIL;
  const KELSysJSONValue& l_Data = *l_Pair.GetAt(1);
  bool l_Strings = l_Data.GetType() == KELSysJSONTypeArray;
  if (l_Strings)
    for (const KELSysJSONValue& l_Item : l_Data.GetArray())
      l_Strings &= l_Item.GetType() == KELSysJSONTypeString;
  // Each type with the data its query accepts.
  const bool l_Fits[] = {l_Data.GetType() == KELSysJSONTypeInteger, l_Data.GetType() == KELSysJSONTypeInteger,
                         l_Data.GetType() == KELSysJSONTypeString, l_Strings};
  for (uint32_t l_Type = KELSysRegTypeDWORD; l_Type <= KELSysRegTypeMultiString; ++l_Type)
    if (IsType(*l_Pair.GetAt(0), l_Type) && l_Fits[l_Type - 1]) {
      oType = l_Type;
      return KEL_S_OK;
    }
  return KEL_E_FAIL;
}

KELSysResult KELSysRegKey::SetValue(const MORUnicodeString& iValueName, uint32_t iType,
                                    KELSysJSONValue&& iData) {
  if (CheckWriteAccess() != KEL_S_OK) return KEL_E_ACCESSDENIED;
  KELSysJSONValue l_Type, l_Value;
  l_Type.SetInteger(int64_t(iType));
  KELSysJSONArray l_Pair;
  if (l_Pair.Append(std::move(l_Type)) != KEL_S_OK || l_Pair.Append(std::move(iData)) != KEL_S_OK ||
      l_Value.SetArray(std::move(l_Pair)) != KEL_S_OK)
    return KEL_E_OUTOFMEMORY;
  std::string_view l_Name = Utf8(iValueName);
  // Every member of that name goes, so that a query finds the new value even in a file that held
  // the name twice.
  while (m_Values->Remove(l_Name)) {
  }
  m_Changed = true;
  return m_Values->AddPair(l_Name, std::move(l_Value));
}

KELSysResult KELSysRegKey::SetDWORDValue(const MORUnicodeString& iValueName, uint32_t iValue) {
  KELSysJSONValue l_Data;
  l_Data.SetInteger(int64_t(iValue));
  return SetValue(iValueName, KELSysRegTypeDWORD, std::move(l_Data));
}

KELSysResult KELSysRegKey::SetQWORDValue(const MORUnicodeString& iValueName, uint64_t iValue) {
  // Kept as the signed 64-bit integer with the same bits; reading it back restores the value.
  KELSysJSONValue l_Data;
  l_Data.SetInteger(int64_t(iValue));
  return SetValue(iValueName, KELSysRegTypeQWORD, std::move(l_Data));
}

KELSysResult KELSysRegKey::SetStringValue(const MORUnicodeString& iValueName,
                                          const MORUnicodeString& iValue) {
  return SetValue(iValueName, KELSysRegTypeString, MakeString(iValue));
}

KELSysResult KELSysRegKey::SetMultiStringValue(const MORUnicodeString& iValueName,
                                               const std::vector<MORUnicodeString>& iValues) {
  KELSysJSONArray l_List;
  for (const MORUnicodeString& l_Text : iValues)
    if (l_List.Append(MakeString(l_Text)) != KEL_S_OK) return KEL_E_OUTOFMEMORY;
  KELSysJSONValue l_Data;
  if (l_Data.SetArray(std::move(l_List)) != KEL_S_OK) return KEL_E_OUTOFMEMORY;
  return SetValue(iValueName, KELSysRegTypeMultiString, std::move(l_Data));
}

KELSysResult KELSysRegKey::DeleteValue(const MORUnicodeString& iValueName) {
  if (CheckWriteAccess() != KEL_S_OK) return KEL_E_ACCESSDENIED;
  if (!m_Values) return KEL_S_OK;
  std::string_view l_Name = Utf8(iValueName);
  while (m_Values->Remove(l_Name)) m_Changed = true;
  return KEL_S_OK;
}

KELSysResult KELSysRegKey::EnumValues(std::vector<MORUnicodeString>& oNames) {
  if (!m_Values) return KEL_S_OK;
  MakeValues();
  for (const KELSysJSONPair& l_Pair : *m_Values)
    oNames.push_back(MORUnicodeString::FromUTF8(l_Pair.GetKey().data(), l_Pair.GetKey().size()));
  return KEL_S_OK;
}
