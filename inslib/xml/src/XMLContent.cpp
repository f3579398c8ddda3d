#include "XMLContent.h"

namespace XML {

Content::~Content() = default;

}  // namespace XML
