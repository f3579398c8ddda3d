// Where traces live in the file system: the trace folder, the per-process folder inside it, and the
// decoder folder. Read from the environment (MORTraceDir, MORTemp, PWD, MORTraDecDir, HOME) through
// an injectable lookup so that callers can test every case in-process.
#ifndef KELSysMORTrace_H
#define KELSysMORTrace_H

#include <functional>
#include <memory>
#include <string>

class KELSysTraceClock;

// Environment lookup: the value of a variable, or nullptr when it is not set.
using KELSysTraceEnv = std::function<const char*(const char*)>;

class KELSysMORTrace {
 public:
  // A null iEnv reads the process environment; a null iClock uses the system clock.
  KELSysMORTrace(KELSysTraceEnv iEnv, std::shared_ptr<const KELSysTraceClock> iClock);

  // The trace base directory: MORTraceDir if it names an existing path, else MORTemp if it does,
  // else PWD if set, else "/tmp" if it exists; normalised. Returns false when there is none.
  bool FindTraceBase(std::string& oBase) const;
  // "<base>/KELSysTrace" without creating it.
  bool FindTraceFolder(std::string& oFolder) const;
  // The same folder, created with mode 0700 when missing. Computed once. Returns 0 or -1.
  int GetTraceFolder(std::string& oFolder);
  // "<trace folder>/<start stamp>_P<pid, 8 digits>_I", created with mode 0700 when missing. The
  // start stamp is taken once, at the first call, and broken down as local time or UTC per iLocal.
  // Returns 0 or -1.
  int GetProcessFolder(bool iLocal, std::string& oFolder);
  // The folder for trace decoding tools: MORTraDecDir, else HOME, else "/tmp".
  std::string GetDecoderFolder() const;

  // Lexical normalisation: repeated and trailing "/" and "." parts go, ".." takes away the part
  // before it (never above the root); an empty result is ".".
  static std::string Normalize(const std::string& iPath);

 private:
  const char* Get(const char* iName) const;

  KELSysTraceEnv m_Env;
  std::shared_ptr<const KELSysTraceClock> m_Clock;
  std::string m_Folder;
  std::string m_ProcessFolder[2];
  std::string m_StartStamp[2];
  bool m_Started = false;
};

#endif
