// Registry text forms and the import document, in process: escapes, and faults with their places.
// (Documents written and read back whole are checked end to end, in KELRegRoundTrip_test.cpp.)
#include <gtest/gtest.h>

#include "KELInsRegDocument.h"
#include "KELInsRegText.h"

namespace {

TEST(KELInsRegText, StoredAndDocumentFormsGiveTheBytesBack) {
  struct Case {
    std::string m_Bytes, m_Stored, m_Document;
  };
  for (const Case& l_Case : {
           Case{"plain", "plain", "\"plain\""},
           Case{"q\"b\\s/", "q\\\"b\\\\s/", "\"q\\\"b\\\\s/\""},
           Case{"\n\t\r\b\f\x01\x1f\x7f", "\\n\\t\\r\\b\\f\\u0001\\u001f\x7f",
                "\"\\n\\t\\r\\b\\f\\u0001\\u001f\x7f\""},
           Case{std::string("nul\0x", 5), "nul\\u0000x", "\"nul\\u0000x\""},
           Case{"caf\xC3\xA9 \xF0\x9F\x98\x80", "caf\xC3\xA9 \xF0\x9F\x98\x80",
                "\"caf\xC3\xA9 \xF0\x9F\x98\x80\""},
           // The smallest character of each length is UTF-8; a lead byte past F4 never is.
           Case{"\xC2\x80\xE0\xA0\x80\xF0\x90\x80\x80", "\xC2\x80\xE0\xA0\x80\xF0\x90\x80\x80",
                "\"\xC2\x80\xE0\xA0\x80\xF0\x90\x80\x80\""},
           Case{"\xF8\x90\x80\x80", "\xF8\x90\x80\x80", "\"\\udcf8\\udc90\\udc80\\udc80\""},
           // Not UTF-8: a lone byte, a cut sequence, an overlong form, an encoded surrogate.
           Case{"\xFF\xC3 \xC0\xAF\xED\xA0\x80", "\xFF\xC3 \xC0\xAF\xED\xA0\x80",
                "\"\\udcff\\udcc3 \\udcc0\\udcaf\\udced\\udca0\\udc80\""},
       }) {
    EXPECT_EQ(KELInsRegStore(l_Case.m_Bytes), l_Case.m_Stored);
    EXPECT_EQ(KELInsRegShow(l_Case.m_Stored), l_Case.m_Bytes);
    std::string l_Document;
    KELInsRegAppendJSONString(l_Document, l_Case.m_Bytes);
    EXPECT_EQ(l_Document, l_Case.m_Document);
  }
  // Escapes written by hand are decoded too; those that stand for no bytes stay as they are.
  EXPECT_EQ(KELInsRegShow("\\u00e9\\ud83d\\ude00\\/"), "\xC3\xA9\xF0\x9F\x98\x80/");
  EXPECT_EQ(KELInsRegShow("\\ud83d x \\udc41 \\q \\u12 \\"), "\\ud83d x \\udc41 \\q \\u12 \\");
}

// "LINE:COLUMN: what" of the first fault of iText, or "accepted".
std::string FaultOf(const std::string& iText) {
  KELInsRegKeyName l_Name;
  KELInsRegTree l_Tree;
  try {
    KELInsRegParseDocument(iText, l_Name, l_Tree);
    return "accepted";
  } catch (const KELInsRegDocumentError& l_Error) {
    return l_Error.Where(iText) + ": " + l_Error.m_What;
  }
}

// Every fault is reported where it stands, syntax, shape, names, types, ranges and limits alike.
TEST(KELInsRegDocument, FaultsAreReportedWhereTheyStand) {
  const std::string l_A = "{\"Key\": \"HKLM/A\", \"Values\": {\"V\": ";
  const std::string l_Good =
      "{\"Key\": \"HKLM/Good\", \"Values\": {\"v\": [3, \"fine\"]}, \"Subkeys\": {\"S\": {}}}";
  std::string l_Deep = "{\"Key\": \"HKLM/D\", \"Subkeys\": ";
  for (int l_Level = 0; l_Level < 600; ++l_Level) l_Deep += "{\"k\": {\"Subkeys\": ";
  l_Deep += "{}" + std::string(1200, '}') + "}";
  const std::string l_Big(10 << 20, 'x'), l_Half = l_Big.substr(0, 600000),
                                          l_W = "{\"Key\": \"HKLM/W\", \"Values\": {";
  // Lists of one short string under short names: well within the size limit, but the key file
  // would cost its readers more than its size allows.
  std::string l_Lists = "{\"Key\": \"HKLM/L\", \"Values\": {";
  for (char l_First = '!'; l_First <= '~'; ++l_First)
    for (char l_Second = '!'; l_Second <= '~'; ++l_Second)
      if (l_First != '"' && l_First != '\\' && l_Second != '"' && l_Second != '\\')
        l_Lists +=
            std::string(l_Lists.back() == '{' ? "" : ",") + "\"" + l_First + l_Second + "\":[4,[\"x\"]]";
  for (const auto& [l_Text, l_Fault] : std::vector<std::pair<std::string, std::string>>{
           {"", "1:1: empty document"},
           {l_Good.substr(0, l_Good.size() - 3),
            "1:70: unexpected end of the document, expected a member name in a key"},
           {l_Good.substr(0, 55), "1:52: unterminated string"},
           {"[]", "1:1: expected an object for the document"},
           {"{\"Key\": \"HKLM\\\\A\"",
            "1:18: unexpected end of the document, expected ',' or '}' in the document"},
           {"{\"Key\": \"HKLM\"} x", "1:17: unexpected text after the document"},
           {"{\"Values\": {}}", "1:1: the document has no \"Key\""},
           {"{\"Key\": \"HKLM\", \"Key\": \"HKCU\"}", "1:17: duplicate member \"Key\""},
           {"{\"Key\": \"HKXX\"}", "1:9: bad \"Key\": unknown hive 'HKXX' (HKLM, HKCU or HKCR)"},
           {"{\"Key\": 5}", "1:9: expected \"Key\""},
           {"{\"Key\": \"HKLM\", \"Extra\": 1}",
            "1:17: unknown member \"Extra\" (expected \"Key\", \"Values\" or \"Subkeys\")"},
           {"{\"Key\": \"HKLM\",\n \"Values\": {\"V\": [3, \"x\"]}}", "2:2: a hive root holds no values"},
           {l_A + "[3, \"x\"], \"V\": [3, \"y\"]}}", "1:45: duplicate value \"V\""},
           {l_A + "[5, 1]}}", "1:36: unknown value type 5 (1 to 4)"},
           {l_A + "[\"3\", \"x\"]}}", "1:36: expected a value type"},
           {l_A + "[1, \"5\"]}}", "1:39: expected a REG_DWORD number"},
           {l_A + "[1, 4294967296]}}", "1:39: a REG_DWORD number out of range (at most 4294967295)"},
           {l_A + "[2, 99999999999999999999999]}}",
            "1:39: a REG_QWORD number out of range (at most 18446744073709551615)"},
           {l_A + "[2, -1]}}", "1:39: a REG_QWORD number out of range (negative)"},
           {l_A + "[1, 1.5]}}", "1:39: a REG_DWORD number must be a whole number"},
           {l_A + "[1, 01]}}", "1:39: a number with a leading zero"},
           {l_A + "[3, 1]}}", "1:39: expected a REG_SZ string"},
           {l_A + "[4, [\"a\", 2]]}}", "1:45: expected a string in a REG_MULTI_SZ list"},
           {l_A + "[4, " + std::string(100000, '[') + "]}}",
            "1:40: expected a string in a REG_MULTI_SZ list"},
           {l_A + "[3, \"x\", 1]}}", "1:42: expected ']' after the value's data"},
           {l_A + "[3, \"a\tb\"]}}", "1:41: control byte in a string (write it as an escape)"},
           {l_A + "[3, \"\\q\"]}}", "1:40: bad escape in a string"},
           {l_A + "[3, \"\\ud800\"]}}", "1:40: lone surrogate in a string"},
           {l_A + "[3, \"\\udc41\"]}}", "1:40: lone surrogate in a string"},
           {"{\"Key\": \"HKLM/A\", \"Subkeys\": {\"a/b\": {}}}",
            "1:31: bad subkey name: a key name cannot hold a '\\' or '/'"},
           {"{\"Key\": \"HKLM/A\", \"Subkeys\": {\"x\": {}, \"x\": {}}}", "1:40: duplicate subkey \"x\""},
           {"{\"Key\": \"HKLM/A\", \"Subkeys\": {\"x\": {\"Values\": {}, \"Values\": {}}}}",
            "1:51: duplicate member \"Values\""},
           {"{\"Key\": \"HKLM/A\", \"Subkeys\": {\"x\": []}}", "1:36: expected an object for a key"},
           {"{\"Key\": \"HKLM/A\", \"Subkeys\": {\"S\": {\"Values\": {\"v\": [2, " + std::string(400, '9') +
                "]}}}}",
            "1:57: a REG_QWORD number out of range (at most 18446744073709551615)"},
           // Past the bounds: keys nested too deep, what would make a key file the registry cannot
           // hold or cannot read within its budget, refused at the key, value or string too far.
           {l_Deep, "1:9251: keys nested deeper than 512 levels"},
           {l_W + "\"v\": [3, \"" + l_Big + "\"]}}", "1:39: string longer than 1048576 bytes"},
           {l_W + "\"" + l_Big + "\": [3, \"\"]}}", "1:30: string longer than 65536 bytes"},
           {l_W + "\"v\": [4, [\"" + l_Half + "\", \"" + l_Half + "\"]]}}",
            "1:600044: string longer than 448576 bytes"},
           // Two values that fit alone but not together in one key file.
           {l_W + "\"a\": [3, \"" + l_Half + "\"], \"b\": [3, \"" + l_Half + "\"]}}",
            "1:29: the values of this key take 1200021 bytes in its key file, more than the 1048576 the "
            "registry "
            "holds"},
           {l_Lists + "}}",
            "1:29: the values of this key would take more memory to read than the registry allows for the "
            "126959 "
            "bytes they take in its key file (many short values holding lists)"}}) {
    EXPECT_EQ(FaultOf(l_Text), l_Fault) << l_Text.substr(0, 200);
  }
}

}  // namespace
