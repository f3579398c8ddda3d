#include "KELSysTraceStreamObj.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "KELSysTraceRotate.h"

namespace {

int WriteAll(int iFd, const char* iData, size_t iSize) {
  while (iSize > 0) {
    ssize_t l_Done = write(iFd, iData, iSize);
    if (l_Done < 0 && errno == EINTR) continue;
    if (l_Done <= 0) return -1;
    iData += l_Done;
    iSize -= static_cast<size_t>(l_Done);
  }
  return 0;
}

}  // namespace

KELSysTraceStreamObj::KELSysTraceStreamObj(int iFd) : m_Fd(iFd) {}

KELSysTraceStreamObj::KELSysTraceStreamObj(FILE* iStream) : m_Stream(iStream) {}

KELSysTraceStreamObj::KELSysTraceStreamObj(std::string iPath) : m_Path(std::move(iPath)) {}

KELSysTraceStreamObj::KELSysTraceStreamObj(const std::string& iPath, uint64_t iMaxSize, unsigned iCount)
    : m_Rotate(std::make_unique<KELSysTraceRotate>(iPath, iMaxSize, iCount)) {}

KELSysTraceStreamObj::~KELSysTraceStreamObj() {
  if (m_OwnsFd && m_Fd >= 0) close(m_Fd);
}

int KELSysTraceStreamObj::Write(const std::string& iLine) {
  std::lock_guard<std::mutex> l_Guard(m_Lock);
  if (m_Rotate) return m_Rotate->Write(iLine.data(), iLine.size());
  if (m_Stream) {
    if (fwrite(iLine.data(), 1, iLine.size(), m_Stream) != iLine.size()) return -1;
    return fflush(m_Stream) == 0 ? 0 : -1;
  }
  if (m_Fd < 0 && !m_OwnsFd) {
    if (m_Path.empty()) return -1;
    // Opened on the first line, so an enabled channel that never writes leaves no empty file.
    m_Fd = open(m_Path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    m_OwnsFd = true;
  }
  if (m_Fd < 0) return -1;
  return WriteAll(m_Fd, iLine.data(), iLine.size());
}
