#include "xml/xml_text.h"

#include <algorithm>
#include <stdexcept>

#include "util/cp936.h"

namespace kiv {
namespace {

constexpr std::size_t kAsciiRoom = 256;

}  // namespace

WideText::WideText(const char* text) {
  if (text == nullptr) text = "";
  std::size_t size = 0;
  for (; size < kRoom; ++size) {
    const auto byte = static_cast<unsigned char>(text[size]);
    if (byte >= 0x80) break;
    short_[size] = byte;
    if (byte == 0) {
      size_ = size;
      return;
    }
  }
  Convert(text);
}

WideText::WideText(std::string_view text) { Convert(text); }

void WideText::Convert(std::string_view text) {
  if (text.size() < kRoom) {
    size_ = Cp936ToUtf16(text, short_);
    short_[size_] = 0;
    return;
  }
  long_ = Cp936ToUtf16(text);
  text_ = long_.c_str();
  size_ = long_.size();
}

bool AssignLocal(const WideChar* text, std::string& out) {
  if (text == nullptr) {
    out.clear();
    return false;
  }
  char ascii[kAsciiRoom];
  for (std::size_t size = 0; size < kAsciiRoom && text[size] < 0x80; ++size) {
    if (text[size] == 0) {
      out.assign(ascii, size);
      return true;
    }
    ascii[size] = static_cast<char>(text[size]);
  }
  const std::u16string_view wide(text);
  out.resize(2 * wide.size());
  out.resize(Utf16ToCp936(wide, out.data()));
  return true;
}

std::string LocalText(const WideChar* text) {
  std::string local;
  AssignLocal(text, local);
  return local;
}

std::u16string_view LocalName(const WideChar* node_name) {
  if (node_name == nullptr) return {};
  const std::u16string_view name(node_name);
  const std::size_t colon = name.find(u':');
  return colon == std::u16string_view::npos ? name : name.substr(colon + 1);
}

bool IsXmlText(std::u16string_view text) {
  return std::all_of(text.begin(), text.end(), [](WideChar unit) {
    return unit >= 0x20 ? unit < 0xFFFE
                        : unit == u'\t' || unit == u'\n' || unit == u'\r';
  });
}

const WideChar* CheckedText(const WideText& text) {
  if (!IsXmlText(text.view()))
    throw std::invalid_argument("XML cannot hold '" +
                                Utf16ToCp936(text.view()) + "'");
  return text.get();
}

const WideChar* CheckedName(const WideText& name) {
  // It would be written as a reference, and a name holds none.
  if (name.view().find(kReplacementUnit) != std::u16string_view::npos)
    throw std::invalid_argument("no name: '" + Utf16ToCp936(name.view()) + "'");
  return name.get();
}

}  // namespace kiv
