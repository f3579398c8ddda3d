// KELReg beside the lister and beside itself: what it writes is what KELListInstalls lists, and
// writers and readers running at once never see a half-written key.
#include <gtest/gtest.h>
#include <sys/file.h>

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

std::string Record(const std::string& iLevel, const std::string& iType, const std::string& iIdent,
                   const std::string& iHfx, const std::string& iPath) {
  return "{\"buildLevel\": \"" + iLevel + "\", \"type\": \"" + iType + "\", \"ident\": \"" + iIdent +
         "\", \"hfxLevel\": \"" + iHfx + "\", \"path\": \"" + iPath + "\"}";
}

// One record of the lister's JSON document.
struct ListedRecord {
  std::string m_Level, m_Type, m_Ident, m_Hfx, m_Path;
  bool m_Null = false;  // the path was null
};

// Reads the records "{...}, {...}" of a JSON listing, in the lister's own layout; false when the text
// is anything else.
bool ReadRecords(const std::string& iText, std::vector<ListedRecord>& oRecords) {
  size_t l_At = 0;
  auto l_Literal = [&](const std::string& iLiteral) {
    if (iText.compare(l_At, iLiteral.size(), iLiteral) != 0) return false;
    l_At += iLiteral.size();
    return true;
  };
  auto l_Field = [&](const std::string& iName, std::string& oValue, bool* oNull) {
    if (!l_Literal("\"" + iName + "\": ")) return false;
    if (oNull && l_Literal("null")) return *oNull = true;
    size_t l_End = iText.find('"', l_At + 1);
    if (!l_Literal("\"") || l_End == std::string::npos) return false;
    oValue = iText.substr(l_At, l_End - l_At);
    l_At = l_End + 1;
    return oValue.find('\\') == std::string::npos;
  };
  while (l_At < iText.size()) {
    ListedRecord l_Record;
    if ((!oRecords.empty() && !l_Literal(", ")) || !l_Literal("{") ||
        !l_Field("buildLevel", l_Record.m_Level, nullptr) || !l_Literal(", ") ||
        !l_Field("type", l_Record.m_Type, nullptr) || !l_Literal(", ") ||
        !l_Field("ident", l_Record.m_Ident, nullptr) || !l_Literal(", ") ||
        !l_Field("hfxLevel", l_Record.m_Hfx, nullptr) || !l_Literal(", ") ||
        !l_Field("path", l_Record.m_Path, &l_Record.m_Null) || !l_Literal("}"))
      return false;
    oRecords.push_back(std::move(l_Record));
  }
  return true;
}

TEST_F(KELRegLister, TheListerSeesWhatKELRegRegistersAndUnregisters) {
  const std::string l_Key = k_Q4 + "\\B500\\Desktop\\N1";
  EXPECT_RUN(Reg({"add", l_Key, "-v", "Path", "-d", "/opt/q4 new"}), 0, "", "");
  EXPECT_RUN(Reg({"add", l_Key, "-v", "SPlevel", "-d", "500.1"}), 0, "", "");
  KELRegOutcome l_Listed = InRegistry("$LISTER -json");
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(l_Listed.m_Status, 1) << l_Listed.m_Err;
  EXPECT_EQ(l_Listed.m_Out,
            "\n{\"installs\": [" + Record("B500", "Desktop", "N1", "500.1", "/opt/q4 new") + "]}\n");
  // KELReg works on the machine's own registry without --root.
  EXPECT_EQ(InRegistry("$REG delete '" + l_Key + "' && $LISTER -json").m_Out, "\n{\"installs\": []}\n");
  EXPECT_FALSE(fs::exists(m_Root + "/HKLM/SOFTWARE/Quorvane/Q4/B500/Desktop/N1.json"));
}

// Each writer holds the key's lock from its read to its write-back, so none loses another's values.
TEST_F(KELRegLister, ConcurrentAddsOnOneKeyAreAllKept) {
  // 8 processes, each adding 100 values to the same key, one KELReg run per value.
  const std::string l_Script =
      "for w in 0 1 2 3 4 5 6 7; do (for i in $(seq 100); do \"$0\" --root \"$1\" add 'HKLM\\Shared' -v "
      "w$w.$i -d "
      "$i || echo \"failed $w $i\"; done) & done; wait";
  KELRegOutcome l_Run = Exec({"/bin/bash", "-c", l_Script, KEL_BINARY_DIR "/KELReg", m_Root});
  EXPECT_EQ(l_Run.m_Status, 0);
  EXPECT_EQ(l_Run.m_Out, "");
  EXPECT_EQ(l_Run.m_Err, "");
  KELRegOutcome l_Query = Reg({"query", "HKLM\\Shared"});
  EXPECT_EQ(std::count(l_Query.m_Out.begin(), l_Query.m_Out.end(), '\n'), 801)
      << l_Query.m_Out.substr(0, 2000);
  // Every value, with its own data.
  for (int l_Writer = 0; l_Writer < 8; ++l_Writer)
    for (int l_Value = 1; l_Value <= 100; ++l_Value) {
      const std::string l_Data = std::to_string(l_Value);
      EXPECT_NE(l_Query.m_Out.find("    w" + std::to_string(l_Writer) + "." + l_Data + "    REG_SZ    " +
                                   l_Data + "\n"),
                std::string::npos)
          << l_Writer << "." << l_Data;
    }
}

