// Test support: the built KELReg run as a real process on a registry in a fresh temporary folder.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include "../../tests/KELTestSupport.h"

namespace fs = std::filesystem;

// The leak checker of the sanitizers' build cannot run under strace, and makes the run fail.
inline const char* const k_NoLeakCheck = "ASAN_OPTIONS=detect_leaks=0:detect_stack_use_after_return=1";

#define KELREG_SKIP_WITHOUT_STRACE()            \
  if (system("strace -V >/dev/null 2>&1") != 0) \
  GTEST_SKIP() << "strace is not installed (apt-get install strace)"

struct KELRegOutcome {
  int m_Status = -1;  // -1 when the process did not end normally
  std::string m_Out, m_Err;
};

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
    static int s_Run = 0;
    std::string l_Base = m_Dir + "/run" + std::to_string(s_Run++);
    KELTestWriteFile(l_Base + ".in", iInput);
    pid_t l_Child = fork();
    if (l_Child == 0) {
      int l_In = open((l_Base + ".in").c_str(), O_RDONLY);
      int l_Out = open((l_Base + ".out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
      int l_Err = open((l_Base + ".err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
      dup2(l_In, 0), dup2(l_Out, 1), dup2(l_Err, 2);
      for (const std::string& l_Setting : iEnvironment) putenv(strdup(l_Setting.c_str()));
      if (iUser >= 0 && (setgid(gid_t(iUser)) != 0 || setuid(uid_t(iUser)) != 0)) _exit(126);
      std::vector<char*> l_Argv;
      for (const std::string& l_Arg : iArgs) l_Argv.push_back(const_cast<char*>(l_Arg.c_str()));
      l_Argv.push_back(nullptr);
      execv(l_Argv[0], l_Argv.data());
      _exit(127);
    }
    KELRegOutcome l_Outcome;
    int l_Wait = 0;
    waitpid(l_Child, &l_Wait, 0);
    if (WIFEXITED(l_Wait)) l_Outcome.m_Status = WEXITSTATUS(l_Wait);
    l_Outcome.m_Out = KELTestReadFile(l_Base + ".out");
    l_Outcome.m_Err = KELTestReadFile(l_Base + ".err");
    for (const char* l_Suffix : {".in", ".out", ".err"}) fs::remove(l_Base + l_Suffix);
    return l_Outcome;
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
