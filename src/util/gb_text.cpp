#include "util/gb_text.h"

#include <algorithm>

namespace kiv {
namespace {

// Calls `change` with every byte that is a character of its own.
template <typename Change>
void ForEachSingleByte(std::string& text, Change&& change) {
  for (std::size_t pos = 0; pos < text.size();) {
    const std::size_t size = CharacterSize(text, pos);
    if (size == 1) change(text[pos]);
    pos += size;
  }
}

}  // namespace

std::size_t FindAscii(std::string_view text, char ascii, std::size_t from) {
  std::size_t pos = text.find(ascii, from);
  while (pos != std::string_view::npos && !BeginsCharacter(text, pos, from)) {
    // A trail byte ends its character, so the next one begins behind it.
    from = pos + 1;
    pos = text.find(ascii, from);
  }
  return pos;
}

std::size_t FindLastAscii(std::string_view text, char ascii) {
  std::size_t pos = text.rfind(ascii);
  while (pos != std::string_view::npos && !BeginsCharacter(text, pos))
    pos = pos == 0 ? std::string_view::npos : text.rfind(ascii, pos - 1);
  return pos;
}

std::size_t FindText(std::string_view text, std::string_view part,
                     std::size_t from) {
  if (part.empty()) return from <= text.size() ? from : std::string_view::npos;
  // Only a lead byte at the very end can leave a character of the text cut.
  const bool ends_open =
      IsLeadByte(part.back()) && BeginsCharacter(part, part.size() - 1);
  std::size_t known = from;
  for (std::size_t pos = text.find(part, from); pos != std::string_view::npos;
       pos = text.find(part, pos + 1)) {
    if (!BeginsCharacter(text, pos, known)) {
      known = pos + 1;
      continue;
    }
    known = pos;
    const std::size_t end = pos + part.size();
    if (ends_open && end < text.size() && IsTrailByte(text[end])) continue;
    return pos;
  }
  return std::string_view::npos;
}

void UpperAscii(std::string& text) {
  ForEachSingleByte(text, [](char& byte) { byte = AsciiToUpper(byte); });
}

void LowerAscii(std::string& text) {
  ForEachSingleByte(text, [](char& byte) { byte = AsciiToLower(byte); });
}

void ReplaceAscii(std::string& text, char from, char to) {
  ForEachSingleByte(text, [=](char& byte) {
    if (byte == from) byte = to;
  });
}

int CompareIgnoreCase(std::string_view a, std::string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  // As long as both are equal they step alike; a trail byte is met right behind
  // its lead byte.
  bool is_trail = false;
  for (std::size_t i = 0; i < common; ++i) {
    const bool both_trail = is_trail && IsTrailByte(a[i]) && IsTrailByte(b[i]);
    const auto x =
        static_cast<unsigned char>(both_trail ? a[i] : AsciiToLower(a[i]));
    const auto y =
        static_cast<unsigned char>(both_trail ? b[i] : AsciiToLower(b[i]));
    if (x != y) return x < y ? -1 : 1;
    is_trail = !both_trail && IsLeadByte(a[i]);
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

bool EqualIgnoreCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CompareIgnoreCase(a, b) == 0;
}

bool StartsWithIgnoreCase(std::string_view text, std::string_view start) {
  return text.size() >= start.size() &&
         EqualIgnoreCase(text.substr(0, start.size()), start);
}

}  // namespace kiv
