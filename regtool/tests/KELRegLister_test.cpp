// KELReg beside the lister and beside itself: what it writes is what KELListInstalls lists, and
// writers and readers running at once never see a half-written key.
#include <gtest/gtest.h>
#include <sys/file.h>

#include <set>
#include <sstream>

#include "KELRegTestSupport.h"

namespace {

const std::string k_Q4 = "HKLM\\SOFTWARE\\Quorvane\\Q4";

class KELRegLister : public KELRegTest {
 protected:
  // Runs iScript in bash inside a private mount namespace in which the registry stands at
  // /etc/.Quorvane (scripts/with-registry); $LISTER and $REG name the built commands (KELReg
  // without --root: it sees the registry through the mount as the lister does).
  KELRegOutcome InRegistry(const std::string& iScript) {
    KELRegOutcome l_Run =
        Exec({"/usr/bin/env", "LISTER=" KEL_BINARY_DIR "/KELListInstalls", "REG=" KEL_BINARY_DIR "/KELReg",
              "bash", KEL_SOURCE_DIR "/scripts/with-registry", m_Root, "bash", "-c", iScript});
    if (l_Run.m_Status == 125) m_Skip = l_Run.m_Err;
    return l_Run;
  }
  std::string m_Skip;
};

#define SKIP_WITHOUT_NAMESPACE() \
  if (!m_Skip.empty()) GTEST_SKIP() << m_Skip

// Each writer holds the key's lock from its read to its write-back, so none loses another's values:
// 8 processes add 100 values each to one key, one KELReg run per value.
TEST_F(KELRegLister, ConcurrentAddsOnOneKeyAreAllKept) {
  const std::string l_Script =
      "for w in 0 1 2 3 4 5 6 7; do (for i in $(seq 100); do \"$0\" --root \"$1\" add 'HKLM\\Shared' "
      "-v w$w.$i -d $i || echo \"failed $w $i\"; done) & done; wait";
  EXPECT_RUN(Exec({"/bin/bash", "-c", l_Script, KEL_BINARY_DIR "/KELReg", m_Root}), 0, "", "");
  std::multiset<std::string> l_Expected = {"HKLM\\Shared"}, l_Lines;
  for (int l_Writer = 0; l_Writer < 8; ++l_Writer)
    for (int l_Value = 1; l_Value <= 100; ++l_Value)
      l_Expected.insert("    w" + std::to_string(l_Writer) + "." + std::to_string(l_Value) +
                        "    REG_SZ    " + std::to_string(l_Value));
  std::istringstream l_Query(Reg({"query", "HKLM\\Shared"}).m_Out);
  for (std::string l_Line; std::getline(l_Query, l_Line);) l_Lines.insert(l_Line);
  EXPECT_EQ(l_Lines, l_Expected);
}

// A key held locked by another process: the change fails after the registry's wait, naming the key,
// and the key is unchanged.
TEST_F(KELRegLister, AKeyLockedElsewhereFailsWithItsName) {
  ASSERT_EQ(Reg({"add", "HKLM\\Held", "-v", "V", "-d", "old"}).m_Status, 0);
  const std::string l_File = m_Root + "/HKLM/Held.json";
  const std::string l_Before = KELTestReadFile(l_File);
  int l_Fd = open(l_File.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(l_Fd, LOCK_EX), 0);
  EXPECT_RUN(Reg({"add", "HKLM\\Held", "-v", "V", "-d", "new"}), 1, "",
             "KELReg: HKLM\\Held: " + l_File + ": the key stayed locked by another process\n");
  close(l_Fd);
  EXPECT_EQ(KELTestReadFile(l_File), l_Before);
}

TEST_F(KELRegLister, ListingsDuringRegistrationsAreNeverTornOrMalformed) {
  // A stable installation whose Path flips between a long and a short text, and installations that
  // are registered (Path, then SPlevel) and unregistered over and over, while the lister runs in a
  // loop. A key just created has no values yet, so a churned record may show no path or no hotfix
  // level; never a path or level that is not one of those written.
  const std::string l_Stable = k_Q4 + "\\B419\\Desktop\\Stable";
  ASSERT_EQ(Reg({"add", l_Stable, "-v", "Path", "-d", "/opt/" + std::string(700, 'L')}).m_Status, 0);
  ASSERT_EQ(Reg({"add", l_Stable, "-v", "SPlevel", "-d", "419.1"}).m_Status, 0);
  KELRegOutcome l_Run = InRegistry(R"SH(
q4='HKLM\SOFTWARE\Quorvane\Q4'; long=/opt/$(head -c 700 /dev/zero | tr '\0' L); c=$(head -c 300 /dev/zero | tr '\0' c)
out=$(mktemp -d); trap 'rm -rf "$out"' EXIT
(n=0; while [ ! -e "$out/stop" ]; do n=$((n+1)); $LISTER -json > "$out/list.$n"; done) &
for i in $(seq 60); do
  k="$q4\B420\Server\C$((i % 3))"
  $REG add "$k" -v Path -d /opt/churn/$i/$c || echo add failed
  $REG add "$k" -v SPlevel -d 420.$i || echo add failed
  $REG add "$q4\B419\Desktop\Stable" -v Path -d $([ $((i % 2)) = 0 ] && echo $long || echo /opt/s) || echo flip failed
  $REG delete "$k" -r || echo delete failed
done
touch "$out/stop"; wait
for f in "$out"/list.*; do cat "$f"; echo '<end>'; done
)SH");
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(l_Run.m_Status, 0) << l_Run.m_Err;
  EXPECT_EQ(l_Run.m_Err, "");
  // A listing holds whole records only, as the lister writes them: the stable installation with one of
  // its paths, and churned ones (C<i % 3> in round i) whose path is missing or written whole, with the
  // level of the same round when it has one.
  std::set<std::string> l_Stables, l_Churned;
  for (const std::string& l_Path : {"/opt/" + std::string(700, 'L'), std::string("/opt/s")})
    l_Stables.insert(
        "{\"buildLevel\": \"B419\", \"type\": \"Desktop\", \"ident\": \"Stable\", \"hfxLevel\": \"419.1\", "
        "\"path\": \"" +
        l_Path + "\"}");
  for (int l_Round = 1; l_Round <= 60; ++l_Round) {
    const std::string l_Head = "{\"buildLevel\": \"B420\", \"type\": \"Server\", \"ident\": \"C" +
                               std::to_string(l_Round % 3) + "\", \"hfxLevel\": \"",
                      l_Level = "420." + std::to_string(l_Round) + "\", \"path\": ",
                      l_Path =
                          "\"/opt/churn/" + std::to_string(l_Round) + "/" + std::string(300, 'c') + "\"}";
    for (const std::string& l_Tail : {std::string("UNKNOWN\", \"path\": null}"), l_Level + "null}",
                                      "UNKNOWN\", \"path\": " + l_Path, l_Level + l_Path})
      l_Churned.insert(l_Head + l_Tail);
  }
  size_t l_Listings = 0, l_Start = 0;
  for (size_t l_End; (l_End = l_Run.m_Out.find("<end>\n", l_Start)) != std::string::npos;
       l_Start = l_End + 6) {
    const std::string l_Document = l_Run.m_Out.substr(l_Start, l_End - l_Start);
    SCOPED_TRACE(l_Document.substr(0, 4000));
    ++l_Listings;
    ASSERT_TRUE(l_Document.starts_with("\n{\"installs\": [{") && l_Document.ends_with("}]}\n"));
    int l_StableRecords = 0;
    for (size_t l_From = 15, l_To; l_From < l_Document.size() - 3; l_From = l_To + 2) {
      l_To = std::min(l_Document.find("}, {", l_From), l_Document.size() - 4) + 1;
      const std::string l_Record = l_Document.substr(l_From, l_To - l_From);
      l_StableRecords += int(l_Stables.count(l_Record));
      EXPECT_TRUE(l_Stables.count(l_Record) || l_Churned.count(l_Record)) << l_Record;
    }
    EXPECT_EQ(l_StableRecords, 1);
  }
  EXPECT_GT(l_Listings, 3u);
  std::cout << "[          ] " << l_Listings << " listings checked\n";
}

}  // namespace
