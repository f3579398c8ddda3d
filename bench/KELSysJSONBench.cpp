// Parse+build of three texts: (a) a typical 150-byte registry key file, (b) a 5 MB key file holding
// 50,000 string values, (c) 5 MB of mixed numbers, strings and nested arrays; the tokenizer alone on
// each; and the compact write of (b). With rapidjson-dev the same texts are parsed into RapidJSON's
// DOM (and (b) written back) in the same run. Counters: bytes per second, and heap blocks taken
// per iteration ("allocs": operator new, malloc, calloc and realloc calls).
#include <benchmark/benchmark.h>

#include <stdlib.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>

#include "../SystemTS/MORSysTS03.m/tests/KELSysJSONShapes.h"
#include "../SystemTS/MORSysTS03.m/tests/KELSysMemoryPeak.h"
#include "KELSysJSON.h"
#include "KELSysRegKey.h"
#include "KELSysRegTestRoot.h"

#ifdef KEL_HAVE_RAPIDJSON
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif

// Every heap block the process takes goes through one of these.
namespace {
uint64_t g_Allocs = 0;
}

extern "C" {
void* __real_malloc(size_t);
void* __real_calloc(size_t, size_t);
void* __real_realloc(void*, size_t);
void* __wrap_malloc(size_t iSize) {
  ++g_Allocs;
  return __real_malloc(iSize);
}
void* __wrap_calloc(size_t iCount, size_t iSize) {
  ++g_Allocs;
  return __real_calloc(iCount, iSize);
}
void* __wrap_realloc(void* iBlock, size_t iSize) {
  ++g_Allocs;
  return __real_realloc(iBlock, iSize);
}
}

void* operator new(size_t iSize) {
  ++g_Allocs;
  if (void* l_Block = __real_malloc(iSize ? iSize : 1)) return l_Block;
  throw std::bad_alloc();
}
void operator delete(void* iBlock) noexcept { std::free(iBlock); }
void operator delete(void* iBlock, size_t) noexcept { std::free(iBlock); }