// A key held locked by another process: the change fails after the registry's wait, naming the key,
// and the key is unchanged.
TEST_F(KELRegLister, AKeyLockedElsewhereFailsWithItsName) {
  ASSERT_EQ(Reg({"add", "HKLM\\Held", "-v", "V", "-d", "old"}).m_Status, 0);
  const std::string l_File = m_Root + "/HKLM/Held.json";
  const std::string l_Before = KELRegReadFile(l_File);
  int l_Fd = open(l_File.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(flock(l_Fd, LOCK_EX), 0);
  EXPECT_RUN(Reg({"add", "HKLM\\Held", "-v", "V", "-d", "new"}), 1, "",
             "KELReg: HKLM\\Held: " + l_File + ": the key stayed locked by another process\n");
  close(l_Fd);
  EXPECT_EQ(KELRegReadFile(l_File), l_Before);
}

TEST_F(KELRegLister, ListingsDuringRegistrationsAreNeverTornOrMalformed) {
  // A stable installation whose Path flips between a long and a short text, and installations that
  // are registered (Path, then SPlevel) and unregistered over and over, while the lister runs in a
  // loop. A key just created has no values yet, so a churned record may show no path or no hotfix
  // level; never a path or level that is not one of those written.
  const std::string l_Long = "/opt/" + std::string(700, 'L'), l_Short = "/opt/s";
  ASSERT_EQ(Reg({"add", k_Q4 + "\\B419\\Desktop\\Stable", "-v", "Path", "-d", l_Long}).m_Status, 0);
  ASSERT_EQ(Reg({"add", k_Q4 + "\\B419\\Desktop\\Stable", "-v", "SPlevel", "-d", "419.1"}).m_Status, 0);
  const std::string l_Script =
      "out=$(mktemp -d); trap 'rm -rf \"$out\"' EXIT\n"
      "(n=0; while [ ! -e \"$out/stop\" ]; do n=$((n+1)); $LISTER -json > \"$out/list.$n\"; done) &\n"
      "for i in $(seq 60); do\n"
      "  k='" +
      k_Q4 +
      "\\B420\\Server\\C'$((i % 3))\n"
      "  $REG add \"$k\" -v Path -d /opt/churn/$i/" +
      std::string(300, 'c') +
      " || echo add failed\n"
      "  $REG add \"$k\" -v SPlevel -d 420.$i || echo add failed\n"
      "  $REG add '" +
      k_Q4 + "\\B419\\Desktop\\Stable' -v Path -d $([ $((i % 2)) = 0 ] && echo " + l_Long + " || echo " +
      l_Short +
      ") || echo flip failed\n"
      "  $REG delete \"$k\" -r || echo delete failed\n"
      "done\n"
      "touch \"$out/stop\"; wait\n"
      "for f in \"$out\"/list.*; do cat \"$f\"; echo '<end>'; done\n";
  KELRegOutcome l_Run = InRegistry(l_Script);
  SKIP_WITHOUT_NAMESPACE();
  EXPECT_EQ(l_Run.m_Status, 0) << l_Run.m_Err;
  EXPECT_EQ(l_Run.m_Err, "");
  size_t l_Listings = 0, l_Start = 0;
  for (size_t l_End; (l_End = l_Run.m_Out.find("<end>\n", l_Start)) != std::string::npos;
       l_Start = l_End + 6) {
    std::string l_Document = l_Run.m_Out.substr(l_Start, l_End - l_Start);
    ++l_Listings;
    SCOPED_TRACE(l_Document.substr(0, 4000));
    ASSERT_TRUE(l_Document.starts_with("\n{\"installs\": [") && l_Document.ends_with("]}\n"));
    std::vector<ListedRecord> l_Records;
    // Nothing but whole records, separated as the lister separates them.
    ASSERT_TRUE(ReadRecords(l_Document.substr(15, l_Document.size() - 18), l_Records));
    bool l_SawStable = false;
    for (const ListedRecord& l_Record : l_Records) {
      if (l_Record.m_Ident == "Stable") {
        l_SawStable = true;
        EXPECT_EQ(l_Record.m_Hfx, "419.1");
        EXPECT_TRUE(l_Record.m_Path == l_Long || l_Record.m_Path == l_Short) << l_Record.m_Path;
        continue;
      }
      EXPECT_EQ(l_Record.m_Level + "/" + l_Record.m_Type, "B420/Server");
      // The path is either missing (null) or one that was written whole, with its own level.
      const std::string l_Prefix = "/opt/churn/";
      size_t l_Slash = l_Record.m_Path.find('/', l_Prefix.size());
      std::string l_Round = l_Slash == std::string::npos
                                ? ""
                                : l_Record.m_Path.substr(l_Prefix.size(), l_Slash - l_Prefix.size());
      bool l_Whole = l_Record.m_Path.starts_with(l_Prefix) && !l_Round.empty() &&
                     l_Round.find_first_not_of("0123456789") == std::string::npos &&
                     l_Record.m_Path.substr(l_Slash + 1) == std::string(300, 'c');
      EXPECT_TRUE(l_Record.m_Null || l_Whole) << l_Record.m_Path;
      if (l_Whole && l_Record.m_Hfx != "UNKNOWN") {
        EXPECT_EQ(l_Record.m_Hfx, "420." + l_Round);
      }
    }
    EXPECT_TRUE(l_SawStable);
  }
  EXPECT_GT(l_Listings, 3u);
  std::cout << "[          ] " << l_Listings << " listings checked\n";
}

}  // namespace
