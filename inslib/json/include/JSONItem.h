// A scalar JSON value: number, string, true, false or null.
#ifndef JSONItem_H
#define JSONItem_H

#include "JSONValue.h"

namespace JSON {

class Item final : public Value {
 public:
  // iType is any kind but object and array (those throw std::invalid_argument). A number keeps
  // its text as received, a string its unescaped characters; true, false and null have none.
  Item(std::int32_t iType, std::string iText);

  const std::string& GetText() const { return m_Text; }

  std::shared_ptr<Value> Clone() const override;
  std::size_t Size() const override { return 0; }

 private:
  void DropChildren(std::vector<std::shared_ptr<Value>>*) override {}

  std::string m_Text;
};

}  // namespace JSON

#endif
