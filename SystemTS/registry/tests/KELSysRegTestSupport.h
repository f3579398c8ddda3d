// Fixture of the registry tests: a fresh registry root and home folder under /tmp, files read and
// written by relative path, and the key trace captured in memory.
#ifndef KELSysRegTestSupport_H
#define KELSysRegTestSupport_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "KELSysRegKey.h"
#include "KELSysRegTestRoot.h"
#include "KELSysTrace.h"
#include "KELSysTraceObj.h"

class KELSysRegTest : public testing::Test {
 protected:
  KELSysRegTest() {
    char l_Template[] = "/tmp/kelsysreg.XXXXXX";
    m_Root = mkdtemp(l_Template);
    const char* l_Home = getenv("HOME");
    m_HadHome = l_Home != nullptr;
    if (l_Home) m_OldHome = l_Home;
    std::filesystem::create_directory(m_Root + "/home");
    setenv("HOME", (m_Root + "/home").c_str(), 1);
    KELSysRegSetRootForTest(m_Root.c_str());
  }
  ~KELSysRegTest() override {
    KELSysRegSetRootForTest(nullptr);
    if (m_HadHome)
      setenv("HOME", m_OldHome.c_str(), 1);
    else
      unsetenv("HOME");
    std::error_code l_Ignored;
    std::filesystem::remove_all(m_Root, l_Ignored);
  }

  std::string Path(const std::string& iRelative) const { return m_Root + "/" + iRelative; }

  // Writes a file (making its folders) and, for a key file, the key folder beside it.
  void Write(const std::string& iRelative, const std::string& iBytes) const {
    std::filesystem::path l_Path(Path(iRelative));
    std::filesystem::create_directories(l_Path.parent_path());
    std::ofstream(l_Path, std::ios::binary) << iBytes;
  }
  void WriteKey(const std::string& iRelative, const std::string& iBytes) const {
    Write(iRelative + ".json", iBytes);
    std::filesystem::create_directories(Path(iRelative));
  }
  std::string Read(const std::string& iRelative) const {
    std::ifstream l_In(Path(iRelative), std::ios::binary);
    std::stringstream l_Text;
    l_Text << l_In.rdbuf();
    return l_Text.str();
  }
  bool Exists(const std::string& iRelative) const {
    struct stat l_Stat;
    return lstat(Path(iRelative).c_str(), &l_Stat) == 0;
  }
  // Modification and change times in nanoseconds.
  std::pair<long long, long long> Times(const std::string& iRelative) const {
    struct stat l_Stat;
    if (stat(Path(iRelative).c_str(), &l_Stat) != 0) return {-1, -1};
    return {l_Stat.st_mtim.tv_sec * 1000000000LL + l_Stat.st_mtim.tv_nsec,
            l_Stat.st_ctim.tv_sec * 1000000000LL + l_Stat.st_ctim.tv_nsec};
  }

  // The trace lines written so far, without their "[D] KELSYSREGKEY: " heads, then forgotten.
  std::string TakeTrace() {
    std::string l_Out, l_Text = m_TraceOutput->GetText();
    m_TraceOutput->Clear();
    const std::string l_Head = "[D] KELSYSREGKEY: ";
    for (size_t l_At = 0; l_At < l_Text.size();) {
      size_t l_End = l_Text.find('\n', l_At);
      l_End = l_End == std::string::npos ? l_Text.size() : l_End + 1;
      std::string l_Line = l_Text.substr(l_At, l_End - l_At);
      l_Out += l_Line.rfind(l_Head, 0) == 0 ? l_Line.substr(l_Head.size()) : "?" + l_Line;
      l_At = l_End;
    }
    return l_Out;
  }
  KELSysRegKey& Traced(KELSysRegKey& ioKey) {
    ioKey.SetTraceForTest(&m_Trace);
    return ioKey;
  }

  std::string m_Root;
  std::shared_ptr<KELSysTraceMemoryObj> m_TraceOutput = std::make_shared<KELSysTraceMemoryObj>();
  KELSysTrace m_Trace{"KELSYSREGKEY", m_TraceOutput};

 private:
  bool m_HadHome = false;
  std::string m_OldHome;
};

#endif
