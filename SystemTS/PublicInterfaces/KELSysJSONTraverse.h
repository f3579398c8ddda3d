// Callbacks of a traversal (KELSysJSON::Traverse): a parsed text walked in document order without
// building a tree. Each callback answers true to go on or false to abort the walk. The base class
// answers true to all of them.
#ifndef KELSysJSONTraverse_H
#define KELSysJSONTraverse_H

#include <cstddef>
#include <cstdint>

class KELSysJSONTraverse {
 public:
  virtual ~KELSysJSONTraverse() = default;
  virtual bool OnObjectBegin() { return true; }
  // A member's key, raw bytes; the member's value follows.
  virtual bool OnPairKey(const char* iKey, size_t iLength) { return (void)iKey, (void)iLength, true; }
  virtual bool OnObjectEnd() { return true; }
  virtual bool OnArrayBegin() { return true; }
  virtual bool OnArrayItemBegin() { return true; }
  virtual bool OnArrayItemEnd() { return true; }
  virtual bool OnArrayEnd() { return true; }
  virtual bool OnNull() { return true; }
  virtual bool OnBoolean(bool iValue) { return (void)iValue, true; }
  virtual bool OnDouble(double iValue) { return (void)iValue, true; }
  virtual bool OnInteger(int64_t iValue) { return (void)iValue, true; }
  // A string's raw bytes, escapes as written.
  virtual bool OnString(const char* iBytes, size_t iLength) { return (void)iBytes, (void)iLength, true; }
};

// Answers true to everything: traversing with it checks that a text is well formed.
class KELSysJSONTraverseCustom : public KELSysJSONTraverse {
 public:
  bool OnObjectBegin() override;
  bool OnPairKey(const char* iKey, size_t iLength) override;
  bool OnObjectEnd() override;
  bool OnArrayBegin() override;
  bool OnArrayItemBegin() override;
  bool OnArrayItemEnd() override;
  bool OnArrayEnd() override;
  bool OnNull() override;
  bool OnBoolean(bool iValue) override;
  bool OnDouble(double iValue) override;
  bool OnInteger(int64_t iValue) override;
  bool OnString(const char* iBytes, size_t iLength) override;
};

#endif
