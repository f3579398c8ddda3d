// An element: a name, attributes in the order they were first set, and children in document
// order. Names are neither validated nor escaped. Missing attributes and children are reported by
// the return values (default value, false); nothing here throws but std::bad_alloc.
#ifndef XMLElement_H
#define XMLElement_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "XMLAttributePack.h"
#include "XMLContent.h"

namespace XML {

using Attribute = std::pair<std::string, std::string>;
using AttributeList = std::vector<Attribute>;

class Element final : public Content {
  using ChildList = std::vector<std::shared_ptr<Content>>;

 public:
  explicit Element(std::string_view iName);
  ~Element() override;

  std::string GetName() const;

  // Replaces the value of attribute iName where it stands, or appends (iName, iValue).
  void SetAttribute(const std::string& iName, std::string_view iValue);
  // A null iValue sets the empty string.
  void SetAttribute(const std::string& iName, const char* iValue);
  // "true" or "false".
  void SetAttribute(const std::string& iName, bool iValue);
  // The value of attribute iName, else iDefault.
  std::string GetAttribute(const std::string& iName, const std::string& iDefault) const;
  bool HasAttribute(const std::string& iName) const;
  // Removes attribute iName, keeping the others in order; false when there is none.
  bool RemoveAttribute(const std::string& iName);
  AttributeList GetAttributes() const;

  // Appends iChild at the end of the children; an empty pointer is ignored.
  void AddChild(std::shared_ptr<Content> iChild);
  // Removes the first child that is the very node iChild; false when it is not a child.
  bool RemoveChild(const std::shared_ptr<Content>& iChild);
  // Removes the first child element named iName; false when there is none.
  bool RemoveChildElement(const std::string& iName);
  void ClearChildren();
  // The children themselves are shared, not copied.
  ContentList GetChildren() const { return ContentList(m_Children.begin(), m_Children.end()); }
  std::vector<std::shared_ptr<Element>> GetChildElements() const;
  // The texts of the text children joined in order; elements and comments are skipped.
  std::string GetText() const;
  // The same with each text trimmed first.
  std::string GetTrimmedText() const;

  std::shared_ptr<Content> Clone() const override;

 private:
  friend class Writer;
  // Drops the children; a deep tree costs no stack frame per level.
  static void ReleaseNested(ChildList& ioChildren);

  // The name's number: see XMLNames.h.
  std::uint32_t m_Name;
  AttributePack m_Attributes;
  // Children in a vector rather than a list: a document with 100,000 children then costs no
  // allocation per child. Removal is a linear search either way.
  ChildList m_Children;
};

std::shared_ptr<Element> CreateElement(std::string&& iName);
std::shared_ptr<Element> CreateElement(const std::string& iName);

}  // namespace XML

#endif
