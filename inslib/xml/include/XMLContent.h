// XML document trees: elements, texts and comments, always created by their factories and held by
// shared pointers. A parent owns its children through those pointers, so one node may sit under
// several parents and lives as long as its last holder. Trees of any depth can be cloned, written
// and destroyed: none of these recurse.
#ifndef XMLContent_H
#define XMLContent_H

#include <cstdint>
#include <list>
#include <memory>

namespace XML {

// Kinds of node. The numbers are fixed.
enum ContentType : std::int32_t {
  TypeElement = 0,
  TypeComment = 1,
  TypeText = 2,
};

class Content {
 public:
  virtual ~Content();
  Content(const Content&) = delete;
  Content& operator=(const Content&) = delete;

  // A deep copy of this node and everything below it.
  virtual std::shared_ptr<Content> Clone() const = 0;
  // 0 for an Element, 1 for a Comment, 2 for a Text.
  std::int32_t GetType() const { return m_Type; }

 private:
  // The three node classes are the only kinds: the tree casts on GetType.
  friend class Element;
  friend class Text;
  friend class Comment;
  explicit Content(std::int32_t iType) : m_Type(iType) {}

  std::int32_t m_Type;
};

using ContentList = std::list<std::shared_ptr<Content>>;

}  // namespace XML

#endif
