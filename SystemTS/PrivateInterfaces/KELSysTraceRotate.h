// A rotating set of trace files: "stem.N.ext" for N from 1 to the count, each kept to a maximum size.
//
// The set looks at its files once, when it is made; after that it keeps track of the ones it
// creates itself, so a rotation costs a close and an open whatever the count. The files of a set
// belong to its writer: one made or removed by someone else after the set was made is not noticed.
#ifndef KELSysTraceRotate_H
#define KELSysTraceRotate_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

class KELSysTraceRotate {
 public:
  // iPath is split at the last "." of its file name into stem and extension (the extension keeps the
  // point). A maximum size of 0 means 1024 bytes, a count of 0 means 1. The set starts with the
  // oldest existing file of the set (by modification time), or index 1 when none exists. Nothing is
  // opened before the first Write.
  KELSysTraceRotate(const std::string& iPath, uint64_t iMaxSize, unsigned iCount);
  ~KELSysTraceRotate();
  KELSysTraceRotate(const KELSysTraceRotate&) = delete;
  KELSysTraceRotate& operator=(const KELSysTraceRotate&) = delete;

  // Writes iSize bytes to the current file, rotating first when they do not fit. A line larger than
  // the maximum gets a file of its own. Returns 0, or -1 when no file could be opened or written.
  int Write(const char* iData, size_t iSize);

  // Digits of the index in file names: 0 for a count of 1, 1 for 2 to 10, 2 for 11 to 100, ...
  static int IndexWidth(unsigned iCount);
  // The file name of index iIndex ("trace.log" with count 11 and index 3: "trace.03.log").
  std::string FileName(unsigned iIndex) const;
  unsigned GetIndex() const { return m_Index; }

 private:
  // Looks at every file of the set: notes the ones that exist and gives the oldest one's index.
  unsigned Survey();
  // The first index above iIndex whose file does not exist, or 0 when every one up to the count does.
  unsigned NextMissing(unsigned iIndex) const;
  void NoteExisting(unsigned iIndex);
  int Rotate();
  int Open();

  std::string m_Stem;
  std::string m_Ext;
  std::string m_Format;
  uint64_t m_MaxSize;
  unsigned m_Count;
  unsigned m_Index = 1;
  uint64_t m_Size = 0;
  int m_Fd = -1;
  // The indices whose files exist, as runs: first index to last index.
  std::map<unsigned, unsigned> m_Existing;
};

#endif
