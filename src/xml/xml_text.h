#ifndef XML_XML_TEXT_H_
#define XML_XML_TEXT_H_

#include <cstddef>
#include <string>
#include <string_view>

#include "kiv/wide.h"

// Text on its way into and out of the tree. Names and most values are short
// ASCII, so both ways have a path that neither allocates nor looks a character
// up.
namespace kiv {

// A narrow text as UTF-16 with a NUL behind it, for the length of one call;
// null is "".
class WideText {
 public:
  explicit WideText(const char* text);
  explicit WideText(std::string_view text);
  WideText(const WideText&) = delete;
  WideText& operator=(const WideText&) = delete;

  const WideChar* get() const { return text_; }
  std::u16string_view view() const { return {text_, size_}; }

 private:
  void Convert(std::string_view text);

  static constexpr std::size_t kRoom = 128;
  WideChar short_[kRoom];
  WideString long_;
  const WideChar* text_ = short_;
  std::size_t size_ = 0;
};

// Into `out` in the local encoding. Null is "", and gives false.
bool AssignLocal(const WideChar* text, std::string& out);
std::string LocalText(const WideChar* text);

// The part behind the first ":", or all of it. Null is "".
std::u16string_view LocalName(const WideChar* node_name);

// Whether an XML document can hold every character, as itself or as a
// reference.
bool IsXmlText(std::u16string_view text);

// The text itself. These throw std::invalid_argument for what no document can
// hold: a control byte; in a name, bytes that are no character. The XML library
// checks the rest of a name.
const WideChar* CheckedText(const WideText& text);
const WideChar* CheckedName(const WideText& name);

}  // namespace kiv

#endif  // XML_XML_TEXT_H_
