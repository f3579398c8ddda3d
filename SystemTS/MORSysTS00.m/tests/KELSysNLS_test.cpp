#include "KELSysNLS.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>

#include "KELSysNLSCore.h"
#include "MORDevelopmentStage.h"
#include "MORSysTS00TestEnv.h"

namespace {

class KELSysNLSTest : public MORSysTS00Env {
 protected:
  // Settles the process settings afresh and returns what the diagnostics wrote.
  std::string StartUp() {
    setenv("KELSysNLSCoreTrace", "1", 1);
    MORSysTS00ResetForTests();
    testing::internal::CaptureStderr();
    KELSysNLS::GetProcess();
    return testing::internal::GetCapturedStderr();
  }

  // The diagnostic lines, as the locale's trace channel writes them, marked with this process.
  static std::string Lines(std::initializer_list<std::string> iLines) {
    std::string l_Text;
    for (const std::string& l_Line : iLines) l_Text += "[I] KELSysNLSCore: " + PID() + l_Line + "\n";
    return l_Text;
  }

  static inline const std::string kEnvironment = "[KELSysNLSCore][INFO] Environment locale: \"en_US.UTF-8\"";
  static inline const std::string kDetected =
      "[KELSysNLSCore][INFO] DetectNLSCoreFromEnvironment | LangEnv=\"en_US.UTF-8\" | CodePage=\"UTF-8\"";
  static inline const std::string kFallback =
      "[KELSysNLS][WARNING] Failed to validate environment settings => Falling back to default locale "
      "settings";
  static inline const std::string kSupplang =
      "junk before the section\n"
      "*BEGIN* OS section\n"
      "en_US English C.UTF-8 UTF-8\n"
      "\n"
      "fr_FR\tFrench  fr_FR.ISO-8859-1 ISO-8859-1\n"
      "de_DE German\n"
      "*END*\n"
      "xx_XX Nowhere C.UTF-8 UTF-8\n";
};

TEST_F(KELSysNLSTest, LanguageTable) {
  char l_CodeSet[KELSysNLS::CodeSetBufferSize] = "untouched";
  for (auto [l_Language, l_Rc, l_Expected] :
       {std::tuple<const char*, KELSysResult, const char*>{"Klingon", KEL_E_NOTFOUND, "untouched"},
        {"japanese", KEL_E_NOTFOUND, "untouched"},
        {nullptr, KEL_E_INVALIDARG, "untouched"},
        {"Japanese", KEL_S_OK, "IBM-932"},
        {"Traditional_Chinese", KEL_S_OK, "CN-BIG5"},
        {"Icelandic", KEL_S_OK, "ISO-8859-1"}}) {
    EXPECT_EQ(KELSysNLS::GetCodeSetOfLanguage(l_Language, l_CodeSet), l_Rc);
    EXPECT_STREQ(l_CodeSet, l_Expected);
  }
}

TEST_F(KELSysNLSTest, EnvironmentLocaleCodeSet) {
  struct Case {
    const char *m_LANG, *m_LC_ALL, *m_CodeSet;
  } const l_Cases[] = {
      {nullptr, nullptr, "UTF-8"},
      {"ja_JP.eucJP", nullptr, "eucJP"},
      {"de_DE.ISO-8859-15@euro", nullptr, "ISO-8859-15@euro"},  // the modifier stays
      {"de_DE.UTF-8@euro", nullptr, "UTF-8@euro"},
      {"C", nullptr, "ANSI_X3.4-1968"},  // no point: asks the C library, which knows "C"
      {"xx_YY", "C.UTF-8", "UTF-8"},     // no point: the C library follows LC_ALL
  };
  for (const Case& l_Case : l_Cases) {
    l_Case.m_LANG ? setenv("LANG", l_Case.m_LANG, 1) : unsetenv("LANG");
    l_Case.m_LC_ALL ? setenv("LC_ALL", l_Case.m_LC_ALL, 1) : unsetenv("LC_ALL");
    std::string l_LANG, l_CodeSet;
    KELSysNLSCore::DetectNLSCoreFromEnvironment(l_LANG, l_CodeSet);
    EXPECT_EQ(l_LANG, l_Case.m_LANG ? l_Case.m_LANG : "en_US.UTF-8");
    EXPECT_EQ(l_CodeSet, l_Case.m_CodeSet) << l_LANG;
  }
}

TEST_F(KELSysNLSTest, NoSupplangKeepsTheEnvironmentCodeSet) {
  EXPECT_EQ(StartUp(),
            Lines({kEnvironment, kDetected,
                   "KELSysNLSCore failed to open SUPPLANG_Q4 file. Regenerate the runtime view, or "
                   "reinstall the product."}));
  EXPECT_TRUE(KELSysNLS::GetProcess().IsUTF8());
  EXPECT_EQ(KELSysNLS::GetProcess().GetLanguage(), "English");
  EXPECT_EQ(KELSysNLS::GetProcess().GetLocale(), "");

  UseLANG("xx_XX.NO-SUCH-SET");  // unknown to iconv: UTF-8 instead
  EXPECT_TRUE(KELSysNLS::GetProcess().IsUTF8());
}

TEST_F(KELSysNLSTest, SupplangEntryValidatesLANG) {
  setenv("KELSysNLSInstallPath", (Temp() + "/none:" + Temp() + "/nls").c_str(), 1);
  WriteFile("nls/SUPPLANG_Q4", kSupplang);
  EXPECT_EQ(StartUp(), Lines({kEnvironment, kDetected, "[KELSysNLS][INFO] LANG variable: \"en_US.UTF-8\"",
                              "[KELSysNLS][INFO] Lang string (in config file format): \"en_US\"",
                              "[KELSysNLS][INFO] Locale string (translated): \"C.UTF-8\"",
                              "[KELSysNLS][INFO] libC setlocale success: \"C.UTF-8\""}));
  EXPECT_EQ(KELSysNLS::GetProcess().GetLocale(), "C.UTF-8");
  EXPECT_TRUE(KELSysNLS::GetProcess().IsUTF8());

  // A locale the C library lacks is not applied; the entry's code set still is.
  UseLANG("fr_FR.iso88591");
  EXPECT_EQ(KELSysNLS::GetProcess().GetLanguage(), "French");
  EXPECT_EQ(KELSysNLS::GetProcess().GetCodeSet(), "ISO-8859-1");
  EXPECT_EQ(KELSysNLS::GetProcess().GetLocale(), "");
}

TEST_F(KELSysNLSTest, UnvalidatedLANGFallsBackToEnglish) {
  WriteFile("reffiles/NLS/SUPPLANG_Q4", kSupplang);
  setenv("MORReffilesPath", (Temp() + "/reffiles").c_str(), 1);
  // Not listed, listed with another code set, listed without a code set.
  for (std::string l_LANG : {"xx_XX.UTF-8", "fr_FR.UTF-8", "de_DE.UTF-8"}) {
    setenv("LANG", l_LANG.c_str(), 1);
    std::string l_Diagnostics = StartUp();
    EXPECT_TRUE(l_Diagnostics.ends_with(
        Lines({"[KELSysNLS][INFO] Lang string (in config file format): \"" + l_LANG.substr(0, 5) + "\"",
               "ERROR: SUPPLANG_Q4 does not contain a valid code set for code page: UTF-8.", kFallback})))
        << l_Diagnostics;
    EXPECT_EQ(KELSysNLS::GetProcess().GetLanguage(), "English");
    EXPECT_EQ(KELSysNLS::GetProcess().GetCodeSet(), "ISO-8859-1");
  }
}

// A modifier makes the code set a name iconv does not know: without a supported-languages file the
// process says so and converts as UTF-8; with one, no entry can validate LANG, so it falls back.
TEST_F(KELSysNLSTest, ModifierInLANGNamesAnUnknownCodeSet) {
  setenv("LANG", "de_DE.UTF-8@euro", 1);
  std::string l_Diagnostics = StartUp();
  EXPECT_NE(l_Diagnostics.find(Lines({"[KELSysNLSCore][INFO] DetectNLSCoreFromEnvironment | "
                                      "LangEnv=\"de_DE.UTF-8@euro\" | CodePage=\"UTF-8@euro\""})),
            std::string::npos)
      << l_Diagnostics;
  EXPECT_NE(l_Diagnostics.find(Lines({"[KELSysIConvTSWrap] failed to initialize converters for conversion "
                                      "UTF-8@euro <-> UTF-16LE"})),
            std::string::npos)
      << l_Diagnostics;
  EXPECT_TRUE(KELSysNLS::GetProcess().IsUTF8());

  setenv("KELSysNLSInstallPath", (Temp() + "/nls").c_str(), 1);
  for (const char* l_CodeSet : {"UTF-8", "UTF-8@euro"}) {
    WriteFile("nls/SUPPLANG_Q4", std::string("*BEGIN*\nde_DE German de_DE.UTF-8 ") + l_CodeSet + "\n*END*\n");
    l_Diagnostics = StartUp();
    EXPECT_TRUE(l_Diagnostics.ends_with(Lines(
        {"ERROR: SUPPLANG_Q4 does not contain a valid code set for code page: UTF-8@euro.", kFallback})))
        << l_Diagnostics;
    EXPECT_EQ(KELSysNLS::GetProcess().GetLanguage(), "English");
    EXPECT_EQ(KELSysNLS::GetProcess().GetCodeSet(), "ISO-8859-1");
  }
}

TEST_F(KELSysNLSTest, SupplangWithoutBeginFallsBack) {
  setenv("MORInstallPath", Temp().c_str(), 1);
  WriteFile("reffiles/NLS/SUPPLANG_Q4", "en_US English C.UTF-8 UTF-8\n*END*\n");
  std::string l_Diagnostics = StartUp();
  EXPECT_NE(l_Diagnostics.find(
                Lines({"*BEGIN* OS section not found", "[KELSysNLS][INFO] LANG variable: \"en_US.UTF-8\""})),
            std::string::npos)
      << l_Diagnostics;
  EXPECT_NE(l_Diagnostics.find(Lines({kFallback})), std::string::npos) << l_Diagnostics;
  EXPECT_EQ(KELSysNLS::GetProcess().GetCodeSet(), "ISO-8859-1");
}

TEST_F(KELSysNLSTest, SearchTakesTheFirstFileThatOpens) {
  // Each candidate names en_US with a different language, so the language shows which one won.
  auto l_File = [](const char* iLanguage) {
    return std::string("*BEGIN*\nen_US ") + iLanguage + " C UTF-8\n";
  };
  WriteFile("a/NLS/SUPPLANG_Q4", l_File("Reffiles"));
  WriteFile("b/reffiles/NLS/SUPPLANG_Q4", l_File("Install"));
  WriteFile("c/SUPPLANG_Q4", l_File("NLSInstall"));
  std::filesystem::create_directories(Temp() + "/d/NLS/SUPPLANG_Q4");  // a folder never wins
  const std::string l_T = Temp();
  struct Case {
    std::string m_Reffiles, m_Install, m_NLSInstall;
    const char* m_Language;
  } const l_Cases[] = {
      {l_T + "/d:" + l_T + "/a", l_T + "/b", l_T + "/c", "Reffiles"},
      {l_T + "/d:" + l_T + "/x", "::" + l_T + "/b", l_T + "/c", "Install"},
      {l_T + "/b", l_T + "/a", l_T + "/x:" + l_T + "/c", "NLSInstall"},
  };
  for (const Case& l_Case : l_Cases) {
    setenv("MORReffilesPath", l_Case.m_Reffiles.c_str(), 1);
    setenv("MORInstallPath", l_Case.m_Install.c_str(), 1);
    setenv("KELSysNLSInstallPath", l_Case.m_NLSInstall.c_str(), 1);
    MORSysTS00ResetForTests();
    EXPECT_EQ(KELSysNLS::GetProcess().GetLanguage(), l_Case.m_Language);
  }
}

TEST_F(KELSysNLSTest, ExactlyOneStartModeIsRequired) {
  setenv("KELSysNLSCoreTrace", "1", 1);
  for (bool l_Both : {true, false}) {
    testing::internal::CaptureStderr();
    KELSysNLS l_Settings = KELSysNLS::Start(l_Both, l_Both, "fr_FR.ISO-8859-1", "ISO-8859-1", nullptr, 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), Lines({"[KELSysNLSCore] Catastrophic failure!"}));
    EXPECT_TRUE(l_Settings.IsUTF8());
  }
}

TEST_F(KELSysNLSTest, DevelopmentStageIsOnUnlessExactlyFALSE) {
  for (auto [l_Value, l_On] :
       {std::pair<const char*, bool>{nullptr, true}, {"FALSE", false}, {"false", true}, {"0", true}}) {
    l_Value ? setenv("MORDevelopmentStage", l_Value, 1) : unsetenv("MORDevelopmentStage");
    MORSysTS00ResetForTests();
    EXPECT_EQ(MORDevelopmentStage::IsOn(), l_On) << (l_Value ? l_Value : "unset");
  }
}

}  // namespace
