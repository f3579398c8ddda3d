#include <gtest/gtest.h>

#include <sstream>

#include "XML.h"

namespace {

using XML::Element;

const std::string kDecl(XML::Declaration);

// An element with the attributes set and the children appended in the order given.
std::shared_ptr<Element> Make(const std::string& iName,
                              std::initializer_list<std::shared_ptr<XML::Content>> iChildren = {},
                              const XML::AttributeList& iAttributes = {}) {
  std::shared_ptr<Element> l_Element = XML::CreateElement(iName);
  for (const XML::Attribute& l_Attribute : iAttributes)
    l_Element->SetAttribute(l_Attribute.first, l_Attribute.second);
  for (const std::shared_ptr<XML::Content>& l_Child : iChildren) l_Element->AddChild(l_Child);
  return l_Element;
}

std::string Written(const Element& iRoot) {
  std::ostringstream l_Out;
  XML::Writer().Write(iRoot, l_Out);
  return l_Out.str();
}

// Elements by one writer, each call afresh: two blanks of indentation a level; attributes in byte
// order of their written text; values and texts escaped, names and comments raw. Line breaks follow
// the last thing written: a text keeps its element's closing tag and the next element on its line;
// a blank text writes nothing; comments keep their own lines.
TEST(XMLWriter, WritesElements) {
  const std::string l_Raw = "<&>\"'\x01\xc3\xa9\n", l_Escaped = "&lt;&amp;&gt;&quot;&apos;\x01\xc3\xa9\n";
  struct Case {
    std::shared_ptr<Element> m_Root;
    std::string m_Text;
  };
  XML::Writer l_Writer;
  for (const Case& l_Case :
       {Case{Make("e"), "<e/>"},
        Case{Make("a", {Make("b", {Make("c")})}), "<a>\n  <b>\n    <c/>\n  </b>\n</a>"},
        Case{Make("r",
                  {Make("n<&>", {XML::CreateText(l_Raw)}, {{"v", l_Raw}, {"plain", "no specials at all"}}),
                   XML::CreateComment(l_Raw)}),
             "<r>\n  <n<&> plain=\"no specials at all\" v=\"" + l_Escaped + "\">" + l_Escaped +
                 "</n<&>>\n  <!--" + l_Raw + "  -->\n</r>"},
        Case{Make("e", {},
                  {{"b", "v"}, {"ab", "v"}, {"\xc3", "v"}, {"a", "v"}, {"a-b", "v"}, {"Z", "v"}, {"c", "v"}}),
             "<e Z=\"v\" a-b=\"v\" a=\"v\" ab=\"v\" b=\"v\" c=\"v\" \xc3=\"v\"/>"},
        // A name holding '=' sorts on the whole text: ' x="' comes before ' x=="'.
        Case{Make("e", {}, {{"x=", "1"}, {"x", "2"}, {"x!", "3"}}), "<e x!=\"3\" x=\"2\" x==\"1\"/>"},
        Case{Make("a", {XML::CreateText("x")}), "<a>x</a>"},
        Case{Make("p", {Make("a"), XML::CreateText("x"), Make("b")}), "<p>\n  <a/>x<b/>\n</p>"},
        Case{Make("r", {XML::CreateText("t"), Make("c", {Make("d")})}), "<r>t<c><d/>\n  </c>\n</r>"},
        Case{Make("a", {XML::CreateText(" \t\r\n")}), "<a>\n</a>"},
        Case{Make("a", {XML::CreateText("  "), Make("b")}), "<a>\n  <b/>\n</a>"},
        Case{Make("r", {Make("s", {XML::CreateComment("one"), XML::CreateComment("l1\nl2")})}),
             "<r>\n  <s>\n    <!--one-->\n    <!--l1\nl2    -->\n  </s>\n</r>"},
        Case{Make("r", {XML::CreateText("t"), XML::CreateComment("c\r")}), "<r>t<!--c\r  -->\n</r>"}})
    EXPECT_EQ(l_Writer.ToString(*l_Case.m_Root, false), l_Case.m_Text);
}

// Documents: the declaration, a line break and the element, or the declaration and nodes written as
// children of a top-level element are; to a string or to a stream, which gets the whole of a document
// larger than the writer's blocks.
TEST(XMLWriter, WritesDocuments) {
  XML::Writer l_Writer;
  EXPECT_EQ(Written(*Make("root")), kDecl + "\n<root/>");
  EXPECT_EQ(Written(*Make("r", {Make("e", {}, {{"p", "1"}, {"l", "2"}})})),
            kDecl + "\n<r>\n  <e l=\"2\" p=\"1\"/>\n</r>");
  const XML::ContentList l_Nodes = {XML::CreateText("t"), Make("e"), XML::CreateComment("c")};
  EXPECT_EQ(l_Writer.ToString(l_Nodes), kDecl + "t<e/>\n<!--c-->");
  EXPECT_EQ(l_Writer.ToString(XML::ContentList{XML::CreateText("x")}), kDecl + "x");
  EXPECT_EQ(l_Writer.ToString(*Make("e"), true), kDecl + "\n<e/>");  // the text before holds nothing back
  std::ostringstream l_Out;
  l_Writer.Write(l_Nodes, l_Out);
  EXPECT_EQ(l_Out.str(), l_Writer.ToString(l_Nodes));
  std::shared_ptr<Element> l_Root = Make("installs");
  for (int l_Index = 0; l_Index < 5000; ++l_Index)
    l_Root->AddChild(Make("install", {}, {{"path", "/opt/q&a/" + std::to_string(l_Index)}}));
  const std::string l_Text = Written(*l_Root);
  EXPECT_GT(l_Text.size(), 128u * 1024u);
  EXPECT_EQ(l_Text, l_Writer.ToString(*l_Root, true));
}

TEST(XMLWriter, DeepTreesNeedNoRecursion) {
  // Texts around each child keep every break away, so the text grows linearly with the depth.
  constexpr int kDepth = 100000;
  std::shared_ptr<Element> l_Root = Make("e");
  std::string l_Open, l_Close;
  for (int l_Level = 1; l_Level < kDepth; ++l_Level, l_Open += "<e>x", l_Close += "y</e>")
    l_Root = Make("e", {XML::CreateText("x"), l_Root, XML::CreateText("y")});
  const std::string l_Expected = l_Open + "<e/>" + l_Close;
  std::shared_ptr<XML::Content> l_Copy = l_Root->Clone();
  EXPECT_EQ(XML::Writer().ToString(*l_Root, false), l_Expected);
  l_Root.reset();
  EXPECT_EQ(XML::Writer().ToString(static_cast<Element&>(*l_Copy), false), l_Expected);
}

}  // namespace
