// Fixture of the registry tests: a fresh registry root and home folder under /tmp, files read and
// written by path relative to it, the key trace captured in memory, and children to run at once.
#ifndef KELSysRegTestSupport_H
#define KELSysRegTestSupport_H

#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <iostream>

#include "../../../tests/KELTestSupport.h"
#include "KELSysRegKey.h"
#include "KELSysRegRoot.h"
#include "KELSysRegTestRoot.h"
#include "KELSysTrace.h"
#include "KELSysTraceObj.h"

namespace fs = std::filesystem;
using Names = std::vector<MORUnicodeString>;
constexpr int k_HKLM = KELSysRegHiveLocalMachine;
constexpr uint32_t k_Read = KELSysRegAccessRead, k_ReadWrite = KELSysRegAccessReadWrite;

// Runs iBody in a child process, which ends with the status iBody returns; the child's id.
inline pid_t KELSysRegFork(const std::function<int()>& iBody) {
  const pid_t l_Child = fork();
  if (l_Child != 0) return l_Child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test ended by its alarm leaves no child behind
  _exit(iBody());
}

// How the child iChild ended (a waitpid status; -1 for no child), killed first when iKill.
inline int KELSysRegReap(pid_t iChild, bool iKill = false) {
  int l_Status = -1;
  if (iChild > 0 && (!iKill || kill(iChild, SIGKILL) == 0)) waitpid(iChild, &l_Status, 0);
  return l_Status;
}

// Runs iBody(0) ... iBody(iCount - 1) each in a child process of its own, starting them together
// once all are made, and waits for them all. Each body returns what went wrong, or "" when all was
// well; a child writes that on the standard error and fails. The result tells how the children that
// did not end well ended, one per line: "" when all did.
inline std::string KELSysRegInChildren(int iCount, const std::function<std::string(int)>& iBody) {
  int l_Go[2];
  if (pipe(l_Go) != 0) return "no pipe";
  std::vector<pid_t> l_Children;
  for (int l_Index = 0; l_Index < iCount; ++l_Index)
    l_Children.push_back(KELSysRegFork([&] {
      close(l_Go[1]);
      char l_Byte;  // the read ends (at the end of the file) once the parent has made them all
      const std::string l_Said = read(l_Go[0], &l_Byte, 1) == 0 ? iBody(l_Index) : "not started";
      if (!l_Said.empty()) std::cerr << "child " << l_Index << ": " << l_Said << std::endl;
      return l_Said.empty() ? 0 : 1;
    }));
  for (int l_Fd : l_Go) close(l_Fd);
  std::string l_Said;
  for (pid_t l_Child : l_Children)
    if (int l_Status = KELSysRegReap(l_Child); !WIFEXITED(l_Status) || WEXITSTATUS(l_Status) != 0)
      l_Said += "a child ended with status " + std::to_string(l_Status) + "\n";
  return l_Said;
}

// The string value iName of iKey as its query hands it out (starting from "?"), or "!" and the
// query's result when that fails.
inline std::string KELSysRegValue(KELSysRegKey& iKey, const char* iName) {
  MORUnicodeString l_Value = "?";
  const KELSysResult l_Rc = iKey.QueryStringValue(iName, l_Value);
  return l_Rc == KEL_S_OK ? std::string(l_Value.ConvertToUTF8()) : "!" + KELSysResultName(l_Rc);
}

class KELSysRegKeyTest : public testing::Test, public KELTestTempDir {
 protected:
  KELSysRegKeyTest() : KELTestTempDir("kelsysreg") {
    if (const char* l_Home = getenv("HOME")) m_OldHome = l_Home;
    setenv("HOME", At("home").c_str(), 1);
    KELSysRegSetRootForTest(Path().c_str());
  }
  ~KELSysRegKeyTest() override {
    KELSysRegSetRootForTest(nullptr);
    KELSysRegSetRegistryRoot(nullptr);
    setenv("HOME", m_OldHome.c_str(), 1);
  }

  // A key: its file and its folder.
  void WriteKey(const std::string& iRelative, const std::string& iBytes = "") const {
    fs::create_directories(At(iRelative));
    KELTestWriteFile(At(iRelative + ".json"), iBytes);
  }
  // Whether the key file is locked: a new open file description cannot lock it.
  bool IsLocked(const std::string& iRelative) const {
    int l_Fd = open(At(iRelative).c_str(), O_RDONLY | O_CLOEXEC);
    bool l_Locked = flock(l_Fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    close(l_Fd);
    return l_Locked;
  }
  // The trace lines so far, without their "[D] KELSYSREGKEY: " heads; then forgotten.
  std::string TakeTrace() {
    std::string l_Text = m_TraceOutput->GetText(), l_Head = "[D] KELSYSREGKEY: ";
    m_TraceOutput->Clear();
    for (size_t l_At; (l_At = l_Text.find(l_Head)) != std::string::npos;) l_Text.erase(l_At, l_Head.size());
    return l_Text;
  }

  std::string m_OldHome;
  std::shared_ptr<KELSysTraceMemoryObj> m_TraceOutput = std::make_shared<KELSysTraceMemoryObj>();
  KELSysTrace m_Trace{"KELSYSREGKEY", m_TraceOutput};
};

#endif
