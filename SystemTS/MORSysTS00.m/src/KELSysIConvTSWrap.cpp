#include "KELSysIConvTSWrap.h"

#include <atomic>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "KELSysNLSDiagnostic.h"

namespace {

constexpr const char* kUTF16 = "UTF-16LE";
const iconv_t kNoDesc = reinterpret_cast<iconv_t>(-1);

constinit std::mutex s_Lock;
constinit std::atomic<bool> s_Ending{false};
constinit std::atomic<bool> s_EndingReported{false};

// Registered code sets; a handle is an index. Never freed, so that handles stay meaningful in
// the destructors of other static objects.
std::vector<std::string>& Names() {
  static auto* l_Names = new std::vector<std::string>;
  return *l_Names;
}

// Marks the start of the process's end: destroyed after every static object built later than the
// first registration, and before those built earlier.
struct SessionEnd {
  ~SessionEnd() {
    s_Ending.store(true);
    KELSysNLSDiagnostic(
        "[KELSysIConvTSWrap] WARNING: from this point, conversions are no longer supported.\n");
  }
};

void StartSession() { static SessionEnd l_SessionEnd; }

// A thread's descriptors, by handle. Trivially destructible flag beside it: once the thread's
// descriptors are closed, t_DescriptorsGone stays readable while the thread finishes.
constinit thread_local bool t_DescriptorsGone = false;

struct ThreadDescriptors {
  std::vector<std::pair<iconv_t, iconv_t>> m_Pairs;
  ~ThreadDescriptors() {
    for (auto& l_Pair : m_Pairs) {
      if (l_Pair.first != kNoDesc) iconv_close(l_Pair.first);
      if (l_Pair.second != kNoDesc) iconv_close(l_Pair.second);
    }
    t_DescriptorsGone = true;
  }
};
thread_local ThreadDescriptors t_Descriptors;

bool OpenPair(const char* iCodeSet, std::pair<iconv_t, iconv_t>& oPair) {
  oPair.first = iconv_open(kUTF16, iCodeSet);
  oPair.second = iconv_open(iCodeSet, kUTF16);
  if (oPair.first != kNoDesc && oPair.second != kNoDesc) return true;
  if (oPair.first != kNoDesc) iconv_close(oPair.first);
  if (oPair.second != kNoDesc) iconv_close(oPair.second);
  oPair = {kNoDesc, kNoDesc};
  KELSysNLSDiagnostic("[KELSysIConvTSWrap] failed to initialize converters for conversion %s <-> %s",
                      iCodeSet, kUTF16);
  return false;
}

bool IsEnding() {
  if (!s_Ending.load() && !t_DescriptorsGone) return false;
  if (!s_EndingReported.exchange(true))
    KELSysNLSDiagnostic(
        "[KELSysIConvTSWrap] INFO: session is ending. Support for MBCS has been dropped in a earlier stage");
  return true;
}

// Opens this thread's pair for a handle met for the first time.
bool OpenForThread(IConvDesc_t iHandle) {
  std::string l_Name;
  {
    std::lock_guard l_Guard(s_Lock);
    if (iHandle >= 0 && static_cast<size_t>(iHandle) < Names().size()) l_Name = Names()[iHandle];
  }
  if (l_Name.empty()) {
    KELSysNLSDiagnostic("[KELSysIConvTSWrap] The input IConvDesc_t handle is invalid.");
    return false;
  }
  auto& l_Pairs = t_Descriptors.m_Pairs;
  if (l_Pairs.size() <= static_cast<size_t>(iHandle)) l_Pairs.resize(iHandle + 1, {kNoDesc, kNoDesc});
  return OpenPair(l_Name.c_str(), l_Pairs[iHandle]);
}

}  // namespace

IConvDesc_t KELSysIConvTSWrap::Open(const char* iCodeSet) {
  if (!iCodeSet || IsEnding()) return KELSysIConvInvalidDesc;
  StartSession();
  std::lock_guard l_Guard(s_Lock);
  std::vector<std::string>& l_Names = Names();
  for (size_t l_Index = 0; l_Index < l_Names.size(); ++l_Index)
    if (l_Names[l_Index] == iCodeSet) return static_cast<IConvDesc_t>(l_Index);
  // Opened once here only to learn whether iconv knows the code set; each thread opens its own.
  std::pair<iconv_t, iconv_t> l_Pair;
  if (!OpenPair(iCodeSet, l_Pair)) return KELSysIConvInvalidDesc;
  iconv_close(l_Pair.first);
  iconv_close(l_Pair.second);
  l_Names.emplace_back(iCodeSet);
  return static_cast<IConvDesc_t>(l_Names.size() - 1);
}

iconv_t KELSysIConvTSWrap::Get(IConvDesc_t iHandle, bool iToUTF16) {
  if (IsEnding()) return kNoDesc;
  auto& l_Pairs = t_Descriptors.m_Pairs;
  bool l_Opened =
      iHandle >= 0 && static_cast<size_t>(iHandle) < l_Pairs.size() && l_Pairs[iHandle].first != kNoDesc;
  if (!l_Opened && !OpenForThread(iHandle)) return kNoDesc;
  iconv_t l_Desc = iToUTF16 ? l_Pairs[iHandle].first : l_Pairs[iHandle].second;
  iconv(l_Desc, nullptr, nullptr, nullptr, nullptr);  // back to the initial shift state
  return l_Desc;
}
