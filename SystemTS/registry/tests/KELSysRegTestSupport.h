// Fixture of the registry tests: a fresh registry root and home folder under /tmp, files read and
// written by path relative to it, and the key trace captured in memory.
#ifndef KELSysRegTestSupport_H
#define KELSysRegTestSupport_H

#include <gtest/gtest.h>

#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>

#include "../../../tests/KELTestSupport.h"
#include "KELSysRegKey.h"
#include "KELSysRegTestRoot.h"
#include "KELSysTrace.h"
#include "KELSysTraceObj.h"

namespace fs = std::filesystem;
using Names = std::vector<MORUnicodeString>;

inline std::string KELSysRegReadFile(const std::string& iPath) { return KELTestReadFile(iPath); }

// Runs iBody(0) ... iBody(iCount - 1) each in a child process of its own, starting them together
// once all are made, and waits for them all. Each body returns what went wrong, or "" when all was
// well; the result is every complaint, one per line, with how the children that did not end
// normally ended.
inline std::string KELSysRegInChildren(int iCount, const std::function<std::string(int)>& iBody) {
  void* l_Page =
      mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (l_Page == MAP_FAILED) return "no shared page\n";
  auto* l_Arrived = new (l_Page) std::atomic<int>(0);
  std::vector<std::pair<pid_t, int>> l_Children;
  std::string l_Said;
  for (int l_Index = 0; l_Index < iCount; ++l_Index) {
    int l_Pipe[2];
    pid_t l_Child = pipe(l_Pipe) == 0 ? fork() : -1;
    if (l_Child == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);  // a test ended by its alarm leaves no child behind
      close(l_Pipe[0]);
      for (++*l_Arrived; *l_Arrived < iCount;) sched_yield();
      std::string l_Report = iBody(l_Index);
      if (!l_Report.empty()) l_Report = "child " + std::to_string(l_Index) + ": " + l_Report + "\n";
      ssize_t l_Ignored = write(l_Pipe[1], l_Report.data(), l_Report.size());
      (void)l_Ignored;
      _exit(0);
    }
    if (l_Child < 0) {
      l_Said = "no pipe or no child\n";
      *l_Arrived += iCount;  // the children made so far run all the same
      break;
    }
    close(l_Pipe[1]);
    l_Children.emplace_back(l_Child, l_Pipe[0]);
  }
  for (auto [l_Child, l_Fd] : l_Children) {
    char l_Buffer[4096];
    for (ssize_t l_Got; (l_Got = read(l_Fd, l_Buffer, sizeof l_Buffer)) > 0;)
      l_Said.append(l_Buffer, size_t(l_Got));
    close(l_Fd);
    int l_Status = 0;
    waitpid(l_Child, &l_Status, 0);
    if (!WIFEXITED(l_Status) || WEXITSTATUS(l_Status) != 0)
      l_Said += "a child ended with status " + std::to_string(l_Status) + "\n";
  }
  munmap(l_Page, sizeof(std::atomic<int>));
  return l_Said;
}

class KELSysRegKeyTest : public testing::Test {
 protected:
  KELSysRegKeyTest() {
    if (const char* l_Home = getenv("HOME")) m_OldHome = l_Home;
    setenv("HOME", Path("home").c_str(), 1);
    KELSysRegSetRootForTest(m_Root.c_str());
  }
  ~KELSysRegKeyTest() override {
    KELSysRegSetRootForTest(nullptr);
    setenv("HOME", m_OldHome.c_str(), 1);
  }

  std::string Path(const std::string& iRelative) const { return m_Root + "/" + iRelative; }
  // A key: its file and its folder.
  void WriteKey(const std::string& iRelative, const std::string& iBytes = "") const {
    fs::create_directories(Path(iRelative));
    KELTestWriteFile(Path(iRelative + ".json"), iBytes);
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

  KELTestTempDir m_Temp{"kelsysreg"};
  std::string m_Root = m_Temp.Path(), m_OldHome;
  std::shared_ptr<KELSysTraceMemoryObj> m_TraceOutput = std::make_shared<KELSysTraceMemoryObj>();
  KELSysTrace m_Trace{"KELSYSREGKEY", m_TraceOutput};
};

#endif
