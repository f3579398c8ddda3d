// Cost of the framework string on the registry's paths: a registry key path built from narrow text
// and given back, as ASCII and as UTF-8 with accented and CJK names, each beside the same round trip
// through iconv; and the cost of copying a string (shared block) beside copying a std::u16string.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdlib>
#include <string>

#include "MORStringWarning.h"
#include "MORUnicodeString.h"

namespace {

const std::string kASCII = "/etc/.Quorvane/HKLM/SOFTWARE/Quorvane/Q4/B419/Desktop/X1.json";
const std::string kUTF8 =
    "/etc/.Quorvane/HKLM/SOFTWARE/Quorvane/Q4/B419/Bureau\xC3\xA9/\xE6\x97\xA5\xE6\x9C\xAC.json";

// The process code set is UTF-8 and warnings are off, as in the command.
void Setup() {
  setenv("LANG", "en_US.UTF-8", 1);
  MORStringWarning::SetProcessActive(false);
}

void StringRoundTrip(benchmark::State& ioState, const std::string& iText) {
  Setup();
  for (auto l_ : ioState) {
    MORUnicodeString l_Text(iText.data(), iText.size());
    size_t l_Length = 0;
    benchmark::DoNotOptimize(l_Text.ConvertToMBCS(&l_Length));
  }
}

// The same trip through iconv: to UTF-16LE into a buffer, and back.
void IConvRoundTrip(benchmark::State& ioState, const std::string& iText) {
  iconv_t l_To = iconv_open("UTF-16LE", "UTF-8"), l_From = iconv_open("UTF-8", "UTF-16LE");
  for (auto l_ : ioState) {
    std::u16string l_Units(iText.size(), u'\0');
    char* l_In = const_cast<char*>(iText.data());
    char* l_Out = reinterpret_cast<char*>(l_Units.data());
    size_t l_InLeft = iText.size(), l_OutLeft = l_Units.size() * 2;
    iconv(l_To, &l_In, &l_InLeft, &l_Out, &l_OutLeft);
    l_Units.resize(l_Units.size() - l_OutLeft / 2);
    std::string l_Back(l_Units.size() * 3, '\0');
    l_In = reinterpret_cast<char*>(l_Units.data());
    l_Out = l_Back.data();
    l_InLeft = l_Units.size() * 2, l_OutLeft = l_Back.size();
    iconv(l_From, &l_In, &l_InLeft, &l_Out, &l_OutLeft);
    benchmark::DoNotOptimize(l_Back.data());
  }
  iconv_close(l_To);
  iconv_close(l_From);
}

void BM_StringASCII(benchmark::State& ioState) { StringRoundTrip(ioState, kASCII); }
void BM_IConvASCII(benchmark::State& ioState) { IConvRoundTrip(ioState, kASCII); }
void BM_StringUTF8(benchmark::State& ioState) { StringRoundTrip(ioState, kUTF8); }
void BM_IConvUTF8(benchmark::State& ioState) { IConvRoundTrip(ioState, kUTF8); }

void BM_StringCopy(benchmark::State& ioState) {
  MORUnicodeString l_Text = MORUnicodeString::FromUTF8(kASCII.c_str());
  for (auto l_ : ioState) {
    MORUnicodeString l_Copy(l_Text);
    benchmark::DoNotOptimize(l_Copy.ConvertToUTF16());
  }
}

void BM_U16StringCopy(benchmark::State& ioState) {
  std::u16string l_Text(kASCII.begin(), kASCII.end());
  for (auto l_ : ioState) {
    std::u16string l_Copy(l_Text);
    benchmark::DoNotOptimize(l_Copy.data());
  }
}

BENCHMARK(BM_StringASCII);
BENCHMARK(BM_IConvASCII);
BENCHMARK(BM_StringUTF8);
BENCHMARK(BM_IConvUTF8);
BENCHMARK(BM_StringCopy);
BENCHMARK(BM_U16StringCopy);

}  // namespace

BENCHMARK_MAIN();
