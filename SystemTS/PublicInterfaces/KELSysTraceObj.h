// Output objects of trace channels: where a channel's finished lines go.
#ifndef KELSysTraceObj_H
#define KELSysTraceObj_H

#include <string>

#include "KELSysTrace.h"

class KELSysTraceObjBase {
 public:
  virtual ~KELSysTraceObjBase() = default;
  // Writes one finished line (prefix, tag, name and text). Returns 0, or -1 when the output failed.
  virtual int Write(const std::string& iLine) = 0;
  // The same, for outputs that sort lines by level; by default the level is not used.
  virtual int WriteAt(KELSysTraceLevel iLevel, const std::string& iLine) {
    (void)iLevel;
    return Write(iLine);
  }
};

// Keeps every line in memory, in order: for error sinks whose text the caller reads back, and tests.
class KELSysTraceMemoryObj : public KELSysTraceObjBase {
 public:
  int Write(const std::string& iLine) override;
  const std::string& GetText() const { return m_Text; }
  void Clear() { m_Text.clear(); }

 private:
  std::string m_Text;
};

#endif
