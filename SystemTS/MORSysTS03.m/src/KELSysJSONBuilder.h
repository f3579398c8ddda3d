// The walk sink that builds a value tree in place, and writes the build trace lines to the
// "KELSysJSON" channel when it is on.
#ifndef KELSysJSONBuilder_H
#define KELSysJSONBuilder_H

#include <cstdint>
#include <string>
#include <vector>

#include "KELSysJSONBlock.h"
#include "KELSysJSONPrimitive.h"
#include "KELSysJSONPrivate.h"
#include "KELSysJSONValue.h"
#include "KELSysTrace.h"

class KELSysJSONBuilder {
 public:
  // oRoot must be null. ioOpen and ioScratch are working storage kept by the caller between builds.
  // iExpected, what the build's blocks will take (or an estimate), sizes the chunks the containers,
  // strings and keys are carved from.
  KELSysJSONBuilder(KELSysJSONValue& oRoot, std::vector<KELSysJSONValue*>& ioOpen, KELSysTrace* iTrace,
                    std::string& ioScratch, size_t iExpected);
  // An estimate of iExpected from the number of tokens to build: each becomes at most one member,
  // and a container's block adds a little to that.
  static size_t Expected(uint32_t iTokens) { return size_t{iTokens} * (sizeof(KELSysJSONValue) + 16); }

  bool ObjectBegin(const KELSysJSONTokenRecord& iToken);
  bool Key(const char* iBytes, uint32_t iLength);
  bool ObjectEnd();
  bool ArrayBegin(const KELSysJSONTokenRecord& iToken);
  bool ItemBegin();
  bool ItemEnd() { return true; }
  bool ArrayEnd();
  bool String(const char* iBytes, uint32_t iLength);
  bool Primitive(const KELSysJSONPrimitive& iRead);

 private:
  void Trace(const char* iLine) {
    if (m_Trace) m_Trace->Print(KELSysTraceDebug, "%s", iLine);
  }
  void TraceText(const char* iFormat, const char* iBytes, uint32_t iLength);
  // Makes the target a container of iType with room for iCount members.
  template <class Container>
  void Room(KELSysJSONType iType, int32_t iCount);
  // The target's scalar slot. Throws std::bad_alloc.
  KELSysJSONValue::Payload& Slot();

  KELSysJSONValue* m_Target;  // the value the next event fills
  std::vector<KELSysJSONValue*>& m_Open;
  KELSysTrace* m_Trace;
  std::string& m_Scratch;
  KELSysJSONBlockSource m_Blocks;
};

#endif
