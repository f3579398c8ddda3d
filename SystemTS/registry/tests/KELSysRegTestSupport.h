// Fixture of the registry tests: a fresh registry root and home folder under /tmp, files read and
// written by path relative to it, and the key trace captured in memory.
#ifndef KELSysRegTestSupport_H
#define KELSysRegTestSupport_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "KELSysRegKey.h"
#include "KELSysRegTestRoot.h"
#include "KELSysTrace.h"
#include "KELSysTraceObj.h"

namespace fs = std::filesystem;
using Names = std::vector<MORUnicodeString>;

inline std::string KELSysRegReadFile(const std::string& iPath) {
  std::ifstream l_In(iPath, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(l_In), std::istreambuf_iterator<char>());
}

class KELSysRegKeyTest : public testing::Test {
 protected:
  KELSysRegKeyTest() {
    char l_Template[] = "/tmp/kelsysreg.XXXXXX";
    m_Root = mkdtemp(l_Template);
    if (const char* l_Home = getenv("HOME")) m_OldHome = l_Home;
    setenv("HOME", Path("home").c_str(), 1);
    KELSysRegSetRootForTest(m_Root.c_str());
  }
  ~KELSysRegKeyTest() override {
    KELSysRegSetRootForTest(nullptr);
    setenv("HOME", m_OldHome.c_str(), 1);
    fs::remove_all(m_Root);
  }

  std::string Path(const std::string& iRelative) const { return m_Root + "/" + iRelative; }
  // A key: its file and its folder.
  void WriteKey(const std::string& iRelative, const std::string& iBytes = "") const {
    fs::create_directories(Path(iRelative));
    std::ofstream(Path(iRelative + ".json"), std::ios::binary) << iBytes;
  }
  std::string Read(const std::string& iRelative) const { return KELSysRegReadFile(Path(iRelative)); }
  bool Exists(const std::string& iRelative) const { return fs::exists(fs::symlink_status(Path(iRelative))); }

  // The trace lines so far, without their "[D] KELSYSREGKEY: " heads; then forgotten.
  std::string TakeTrace() {
    std::string l_Text = m_TraceOutput->GetText(), l_Head = "[D] KELSYSREGKEY: ";
    m_TraceOutput->Clear();
    for (size_t l_At; (l_At = l_Text.find(l_Head)) != std::string::npos;) l_Text.erase(l_At, l_Head.size());
    return l_Text;
  }

  std::string m_Root, m_OldHome;
  std::shared_ptr<KELSysTraceMemoryObj> m_TraceOutput = std::make_shared<KELSysTraceMemoryObj>();
  KELSysTrace m_Trace{"KELSYSREGKEY", m_TraceOutput};
};

#endif
