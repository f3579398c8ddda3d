// Cost of trace calls: a call site on a channel that is not enabled, the lookup when tracing is
// off, and a whole line written to a trace file.
#include <benchmark/benchmark.h>
#include <ftw.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "KELSysTrace.h"
#include "KELSysTraceStreamObj.h"

namespace {

// A fresh folder under /tmp for the trace files, removed when the benchmark ends.
class TempFolder {
 public:
  TempFolder() {
    char l_Template[] = "/tmp/KELSysTraceBench.XXXXXX";
    m_Path = mkdtemp(l_Template);
  }
  ~TempFolder() {
    nftw(
        m_Path.c_str(), [](const char* iPath, const struct stat*, int, struct FTW*) { return remove(iPath); },
        8, FTW_DEPTH | FTW_PHYS);
  }
  const std::string& Path() const { return m_Path; }

 private:
  std::string m_Path;
};

void BM_UnenabledCallSite(benchmark::State& ioState) {
  KELSysTrace* l_Trace = KELSysTrace::Find("KELSysTraceBench.Off");
  if (l_Trace) ioState.SkipWithError("KELSysTrace enables the channel: unset it");
  int l_Value = 0;
  for (auto l_ : ioState) {
    benchmark::DoNotOptimize(l_Trace);  // the pointer is re-read, as a member would be
    if (l_Trace) l_Trace->Print(KELSysTraceDebug, "  QueryValue OK iValueName: %d\n", l_Value);
    ++l_Value;
  }
}
BENCHMARK(BM_UnenabledCallSite);

void BM_FindWhenOff(benchmark::State& ioState) {
  for (auto l_ : ioState) benchmark::DoNotOptimize(KELSysTrace::Find("KELSYSREGKEY"));
}
BENCHMARK(BM_FindWhenOff);

void LineToFile(benchmark::State& ioState, std::shared_ptr<KELSysTraceObjBase> iOutput, unsigned iFlags) {
  KELSysTraceLayout l_Layout;
  l_Layout.m_PrefixFlags = iFlags;
  KELSysTrace l_Trace("KELSYSREGKEY", std::move(iOutput), l_Layout);
  int l_Value = 0;
  for (auto l_ : ioState) l_Trace.Print(KELSysTraceDebug, "  QueryValue OK iValueName: Path%d\n", l_Value++);
}

void BM_LineToFile(benchmark::State& ioState) {
  TempFolder l_Folder;
  LineToFile(ioState, std::make_shared<KELSysTraceStreamObj>(l_Folder.Path() + "/t.trc"), 0);
}
BENCHMARK(BM_LineToFile);

void BM_LineToFileWithTimeAndThread(benchmark::State& ioState) {
  TempFolder l_Folder;
  LineToFile(ioState, std::make_shared<KELSysTraceStreamObj>(l_Folder.Path() + "/t.trc"),
             KELSysTracePrefixTime | KELSysTracePrefixThread);
}
BENCHMARK(BM_LineToFileWithTimeAndThread);

void BM_LineToRotatingFiles(benchmark::State& ioState) {
  TempFolder l_Folder;
  LineToFile(ioState, std::make_shared<KELSysTraceStreamObj>(l_Folder.Path() + "/t.trc", 1 << 20, 4), 0);
}
BENCHMARK(BM_LineToRotatingFiles);

// A rotation before every line, in a set of range(0) files that all exist already (a set that has
// wrapped around): the cost of a rotation as the file count grows.
void BM_RotationInAWrappedSet(benchmark::State& ioState) {
  TempFolder l_Folder;
  const unsigned l_Count = static_cast<unsigned>(ioState.range(0));
  const std::string l_Base = l_Folder.Path() + "/t.trc";
  {
    KELSysTraceStreamObj l_Fill(l_Base, 1, l_Count);
    for (unsigned l_File = 0; l_File < l_Count; ++l_File) l_Fill.Write(std::string(2, 'x'));
  }
  LineToFile(ioState, std::make_shared<KELSysTraceStreamObj>(l_Base, 1, l_Count), 0);
}
BENCHMARK(BM_RotationInAWrappedSet)->ArgName("files")->Arg(10)->Arg(10000);

}  // namespace

BENCHMARK_MAIN();