namespace {

// (a): the kind of file the registry opens for every key.
const std::string& Typical() {
  static const std::string s_Text =
      "{\"Version\":\"1.0\",\"X1\":{\"Path\":[3,\"/opt/Quorvane/Q4/B426/x1\"],\"SPlevel\":[3,\"419.1\"],"
      "\"GAlevel\":[3,\"419\"],\"Type\":[3,\"Desktop\"],\"Flags\":[4,17]}}";
  return s_Text;
}

// (b): one key holding 50,000 string values, about 100 bytes each.
const std::string& KeyFile() {
  static const std::string s_Text = [] {
    std::string l_Text = "{\"Version\":\"1.0\",\"Big\":{";
    for (int l_Index = 0; l_Index < 50000; ++l_Index) {
      std::string l_Serial = std::to_string(100000 + l_Index).substr(1);
      if (l_Index) l_Text += ',';
      l_Text += "\"Value" + l_Serial + "\":[3,\"/opt/Quorvane/Q4/B426/Desktop/inst_" + l_Serial +
                "/lib/modules/component_" + l_Serial + ".so\"]";
    }
    return l_Text + "}}";
  }();
  return s_Text;
}

// (c): rows of integers, doubles, strings and arrays nested three deep, about 5 MB.
const std::string& Mixed() {
  static const std::string s_Text = [] {
    std::string l_Text = "[";
    for (int l_Row = 0; l_Text.size() < 5000000; ++l_Row) {
      if (l_Row) l_Text += ',';
      const std::string l_N = std::to_string(l_Row);
      l_Text += "[" + l_N + ",-" + l_N + ".25,\"row " + l_N + "\",[" + std::to_string(l_Row * 7919 % 100003) +
                ",1.5e" + std::to_string(l_Row % 300 - 150) + ",[true,null,\"x\",-" + l_N + "],false]," +
                std::to_string(l_Row % 1000) + ".0625]";
    }
    return l_Text + "]";
  }();
  return s_Text;
}

const std::string& Text(int64_t iWhich) {
  return iWhich == 0 ? Typical() : iWhich == 1 ? KeyFile() : Mixed();
}

void Finish(benchmark::State& ioState, size_t iBytes, uint64_t iAllocsBefore) {
  ioState.SetBytesProcessed(static_cast<int64_t>(ioState.iterations() * iBytes));
  ioState.counters["allocs"] =
      benchmark::Counter(static_cast<double>(g_Allocs - iAllocsBefore), benchmark::Counter::kAvgIterations);
}

void BM_KELSysJSON_ParseBuild(benchmark::State& ioState) {
  const std::string& l_Text = Text(ioState.range(0));
  KELSysJSON l_JSON;  // reused, as callers keep one: its token array survives between parses
  l_JSON.Parse(l_Text.data(), l_Text.size());
  const uint64_t l_Before = g_Allocs;
  for (auto _ : ioState) {
    KELSysJSONValue l_Root;
    if (l_JSON.Parse(l_Text.data(), l_Text.size()) != KEL_S_OK || l_JSON.Build(l_Root) != KEL_S_OK)
      ioState.SkipWithError("parse failed");
    benchmark::DoNotOptimize(l_Root);
  }
  Finish(ioState, l_Text.size(), l_Before);
}

// Parse and build in one go, as the registry reads its key files.
void BM_KELSysJSON_Read(benchmark::State& ioState) {
  const std::string& l_Text = Text(ioState.range(0));
  KELSysJSON l_JSON;
  const uint64_t l_Before = g_Allocs;
  for (auto _ : ioState) {
    KELSysJSONValue l_Root;
    if (l_JSON.Read(l_Text.data(), l_Text.size(), l_Root) != KEL_S_OK) ioState.SkipWithError("read failed");
    benchmark::DoNotOptimize(l_Root);
  }
  Finish(ioState, l_Text.size(), l_Before);
}

// A new document for every text: what a caller pays that does not keep one.
void BM_KELSysJSON_ParseBuildFreshDocument(benchmark::State& ioState) {
  const std::string& l_Text = Text(ioState.range(0));
  const uint64_t l_Before = g_Allocs;
  for (auto _ : ioState) {
    KELSysJSON l_JSON;
    KELSysJSONValue l_Root;
    if (l_JSON.Parse(l_Text.data(), l_Text.size()) != KEL_S_OK || l_JSON.Build(l_Root) != KEL_S_OK)
      ioState.SkipWithError("parse failed");
    benchmark::DoNotOptimize(l_Root);
  }
  Finish(ioState, l_Text.size(), l_Before);
}

void BM_KELSysJSON_Tokenize(benchmark::State& ioState) {
  const std::string& l_Text = Text(ioState.range(0));
  KELSysJSON l_JSON;
  l_JSON.Parse(l_Text.data(), l_Text.size());
  const uint64_t l_Before = g_Allocs;
  for (auto _ : ioState) {
    if (l_JSON.Parse(l_Text.data(), l_Text.size()) != KEL_S_OK) ioState.SkipWithError("parse failed");
    benchmark::ClobberMemory();
  }
  Finish(ioState, l_Text.size(), l_Before);
}

void BM_KELSysJSON_WriteCompact(benchmark::State& ioState) {
  const std::string& l_Text = KeyFile();
  KELSysJSON l_JSON;
  KELSysJSONValue l_Root;
  l_JSON.Parse(l_Text.data(), l_Text.size());
  l_JSON.Build(l_Root);
  const uint64_t l_Before = g_Allocs;
  for (auto _ : ioState) {
    std::string l_Out;
    l_Root.Write(l_Out, true, "");
    if (l_Out != l_Text) ioState.SkipWithError("written text differs");
  }
  Finish(ioState, l_Text.size(), l_Before);
}

#ifdef KEL_HAVE_RAPIDJSON
void BM_RapidJSON_Parse(benchmark::State& ioState) {
  const std::string& l_Text = Text(ioState.range(0));
  const uint64_t l_Before = g_Allocs;
  for (auto _ : ioState) {
    rapidjson::Document l_Document;
    l_Document.Parse(l_Text.data(), l_Text.size());
    if (l_Document.HasParseError()) ioState.SkipWithError("parse failed");
    benchmark::DoNotOptimize(l_Document);
  }
  Finish(ioState, l_Text.size(), l_Before);
}

void BM_RapidJSON_WriteCompact(benchmark::State& ioState) {
  const std::string& l_Text = KeyFile();
  rapidjson::Document l_Document;
  l_Document.Parse(l_Text.data(), l_Text.size());
  const uint64_t l_Before = g_Allocs;
  for (auto _ : ioState) {
    rapidjson::StringBuffer l_Out;
    rapidjson::Writer<rapidjson::StringBuffer> l_Writer(l_Out);
    l_Document.Accept(l_Writer);
    if (l_Out.GetSize() != l_Text.size()) ioState.SkipWithError("written text differs");
  }
  Finish(ioState, l_Text.size(), l_Before);
}
#endif

// A registry in a temporary folder whose one key "K" (below the local-machine hive) has a key file
// of the given shape and size; removed with the object.
class ShapeRegistry {
 public:
  ShapeRegistry(KELSysJSONShape iShape, size_t iSize) {
    char l_Template[] = "/tmp/keljsonshape.XXXXXX";
    m_Root = mkdtemp(l_Template);
    std::filesystem::create_directories(m_Root + "/HKLM/K");
    const std::string l_Text = KELSysJSONShapeText(iShape, iSize);
    std::ofstream(m_Root + "/HKLM/K.json", std::ios::binary) << l_Text;
    m_Size = l_Text.size();
    KELSysRegSetRootForTest(m_Root.c_str());
  }
  ~ShapeRegistry() {
    KELSysRegSetRootForTest(nullptr);
    std::filesystem::remove_all(m_Root);
  }
  size_t Size() const { return m_Size; }

