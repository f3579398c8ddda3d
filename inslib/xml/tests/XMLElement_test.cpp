#include <gtest/gtest.h>

#include "XML.h"

namespace {

using XML::AttributeList;
using XML::Element;

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
  EXPECT_EQ(l_Element.GetAttributes(), (AttributeList{{"b", "false"}, {"c", "true"}, {"n", ""}}));
  // Past the room kept inside the element, the attributes move out and keep their order.
  AttributeList l_Expected = {{"b", "false"}, {"n", ""}};
  for (char l_Name = 'p'; l_Name < 'x'; ++l_Name) {
    l_Element.SetAttribute(std::string(1, l_Name), std::string(40, l_Name));
    l_Expected.emplace_back(std::string(1, l_Name), std::string(40, l_Name));
  }
  EXPECT_TRUE(l_Element.RemoveAttribute("c"));
  EXPECT_EQ(l_Element.GetAttributes(), l_Expected);
  EXPECT_EQ(std::static_pointer_cast<Element>(l_Element.Clone())->GetAttributes(), l_Expected);
}

// Children in order, an empty pointer left out; their texts joined, and trimmed of blanks only; a
// clone copies the whole tree, so that changing the copy leaves the original as it was; children
// removed by identity or by element name.
TEST(XMLElement, ChildrenClonesAndRemoval) {
  std::shared_ptr<Element> l_Parent = XML::CreateElement("p"), l_First = XML::CreateElement("x"),
                           l_Twin = XML::CreateElement("x");
  for (const std::shared_ptr<XML::Content>& l_Child :
       XML::ContentList{XML::CreateText(" a "), l_First, XML::CreateComment("c"), l_Twin,
                        XML::CreateText("\tb\n"), nullptr})
    l_Parent->AddChild(l_Child);
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
  EXPECT_NE(l_CopiedChild, l_First);
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

}  // namespace
