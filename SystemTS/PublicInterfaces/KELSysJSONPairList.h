// Lists of an object's pairs: the abstract interface, and the implementation an object keeps its
// pairs in (duplicate keys allowed).
#ifndef KELSysJSONPairList_H
#define KELSysJSONPairList_H

#include "KELSysJSONList.h"
#include "KELSysJSONListImpl.h"

class KELSysJSONPair;

using KELSysJSONPairList = KELSysJSONList<KELSysJSONPair>;

class KELSysJSONPairListImpl final : public KELSysJSONListImpl<KELSysJSONPair, KELSysJSONPairList> {};

#endif
