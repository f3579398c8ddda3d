#include "KELSysNLS.h"

#include <tuple>

#include "KELSysNLSCore.h"
#include "MORDevelopmentStage.h"
#include "MORSysTS00TestEnv.h"

using KELSysNLSTest = MORSysTS00Env;

// "language|code set|locale", and "|utf8" when the process converts as UTF-8.
static std::string Settled() {
  const KELSysNLS& l_Process = KELSysNLS::GetProcess();
  return l_Process.GetLanguage() + "|" + l_Process.GetCodeSet() + "|" + l_Process.GetLocale() +
         (l_Process.IsUTF8() ? "|utf8" : "");
}

TEST_F(KELSysNLSTest, LanguageTable) {
  char l_CodeSet[KELSysNLS::CodeSetBufferSize] = "untouched";
  using C = std::tuple<const char*, KELSysResult, const char*>;
  for (auto [l_Language, l_Rc, l_Expected] :
       {C{"Klingon", KEL_E_NOTFOUND, "untouched"}, C{"japanese", KEL_E_NOTFOUND, "untouched"},
        C{nullptr, KEL_E_INVALIDARG, "untouched"}, C{"Japanese", KEL_S_OK, "IBM-932"},
        C{"Traditional_Chinese", KEL_S_OK, "CN-BIG5"}, C{"Icelandic", KEL_S_OK, "ISO-8859-1"}}) {
    EXPECT_EQ(KELSysNLS::GetCodeSetOfLanguage(l_Language, l_CodeSet), l_Rc);
    EXPECT_STREQ(l_CodeSet, l_Expected);
  }
}

TEST_F(KELSysNLSTest, EnvironmentLocaleCodeSet) {
  // A modifier stays in the code set; without a point the C library is asked, which knows "C" and
  // follows LC_ALL.
  using C = std::array<const char*, 3>;  // LANG, LC_ALL, code set
  for (auto [l_LANGVar, l_LC_ALL, l_Expected] :
       {C{nullptr, nullptr, "UTF-8"}, C{"ja_JP.eucJP", nullptr, "eucJP"},
        C{"de_DE.ISO-8859-15@euro", nullptr, "ISO-8859-15@euro"},
        C{"de_DE.UTF-8@euro", nullptr, "UTF-8@euro"}, C{"C", nullptr, "ANSI_X3.4-1968"},
        C{"xx_YY", "C.UTF-8", "UTF-8"}}) {
    l_LANGVar ? setenv("LANG", l_LANGVar, 1) : unsetenv("LANG");
    l_LC_ALL ? setenv("LC_ALL", l_LC_ALL, 1) : unsetenv("LC_ALL");
    std::string l_LANG, l_CodeSet;
    KELSysNLSCore::DetectNLSCoreFromEnvironment(l_LANG, l_CodeSet);
    EXPECT_EQ(l_LANG + " " + l_CodeSet,
              std::string(l_LANGVar ? l_LANGVar : "en_US.UTF-8") + " " + l_Expected);
  }
}

