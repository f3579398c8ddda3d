// Hostile key files: opening, querying and listing them never crashes, a second key opened on the
// file while the first holds it for writing reads the same values, and a key written back from any
// of them reads again with the value set before the write-back. Under AddressSanitizer, reading one
// also stays within the memory the registry allows for its size (every heap block is counted through
// the sanitizer's allocator hooks). With libFuzzer, the flags in KEL_FUZZ_FLAGS (set where the target
// is registered) come before the command line's, which may override them.
#include <errno.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "KELSysJSON.h"
#include "KELSysJSONPrivate.h"
#include "KELSysRegKey.h"
#include "KELSysRegTestRoot.h"
#include "MORFileLockBytes.h"

#include "../SystemTS/MORSysTS03.m/tests/KELSysMemoryPeak.h"

namespace {

// A registry root of this process, removed at exit (the string is never destroyed, so the exit
// handler can still read it).
const std::string& Root() {
  static const std::string* s_Root = [] {
    char l_Template[] = "/tmp/kelsysregfuzz.XXXXXX";
    auto* l_Root = new std::string(mkdtemp(l_Template));
    std::filesystem::create_directories(*l_Root + "/HKLM/K");
    KELSysRegSetRootForTest(l_Root->c_str());
    atexit([] {
      std::error_code l_Ignored;
      std::filesystem::remove_all(Root(), l_Ignored);
    });
    return l_Root;
  }();
  return *s_Root;
}

// Lists the values and reads the first of them with every query. A query looks its name up among
// all values, so reading every one of a large key would take the target quadratic time.
void QueryAll(KELSysRegKey& ioKey) {
  std::vector<MORUnicodeString> l_Names;
  ioKey.EnumValues(l_Names);
  if (l_Names.size() > 64) l_Names.resize(64);
  for (const MORUnicodeString& l_Name : l_Names) {
    uint32_t l_Dword;
    uint64_t l_Qword;
    MORUnicodeString l_String;
    std::vector<MORUnicodeString> l_List;
    ioKey.QueryDWORDValue(l_Name, l_Dword);
    ioKey.QueryQWORDValue(l_Name, l_Qword);
    ioKey.QueryStringValue(l_Name, l_String);
    ioKey.QueryMultiStringValue(l_Name, l_List);
  }
}

// A reader that wants strings may read a plain key file without its tree: it must answer every
// string query as the tree does.
void CompareStringReads() {
  KELSysRegKey l_Plain, l_Tree;
  if (l_Plain.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead) != KEL_S_OK ||
      l_Tree.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead) != KEL_S_OK)
    __builtin_trap();
  std::vector<MORUnicodeString> l_Names = {"A", "B", "C", "V", "Path"};
  l_Tree.EnumValues(l_Names);  // builds the tree
  if (l_Names.size() > 64) l_Names.resize(64);
  for (const MORUnicodeString& l_Name : l_Names) {
    std::string l_FromPlain = "?", l_FromTree = "?";
    if (l_Plain.QueryStringValueUTF8(l_Name.ConvertToUTF8(), l_FromPlain) !=
            l_Tree.QueryStringValueUTF8(l_Name.ConvertToUTF8(), l_FromTree) ||
        l_FromPlain != l_FromTree)
      __builtin_trap();
  }
}

std::string FileText(const std::string& iPath) {
  std::ifstream l_File(iPath, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(l_File), std::istreambuf_iterator<char>());
}

#ifdef KEL_MEMORY_PEAK_HOOKS
// Opens and closes the key on a thread of its own, so that no parser storage kept per thread from
// an earlier input is reused, and traps when the heap grew past 16 bytes a byte of the file (and the
// fixed part) meanwhile: the registry's reading budget holds every text to that.
void CheckPeak(size_t iSize) {
  const int64_t l_Peak = KELSysHeapPeak([] {
    KELSysRegKey l_Key;
    l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead);
  });
  if (static_cast<uint64_t>(l_Peak) > 16 * iSize + KELSysJSONPeakFixed) __builtin_trap();
}
#endif

}  // namespace

