// Test support: the built KELReg run as a real process on a registry in a fresh temporary folder.
#pragma once

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>

#include "../../tests/KELTestSupport.h"

namespace fs = std::filesystem;

// The leak checker of the sanitizers' build cannot run under strace, and makes the run fail.
inline const char* const k_NoLeakCheck = "ASAN_OPTIONS=detect_leaks=0:detect_stack_use_after_return=1";

#define KELREG_SKIP_WITHOUT_STRACE()            \
  if (system("strace -V >/dev/null 2>&1") != 0) \
  GTEST_SKIP() << "strace is not installed (apt-get install strace)"

using KELRegOutcome = KELTestOutcome;

class KELRegTest : public ::testing::Test {
 protected:
  KELRegTest() {
    ::chmod(m_Dir.c_str(), 0755);  // reachable by the unprivileged user of the permission tests
    fs::create_directories(m_Root);
  }

  // Runs KELReg with "--root <root>" (unless iWithRoot is false) and iArgs, iInput on standard
  // input. iUser, when given, is the user id the process runs as; iEnvironment adds variables.
  KELRegOutcome Reg(const std::vector<std::string>& iArgs, const std::string& iInput = "",
                    bool iWithRoot = true, int iUser = -1,
                    const std::vector<std::string>& iEnvironment = {}) const {
    std::vector<std::string> l_Args = {KEL_BINARY_DIR "/KELReg"};
    if (iWithRoot) l_Args.insert(l_Args.end(), {"--root", m_Root});
    l_Args.insert(l_Args.end(), iArgs.begin(), iArgs.end());
    return Exec(l_Args, iInput, iUser, iEnvironment);
  }
  // Runs any program with the same plumbing: files for the three streams.
  KELRegOutcome Exec(const std::vector<std::string>& iArgs, const std::string& iInput = "", int iUser = -1,
                     const std::vector<std::string>& iEnvironment = {}) const {
    return KELTestRun(m_Dir, iArgs, iInput, iUser, iEnvironment);
  }
  // Runs KELReg on the registry under strace with the options iStrace.
  KELRegOutcome Strace(std::vector<std::string> iStrace, const std::vector<std::string>& iArgs,
                       const std::string& iInput = "") const {
    iStrace.insert(iStrace.begin(), {"/usr/bin/env", "strace", "-qq"});
    iStrace.insert(iStrace.end(), {KEL_BINARY_DIR "/KELReg", "--root", m_Root});
    iStrace.insert(iStrace.end(), iArgs.begin(), iArgs.end());
    return Exec(iStrace, iInput, -1, {k_NoLeakCheck});
  }
  // Runs KELReg once for each argument list; each must succeed silently.
  void Regs(const std::vector<std::vector<std::string>>& iRuns) const {
    for (const std::vector<std::string>& l_Args : iRuns) {
      KELRegOutcome l_Run = Reg(l_Args);
      EXPECT_TRUE(l_Run.m_Status == 0 && l_Run.m_Out.empty() && l_Run.m_Err.empty())
          << l_Args[0] << " " << l_Args[1] << ": " << l_Run.m_Status << " " << l_Run.m_Err;
    }
  }

  // Every path below the registry root with its bytes, sorted: compares whole registries.
  std::vector<std::string> Snapshot(const std::string& iRoot = "") const {
    // The change journal and the quarantine are KELReg's own, beside the hives.
    std::vector<std::string> l_Files = KELTestSnapshot(iRoot.empty() ? m_Root : iRoot);
    std::erase_if(l_Files, [](const std::string& iFile) {
      return iFile.starts_with("/.KELReg ") || iFile.starts_with("/.KELReg/");
    });
    return l_Files;
  }
  std::string Key(const std::string& iRelative) const { return KELTestReadFile(m_Root + "/" + iRelative); }

  KELTestTempDir m_Temp{"KELRegTest"};
  std::string m_Dir = m_Temp.Path(), m_Root = m_Dir + "/reg";
};

// Expects a run to have ended with iStatus, iOut and iErr exactly.
#define EXPECT_RUN(RUN, STATUS, OUT, ERR)               \
  do {                                                  \
    KELRegOutcome l_Run_ = (RUN);                       \
    EXPECT_EQ(l_Run_.m_Status, STATUS) << l_Run_.m_Err; \
    EXPECT_EQ(l_Run_.m_Out, OUT);                       \
    EXPECT_EQ(l_Run_.m_Err, ERR);                       \
  } while (0)