 private:
  std::string m_Root;
  size_t m_Size;
};

// KEL_S_OK, or the code of an open that failed (a file over the size limit is refused).
KELSysResult OpenAndClose() {
  KELSysRegKey l_Key;
  const KELSysResult l_Rc = l_Key.OpenKey(KELSysRegHiveLocalMachine, "K", KELSysRegAccessRead);
  benchmark::DoNotOptimize(l_Key);
  l_Key.CloseKey();
  return l_Rc;
}

// A key whose file has the shape range(0) and range(1) MiB, opened and closed as a reader does.
// Counters: the peak memory of one open (a child process's resident set growth) in MiB and as a
// multiple of the file size; the time is that of one open and close.
void BM_KELSysRegKey_OpenShape(benchmark::State& ioState) {
  const auto l_Shape = static_cast<KELSysJSONShape>(ioState.range(0));
  ShapeRegistry l_Registry(l_Shape, static_cast<size_t>(ioState.range(1)) << 20);
  const int64_t l_Peak = KELSysMemoryPeak([] { OpenAndClose(); });
  KELSysResult l_Rc = KEL_S_OK;
  for (auto _ : ioState) l_Rc = OpenAndClose();
  ioState.SetLabel(std::string(KELSysJSONShapeName(l_Shape)) + (l_Rc == KEL_S_OK ? "" : " (refused)"));
  ioState.SetBytesProcessed(static_cast<int64_t>(ioState.iterations() * l_Registry.Size()));
  ioState.counters["peak_MiB"] = static_cast<double>(l_Peak) / (1 << 20);
  ioState.counters["peak_x"] = static_cast<double>(l_Peak) / static_cast<double>(l_Registry.Size());
}

void Shapes(benchmark::internal::Benchmark* ioBench) {
  ioBench->ArgNames({"shape", "MiB"})->Unit(benchmark::kMillisecond);
  for (int64_t l_Size : {1, 64}) {
    for (KELSysJSONShape l_Shape : KELSysJSONAllShapes)
      ioBench->Args({static_cast<int64_t>(l_Shape), l_Size});
    for (KELSysJSONShape l_Shape : KELSysJSONContainerShapes)
      ioBench->Args({static_cast<int64_t>(l_Shape), l_Size});
    for (KELSysJSONShape l_Shape : KELSysJSONMixedShapes)
      ioBench->Args({static_cast<int64_t>(l_Shape), l_Size});
  }
}

void Texts(benchmark::internal::Benchmark* ioBench) { ioBench->ArgName("text")->Arg(0)->Arg(1)->Arg(2); }

}  // namespace

BENCHMARK(BM_KELSysJSON_ParseBuild)->Apply(Texts);
BENCHMARK(BM_KELSysJSON_Read)->Apply(Texts);
BENCHMARK(BM_KELSysJSON_ParseBuildFreshDocument)->Arg(0);
BENCHMARK(BM_KELSysJSON_Tokenize)->Apply(Texts);
BENCHMARK(BM_KELSysJSON_WriteCompact);
BENCHMARK(BM_KELSysRegKey_OpenShape)->Apply(Shapes);
#ifdef KEL_HAVE_RAPIDJSON
BENCHMARK(BM_RapidJSON_Parse)->Apply(Texts);
BENCHMARK(BM_RapidJSON_WriteCompact);
#endif

BENCHMARK_MAIN();
