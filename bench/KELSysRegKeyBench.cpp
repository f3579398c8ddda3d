// Cost of reading one installation key the way the lister does (open, query two string values,
// close), next to the least any reader must pay for the same file: open, read, close; and of a
// writer's open, set and close of the same key.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "KELSysJSON.h"
#include "KELSysRegKey.h"
#include "KELSysRegTestRoot.h"

namespace {

const char* const k_Parent = "SOFTWARE\\Quorvane\\Q4\\B410\\Desktop";
const char* const k_Key = "SOFTWARE\\Quorvane\\Q4\\B410\\Desktop\\X00042";

// A registry in a temporary folder holding the typical identifier key (about 150 bytes) and its
// parents; removed when the process ends.
class Registry {
 public:
  Registry() {
    char l_Template[] = "/tmp/kelsysregbench.XXXXXX";
    m_Root = mkdtemp(l_Template);
    std::string l_Folder = m_Root + "/HKLM";
    for (const char* l_Part : {"SOFTWARE", "Quorvane", "Q4", "B410", "Desktop"}) {
      l_Folder.append("/").append(l_Part);
      std::filesystem::create_directories(l_Folder);
      std::ofstream(l_Folder + ".json").flush();
    }
    std::filesystem::create_directories(l_Folder + "/X00042");
    m_File = l_Folder + "/X00042.json";
    std::ofstream(m_File)
        << "{\"Version\":\"1.0\",\"X00042\":{\"Path\":[3,\"/opt/Quorvane/Q4/B410/Desktop/"
           "X00042/"
           "installation\"],\"SPlevel\":[3,\"7\"],\"Owner\":[3,\"root\"],\"GA\":[3,\"1\"],\"Size\":[1,150]}}";
    KELSysRegSetRootForTest(m_Root.c_str());
  }
  ~Registry() {
    KELSysRegSetRootForTest(nullptr);
    std::filesystem::remove_all(m_Root);
  }
  const std::string& File() const { return m_File; }

 private:
  std::string m_Root, m_File;
};

Registry& TheRegistry() {
  static Registry s_Registry;
  return s_Registry;
}

void BM_BareOpenReadClose(benchmark::State& ioState) {
  const char* l_File = TheRegistry().File().c_str();
  char l_Buffer[4096];
  for (auto l_ : ioState) {
    int l_Fd = open(l_File, O_RDONLY);
    ssize_t l_Read = read(l_Fd, l_Buffer, sizeof l_Buffer);
    close(l_Fd);
    benchmark::DoNotOptimize(l_Read);
  }
}
BENCHMARK(BM_BareOpenReadClose);

// The key file's text parsed into a value tree and dropped: the part of an open that is the JSON
// library's.
void BM_ParseKeyText(benchmark::State& ioState) {
  std::ifstream l_In(TheRegistry().File());
  std::string l_Text((std::istreambuf_iterator<char>(l_In)), std::istreambuf_iterator<char>());
  KELSysJSON l_Document;
  for (auto l_ : ioState) {
    KELSysJSONValue l_Root;
    if (l_Document.Parse(l_Text.data(), l_Text.size()) != KEL_S_OK || l_Document.Build(l_Root) != KEL_S_OK)
      abort();
    benchmark::DoNotOptimize(l_Root.GetObject().GetSize());
  }
}
BENCHMARK(BM_ParseKeyText);

void QueryTwo(KELSysRegKey& ioKey) {
  MORUnicodeString l_Path, l_Level;
  if (ioKey.QueryStringValue("Path", l_Path) != KEL_S_OK ||
      ioKey.QueryStringValue("SPlevel", l_Level) != KEL_S_OK)
    abort();
  benchmark::DoNotOptimize(l_Path.GetLength() + l_Level.GetLength());
}

// The whole key path from the hive, as a key named in full is opened.
void BM_KeyFromHive(benchmark::State& ioState) {
  TheRegistry();
  for (auto l_ : ioState) {
    KELSysRegKey l_Key;
    if (l_Key.OpenKey(KELSysRegHiveLocalMachine, k_Key, KELSysRegAccessRead) != KEL_S_OK) abort();
    QueryTwo(l_Key);
    l_Key.CloseKey();
  }
}
BENCHMARK(BM_KeyFromHive);

// One component below an open parent, as the lister reads each identifier of a type key.
void BM_KeyBelowParent(benchmark::State& ioState) {
  TheRegistry();
  KELSysRegKey l_Parent;
  if (l_Parent.OpenKey(KELSysRegHiveLocalMachine, k_Parent, KELSysRegAccessRead) != KEL_S_OK) abort();
  for (auto l_ : ioState) {
    KELSysRegKey l_Key;
    if (l_Key.OpenKey(l_Parent, "X00042", KELSysRegAccessRead) != KEL_S_OK) abort();
    QueryTwo(l_Key);
    l_Key.CloseKey();
  }
}
BENCHMARK(BM_KeyBelowParent);

// One component below an open parent that has just listed its subkeys, opened in the listing's
// order, as the lister reads the identifiers of a type key: a thousand keys like the one above (the
// listing is taken again, outside the timing, once they have all been read).
void BM_KeyBelowListedParent(benchmark::State& ioState) {
  const std::string l_Folder = TheRegistry().File().substr(0, TheRegistry().File().rfind('/'));
  const std::string l_Text = [&] {
    std::ifstream l_File(TheRegistry().File());
    return std::string(std::istreambuf_iterator<char>(l_File), std::istreambuf_iterator<char>());
  }();
  for (int l_Index = 0; l_Index < 1000; ++l_Index) {
    const std::string l_Name = "L" + std::to_string(1000 + l_Index);
    std::filesystem::create_directories(l_Folder + "/" + l_Name);
    std::ofstream(l_Folder + "/" + l_Name + ".json")
        << std::string(l_Text).replace(18, 6, l_Name.substr(0, 5));
  }
  KELSysRegKey l_Parent;
  std::vector<MORUnicodeString> l_Names;
  if (l_Parent.OpenKey(KELSysRegHiveLocalMachine, k_Parent, KELSysRegAccessRead) != KEL_S_OK) abort();
  size_t l_Next = 0;
  for (auto l_ : ioState) {
    if (l_Next == l_Names.size()) {
      ioState.PauseTiming();
      l_Names.clear();
      if (l_Parent.EnumKeys(l_Names) != KEL_S_OK) abort();
      l_Next = 0;
      ioState.ResumeTiming();
    }
    KELSysRegKey l_Key;
    if (l_Key.OpenKey(l_Parent, l_Names[l_Next++], KELSysRegAccessRead) != KEL_S_OK) abort();
    QueryTwo(l_Key);
    l_Key.CloseKey();
  }
}
BENCHMARK(BM_KeyBelowListedParent);

// A writer's cycle on the same key: open for writing (with the exclusive lock), set a value to what
// it holds, close (the write-back rewrites the file in place).
void BM_KeyRewrite(benchmark::State& ioState) {
  TheRegistry();
  KELSysRegKey l_Parent;
  if (l_Parent.OpenKey(KELSysRegHiveLocalMachine, k_Parent, KELSysRegAccessRead) != KEL_S_OK) abort();
  for (auto l_ : ioState) {
    KELSysRegKey l_Key;
    if (l_Key.OpenKey(l_Parent, "X00042", KELSysRegAccessReadWrite) != KEL_S_OK ||
        l_Key.SetStringValue("SPlevel", "7") != KEL_S_OK || l_Key.CloseKey() != KEL_S_OK)
      abort();
  }
}
BENCHMARK(BM_KeyRewrite);

}  // namespace

BENCHMARK_MAIN();
