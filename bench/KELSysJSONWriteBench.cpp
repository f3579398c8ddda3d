// The two forms of the framework JSON writer on what the registry writes back: a key of three
// string values (144 bytes) and a key holding 5,000 string values (228 KB). "Narrow" appends
// bytes to a std::string, as the registry does; "Unicode" appends to a MORUnicodeString and takes
// the bytes back out with ConvertToUTF8, which is what a caller of that form would need to write a
// file.
#include <benchmark/benchmark.h>

#include <string>

#include "KELSysJSON.h"

namespace {

KELSysJSONValue Parsed(const std::string& iText) {
  KELSysJSON l_JSON;
  KELSysJSONValue l_Root;
  if (l_JSON.Parse(iText.data(), iText.size()) != KEL_S_OK || l_JSON.Build(l_Root) != KEL_S_OK) std::abort();
  return l_Root;
}

std::string Key(int iValues) {
  std::string l_Text = "{\"Version\":\"1.0\",\"X1\":{";
  for (int l_Index = 0; l_Index < iValues; ++l_Index) {
    if (l_Index) l_Text += ',';
    l_Text += "\"Value" + std::to_string(l_Index) + "\":[3,\"/opt/Quorvane/Q4/B426/x" +
              std::to_string(l_Index) + "\"]";
  }
  return l_Text + "}}";
}

void BM_WriteNarrow(benchmark::State& ioState) {
  const KELSysJSONValue l_Root = Parsed(Key(int(ioState.range(0))));
  size_t l_Bytes = 0;
  for (auto _ : ioState) {
    std::string l_Out;
    l_Root.Write(l_Out, true, std::string());
    l_Bytes += l_Out.size();
    benchmark::DoNotOptimize(l_Out.data());
  }
  ioState.SetBytesProcessed(int64_t(l_Bytes));
}

void BM_WriteUnicode(benchmark::State& ioState) {
  const KELSysJSONValue l_Root = Parsed(Key(int(ioState.range(0))));
  size_t l_Bytes = 0;
  for (auto _ : ioState) {
    MORUnicodeString l_Out;
    l_Root.Write(l_Out, true, MORUnicodeString());
    size_t l_Length = 0;
    benchmark::DoNotOptimize(l_Out.ConvertToUTF8(&l_Length));
    l_Bytes += l_Length;
  }
  ioState.SetBytesProcessed(int64_t(l_Bytes));
}

}  // namespace

BENCHMARK(BM_WriteNarrow)->Arg(3)->Arg(5000);
BENCHMARK(BM_WriteUnicode)->Arg(3)->Arg(5000);
BENCHMARK_MAIN();
