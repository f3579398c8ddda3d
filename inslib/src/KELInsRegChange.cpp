#include "KELInsRegChange.h"

#include "KELInsRegHive.h"
#include "KELSysRegChange.h"
#include "KELSysRegKey.h"
#include "MORUnicodeString.h"

namespace {

MORUnicodeString ToUnicode(const std::string& iText) { return MORUnicodeString(iText.data(), iText.size()); }

}  // namespace

KELInsRegChange::KELInsRegChange(int32_t iHive) : m_Change(std::make_unique<KELSysRegChange>()) {
  if (m_Change->Begin(KELInsRegHiveId(iHive), &m_Recovered) != KEL_S_OK) Throw("Change");
}

KELInsRegChange::~KELInsRegChange() = default;

void KELInsRegChange::Throw(const char* iOperation) {
  throw KELInsRegKeyError(std::string(iOperation) + " - " + m_Change->GetWhy(), KEL_E_FAIL,
                          m_Change->GetWhy());
}

KELInsRegKey* KELInsRegChange::OpenKey(const std::string& iPath, bool iCreate) {
  KELSysRegKey* l_Key = nullptr;
  KELSysResult l_Rc = m_Change->OpenKey(ToUnicode(iPath), iCreate, l_Key);
  if (l_Rc == KEL_E_FAIL && m_Change->GetWhy().empty()) return nullptr;
  if (l_Rc != KEL_S_OK) Throw("OpenKey");
  std::unique_ptr<KELInsRegKey>& l_Handle = m_Handles[l_Key];
  if (!l_Handle) l_Handle = std::make_unique<KELInsRegKey>(KELInsRegKey::Borrow(*l_Key));
  return l_Handle.get();
}

bool KELInsRegChange::RemoveKey(const std::string& iPath, bool iRecursive) {
  KELSysResult l_Rc = m_Change->RemoveKey(ToUnicode(iPath), iRecursive);
  if (l_Rc == KEL_E_FAIL && m_Change->GetWhy().empty()) return false;
  if (l_Rc != KEL_S_OK) Throw("DeleteKey");
  return true;
}

void KELInsRegChange::Commit() {
  m_Handles.clear();
  if (m_Change->Commit() != KEL_S_OK) Throw("Commit");
}

std::string KELInsRegChange::Quarantine(const std::string& iKey) {
  std::string l_Where;
  if (m_Change->Quarantine(iKey, l_Where) != KEL_S_OK) Throw("Quarantine");
  return l_Where;
}

void KELInsRegChange::RemoveLeftover(const std::string& iName) {
  if (m_Change->RemoveLeftover(iName) != KEL_S_OK) Throw("RemoveLeftover");
}

bool KELInsRegChange::FindInterrupted(int32_t iHive, std::string& oJournal, bool& oCommitted) {
  return KELSysRegChange::FindInterrupted(KELInsRegHiveId(iHive), oJournal, oCommitted);
}

bool KELInsRegChange::IsChangeName(const std::string& iName) { return KELSysRegChange::IsChangeName(iName); }

bool KELInsRegChange::HiveFolder(int32_t iHive, std::string& oRoot, std::string& oName) {
  return KELSysRegChange::HiveFolder(KELInsRegHiveId(iHive), oRoot, oName);
}

void KELInsRegChange::SetSyncing(bool iSync) { KELSysRegChange::SetSyncing(iSync); }
