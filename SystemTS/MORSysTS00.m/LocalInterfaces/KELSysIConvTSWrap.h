// Owner of the iconv descriptors that convert between code sets and "UTF-16LE".
//
// A code set is registered once per process and named afterwards by a small handle. Each thread
// opens its own pair of descriptors for a handle on first use (an iconv descriptor keeps shift
// state and must not be shared) and closes them when it ends. Once the process has begun to end,
// no descriptor is handed out any more.
#ifndef KELSysIConvTSWrap_H
#define KELSysIConvTSWrap_H

#include <iconv.h>

using IConvDesc_t = int;
inline constexpr IConvDesc_t KELSysIConvInvalidDesc = -1;

class KELSysIConvTSWrap {
 public:
  // The handle of iCodeSet <-> "UTF-16LE". The same name gives the same handle. When iconv cannot
  // open the pair, reports it and returns KELSysIConvInvalidDesc.
  static IConvDesc_t Open(const char* iCodeSet);
  // This thread's descriptor for the handle, in its initial shift state: from the code set to
  // UTF-16LE when iToUTF16, else back. (iconv_t)-1, after a report, for an invalid handle or once
  // the process is ending.
  static iconv_t Get(IConvDesc_t iHandle, bool iToUTF16);
};

#endif
