#include "XMLElement.h"

#include <algorithm>

#include "XMLNames.h"
#include "XMLText.h"

namespace XML {

namespace {

const Text& AsText(const Content& iContent) { return static_cast<const Text&>(iContent); }

// How many elements this thread is freeing through nested destructor calls right now.
thread_local int t_Nesting = 0;

}  // namespace

Element::Element(std::string_view iName) : Content(TypeElement), m_Name(Names::Intern(iName)) {}

Element::~Element() { ReleaseNested(m_Children); }

std::string Element::GetName() const { return std::string(Names::Get(m_Name)); }

void Element::ReleaseNested(ChildList& ioChildren) {
  // A child element dropped here frees its own children from its destructor, and so on down: one
  // stack frame per level. That is the quickest way for the usual shallow tree, each node being
  // freed while it is in cache, so it is used for the first 64 levels. Deeper, every element that
  // still has children is taken out and emptied in a loop, so each destructor that runs has only
  // leaves left to free. A child shared with others is taken too: its last holder may be freed
  // later in the loop.
  if (t_Nesting < 64) {
    ++t_Nesting;
    ioChildren.clear();
    --t_Nesting;
    return;
  }
  std::vector<std::shared_ptr<Content>> l_Pending;
  auto l_Defer = [&l_Pending](ChildList& ioList) {
    for (std::shared_ptr<Content>& l_Child : ioList) {
      if (l_Child && l_Child->GetType() == TypeElement &&
          !static_cast<Element&>(*l_Child).m_Children.empty()) {
        l_Pending.push_back(std::move(l_Child));
      }
    }
  };
  l_Defer(ioChildren);
  while (!l_Pending.empty()) {
    std::shared_ptr<Content> l_Node = std::move(l_Pending.back());
    l_Pending.pop_back();
    if (l_Node.use_count() == 1) l_Defer(static_cast<Element&>(*l_Node).m_Children);
  }
  ioChildren.clear();
}

void Element::SetAttribute(const std::string& iName, std::string_view iValue) {
  m_Attributes.Set(Names::Intern(iName), iValue);
}

void Element::SetAttribute(const std::string& iName, const char* iValue) {
  SetAttribute(iName, std::string_view(iValue ? iValue : ""));
}

void Element::SetAttribute(const std::string& iName, bool iValue) {
  SetAttribute(iName, std::string_view(iValue ? "true" : "false"));
}

std::string Element::GetAttribute(const std::string& iName, const std::string& iDefault) const {
  AttributePack::Entry l_Found;
  return m_Attributes.Find(iName, l_Found) ? std::string(l_Found.m_Value) : iDefault;
}

bool Element::HasAttribute(const std::string& iName) const {
  AttributePack::Entry l_Found;
  return m_Attributes.Find(iName, l_Found);
}

bool Element::RemoveAttribute(const std::string& iName) {
  AttributePack::Entry l_Found;
  if (!m_Attributes.Find(iName, l_Found)) return false;
  m_Attributes.Remove(l_Found);
  return true;
}

AttributeList Element::GetAttributes() const {
  AttributeList l_List;
  for (std::size_t l_Pos = 0; l_Pos < m_Attributes.End();) {
    const AttributePack::Entry l_Entry = m_Attributes.At(l_Pos);
    l_List.emplace_back(Names::Get(l_Entry.m_Name), l_Entry.m_Value);
    l_Pos = l_Entry.m_End;
  }
  return l_List;
}

void Element::AddChild(std::shared_ptr<Content> iChild) {
  if (iChild) m_Children.push_back(std::move(iChild));
}

bool Element::RemoveChild(const std::shared_ptr<Content>& iChild) {
  auto l_Found = std::find(m_Children.begin(), m_Children.end(), iChild);
  if (l_Found == m_Children.end()) return false;
  m_Children.erase(l_Found);
  return true;
}

bool Element::RemoveChildElement(const std::string& iName) {
  auto l_Found =
      std::find_if(m_Children.begin(), m_Children.end(), [&](const std::shared_ptr<Content>& l_Child) {
        return l_Child->GetType() == TypeElement &&
               Names::Get(static_cast<const Element&>(*l_Child).m_Name) == iName;
      });
  if (l_Found == m_Children.end()) return false;
  m_Children.erase(l_Found);
  return true;
}

void Element::ClearChildren() { ReleaseNested(m_Children); }

std::vector<std::shared_ptr<Element>> Element::GetChildElements() const {
  std::vector<std::shared_ptr<Element>> l_Elements;
  for (const std::shared_ptr<Content>& l_Child : m_Children) {
    if (l_Child->GetType() == TypeElement) l_Elements.push_back(std::static_pointer_cast<Element>(l_Child));
  }
  return l_Elements;
}

std::string Element::GetText() const {
  std::string l_Text;
  for (const std::shared_ptr<Content>& l_Child : m_Children) {
    if (l_Child->GetType() == TypeText) l_Text += AsText(*l_Child).GetText();
  }
  return l_Text;
}

std::string Element::GetTrimmedText() const {
  std::string l_Text;
  for (const std::shared_ptr<Content>& l_Child : m_Children) {
    if (l_Child->GetType() == TypeText) l_Text += AsText(*l_Child).GetTrimmedText();
  }
  return l_Text;
}

std::shared_ptr<Content> Element::Clone() const {
  struct Frame {
    const Element* m_Source;
    Element* m_Copy;
    ChildList::const_iterator m_Next;
  };
  auto l_CopyShallow = [](const Element& iSource) {
    std::shared_ptr<Element> l_Copy = std::make_shared<Element>(Names::Get(iSource.m_Name));
    l_Copy->m_Attributes = iSource.m_Attributes;
    return l_Copy;
  };
  std::shared_ptr<Element> l_Root = l_CopyShallow(*this);
  std::vector<Frame> l_Stack{{this, l_Root.get(), m_Children.begin()}};
  while (!l_Stack.empty()) {
    Frame& l_Top = l_Stack.back();
    if (l_Top.m_Next == l_Top.m_Source->m_Children.end()) {
      l_Stack.pop_back();
      continue;
    }
    const Content& l_Child = **l_Top.m_Next++;
    if (l_Child.GetType() != TypeElement) {
      l_Top.m_Copy->m_Children.push_back(l_Child.Clone());
      continue;
    }
    const Element& l_Source = static_cast<const Element&>(l_Child);
    std::shared_ptr<Element> l_Copy = l_CopyShallow(l_Source);
    Element* l_Raw = l_Copy.get();
    l_Top.m_Copy->m_Children.push_back(std::move(l_Copy));
    l_Stack.push_back({&l_Source, l_Raw, l_Source.m_Children.begin()});
  }
  return l_Root;
}

std::shared_ptr<Element> CreateElement(std::string&& iName) {
  return std::make_shared<Element>(std::move(iName));
}

std::shared_ptr<Element> CreateElement(const std::string& iName) { return std::make_shared<Element>(iName); }

}  // namespace XML
