// Element trees and their text: attributes, children, clones, and the writer.
#include <gtest/gtest.h>

#include <sstream>

#include "XML.h"

namespace {

using XML::AttributeList;
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

TEST(XMLElement, AttributesKeepFirstSetOrder) {
  Element l_Element("e");
  l_Element.SetAttribute("b", std::string("1"));
  l_Element.SetAttribute("a", "2");
  l_Element.SetAttribute("c", true);
  l_Element.SetAttribute("b", false);  // replaced where it stands
  l_Element.SetAttribute("n", static_cast<const char*>(nullptr));
  EXPECT_EQ(l_Element.GetAttributes(), (AttributeList{{"b", "false"}, {"a", "2"}, {"c", "true"}, {"n", ""}}));
  EXPECT_EQ(l_Element.GetAttribute("a", "dflt") + l_Element.GetAttribute("A", "dflt"), "2dflt");
  EXPECT_TRUE(l_Element.HasAttribute("n") && !l_Element.HasAttribute("b "));
  EXPECT_TRUE(l_Element.RemoveAttribute("a") && !l_Element.RemoveAttribute("a"));
  // Many attributes, values longer than a length's first byte can say: still in order.
  AttributeList l_Expected = {{"b", "false"}, {"n", ""}};
  for (char l_Name = 'p'; l_Name < 'x'; ++l_Name) {
    l_Element.SetAttribute(std::string(1, l_Name), std::string(200, l_Name));
    l_Expected.emplace_back(std::string(1, l_Name), std::string(200, l_Name));
  }
  EXPECT_TRUE(l_Element.RemoveAttribute("c"));
  EXPECT_EQ(l_Element.GetAttributes(), l_Expected);
  EXPECT_EQ(std::static_pointer_cast<Element>(l_Element.Clone())->GetAttributes(), l_Expected);
}

// Children in order, an empty pointer left out; their texts joined, and trimmed of blanks only; a
// clone copies the whole tree, so that changing the copy leaves the original as it was; children
// removed by identity or by element name.
TEST(XMLElement, ChildrenClonesAndRemoval) {
  std::shared_ptr<Element> l_First = Make("x"), l_Twin = Make("x");
  std::shared_ptr<Element> l_Parent = Make("p", {XML::CreateText(" a "), l_First, XML::CreateComment("c"),
                                                 l_Twin, XML::CreateText("\tb\n"), nullptr});
  EXPECT_EQ(l_Parent->GetChildren().size(), 5u);
  EXPECT_EQ(l_Parent->GetText() + "|" + l_Parent->GetTrimmedText(), " a \tb\n|ab");
  EXPECT_EQ(XML::Text("  \t\r\n").GetTrimmedText() + "|" + XML::Text(" a b ").GetTrimmedText() + "|" +
                XML::Text("\va\f").GetTrimmedText(),
            "|a b|\va\f");

  l_Parent->SetAttribute("k", "v");
  l_First->AddChild(XML::CreateText("t"));
  const std::string l_Before = XML::Writer().ToString(*l_Parent, false);
  std::shared_ptr<Element> l_Copy = std::static_pointer_cast<Element>(l_Parent->Clone());
  EXPECT_EQ(XML::Writer().ToString(*l_Copy, false), l_Before);
  std::shared_ptr<Element> l_CopiedChild = l_Copy->GetChildElements().at(0);
  EXPECT_NE(l_CopiedChild->GetChildren().front(), l_First->GetChildren().front());
  l_CopiedChild->SetAttribute("new", "1");
  l_CopiedChild->ClearChildren();
  l_Copy->SetAttribute("k", "changed");
  EXPECT_EQ(XML::Writer().ToString(*l_Parent, false), l_Before);

  EXPECT_FALSE(l_Parent->RemoveChild(XML::CreateElement("x")));  // equal but not the same node
  EXPECT_TRUE(l_Parent->RemoveChild(l_Twin));
  EXPECT_EQ(l_Parent->GetChildElements(), std::vector<std::shared_ptr<Element>>{l_First});
  EXPECT_FALSE(l_Parent->RemoveChildElement("c"));  // the comment is not an element
  EXPECT_TRUE(l_Parent->RemoveChildElement("x"));
  EXPECT_TRUE(l_Parent->GetChildElements().empty());
  l_Parent->ClearChildren();
  EXPECT_TRUE(l_Parent->GetChildren().empty());
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
       {Case{Make("a", {Make("b", {Make("c")})}), "<a>\n  <b>\n    <c/>\n  </b>\n</a>"},
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
  const XML::ContentList l_Nodes = {XML::CreateText("t"), Make("e"), XML::CreateComment("c")};
  EXPECT_EQ(l_Writer.ToString(l_Nodes), kDecl + "t<e/>\n<!--c-->");
  EXPECT_EQ(l_Writer.ToString(XML::ContentList{XML::CreateText("x")}),
            kDecl + "x");                                            // afresh after a comment
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
