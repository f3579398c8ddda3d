// What the tests of every module share: a fresh temporary folder removed afterwards, whole files read
// and written as bytes, a tree listed with its bytes, shell quoting and a program run as a process.
#pragma once

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

inline std::string KELTestReadFile(const std::string& iPath) {
  std::ifstream l_In(iPath, std::ios::binary);
  return {std::istreambuf_iterator<char>(l_In), {}};
}
inline void KELTestWriteFile(const std::string& iPath, const std::string& iBytes) {
  std::ofstream(iPath, std::ios::binary | std::ios::trunc) << iBytes;
}

// A fresh folder /tmp/<iPrefix>.XXXXXX, removed with all it holds when the object goes.
class KELTestTempDir {
 public:
  explicit KELTestTempDir(const std::string& iPrefix = "KELTest") : m_Path("/tmp/" + iPrefix + ".XXXXXX") {
    if (::mkdtemp(m_Path.data()) == nullptr) m_Path.clear();
  }
  ~KELTestTempDir() {
    if (!m_Path.empty()) std::filesystem::remove_all(m_Path);
  }
  KELTestTempDir(const KELTestTempDir&) = delete;
  KELTestTempDir& operator=(const KELTestTempDir&) = delete;
  const std::string& Path() const { return m_Path; }
  std::string At(const std::string& iName) const { return m_Path + "/" + iName; }
  // Writes iBytes to iName below the folder, making the folders on the way; returns its path.
  std::string Write(const std::string& iName, const std::string& iBytes) const {
    std::filesystem::create_directories(std::filesystem::path(At(iName)).parent_path());
    KELTestWriteFile(At(iName), iBytes);
    return At(iName);
  }
  std::string Read(const std::string& iName) const { return KELTestReadFile(At(iName)); }
  // Whether iName exists below the folder (a symbolic link counts, even one that leads nowhere).
  bool Exists(const std::string& iName) const {
    return std::filesystem::exists(std::filesystem::symlink_status(At(iName)));
  }

 private:
  std::string m_Path;
};

// Every path below iRoot, relative, with its bytes ("<dir>" for a folder) and, when asked, its
// modification time; sorted, so that whole trees compare.
inline std::vector<std::string> KELTestSnapshot(const std::string& iRoot, bool iTimes = false) {
  std::vector<std::string> l_Files;
  for (const auto& l_Entry : std::filesystem::recursive_directory_iterator(iRoot))
    l_Files.push_back(
        l_Entry.path().string().substr(iRoot.size()) +
        (iTimes ? " " + std::to_string(l_Entry.last_write_time().time_since_epoch().count()) : "") + " " +
        (l_Entry.is_regular_file() ? KELTestReadFile(l_Entry.path()) : "<dir>"));
  std::sort(l_Files.begin(), l_Files.end());
  return l_Files;
}

// iText as one word for the shell.
inline std::string KELTestQuote(const std::string& iText) {
  std::string l_Quoted = "'";
  for (char l_Char : iText) l_Quoted += l_Char == '\'' ? std::string("'\\''") : std::string(1, l_Char);
  return l_Quoted + "'";
}

// How a process ended: its status (-1 when it did not end normally), its standard output and error.
struct KELTestOutcome {
  int m_Status = -1;
  std::string m_Out, m_Err;
};

// Runs the program iArgs[0] (a path) with files in iDir for its three streams, iInput on standard
// input. iUser, when given, is the user id the process runs as; iEnvironment adds variables. It
// starts as from a shell: SIGPIPE at its default, whatever this process does with it.
inline KELTestOutcome KELTestRun(const std::string& iDir, const std::vector<std::string>& iArgs,
                                 const std::string& iInput = "", int iUser = -1,
                                 const std::vector<std::string>& iEnvironment = {}) {
  static int s_Run = 0;
  std::string l_Base = iDir + "/run" + std::to_string(s_Run++);
  KELTestWriteFile(l_Base + ".in", iInput);
  pid_t l_Child = fork();
  if (l_Child == 0) {
    int l_In = open((l_Base + ".in").c_str(), O_RDONLY);
    int l_Out = open((l_Base + ".out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    int l_Err = open((l_Base + ".err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    dup2(l_In, 0), dup2(l_Out, 1), dup2(l_Err, 2);
    std::signal(SIGPIPE, SIG_DFL);
    for (const std::string& l_Setting : iEnvironment) putenv(strdup(l_Setting.c_str()));
    if (iUser >= 0 && (setgid(gid_t(iUser)) != 0 || setuid(uid_t(iUser)) != 0)) _exit(126);
    std::vector<char*> l_Argv;
    for (const std::string& l_Arg : iArgs) l_Argv.push_back(const_cast<char*>(l_Arg.c_str()));
    l_Argv.push_back(nullptr);
    execv(l_Argv[0], l_Argv.data());
    _exit(127);
  }
  KELTestOutcome l_Outcome;
  int l_Wait = 0;
  waitpid(l_Child, &l_Wait, 0);
  if (WIFEXITED(l_Wait)) l_Outcome.m_Status = WEXITSTATUS(l_Wait);
  l_Outcome.m_Out = KELTestReadFile(l_Base + ".out");
  l_Outcome.m_Err = KELTestReadFile(l_Base + ".err");
  for (const char* l_Suffix : {".in", ".out", ".err"}) std::filesystem::remove(l_Base + l_Suffix);
  return l_Outcome;
}
