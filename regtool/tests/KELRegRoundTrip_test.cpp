// Export and import as a pair, byte-exact text under any locale, and hostile import documents.
#include <gtest/gtest.h>

#include "KELRegTestSupport.h"

namespace {

class KELRegRoundTrip : public KELRegTest {
 protected:
  // A tree with every type, text that is not UTF-8, quotes, backslashes and control bytes in names
  // and data, several levels, an empty key and an empty list.
  void Fill() const {
    const std::string l_Odd = "q\"b\\s\x01\n\xFF\xC3\xA9\xE9";
    const std::string l_Key = "HKLM\\T";
    Regs({{"add", l_Key + "\\Empty"},
          {"add", l_Key, "-v", "dword", "-t", "REG_DWORD", "-d", "4294967295"},
          {"add", l_Key, "-v", "qword", "-t", "REG_QWORD", "-d", "0xFFFFFFFFFFFFFFFF"},
          {"add", l_Key, "-v", "zero", "-t", "REG_QWORD", "-d", "0"},
          {"add", l_Key, "-v", l_Odd, "-d", l_Odd},
          {"add", l_Key, "-v", "list", "-t", "REG_MULTI_SZ", "-d", l_Odd + "|" + "|x", "-S", "|"},
          {"add", l_Key, "-v", "none", "-t", "REG_MULTI_SZ", "-d", ""},
          {"add", l_Key, "-v", "", "-d", "the unnamed value"},
          {"add", l_Key + "\\k\xE9\xFF\\deeper\\still", "-v", "x", "-d", "\\\\"},
          {"add", l_Key + "\\A b", "-v", "tab\there", "-t", "REG_DWORD", "-d", "0"}});
  }
};

TEST_F(KELRegRoundTrip, ExportImportIntoAnEmptyRootExportGivesTheSameBytes) {
  Fill();
  KELRegOutcome l_First = Reg({"export", "HKLM\\T"});
  ASSERT_EQ(l_First.m_Status, 0) << l_First.m_Err;
  // The document is ordinary JSON: every byte that is not UTF-8 is written as an escape.
  EXPECT_EQ(l_First.m_Out.find('\xFF'), std::string::npos);
  EXPECT_NE(l_First.m_Out.find("\\udcff"), std::string::npos);
  std::string l_Other = m_Dir + "/other";
  fs::create_directories(l_Other);
  std::swap(m_Root, l_Other);
  EXPECT_RUN(Reg({"import"}, l_First.m_Out), 0, "", "");
  EXPECT_RUN(Reg({"export", "HKLM/T"}), 0, l_First.m_Out, "");
  // The same keys too (a parent that add made on the way holds an empty file, where import writes
  // every key it names: the bytes of such files differ, not what they hold).
  std::swap(m_Root, l_Other);
  auto l_Names = [](std::vector<std::string> iFiles) {
    for (std::string& l_File : iFiles) l_File.resize(l_File.find(' '));
    return iFiles;
  };
  EXPECT_EQ(l_Names(Snapshot(l_Other)), l_Names(Snapshot()));
  // The values read back as the bytes that were added, control bytes shown as their escapes.
  EXPECT_RUN(Reg({"query", "HKLM\\T", "-v", "q\"b\\s\x01\n\xFF\xC3\xA9\xE9"}), 0,
             "q\"b\\s\\u0001\\n\xFF\xC3\xA9\xE9\n", "");
  EXPECT_RUN(Reg({"query", "HKLM\\T", "-v", "list"}), 0, "q\"b\\s\\u0001\\n\xFF\xC3\xA9\xE9\n\nx\n", "");
  EXPECT_RUN(Reg({"query", "HKLM\\T", "-v", ""}), 0, "the unnamed value\n", "");
}

// The process code set does not change what is stored or shown.
TEST_F(KELRegRoundTrip, TextIsTheSameBytesUnderEveryLocale) {
  const std::string l_Key = "HKLM/k\xE9\xFF\xC3\xA9";
  const std::string l_Name = "n\xE9\xA4";
  const std::string l_Data = "d\xE9\xA4\xC3\xA9\xF0\x9F\x98\x80";
  std::vector<std::string> l_Exports;
  for (const char* l_Lang : {"LANG=C", "LANG=en_US.ISO-8859-1", "LANG=ja_JP.eucJP", "LANG=C.UTF-8"}) {
    SCOPED_TRACE(l_Lang);
    fs::remove_all(m_Root);
    fs::create_directories(m_Root);
    EXPECT_RUN(Reg({"add", l_Key, "-v", l_Name, "-d", l_Data}, "", true, -1, {l_Lang}), 0, "", "");
    EXPECT_TRUE(fs::exists(m_Root + "/HKLM/k\xE9\xFF\xC3\xA9.json"));
    EXPECT_RUN(Reg({"query", l_Key, "-v", l_Name}, "", true, -1, {l_Lang}), 0, l_Data + "\n", "");
    l_Exports.push_back(Reg({"export", "HKLM"}, "", true, -1, {l_Lang}).m_Out);
    EXPECT_EQ(l_Exports.back(), l_Exports.front());
  }
}

}  // namespace
