// Locks on key files: a holder that never lets go, a key file replaced while a writer waits for it,
// one thread opening a key many times, and many processes on one registry at once: writers that
// create trees and read-modify-write keys and must lose no update, changes that replace key files,
// and reads that must never see a write-back halfway. Children start together (KELSysRegInChildren)
// and report every read that went wrong.
#include <sys/mman.h>

#include <atomic>

#include "KELSysRegChange.h"
#include "KELSysRegLock.h"
#include "KELSysRegTestSupport.h"

namespace {

using Clock = std::chrono::steady_clock;

class KELSysRegLockTest : public KELSysRegKeyTest {
 protected:
  // A hang ends the test binary instead of the CI run.
  void SetUp() override { alarm(300); }
  void TearDown() override { alarm(0); }
};

// Step s of every writer creates key T<s/10>\S<s%5> (with its parents): a new parent every ten
// steps, which all the writers create at once, and keys shared by all the writers, each taking two
// values of each. Before setting its value, a step must find the one it set there five steps before.
constexpr int k_Writers = 8, k_Steps = 200;
std::string StepKey(int iStep) {
  return "T" + std::to_string(iStep / 10) + "\\S" + std::to_string(iStep % 5);
}
std::string StepValue(int iWriter, int iStep) {
  return "w" + std::to_string(iWriter) + "_" + std::to_string(iStep);
}

std::string WriteSteps(int iWriter) {
  for (int l_Step = 0; l_Step < k_Steps; ++l_Step) {
    KELSysRegKey l_Key;
    uint32_t l_Before = 0;
    KELSysResult l_Rc = l_Key.CreateKey(k_HKLM, StepKey(l_Step).c_str(), k_ReadWrite);
    if (l_Rc == KEL_S_OK && l_Step % 10 >= 5)
      l_Rc = l_Key.QueryDWORDValue(StepValue(iWriter, l_Step - 5).c_str(), l_Before);
    if (l_Rc == KEL_S_OK) l_Rc = l_Key.SetDWORDValue(StepValue(iWriter, l_Step).c_str(), uint32_t(l_Step));
    if (l_Rc == KEL_S_OK) l_Rc = l_Key.CloseKey();
    if (l_Rc != KEL_S_OK) return "step " + std::to_string(l_Step) + ": " + KELSysResultName(l_Rc);
  }
  return "";
}

// Whether process iPid has iFile open.
bool HasOpen(pid_t iPid, const std::string& iFile) {
  std::error_code l_Error;
  for (const auto& l_Fd : fs::directory_iterator("/proc/" + std::to_string(iPid) + "/fd", l_Error))
    if (fs::read_symlink(l_Fd.path(), l_Error) == iFile) return true;
  return false;
}

// The exclusive lock is held elsewhere: opens of every kind give up after the bound and name the key
// file in the trace. A writer that opened the key file and then waited for the lock while the file
// was replaced (a new file renamed over it) works on the new file once the lock is let go: it reads
// it and its change lands there.
TEST_F(KELSysRegLockTest, OpensWaitForTheLockUpToTheBound) {
  const std::string l_File = At("HKLM/K.json");
  for (int l_Round = 0; l_Round < 5; ++l_Round) {
    WriteKey("HKLM/K", "{\"K\":{\"V\":[3,\"old\"]}}");
    const int l_Holder = open(l_File.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(l_Holder, LOCK_EX), 0);
    for (uint32_t l_Access : {k_Read, k_ReadWrite}) {
      if (l_Round > 0) break;  // the bound is waited out in the first round only
      KELSysRegKey l_Key;
      l_Key.SetTraceForTest(&m_Trace);
      const auto l_Start = Clock::now();
      EXPECT_EQ(l_Key.OpenKey(k_HKLM, "K", l_Access), KEL_E_TIMEOUT);
      const auto l_Waited = Clock::now() - l_Start;
      EXPECT_TRUE(l_Waited >= KELSysRegLockWait && l_Waited < KELSysRegLockWait + std::chrono::seconds(30));
      EXPECT_TRUE(l_Key.GetPath().IsEmpty());
      EXPECT_NE(TakeTrace().find(l_File + ": " + (l_Access == k_Read ? "shared" : "exclusive") +
                                 " lock not granted"),
                std::string::npos);
    }
    const pid_t l_Child = KELSysRegFork([] {
      KELSysRegKey l_Key;
      return l_Key.OpenKey(k_HKLM, "K", k_ReadWrite) != KEL_S_OK || KELSysRegValue(l_Key, "V") != "new" ||
             l_Key.SetStringValue("W", "added") != KEL_S_OK || l_Key.CloseKey() != KEL_S_OK;
    });
    // The child waits for the lock once it has the file open (or gives up after KELSysRegLockWait).
    for (const auto l_Deadline = Clock::now() + KELSysRegLockWait;
         !HasOpen(l_Child, l_File) && Clock::now() < l_Deadline;)
      sched_yield();
    KELTestWriteFile(At("HKLM/K.new"), "{\"K\":{\"V\":[3,\"new\"]}}");
    ASSERT_EQ(rename(At("HKLM/K.new").c_str(), l_File.c_str()), 0);
    flock(l_Holder, LOCK_UN);  // the child has the descriptor too
    close(l_Holder);
    EXPECT_EQ(KELSysRegReap(l_Child), 0) << "round " << l_Round;
    EXPECT_EQ(Read("HKLM/K.json"), "{\"Version\":\"1.0\",\"K\":{\"V\":[3,\"new\"],\"W\":[3,\"added\"]}}");
  }
}

// The key objects one thread opens on one file share its lock: none waits for another, the file is
// locked until the last writer closes, each writes what it holds. Another thread waits as another
// process would. A child made by fork meanwhile keeps a descriptor of the locked file: the lock
// still ends when the last key closes, not when the child lets go of that descriptor.
TEST_F(KELSysRegLockTest, OneThreadSharesItsLockAmongItsKeys) {
  WriteKey("HKLM/K", "{\"K\":{\"V\":[3,\"old\"]}}");
  KELSysRegKey l_First, l_Second, l_Reader, l_Created;
  auto l_Start = Clock::now();
  ASSERT_EQ(l_Reader.OpenKey(k_HKLM, "K", k_Read), KEL_S_OK);
  EXPECT_FALSE(IsLocked("HKLM/K.json"));  // a read-only key holds nothing after its read
  ASSERT_EQ(l_First.OpenKey(k_HKLM, "K", k_ReadWrite), KEL_S_OK);
  const pid_t l_Child = KELSysRegFork(pause);  // keeps every descriptor it inherited until killed
  ASSERT_EQ(l_Second.OpenKey(k_HKLM, "K", k_ReadWrite), KEL_S_OK);
  ASSERT_EQ(l_Created.CreateKey(k_HKLM, "K", k_Read), KEL_S_OK);
  ASSERT_EQ(l_Reader.OpenKey(k_HKLM, "K", k_Read), KEL_S_OK);
  EXPECT_LT(Clock::now() - l_Start, KELSysRegLockWait);
  EXPECT_TRUE(IsLocked("HKLM/K.json"));
  KELSysResult l_OtherThread = KEL_S_OK;
  std::thread([&l_OtherThread] { l_OtherThread = KELSysRegKey().OpenKey(k_HKLM, "K", k_ReadWrite); }).join();
  EXPECT_EQ(l_OtherThread, KEL_E_TIMEOUT);
  EXPECT_EQ(KELSysRegValue(l_Reader, "V"), "old");
  EXPECT_EQ(l_First.SetStringValue("V", "first") | l_Second.SetStringValue("W", "second"), KEL_S_OK);
  EXPECT_EQ(l_Created.SetStringValue("V", "created"), KEL_E_ACCESSDENIED);
  // The key that took the lock closes first; the others keep it.
  EXPECT_EQ(l_First.CloseKey(), KEL_S_OK);
  EXPECT_EQ(Read("HKLM/K.json"), "{\"Version\":\"1.0\",\"K\":{\"V\":[3,\"first\"]}}");
  EXPECT_TRUE(IsLocked("HKLM/K.json"));
  EXPECT_EQ(l_Created.CloseKey(), KEL_S_OK);
  EXPECT_TRUE(IsLocked("HKLM/K.json"));
  EXPECT_EQ(l_Second.CloseKey(), KEL_S_OK);
  EXPECT_FALSE(IsLocked("HKLM/K.json"));
  EXPECT_EQ(Read("HKLM/K.json"), "{\"Version\":\"1.0\",\"K\":{\"V\":[3,\"old\"],\"W\":[3,\"second\"]}}");
  KELSysRegReap(l_Child, true);
}

// On the keys X0..X3 at once, each child taking them in turn: framework writers add one to a key's
// counter N and set its Path and SPlevel together (Path alternately short and long, so the file
// grows and shrinks in place), under the key file's lock; changes replace a key file with a renamed
// copy that holds one more value; a reader opens and queries the keys until the writers are done. The
// framework writers go on for at least k_Rounds rounds and until the reader has made k_MinReads reads, so
// those all meet writers. Every read sees whole text, and every increment and every value is there at the
// end.
constexpr int k_Framework = 4, k_Changers = 3, k_Rounds = 150, k_Changes = 40, k_MinReads = 4000, k_Keys = 4;
struct Counters {
  std::atomic<long> m_WritersDone{0}, m_Writes{0}, m_Reads{0}, m_ReadsWhileWriting{0}, m_LongSeen{0};
};

// The level "w.r" of an odd round r goes with a long path.
std::string PathText(const std::string& iLevel) {
  return "/opt/" + iLevel + ((iLevel.back() - '0') % 2 == 1 ? "/" + std::string(4000, 'L') : "");
}

std::string WriteOrRead(int iChild, Counters& ioCounters) {
  KELSysRegChange l_Change;  // begun again for each change: a key opened before is opened afresh
  for (long l_Round = 0;
       iChild < k_Framework                ? l_Round < k_Rounds || ioCounters.m_Reads < k_MinReads
       : iChild < k_Framework + k_Changers ? l_Round < k_Changes
                                           : ioCounters.m_WritersDone < k_Framework || l_Round < k_MinReads;
       ++l_Round) {
    const bool l_Writing = ioCounters.m_WritersDone < k_Framework;
    const std::string l_Level = std::to_string(iChild) + "." + std::to_string(l_Round);
    KELSysRegKey l_Key, *l_Changed = nullptr;
    uint32_t l_Count = 0;
    const std::string l_Name = "X" + std::to_string((iChild + l_Round) % k_Keys);
    if (iChild >= k_Framework + k_Changers) {
      const KELSysResult l_Rc = l_Key.OpenKey(k_HKLM, l_Name.c_str(), k_Read);
      const std::string l_Path = KELSysRegValue(l_Key, "Path"), l_Read = KELSysRegValue(l_Key, "SPlevel");
      if (l_Rc != KEL_S_OK || !l_Key.GetDamage().empty() || l_Path != PathText(l_Read))
        return "read " + l_Level + " (" + KELSysResultName(l_Rc) + ") found SPlevel " + l_Read +
               " with a path of " + std::to_string(l_Path.size()) + " bytes";
      ++ioCounters.m_Reads;
      ioCounters.m_ReadsWhileWriting += l_Writing;
      ioCounters.m_LongSeen += l_Path.size() > 1000;
    } else if (iChild >= k_Framework) {
      if (l_Change.Begin(k_HKLM) != KEL_S_OK ||
          l_Change.OpenKey(l_Name.c_str(), false, l_Changed) != KEL_S_OK ||
          l_Changed->SetStringValue(("C" + l_Level).c_str(), "v") != KEL_S_OK ||
          l_Change.Commit() != KEL_S_OK)
        return "change " + l_Level + " failed: " + l_Change.GetWhy();
    } else if (l_Key.OpenKey(k_HKLM, l_Name.c_str(), k_ReadWrite) != KEL_S_OK || !l_Key.GetDamage().empty() ||
               l_Key.QueryDWORDValue("N", l_Count) != KEL_S_OK ||
               l_Key.SetDWORDValue("N", l_Count + 1) != KEL_S_OK ||
               l_Key.SetStringValue("Path", PathText(l_Level).c_str()) != KEL_S_OK ||
               l_Key.SetStringValue("SPlevel", l_Level.c_str()) != KEL_S_OK || l_Key.CloseKey() != KEL_S_OK) {
      ++ioCounters.m_WritersDone;  // the reader stops
      return "framework write " + l_Level + " failed";
    } else {
      ++ioCounters.m_Writes;
    }
  }
  if (iChild < k_Framework) ++ioCounters.m_WritersDone;
  return "";
}

// The writers of steps and the children on X0..X3 all at once.
TEST_F(KELSysRegLockTest, ManyProcessesLoseNoUpdateAndReadWholeText) {
  for (std::string l_Key : {"X0", "X1", "X2", "X3"})  // k_Keys of them
    WriteKey("HKLM/" + l_Key,
             "{\"" + l_Key + "\":{\"N\":[1,0],\"Path\":[3,\"/opt/9.0\"],\"SPlevel\":[3,\"9.0\"]}}");
  void* l_Page = mmap(nullptr, sizeof(Counters), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(l_Page, MAP_FAILED);
  Counters* l_Counters = new (l_Page) Counters();
  KELSysRegChange::SetSyncing(false);  // the order of the writes is at stake here, not the disk
  EXPECT_EQ(KELSysRegInChildren(k_Writers + k_Framework + k_Changers + 1,
                                [l_Counters](int iChild) {
                                  return iChild < k_Writers ? WriteSteps(iChild)
                                                            : WriteOrRead(iChild - k_Writers, *l_Counters);
                                }),
            "");
  KELSysRegChange::SetSyncing(true);
  EXPECT_GE(l_Counters->m_Writes, k_Framework * k_Rounds);
  EXPECT_GE(l_Counters->m_ReadsWhileWriting, k_MinReads);
  EXPECT_GT(l_Counters->m_LongSeen, 0);
  uint32_t l_Sum = 0;
  Names l_Values;
  for (int l_Key = 0; l_Key < k_Keys; ++l_Key) {
    KELSysRegKey l_Open;
    uint32_t l_Count = 0;
    ASSERT_EQ(l_Open.OpenKey(k_HKLM, ("X" + std::to_string(l_Key)).c_str(), k_Read), KEL_S_OK);
    EXPECT_EQ(l_Open.QueryDWORDValue("N", l_Count), KEL_S_OK);
    l_Sum += l_Count;
    l_Open.EnumValues(l_Values);
  }
  EXPECT_EQ(l_Sum, uint32_t(l_Counters->m_Writes));
  EXPECT_EQ(l_Values.size(), size_t(3 * k_Keys + k_Changers * k_Changes));
  munmap(l_Page, sizeof(Counters));
  int l_Found = 0;
  for (int l_Step = 0; l_Step < k_Steps; ++l_Step) {
    KELSysRegKey l_Key;
    Names l_Names;
    ASSERT_EQ(l_Key.OpenKey(k_HKLM, StepKey(l_Step).c_str(), k_Read), KEL_S_OK);
    l_Key.EnumValues(l_Names);
    EXPECT_EQ(l_Names.size(), size_t(2 * k_Writers)) << StepKey(l_Step);
    for (int l_Writer = 0; l_Writer < k_Writers; ++l_Writer) {
      uint32_t l_Number = 0;
      l_Found += l_Key.QueryDWORDValue(StepValue(l_Writer, l_Step).c_str(), l_Number) == KEL_S_OK &&
                 l_Number == uint32_t(l_Step);
    }
  }
  EXPECT_EQ(l_Found, k_Writers * k_Steps);
}

}  // namespace
