// Cost of KELReg's add of one value to an existing installation key (about 150 bytes), next to the
// least any writer must pay for the same change: open, read, pwrite, close of the key file.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#if __has_include("KELInsRegChange.h")
#include "KELInsRegChange.h"
#define KEL_BENCH_CHANGES 1
#endif
#include "KELInsRegCommand.h"
#include "KELInsRegKey.h"
#include "KELInsRegTree.h"

namespace {

const char* const k_Key = "HKLM\\SOFTWARE\\Quorvane\\Q4\\B410\\Desktop\\X00042";

// A registry in a temporary folder ($TMPDIR, else /tmp: on a tmpfs the file system's own cost of a
// rename stays out of the figures) holding the typical identifier key and its parents; removed when
// the process ends.
class Registry {
 public:
  Registry() {
    const char* l_Temp = getenv("TMPDIR");
    std::string l_Template = std::string(l_Temp && *l_Temp ? l_Temp : "/tmp") + "/kelregbench.XXXXXX";
    m_Root = mkdtemp(l_Template.data());
    std::string l_Folder = m_Root + "/HKLM";
    std::ofstream(l_Folder + ".json").flush();
    for (const char* l_Part : {"SOFTWARE", "Quorvane", "Q4", "B410", "Desktop"}) {
      l_Folder.append("/").append(l_Part);
      std::filesystem::create_directories(l_Folder);
      std::ofstream(l_Folder + ".json").flush();
    }
    std::filesystem::create_directories(l_Folder + "/X00042");
    m_File = l_Folder + "/X00042.json";
    std::ofstream(m_File)
        << "{\"Version\":\"1.0\",\"X00042\":{\"Path\":[3,\"/opt/Quorvane/Q4/B410/Desktop/X00042/"
           "installation\"],\"SPlevel\":[3,\"7\"],\"Owner\":[3,\"root\"],\"Size\":[1,150]}}";
    KELInsRegKey::SetRegistryRoot(m_Root);
  }
  ~Registry() {
    KELInsRegKey::SetRegistryRoot("");
    std::filesystem::remove_all(m_Root);
  }
  const std::string& Root() const { return m_Root; }
  const std::string& File() const { return m_File; }