// The process settings from LANG and the supported-languages file, if one is found, and the
// diagnostics they end with. An entry validates LANG when it names its language and code set (a
// modifier makes the code set a name iconv does not know, so none can); without one the process
// falls back to English. Without a file the process keeps the environment's code set, or converts
// as UTF-8 when iconv does not know it.
TEST_F(KELSysNLSTest, StartUpFromLANGAndSupplang) {
  const std::string kStart = Lines(
      {"[KELSysNLSCore][INFO] Environment locale: \"en_US.UTF-8\"",
       "[KELSysNLSCore][INFO] DetectNLSCoreFromEnvironment | LangEnv=\"en_US.UTF-8\" | CodePage=\"UTF-8\""});
  const std::string kNoFile =
      Lines({"KELSysNLSCore failed to open SUPPLANG_Q4 file. Regenerate the runtime view, or reinstall the "
             "product."});
  auto l_Lang = [](const std::string& iLANG, const std::string& iLang) {
    return Lines({"[KELSysNLS][INFO] LANG variable: \"" + iLANG + "\"",
                  "[KELSysNLS][INFO] Lang string (in config file format): \"" + iLang + "\""});
  };
  auto l_Rejected = [](const std::string& iCodeSet) {
    return Lines({"ERROR: SUPPLANG_Q4 does not contain a valid code set for code page: " + iCodeSet + ".",
                  "[KELSysNLS][WARNING] Failed to validate environment settings => Falling back to default "
                  "locale settings"});
  };
  const char* kSupplang =
      "junk before the section\n*BEGIN* OS section\nen_US English C.UTF-8 UTF-8\n\n"
      "fr_FR\tFrench  fr_FR.ISO-8859-1 ISO-8859-1\nde_DE German\n*END*\nxx_XX Nowhere C.UTF-8 UTF-8\n";
  const std::string kEnglish = "English|ISO-8859-1|";
  struct Case {
    const char *m_LANG, *m_File;  // no file when null
    std::string m_Tail, m_Settled;
  } const l_Cases[] = {
      {nullptr, nullptr, kStart + kNoFile, "English|UTF-8||utf8"},
      {nullptr, kSupplang,
       kStart + l_Lang("en_US.UTF-8", "en_US") +
           Lines({"[KELSysNLS][INFO] Locale string (translated): \"C.UTF-8\"",
                  "[KELSysNLS][INFO] libC setlocale success: \"C.UTF-8\""}),
       "English|UTF-8|C.UTF-8|utf8"},
      // A locale the C library lacks is not applied; the entry's code set still is.
      {"fr_FR.iso88591", kSupplang,
       Lines({"[KELSysNLS][INFO] Locale string (translated): \"fr_FR.ISO-8859-1\""}), "French|ISO-8859-1|"},
      // Not listed, listed with another code set, listed without a code set.
      {"xx_XX.UTF-8", kSupplang, l_Lang("xx_XX.UTF-8", "xx_XX") + l_Rejected("UTF-8"), kEnglish},
      {"fr_FR.UTF-8", kSupplang, l_Lang("fr_FR.UTF-8", "fr_FR") + l_Rejected("UTF-8"), kEnglish},
      {"de_DE.UTF-8", kSupplang, l_Lang("de_DE.UTF-8", "de_DE") + l_Rejected("UTF-8"), kEnglish},
      {"de_DE.UTF-8@euro", nullptr,
       Lines({"[KELSysNLSCore][INFO] DetectNLSCoreFromEnvironment | LangEnv=\"de_DE.UTF-8@euro\" | "
              "CodePage=\"UTF-8@euro\""}) +
           kNoFile +
           Lines({"[KELSysIConvTSWrap] failed to initialize converters for conversion UTF-8@euro <-> "
                  "UTF-16LE"}),
       "English|UTF-8||utf8"},
      {"de_DE.UTF-8@euro", "*BEGIN*\nde_DE German de_DE.UTF-8 UTF-8\n*END*\n", l_Rejected("UTF-8@euro"),
       kEnglish},
      {"de_DE.UTF-8@euro", "*BEGIN*\nde_DE German de_DE.UTF-8 UTF-8@euro\n*END*\n", l_Rejected("UTF-8@euro"),
       kEnglish},
      // A file without its section has no entry.
      {nullptr, "en_US English C.UTF-8 UTF-8\n*END*\n",
       Lines({"*BEGIN* OS section not found"}) + l_Lang("en_US.UTF-8", "en_US") + l_Rejected("UTF-8"),
       kEnglish},
  };
  setenv("KELSysNLSInstallPath", Path().c_str(), 1);
  setenv("KELSysNLSCoreTrace", "1", 1);
  for (const Case& l_Case : l_Cases) {
    std::filesystem::remove(At("SUPPLANG_Q4"));
    if (l_Case.m_File) Write("SUPPLANG_Q4", l_Case.m_File);
    UseLANG(l_Case.m_LANG);
    const std::string l_Diagnostics = Captured([] { KELSysNLS::GetProcess(); });
    EXPECT_TRUE(l_Diagnostics.ends_with(l_Case.m_Tail)) << l_Diagnostics;
    EXPECT_EQ(Settled(), l_Case.m_Settled) << l_Diagnostics;
  }
}

TEST_F(KELSysNLSTest, SearchTakesTheFirstFileThatOpens) {
  // Each candidate names en_US with a different language, so the language shows which one won.
  for (const char* l_Path : {"a/NLS/", "b/reffiles/NLS/", "c/"})
    Write(l_Path + std::string("SUPPLANG_Q4"), std::string("*BEGIN*\nen_US ") + l_Path[0] + " C UTF-8\n");
  std::filesystem::create_directories(Path() + "/d/NLS/SUPPLANG_Q4");  // a folder never wins
  // The folders of each variable, named from the temporary folder, and the one that wins.
  const std::filesystem::path l_Cwd = std::filesystem::current_path();
  std::filesystem::current_path(Path());
  const char* const kVariables[] = {"MORReffilesPath", "MORInstallPath", "KELSysNLSInstallPath"};
  using C = std::array<const char*, 4>;
  for (const C& l_Case : {C{"d:a", "b", "c", "a"}, C{"d:x", "::b", "c", "b"}, C{"b", "a", "x:c", "c"}}) {
    for (int l_Variable = 0; l_Variable < 3; ++l_Variable)
      setenv(kVariables[l_Variable], l_Case[l_Variable], 1);
    MORSysTS00ResetForTests();
    EXPECT_EQ(KELSysNLS::GetProcess().GetLanguage(), l_Case[3]);
  }
  std::filesystem::current_path(l_Cwd);
}

TEST_F(KELSysNLSTest, ExactlyOneStartModeIsRequired) {
  setenv("KELSysNLSCoreTrace", "1", 1);
  for (bool l_Both : {true, false}) {
    EXPECT_EQ(Captured([&] {
                EXPECT_TRUE(
                    KELSysNLS::Start(l_Both, l_Both, "fr_FR.ISO-8859-1", "ISO-8859-1", nullptr, 0).IsUTF8());
              }),
              Lines({"[KELSysNLSCore] Catastrophic failure!"}));
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
