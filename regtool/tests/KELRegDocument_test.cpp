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
  EXPECT_EQ(KELInsRegShow("\\ud83d x \\udc41 \\q \\u12"), "\\ud83d x \\udc41 \\q \\u12");
}

struct Fault {
  std::string m_Text, m_Where, m_What;
};

class KELInsRegDocumentFault : public ::testing::TestWithParam<Fault> {};

TEST_P(KELInsRegDocumentFault, IsReportedWhereItStands) {
  KELInsRegKeyName l_Name;
  KELInsRegTree l_Tree;
  try {
    KELInsRegParseDocument(GetParam().m_Text, l_Name, l_Tree);
    ADD_FAILURE() << "accepted";
  } catch (const KELInsRegDocumentError& l_Error) {
    EXPECT_EQ(l_Error.Where(GetParam().m_Text) + ": " + l_Error.m_What,
              GetParam().m_Where + ": " + GetParam().m_What);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, KELInsRegDocumentFault,
    ::testing::Values(
        Fault{"", "1:1", "empty document"}, Fault{"  \n ", "2:2", "empty document"},
        Fault{"[]", "1:1", "expected an object for the document"},
        Fault{"{\"Key\": \"HKLM\\\\A\"", "1:18",
              "unexpected end of the document, expected ',' or '}' in the document"},
        Fault{"{\"Key\": \"HKLM\\\\A", "1:9", "unterminated string"},
        Fault{"{\"Key\": \"HKLM\"} x", "1:17", "unexpected text after the document"},
        Fault{"{\"Values\": {}}", "1:1", "the document has no \"Key\""},
        Fault{"{\"Key\": \"HKLM\", \"Key\": \"HKCU\"}", "1:17", "duplicate member \"Key\""},
        Fault{"{\"Key\": \"HKXX\"}", "1:9", "bad \"Key\": unknown hive 'HKXX' (HKLM, HKCU or HKCR)"},
        Fault{"{\"Key\": 5}", "1:9", "expected \"Key\""},
        Fault{"{\"Key\": \"HKLM\", \"Extra\": 1}", "1:17",
              "unknown member \"Extra\" (expected \"Key\", \"Values\" or \"Subkeys\")"},
        Fault{"{\"Key\": \"HKLM\",\n \"Values\": {\"V\": [3, \"x\"]}}", "2:2", "a hive root holds no values"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [3, \"x\"], \"V\": [3, \"y\"]}}", "1:45",
              "duplicate value \"V\""},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [5, 1]}}", "1:36", "unknown value type 5 (1 to 4)"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [1, \"5\"]}}", "1:39",
              "expected a REG_DWORD number"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [1, 4294967296]}}", "1:39",
              "a REG_DWORD number out of range (at most 4294967295)"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [2, 99999999999999999999999]}}", "1:39",
              "a REG_QWORD number out of range (at most 18446744073709551615)"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [2, -1]}}", "1:39",
              "a REG_QWORD number out of range (negative)"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [1, 1.5]}}", "1:39",
              "a REG_DWORD number must be a whole number"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [1, 01]}}", "1:39", "a number with a leading zero"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [3, 1]}}", "1:39", "expected a REG_SZ string"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [4, [\"a\", 2]]}}", "1:45",
              "expected a string in a REG_MULTI_SZ list"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [3, \"x\", 1]}}", "1:42",
              "expected ']' after the value's data"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [3, \"a\tb\"]}}", "1:41",
              "control byte in a string (write it as an escape)"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [3, \"\\q\"]}}", "1:40", "bad escape in a string"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [3, \"\\ud800\"]}}", "1:40",
              "lone surrogate in a string"},
        Fault{"{\"Key\": \"HKLM/A\", \"Values\": {\"V\": [3, \"\\udc41\"]}}", "1:40",
              "lone surrogate in a string"},
        Fault{"{\"Key\": \"HKLM/A\", \"Subkeys\": {\"a/b\": {}}}", "1:31",
              "bad subkey name: a key name cannot hold a '\\' or '/'"},
        Fault{"{\"Key\": \"HKLM/A\", \"Subkeys\": {\"x\": {}, \"x\": {}}}", "1:40", "duplicate subkey \"x\""},
        Fault{"{\"Key\": \"HKLM/A\", \"Subkeys\": {\"x\": {\"Values\": {}, \"Values\": {}}}}", "1:51",
              "duplicate member \"Values\""},
        Fault{"{\"Key\": \"HKLM/A\", \"Subkeys\": {\"x\": []}}", "1:36", "expected an object for a key"}));

}  // namespace
