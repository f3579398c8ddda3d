// Hostile key files: opening, querying and listing them never crashes, a second key opened on the
// file while the first holds it for writing reads the same values, and a key written back from any
// of them reads again with the value set before the write-back.
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "KELSysRegKey.h"
#include "KELSysRegTestRoot.h"

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

void QueryAll(KELSysRegKey& ioKey) {
  std::vector<MORUnicodeString> l_Names;
  ioKey.EnumValues(l_Names);
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize) {
  const std::string l_File = Root() + "/HKLM/K.json";
  std::ofstream(l_File, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(iData), iSize);
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
  if (l_Key.SetStringValue("Fuzz", "ok") != KEL_S_OK || l_Key.CloseKey() != KEL_S_OK) __builtin_trap();
  MORUnicodeString l_Value;
  if (l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead) != KEL_S_OK ||
      l_Key.QueryStringValue("Fuzz", l_Value) != KEL_S_OK || !(l_Value == MORUnicodeString("ok")))
    __builtin_trap();
  return 0;
}
