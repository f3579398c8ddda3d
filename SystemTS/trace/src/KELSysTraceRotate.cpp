#include "KELSysTraceRotate.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <iterator>

KELSysTraceRotate::KELSysTraceRotate(const std::string& iPath, uint64_t iMaxSize, unsigned iCount)
    : m_MaxSize(iMaxSize == 0 ? 1024 : iMaxSize), m_Count(iCount == 0 ? 1 : iCount) {
  size_t l_Slash = iPath.rfind('/');
  size_t l_Dot = iPath.rfind('.');
  if (l_Dot == std::string::npos || (l_Slash != std::string::npos && l_Dot < l_Slash)) l_Dot = iPath.size();
  m_Stem = iPath.substr(0, l_Dot);
  m_Ext = iPath.substr(l_Dot);
  // "%s.%0<width>d%s": the index padded to the digits the count needs.
  char l_Format[32];
  snprintf(l_Format, sizeof l_Format, "%s0%dd%s", "%s.%", IndexWidth(m_Count), "%s");
  m_Format = l_Format;
  m_Index = Survey();
}

KELSysTraceRotate::~KELSysTraceRotate() {
  if (m_Fd >= 0) close(m_Fd);
}

int KELSysTraceRotate::IndexWidth(unsigned iCount) {
  int l_Width = 0;
  for (uint64_t l_Power = 1; l_Power < iCount; l_Power *= 10) ++l_Width;
  return l_Width;
}

std::string KELSysTraceRotate::FileName(unsigned iIndex) const {
  int l_Len = snprintf(nullptr, 0, m_Format.c_str(), m_Stem.c_str(), iIndex, m_Ext.c_str());
  if (l_Len < 0) return std::string();
  std::string l_Name(static_cast<size_t>(l_Len) + 1, '\0');
  snprintf(l_Name.data(), l_Name.size(), m_Format.c_str(), m_Stem.c_str(), iIndex, m_Ext.c_str());
  l_Name.resize(static_cast<size_t>(l_Len));
  return l_Name;
}

unsigned KELSysTraceRotate::Survey() {
  unsigned l_Oldest = 1;
  bool l_Found = false;
  struct timespec l_OldestTime {};
  for (unsigned l_Index = 1; l_Index <= m_Count; ++l_Index) {
    struct stat l_St;
    if (stat(FileName(l_Index).c_str(), &l_St) != 0) continue;
    NoteExisting(l_Index);
    const struct timespec& l_Time = l_St.st_mtim;
    bool l_Older = l_Time.tv_sec < l_OldestTime.tv_sec ||
                   (l_Time.tv_sec == l_OldestTime.tv_sec && l_Time.tv_nsec < l_OldestTime.tv_nsec);
    if (!l_Found || l_Older) {
      l_Oldest = l_Index;
      l_OldestTime = l_Time;
      l_Found = true;
    }
  }
  return l_Oldest;
}

unsigned KELSysTraceRotate::NextMissing(unsigned iIndex) const {
  if (iIndex >= m_Count) return 0;
  const unsigned l_Next = iIndex + 1;
  auto l_Run = m_Existing.upper_bound(l_Next);  // the first run starting above l_Next
  if (l_Run == m_Existing.begin()) return l_Next;
  --l_Run;
  if (l_Run->second < l_Next) return l_Next;
  return l_Run->second < m_Count ? l_Run->second + 1 : 0;
}

void KELSysTraceRotate::NoteExisting(unsigned iIndex) {
  auto l_After = m_Existing.upper_bound(iIndex);
  if (l_After != m_Existing.begin()) {
    auto l_Before = std::prev(l_After);
    if (l_Before->second >= iIndex) return;
    if (l_Before->second + 1 == iIndex) {
      l_Before->second = iIndex;
      if (l_After != m_Existing.end() && l_After->first == iIndex + 1) {
        l_Before->second = l_After->second;
        m_Existing.erase(l_After);
      }
      return;
    }
  }
  unsigned l_Last = iIndex;
  if (l_After != m_Existing.end() && l_After->first == iIndex + 1) {
    l_Last = l_After->second;
    m_Existing.erase(l_After);
  }
  m_Existing.emplace(iIndex, l_Last);
}

int KELSysTraceRotate::Open() {
  // A file taken again starts empty, so the set never holds more than count times the maximum.
  m_Fd = open(FileName(m_Index).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  m_Size = 0;
  if (m_Fd < 0) return -1;
  NoteExisting(m_Index);
  return 0;
}

int KELSysTraceRotate::Rotate() {
  if (m_Fd >= 0) close(m_Fd);
  m_Fd = -1;
  // The first file above the current one that does not exist yet; with none, the next one along.
  const unsigned l_Missing = NextMissing(m_Index);
  if (l_Missing != 0)
    m_Index = l_Missing;
  else
    m_Index = m_Index >= m_Count ? 1 : m_Index + 1;
  return Open();
}

int KELSysTraceRotate::Write(const char* iData, size_t iSize) {
  bool l_Rotate = m_Fd >= 0 ? (m_Size > m_MaxSize || iSize > m_MaxSize - m_Size) : iSize > m_MaxSize;
  if (l_Rotate) {
    if (Rotate() != 0) return -1;
  } else if (m_Fd < 0 && Open() != 0) {
    return -1;
  }
  while (iSize > 0) {
    ssize_t l_Done = write(m_Fd, iData, iSize);
    if (l_Done < 0 && errno == EINTR) continue;
    if (l_Done <= 0) return -1;
    m_Size += static_cast<uint64_t>(l_Done);
    iData += l_Done;
    iSize -= static_cast<size_t>(l_Done);
  }
  return 0;
}
