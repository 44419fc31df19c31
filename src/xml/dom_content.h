#ifndef XML_DOM_CONTENT_H_
#define XML_DOM_CONTENT_H_

#include <string_view>

#include "kiv/dom_document.h"

namespace kiv {

struct ContentAccess {
  // With its length: text in a 16-bit encoding holds NULs.
  static std::string_view Text(const DomDocumentContent& content);
};

}  // namespace kiv

#endif  // XML_DOM_CONTENT_H_
