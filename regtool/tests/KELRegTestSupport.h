// Test support: the built KELReg run as a real process on a registry in a fresh temporary folder.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;

inline std::string KELRegReadFile(const std::string& iPath) {
  std::ifstream l_In(iPath, std::ios::binary);
  return {std::istreambuf_iterator<char>(l_In), {}};
}
inline void KELRegWriteFile(const std::string& iPath, const std::string& iBytes) {
  std::ofstream(iPath, std::ios::binary | std::ios::trunc) << iBytes;
}

struct KELRegOutcome {
  int m_Status = -1;  // -1 when the process did not end normally
  std::string m_Out, m_Err;
};

class KELRegTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char l_Template[] = "/tmp/KELRegTest.XXXXXX";
    ASSERT_NE(::mkdtemp(l_Template), nullptr) << std::strerror(errno);
    m_Dir = l_Template;
    ::chmod(m_Dir.c_str(), 0755);  // reachable by the unprivileged user of the permission tests
    m_Root = m_Dir + "/reg";
    fs::create_directories(m_Root);
  }
  void TearDown() override { fs::remove_all(m_Dir); }

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
    KELRegWriteFile(l_Base + ".in", iInput);
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
    l_Outcome.m_Out = KELRegReadFile(l_Base + ".out");
    l_Outcome.m_Err = KELRegReadFile(l_Base + ".err");
    for (const char* l_Suffix : {".in", ".out", ".err"}) fs::remove(l_Base + l_Suffix);
    return l_Outcome;
  }

  // Every path below the registry root with its bytes, sorted: compares whole registries.
  std::vector<std::string> Snapshot(const std::string& iRoot = "") const {
    std::vector<std::string> l_Files;
    const std::string l_Root = iRoot.empty() ? m_Root : iRoot;
    // The change journal and the quarantine are KELReg's own, beside the hives.
    for (auto l_It = fs::recursive_directory_iterator(l_Root); l_It != fs::recursive_directory_iterator();
         ++l_It) {
      if (l_It->path().filename() == ".KELReg" && l_It.depth() == 0) {
        l_It.disable_recursion_pending();
        continue;
      }
      l_Files.push_back(l_It->path().string().substr(l_Root.size()) + " " +
                        (l_It->is_regular_file() ? KELRegReadFile(l_It->path()) : "<dir>"));
    }
    std::sort(l_Files.begin(), l_Files.end());
    return l_Files;
  }
  std::string Key(const std::string& iRelative) const { return KELRegReadFile(m_Root + "/" + iRelative); }

  std::string m_Dir, m_Root;
};

// Expects a run to have ended with iStatus, iOut and iErr exactly.
#define EXPECT_RUN(RUN, STATUS, OUT, ERR)               \
  do {                                                  \
    KELRegOutcome l_Run_ = (RUN);                       \
    EXPECT_EQ(l_Run_.m_Status, STATUS) << l_Run_.m_Err; \
    EXPECT_EQ(l_Run_.m_Out, OUT);                       \
    EXPECT_EQ(l_Run_.m_Err, ERR);                       \
  } while (0)
