// The process locale settings and the code pages that convert text.
#include "KELSysNLS.h"

#include <tuple>

#include "KELSysCodePage.h"
#include "KELSysIConvTSWrap.h"
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
        C{nullptr, KEL_E_INVALIDARG, "untouched"}, C{"Japanese", KEL_S_OK, "IBM-932"}}) {
    EXPECT_EQ(KELSysNLS::GetCodeSetOfLanguage(l_Language, l_CodeSet), l_Rc);
    EXPECT_STREQ(l_CodeSet, l_Expected);
  }
}

TEST_F(KELSysNLSTest, EnvironmentLocaleCodeSet) {
  // A modifier stays in the code set; without a point the C library is asked, which knows "C" and
  // follows LC_ALL. LANG unset is checked by the start-up test below, through its diagnostics.
  using C = std::array<const char*, 3>;  // LANG, LC_ALL, code set
  for (auto [l_LANGVar, l_LC_ALL, l_Expected] :
       {C{"ja_JP.eucJP", nullptr, "eucJP"}, C{"de_DE.ISO-8859-15@euro", nullptr, "ISO-8859-15@euro"},
        C{"C", nullptr, "ANSI_X3.4-1968"}, C{"xx_YY", "C.UTF-8", "UTF-8"}}) {
    setenv("LANG", l_LANGVar, 1);
    l_LC_ALL ? setenv("LC_ALL", l_LC_ALL, 1) : unsetenv("LC_ALL");
    std::string l_LANG, l_CodeSet;
    KELSysNLSCore::DetectNLSCoreFromEnvironment(l_LANG, l_CodeSet);
    EXPECT_EQ(l_LANG + " " + l_CodeSet, std::string(l_LANGVar) + " " + l_Expected);
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
      {"de_DE.UTF-8@euro", "*BEGIN*\nde_DE German de_DE.UTF-8 UTF-8@euro\n*END*\n", l_Rejected("UTF-8@euro"),
       kEnglish},
      // A file without its section has no entry.
      {nullptr, "en_US English C.UTF-8 UTF-8\n*END*\n",
       Lines({"*BEGIN* OS section not found"}) + l_Lang("en_US.UTF-8", "en_US") + l_Rejected("UTF-8"),
       kEnglish},
  };
  setenv("KELSysNLSInstallPath", Path().c_str(), 1);
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

using KELSysCodePageTest = MORSysTS00Env;

// Names pick the converter; a code set iconv does not know is reported and converts nothing.
TEST_F(KELSysCodePageTest, NamesPickTheConverter) {
  EXPECT_TRUE(KELSysCodePage("utf8").IsUTF8());
  EXPECT_FALSE(KELSysCodePage("UTF-8X").IsUTF8());
  EXPECT_TRUE(KELSysCodePage("Identity").IsIdentity());

  std::optional<KELSysCodePage> l_Unknown;
  EXPECT_EQ(
      Captured([&] { l_Unknown.emplace("NO-SUCH-SET"); }),
      Lines({"[KELSysIConvTSWrap] failed to initialize converters for conversion NO-SUCH-SET <-> UTF-16LE"}));
  std::u16string l_Units = u"kept";
  std::string l_Bytes = "kept";
  EXPECT_EQ(l_Unknown->ToUTF16("abc", 3, l_Units), KEL_E_FAIL);
  EXPECT_EQ(l_Unknown->FromUTF16(u"abc", 3, l_Bytes), KEL_E_FAIL);
  EXPECT_EQ(l_Units + u"/" + std::u16string(l_Bytes.begin(), l_Bytes.end()), u"kept/kept");

  EXPECT_EQ(Captured([] { EXPECT_EQ(KELSysIConvTSWrap::Get(1000, true), reinterpret_cast<iconv_t>(-1)); }),
            Lines({"[KELSysIConvTSWrap] The input IConvDesc_t handle is invalid."}));
}

TEST_F(KELSysCodePageTest, ProblemsAreReportedAndConversionGoesOn) {
  KELSysCodePage l_Page("EUC-JP");
  std::u16string l_Units;
  EXPECT_EQ(Captured([&] { EXPECT_EQ(l_Page.ToUTF16("a\xFF\xA4\xA2\xA4", 5, l_Units), KEL_E_FAIL); }),
            Lines({"iconv errno is: 84", "iconv EINVAL error: input buffer was truncated."}));
  EXPECT_EQ(l_Units, u"a\xDCFF\u3042\xDCA4");

  // Through iconv, as identity, and as UTF-8, where a text that ends between the two units of a pair
  // ends with a lone one, whatever follows it; a pair is one character.
  using C = std::tuple<const char*, std::u16string, size_t, KELSysResult, std::string>;
  for (const auto& [l_CodeSet, l_Units16, l_Length, l_Rc, l_Expected] :
       {C{"EUC-JP", u"\u3042\xDCFF\U0001F600\u00E9\xD800", 6, KEL_E_FAIL, "\xA4\xA2\xFF?\x8F\xAB\xB1?"},
        C{"Identity", u"a\u00E9\u20AC", 3, KEL_E_FAIL, "a\xE9?"},
        C{"UTF-8", u"a\xD83D\xDE00", 2, KEL_S_OK, "a\xEF\xBF\xBD"}}) {
    std::string l_Bytes;
    Captured(
        [&] { EXPECT_EQ(KELSysCodePage(l_CodeSet).FromUTF16(l_Units16.data(), l_Length, l_Bytes), l_Rc); });
    EXPECT_EQ(l_Bytes, l_Expected) << l_CodeSet;
  }
}

// A character that needs two units is not one unit, through iconv or not.
TEST_F(KELSysCodePageTest, NextMultiByteCharIsOneUnit) {
  const std::string kBugged =
      Lines({"ERROR: KELSysCodePage::GetNextMultiByteCharAsUTF16 is probably bugged!"});
  // Code set, bytes, result, unit, bytes read, diagnostics.
  using C = std::tuple<const char*, std::string, KELSysResult, char16_t, size_t, std::string>;
  for (const auto& [l_CodeSet, l_Bytes, l_Rc, l_ExpectedUnit, l_Read, l_Diagnostics] :
       {C{"EUC-JP", "\xA4\xA2z", KEL_S_OK, u'\u3042', 2, ""}, C{"EUC-JP", "z\xA4", KEL_S_OK, u'z', 1, ""},
        C{"EUC-JP", "\xA4", KEL_E_FAIL, 0, 0, ""}, C{"UTF-8", "\xC3\xA9", KEL_S_OK, u'\u00E9', 2, ""},
        C{"UTF-8", "\xC3", KEL_E_FAIL, 0, 0, ""}, C{"Identity", "\xE9", KEL_S_OK, u'\u00E9', 1, ""},
        C{"UTF-8", "\xF0\x9F\x98\x80", KEL_E_FAIL, 0, 0, kBugged},
        C{"GB18030", "\x94\x39\xFC\x36", KEL_E_FAIL, 0, 0, kBugged}}) {
    const char* l_Text = l_Bytes.data();
    size_t l_Left = l_Bytes.size();
    char16_t l_Unit = 0;
    const KELSysCodePage l_Page(l_CodeSet);
    EXPECT_EQ(Captured([&] { EXPECT_EQ(l_Page.GetNextMultiByteCharAsUTF16(l_Text, l_Left, l_Unit), l_Rc); }),
              l_Diagnostics)
        << l_CodeSet << " " << l_Bytes;
    EXPECT_EQ(l_Unit, l_ExpectedUnit);
    EXPECT_EQ(l_Text - l_Bytes.data(), static_cast<ptrdiff_t>(l_Read));
    EXPECT_EQ(l_Left + l_Read, l_Bytes.size());
  }
}
