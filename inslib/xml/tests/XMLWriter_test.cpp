#include <gtest/gtest.h>

#include <sstream>

#include "XML.h"

namespace {

using XML::Element;

const std::string kDecl(XML::Declaration);

// Builds an element; children are appended in order.
std::shared_ptr<Element> Make(const std::string& iName,
                              std::initializer_list<std::shared_ptr<XML::Content>> iChildren = {}) {
  std::shared_ptr<Element> l_Element = XML::CreateElement(iName);
  for (const std::shared_ptr<XML::Content>& l_Child : iChildren) l_Element->AddChild(l_Child);
  return l_Element;
}

std::string Written(const Element& iRoot) {
  std::ostringstream l_Out;
  XML::Writer().Write(iRoot, l_Out);
  return l_Out.str();
}

TEST(XMLWriter, WritesDocumentsAsDocumented) {
  std::shared_ptr<Element> l_E = Make("e");
  l_E->SetAttribute("p", "1");
  l_E->SetAttribute("l", "2");
  EXPECT_EQ(Written(*Make("r", {l_E})), kDecl + "\n<r>\n  <e l=\"2\" p=\"1\"/>\n</r>");
  EXPECT_EQ(Written(*Make("root")), kDecl + "\n<root/>");
  EXPECT_EQ(Written(*Make("root", {Make("child")})), kDecl + "\n<root>\n  <child/>\n</root>");

  XML::Writer l_Writer;
  EXPECT_EQ(l_Writer.ToString(*Make("e"), false), "<e/>");
  EXPECT_EQ(l_Writer.ToString(*Make("e"), true), kDecl + "\n<e/>");
  EXPECT_EQ(l_Writer.ToString(*Make("a", {Make("b", {Make("c")})}), false),
            "<a>\n  <b>\n    <c/>\n  </b>\n</a>");
}

TEST(XMLWriter, EscapesValuesAndTextsOnly) {
  const std::string l_Raw = "<&>\"'\x01\xc3\xa9\n";
  const std::string l_Escaped = "&lt;&amp;&gt;&quot;&apos;\x01\xc3\xa9\n";
  std::shared_ptr<Element> l_Leaf = Make("n<&>", {XML::CreateText(l_Raw)});
  l_Leaf->SetAttribute("v", l_Raw);
  l_Leaf->SetAttribute("plain", "no specials at all");
  std::shared_ptr<Element> l_Root = Make("r", {l_Leaf, XML::CreateComment(l_Raw)});
  EXPECT_EQ(XML::Writer().ToString(*l_Root, false), "<r>\n  <n<&> plain=\"no specials at all\" v=\"" +
                                                        l_Escaped + "\">" + l_Escaped + "</n<&>>\n  <!--" +
                                                        l_Raw + "  -->\n</r>");
}

TEST(XMLWriter, SortsAttributesByTheirWrittenText) {
  std::shared_ptr<Element> l_Element = Make("e");
  for (const char* l_Name : {"b", "ab", "\xc3", "a", "a-b", "Z", "c"}) l_Element->SetAttribute(l_Name, "v");
  EXPECT_EQ(XML::Writer().ToString(*l_Element, false),
            "<e Z=\"v\" a-b=\"v\" a=\"v\" ab=\"v\" b=\"v\" c=\"v\" \xc3=\"v\"/>");
  // A name holding '=' sorts on the whole text: ' x="' comes before ' x=="'.
  std::shared_ptr<Element> l_Odd = Make("e");
  l_Odd->SetAttribute("x=", "1");
  l_Odd->SetAttribute("x", "2");
  l_Odd->SetAttribute("x!", "3");
  EXPECT_EQ(XML::Writer().ToString(*l_Odd, false), "<e x!=\"3\" x=\"2\" x==\"1\"/>");
}

// Line breaks follow the last thing written: a text keeps its element's closing tag and the next
// element on its line; a blank text writes nothing; comments keep their own lines.
TEST(XMLWriter, BreaksFollowTheLastThingWritten) {
  struct Case {
    const char* m_What;
    std::shared_ptr<Element> m_Root;
    std::string m_Text;
  };
  for (const Case& l_Case :
       {Case{"text closes on its line", Make("a", {XML::CreateText("x")}), "<a>x</a>"},
        Case{"no break after a text", Make("p", {Make("a"), XML::CreateText("x"), Make("b")}),
             "<p>\n  <a/>x<b/>\n</p>"},
        Case{"first child after a text", Make("r", {XML::CreateText("t"), Make("c", {Make("d")})}),
             "<r>t<c><d/>\n  </c>\n</r>"},
        Case{"blank text writes nothing", Make("a", {XML::CreateText(" \t\r\n")}), "<a>\n</a>"},
        Case{"blank text keeps breaks", Make("a", {XML::CreateText("  "), Make("b")}), "<a>\n  <b/>\n</a>"},
        Case{"comment lines",
             Make("r", {Make("s", {XML::CreateComment("one"), XML::CreateComment("l1\nl2")})}),
             "<r>\n  <s>\n    <!--one-->\n    <!--l1\nl2    -->\n  </s>\n</r>"},
        Case{"comment after text", Make("r", {XML::CreateText("t"), XML::CreateComment("c\r")}),
             "<r>t<!--c\r  -->\n</r>"}})
    EXPECT_EQ(XML::Writer().ToString(*l_Case.m_Root, false), l_Case.m_Text) << l_Case.m_What;
}

TEST(XMLWriter, WritesNodeListsAndStartsEachCallAfresh) {
  XML::Writer l_Writer;
  const XML::ContentList l_Nodes = {XML::CreateText("t"), Make("e"), XML::CreateComment("c")};
  EXPECT_EQ(l_Writer.ToString(l_Nodes), kDecl + "t<e/>\n<!--c-->");
  EXPECT_EQ(l_Writer.ToString(XML::ContentList{XML::CreateText("x")}), kDecl + "x");
  EXPECT_EQ(l_Writer.ToString(*Make("e"), true), kDecl + "\n<e/>");  // the text before holds nothing back
  std::ostringstream l_Out;
  l_Writer.Write(l_Nodes, l_Out);
  EXPECT_EQ(l_Out.str(), l_Writer.ToString(l_Nodes));
}

TEST(XMLWriter, StreamGetsTheWholeOfALargeDocument) {
  std::shared_ptr<Element> l_Root = Make("installs");
  for (int l_Index = 0; l_Index < 5000; ++l_Index) {
    std::shared_ptr<Element> l_Install = Make("install");
    l_Install->SetAttribute("path", "/opt/q&a/" + std::to_string(l_Index));
    l_Root->AddChild(l_Install);
  }
  const std::string l_Text = Written(*l_Root);
  EXPECT_GT(l_Text.size(), 128u * 1024u);
  EXPECT_EQ(l_Text, XML::Writer().ToString(*l_Root, true));
}

TEST(XMLWriter, DeepTreesNeedNoRecursion) {
  // Texts around each child keep every break away, so the text grows linearly with the depth.
  constexpr int kDepth = 100000;
  std::shared_ptr<Element> l_Root = Make("e");
  Element* l_Tip = l_Root.get();
  for (int l_Level = 1; l_Level < kDepth; ++l_Level) {
    std::shared_ptr<Element> l_Next = Make("e");
    l_Tip->AddChild(XML::CreateText("x"));
    l_Tip->AddChild(l_Next);
    l_Tip->AddChild(XML::CreateText("y"));
    l_Tip = l_Next.get();
  }
  std::string l_Expected;
  for (int l_Level = 1; l_Level < kDepth; ++l_Level) l_Expected += "<e>x";
  l_Expected += "<e/>";
  for (int l_Level = 1; l_Level < kDepth; ++l_Level) l_Expected += "y</e>";
  std::shared_ptr<XML::Content> l_Copy = l_Root->Clone();
  EXPECT_EQ(XML::Writer().ToString(*l_Root, false), l_Expected);
  l_Root.reset();
  EXPECT_EQ(XML::Writer().ToString(static_cast<Element&>(*l_Copy), false), l_Expected);
}

}  // namespace
