// Trace output to standard output, standard error or a file (optionally a rotating set of files).
// Every line is written whole under a lock, so lines of several threads never mix.
#ifndef KELSysTraceStreamObj_H
#define KELSysTraceStreamObj_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "KELSysTraceObj.h"

class KELSysTraceRotate;

class KELSysTraceStreamObj : public KELSysTraceObjBase {
 public:
  // Writes straight to the descriptor iFd (1 or 2), which it does not own or close.
  explicit KELSysTraceStreamObj(int iFd);
  // Writes through the stdio stream iStream and flushes it after each line, so the lines keep their
  // order with the program's own output on that stream.
  explicit KELSysTraceStreamObj(FILE* iStream);
  // Appends to the file iPath, created on the first line. An empty path makes every Write fail.
  explicit KELSysTraceStreamObj(std::string iPath);
  // Writes to the rotating set based on iPath (see KELSysTraceRotate).
  KELSysTraceStreamObj(const std::string& iPath, uint64_t iMaxSize, unsigned iCount);
  ~KELSysTraceStreamObj() override;

  int Write(const std::string& iLine) override;

 private:
  std::mutex m_Lock;
  int m_Fd = -1;
  bool m_OwnsFd = false;
  FILE* m_Stream = nullptr;
  std::string m_Path;
  std::unique_ptr<KELSysTraceRotate> m_Rotate;
};

#endif
