#include "KELSysJSONTraverse.h"

bool KELSysJSONTraverseCustom::OnObjectBegin() { return true; }
bool KELSysJSONTraverseCustom::OnPairKey(const char*, size_t) { return true; }
bool KELSysJSONTraverseCustom::OnObjectEnd() { return true; }
bool KELSysJSONTraverseCustom::OnArrayBegin() { return true; }
bool KELSysJSONTraverseCustom::OnArrayItemBegin() { return true; }
bool KELSysJSONTraverseCustom::OnArrayItemEnd() { return true; }
bool KELSysJSONTraverseCustom::OnArrayEnd() { return true; }
bool KELSysJSONTraverseCustom::OnNull() { return true; }
bool KELSysJSONTraverseCustom::OnBoolean(bool) { return true; }
bool KELSysJSONTraverseCustom::OnDouble(double) { return true; }
bool KELSysJSONTraverseCustom::OnInteger(int64_t) { return true; }
bool KELSysJSONTraverseCustom::OnString(const char*, size_t) { return true; }
