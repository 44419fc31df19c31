#include "kiv/dom.h"

namespace kiv {

void XmlTransString(const char* text, std::stringstream& out) {
  if (text == nullptr) return;
  for (; *text != '\0'; ++text) {
    switch (*text) {
      case '"':
        out << "&quot;";
        break;
      case '&':
        out << "&amp;";
        break;
      case '<':
        out << "&lt;";
        break;
      case '>':
        out << "&gt;";
        break;
      default:
        out.put(*text);
    }
  }
}

}  // namespace kiv
