// Lists of an array's values: the abstract interface, and the implementation an array keeps its
// values in.
#ifndef KELSysJSONValueList_H
#define KELSysJSONValueList_H

#include "KELSysJSONList.h"
#include "KELSysJSONListImpl.h"

class KELSysJSONValue;

using KELSysJSONValueList = KELSysJSONList<KELSysJSONValue>;

class KELSysJSONValueListImpl final : public KELSysJSONListImpl<KELSysJSONValue, KELSysJSONValueList> {};

#endif