 private:
  std::string m_Root, m_File;
};

Registry& TheRegistry() {
  static Registry s_Registry;
  return s_Registry;
}

// The same change by hand: read the file and write it back with the value's new digit in place.
void BM_BareOpenReadPwriteClose(benchmark::State& ioState) {
  const char* l_File = TheRegistry().File().c_str();
  char l_Buffer[4096];
  for (auto l_ : ioState) {
    int l_Fd = open(l_File, O_RDWR | O_CLOEXEC);
    ssize_t l_Read = read(l_Fd, l_Buffer, sizeof l_Buffer);
    if (l_Read > 20) l_Buffer[l_Read - 5] = char('0' + (l_Buffer[l_Read - 5] - '0' + 1) % 10);
    benchmark::DoNotOptimize(pwrite(l_Fd, l_Buffer, size_t(l_Read), 0));
    close(l_Fd);
  }
}
BENCHMARK(BM_BareOpenReadPwriteClose);

void Sync(benchmark::State& ioState) {
#ifdef KEL_BENCH_CHANGES
  KELInsRegChange::SetSyncing(ioState.range(0) != 0);
#else
  (void)ioState;  // the build before changes were made all at once synced nothing
#endif
}

// Syncs back on, for the benchmarks that follow.
void SyncOn() {
#ifdef KEL_BENCH_CHANGES
  KELInsRegChange::SetSyncing(true);
#endif
}

// What add does once its arguments are read: the key opened for writing, the value set (the same
// size every time, so the file stays about 150 bytes), the key written back and closed (arg 1: with
// the syncs that make the change durable; 0: without, to compare with the bare rewrite above).
void BM_AddValue(benchmark::State& ioState) {
  TheRegistry();
  Sync(ioState);
  std::string l_Why;
  KELInsRegKeyName l_Name = *KELInsRegKeyName::Parse(k_Key, l_Why);
  KELInsRegTree l_Tree;
  l_Tree.m_Values.push_back({"Size", KELInsRegKey::TypeDWORD, 150, {}});
  for (auto l_ : ioState) {
    l_Tree.m_Values[0].m_Number = 150 + (l_Tree.m_Values[0].m_Number + 1) % 10;
    KELInsRegWriteTree(l_Name, l_Tree);
  }
  SyncOn();
}
BENCHMARK(BM_AddValue)->Arg(1)->Arg(0);

// The whole command in-process: arguments parsed, --root checked, the value added.
void BM_AddCommand(benchmark::State& ioState) {
  const std::string l_Root = TheRegistry().Root();
  const char* l_Argv[] = {"KELReg", "--root", l_Root.c_str(), "add", k_Key, "-v",
                          "Size",   "-t",     "REG_DWORD",    "-d",  "151"};
  std::ostringstream l_Out, l_Err;
  std::istringstream l_In;
  for (auto l_ : ioState)
    benchmark::DoNotOptimize(KELInsRegCommand(int(std::size(l_Argv)), l_Argv, l_In, l_Out, l_Err));
}
BENCHMARK(BM_AddCommand);

// 28 keys of installations under one new build level: the level, 3 types and 8 identifiers of each,
// with a path and a hotfix level; written in one import, or by 28 adds, each a change of its own
// (arg 1: with the syncs that make a change durable; 0: without, to see what they cost).
KELInsRegTree Level28() {
  KELInsRegTree l_Level;
  for (const char* l_Type : {"Desktop", "Server", "Viewer"}) {
    KELInsRegSubkey l_TypeKey{l_Type, {}};
    for (int l_Id = 0; l_Id < 8; ++l_Id) {
      KELInsRegTree l_Install;
      l_Install.m_Values.push_back(
          {"Path", KELInsRegKey::TypeString, 0, {"/opt/Quorvane/B900/" + std::to_string(l_Id)}});
      l_Install.m_Values.push_back({"SPlevel", KELInsRegKey::TypeString, 0, {"900.1"}});
      l_TypeKey.m_Tree.m_Subkeys.push_back({"X" + std::to_string(l_Id), std::move(l_Install)});
    }
    l_Level.m_Subkeys.push_back(std::move(l_TypeKey));
  }
  return l_Level;
}

// Removes what an iteration wrote, outside the time measured; the syncs are back on after the last.
void RemoveLevel(benchmark::State& ioState) {
  ioState.PauseTiming();
  std::filesystem::remove_all(TheRegistry().Root() + "/HKLM/SOFTWARE/Quorvane/Q4/B900");
  std::filesystem::remove(TheRegistry().Root() + "/HKLM/SOFTWARE/Quorvane/Q4/B900.json");
#ifdef KEL_BENCH_CHANGES
  if (ioState.iterations() + 1 >= ioState.max_iterations) KELInsRegChange::SetSyncing(true);
#endif
  ioState.ResumeTiming();
}

void BM_Import28Keys(benchmark::State& ioState) {
  TheRegistry();
  Sync(ioState);
  std::string l_Why;
  KELInsRegKeyName l_Name = *KELInsRegKeyName::Parse("HKLM\\SOFTWARE\\Quorvane\\Q4\\B900", l_Why);
  const KELInsRegTree l_Tree = Level28();
  for (auto l_ : ioState) {
    KELInsRegWriteTree(l_Name, l_Tree);
    RemoveLevel(ioState);
  }
}
BENCHMARK(BM_Import28Keys)->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);

void BM_Add28Keys(benchmark::State& ioState) {
  TheRegistry();
  Sync(ioState);
  std::string l_Why;
  const KELInsRegTree l_Tree = Level28();
  KELInsRegKeyName l_Level = *KELInsRegKeyName::Parse("HKLM\\SOFTWARE\\Quorvane\\Q4\\B900", l_Why);
  for (auto l_ : ioState) {
    KELInsRegWriteTree(l_Level, KELInsRegTree());
    for (const KELInsRegSubkey& l_Type : l_Tree.m_Subkeys) {
      KELInsRegWriteTree(l_Level.Child(l_Type.m_Name), KELInsRegTree());
      for (const KELInsRegSubkey& l_Install : l_Type.m_Tree.m_Subkeys)
        KELInsRegWriteTree(l_Level.Child(l_Type.m_Name).Child(l_Install.m_Name), l_Install.m_Tree);
    }
    RemoveLevel(ioState);
  }
}
BENCHMARK(BM_Add28Keys)->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
