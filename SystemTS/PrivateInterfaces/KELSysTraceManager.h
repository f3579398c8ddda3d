// Builds and keeps the enabled trace channels. The process has one manager, built on first use from
// the real environment; tests build their own from given settings, environment and clock.
#ifndef KELSysTraceManager_H
#define KELSysTraceManager_H

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "KELSysMORTrace.h"
#include "KELSysTrace.h"
#include "KELSysTraceManagerBase.h"

class KELSysTraceObjBase;

class KELSysTraceManager : public KELSysTraceManagerBase {
 public:
  // iSpecifications is the KELSysTrace text (nullptr: not set). When it is set, option files in the
  // trace folder (see KELSysMORTrace) are read too; the folder is not created for that.
  KELSysTraceManager(const char* iSpecifications, KELSysTraceEnv iEnv,
                     std::shared_ptr<const KELSysTraceClock> iClock);
  ~KELSysTraceManager() override;

  // The channel iName if enabled, built on first request (thread-safe); nullptr otherwise. Channels
  // that name the same output share one output object.
  KELSysTrace* Find(const char* iName);

  KELSysMORTrace& GetPlaces() { return m_Places; }

  // The process manager, from the real environment; never destroyed, so channels stay usable while
  // static objects are torn down.
  static KELSysTraceManager& Process();

 private:
  std::shared_ptr<KELSysTraceObjBase> GetOutput(const KELSysTraceSettings& iSettings);
  std::shared_ptr<KELSysTraceObjBase> MakeFileOutput(const KELSysTraceSettings& iSettings);
  KELSysTraceLayout MakeLayout(const KELSysTraceSettings& iSettings) const;

  std::mutex m_Lock;
  KELSysMORTrace m_Places;
  std::shared_ptr<const KELSysTraceClock> m_Clock;
  std::map<std::string, std::unique_ptr<KELSysTrace>, std::less<>> m_Live;
  std::map<std::string, std::shared_ptr<KELSysTraceObjBase>> m_Outputs;
};

#endif