#ifdef KEL_FUZZ_FLAGS
// Puts the registered flags right after the program name.
extern "C" int LLVMFuzzerInitialize(int* ioArgc, char*** ioArgv) {
  static std::vector<std::string> s_Flags;
  static std::vector<char*> s_Argv;
  std::string l_Flags = KEL_FUZZ_FLAGS;
  for (size_t l_At = 0; l_At < l_Flags.size();) {
    const size_t l_End = std::min(l_Flags.find(' ', l_At), l_Flags.size());
    if (l_End > l_At) s_Flags.push_back(l_Flags.substr(l_At, l_End - l_At));
    l_At = l_End + 1;
  }
  s_Argv.push_back((*ioArgv)[0]);
  for (std::string& l_Flag : s_Flags) s_Argv.push_back(l_Flag.data());
  for (int l_Arg = 1; l_Arg < *ioArgc; ++l_Arg) s_Argv.push_back((*ioArgv)[l_Arg]);
  s_Argv.push_back(nullptr);
  *ioArgc = static_cast<int>(s_Argv.size()) - 1;
  *ioArgv = s_Argv.data();
  return 0;
}
#endif

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize) {
  const std::string l_File = Root() + "/HKLM/K.json";
  std::ofstream(l_File, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(iData), iSize);
#ifdef KEL_MEMORY_PEAK_HOOKS
  CheckPeak(iSize);
#endif
  CompareStringReads();
  KELSysRegKey l_Key;
  if (l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead) != KEL_S_OK) __builtin_trap();
  QueryAll(l_Key);
  if (l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessReadWrite) != KEL_S_OK) __builtin_trap();
  QueryAll(l_Key);
  {
    // A second key of this thread on the held file reads it at once, and the same values.
    KELSysRegKey l_Again;
    std::vector<MORUnicodeString> l_Names, l_AgainNames;
    if (l_Again.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead) != KEL_S_OK) __builtin_trap();
    l_Key.EnumValues(l_Names);
    l_Again.EnumValues(l_AgainNames);
    if (l_Names != l_AgainNames) __builtin_trap();
  }
  // A file that would cost more to read than its size allows opens without values and refuses every
  // change; a text that would cost a reader more than its own size allows is not written back. Either
  // way the file keeps its bytes.
  KELSysJSON l_Scale;
  const bool l_Refused = iSize > MORFileLockBytesMaxSize ||
                         l_Scale.Weigh(reinterpret_cast<const char*>(iData), iSize,
                                       size_t(MORFileLockBytesReadBudget(iSize))) == KEL_E_OUTOFMEMORY;
  const KELSysResult l_Set = l_Key.SetStringValue("Fuzz", "ok");
  if (l_Set != (l_Refused ? KEL_E_ACCESSDENIED : KEL_S_OK)) __builtin_trap();
  const KELSysResult l_Close = l_Key.CloseKey();
  if (l_Refused || l_Close == KELSysResultFromErrno(EFBIG)) {
    if (l_Close != (l_Refused ? KEL_S_OK : KELSysResultFromErrno(EFBIG)) ||
        FileText(l_File) != std::string(reinterpret_cast<const char*>(iData), iSize))
      __builtin_trap();
    return 0;
  }
  if (l_Close != KEL_S_OK) __builtin_trap();
  // The write-back may have grown the file past the size limit (numbers are written in full, and a
  // value was added): such a file is not read again.
  if (std::filesystem::file_size(l_File) > MORFileLockBytesMaxSize) return 0;
  MORUnicodeString l_Value;
  if (l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead) != KEL_S_OK ||
      l_Key.QueryStringValue("Fuzz", l_Value) != KEL_S_OK || !(l_Value == MORUnicodeString("ok")))
    __builtin_trap();
  return 0;
}
