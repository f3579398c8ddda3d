#include "KELSysTraceManager.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "KELSysTraceClock.h"
#include "KELSysTraceObj.h"
#include "KELSysTraceStreamObj.h"
#include "KELSysTraceSystemObj.h"

KELSysTraceManager::KELSysTraceManager(const char* iSpecifications, KELSysTraceEnv iEnv,
                                       std::shared_ptr<const KELSysTraceClock> iClock)
    : m_Places(std::move(iEnv), iClock), m_Clock(std::move(iClock)) {
  if (iSpecifications == nullptr) return;
  AddSpecifications(iSpecifications);
  std::string l_Folder;
  if (m_Places.FindTraceFolder(l_Folder)) LoadOptionFiles(l_Folder);
}

KELSysTraceManager::~KELSysTraceManager() = default;

KELSysTraceManager& KELSysTraceManager::Process() {
  // Built on first use and never destroyed: channels may be found and written from static
  // constructors and destructors of other modules.
  static KELSysTraceManager* s_Manager = new KELSysTraceManager(getenv("KELSysTrace"), nullptr, nullptr);
  return *s_Manager;
}

KELSysTrace* KELSysTraceManager::Find(const char* iName) {
  if (iName == nullptr || !HasChannels()) return nullptr;
  std::lock_guard<std::mutex> l_Guard(m_Lock);
  auto l_Live = m_Live.find(iName);
  if (l_Live != m_Live.end()) return l_Live->second.get();
  const KELSysTraceSettings* l_Settings = GetSettings(iName);
  if (l_Settings == nullptr) return nullptr;
  auto l_Trace = std::make_unique<KELSysTrace>(iName, GetOutput(*l_Settings), MakeLayout(*l_Settings));
  return m_Live.emplace(iName, std::move(l_Trace)).first->second.get();
}

KELSysTraceLayout KELSysTraceManager::MakeLayout(const KELSysTraceSettings& iSettings) const {
  KELSysTraceLayout l_Layout;
  if (iSettings.Get(KELSysTraceAttrPrefix) != 0)
    l_Layout.m_PrefixFlags = unsigned(iSettings.Get(KELSysTraceAttrPrefix));
  if (iSettings.Get(KELSysTraceAttrTimeStamp) != 0) l_Layout.m_PrefixFlags |= KELSysTracePrefixTime;
  // Level limit n keeps the levels below n: 1 errors only, 4 and above everything.
  uint64_t l_Level = iSettings.Get(KELSysTraceAttrLevel);
  if (l_Level != 0 && l_Level <= KELSysTraceDebug) l_Layout.m_MaxLevel = int(l_Level) - 1;
  l_Layout.m_MaxText = size_t(iSettings.Get(KELSysTraceAttrMaxText));
  l_Layout.m_LocalTime = iSettings.Get(KELSysTraceAttrLocalTime) != 0;
  l_Layout.m_Clock = m_Clock;
  return l_Layout;
}

std::shared_ptr<KELSysTraceObjBase> KELSysTraceManager::GetOutput(const KELSysTraceSettings& iSettings) {
  bool l_System = iSettings.m_Kind == KELSysTraceOutputKind::System;
  std::string l_Key = (l_System ? "S:" : "F:") + iSettings.m_Output;
  std::shared_ptr<KELSysTraceObjBase>& l_Output = m_Outputs[l_Key];
  if (l_Output) return l_Output;
  if (l_System) {
    l_Output = std::make_shared<KELSysTraceSystemObj>(iSettings.m_Output);
  } else if (iSettings.m_Output == "STDOUT") {
    l_Output = std::make_shared<KELSysTraceStreamObj>(STDOUT_FILENO);
  } else if (iSettings.m_Output == "STDERR") {
    l_Output = std::make_shared<KELSysTraceStreamObj>(STDERR_FILENO);
  } else if (iSettings.m_Output == "STDOUT_COMMON") {
    l_Output = std::make_shared<KELSysTraceStreamObj>(stdout);
  } else {
    l_Output = MakeFileOutput(iSettings);
  }
  return l_Output;
}

std::shared_ptr<KELSysTraceObjBase> KELSysTraceManager::MakeFileOutput(const KELSysTraceSettings& iSettings) {
  std::string l_Folder;
  if (m_Places.GetProcessFolder(iSettings.Get(KELSysTraceAttrLocalTime) != 0, l_Folder) != 0) {
    return std::make_shared<KELSysTraceStreamObj>(std::string());  // fails quietly at each line
  }
  std::string l_Path = l_Folder + "/" + iSettings.m_Output;
  uint64_t l_Count = iSettings.Get(KELSysTraceAttrRotateCount);
  uint64_t l_SizeKiB = iSettings.Get(KELSysTraceAttrRotateSize);
  if (l_Count == 0 && l_SizeKiB == 0) return std::make_shared<KELSysTraceStreamObj>(l_Path);
  if (l_SizeKiB == 0) l_SizeKiB = 1024;  // a count alone rotates 1 MiB files
  return std::make_shared<KELSysTraceStreamObj>(l_Path, l_SizeKiB * 1024, unsigned(l_Count));
}
