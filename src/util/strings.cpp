#include "kiv/strings.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string_view>
#include <utility>

#include "util/gb_text.h"

namespace kiv {
namespace {

template <typename Unit>
const Unit* OrEmpty(const Unit* text) {
  static constexpr Unit kEmpty[] = {0};
  return text == nullptr ? kEmpty : text;
}

// By the value of each unit, upper-case ASCII letters as lower-case ones when
// `fold`.
template <bool fold, typename Unit>
int CompareWide(const Unit* a, const Unit* b) {
  a = OrEmpty(a);
  b = OrEmpty(b);
  const auto key = [](Unit unit) {
    const auto value = static_cast<char32_t>(unit);
    return fold && value >= U'A' && value <= U'Z' ? value + 32 : value;
  };
  for (;; ++a, ++b) {
    const char32_t x = key(*a);
    const char32_t y = key(*b);
    if (x != y) return x < y ? -1 : 1;
    if (x == 0) return 0;
  }
}

template <typename Unit>
unsigned Length(const Unit* text) {
  return static_cast<unsigned>(std::char_traits<Unit>::length(OrEmpty(text)));
}

// Pieces of the text between the places that `find` gives, as views.
template <typename Find>
void Split(const std::string& text, std::size_t separator_size, bool trim_each,
           std::vector<std::string>& out, Find&& find) {
  // `out` may hold the text itself, so it is changed last.
  std::vector<std::string> pieces;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(find(start), text.size());
    pieces.push_back(text.substr(start, end - start));
    if (trim_each) trim(pieces.back());
    start = end + separator_size;
  }
  out.swap(pieces);
}

}  // namespace

std::string& trim(std::string& text) { return trim_left(trim_right(text)); }

std::string& trim_left(std::string& text) {
  const auto first = std::find_if_not(text.begin(), text.end(), IsAsciiSpace);
  text.erase(text.begin(), first);
  return text;
}

std::string& trim_right(std::string& text) {
  // No trail byte looks like white space.
  const auto last = std::find_if_not(text.rbegin(), text.rend(), IsAsciiSpace);
  text.erase(last.base(), text.end());
  return text;
}

long string_replace(std::string& text, const char* from, const char* to) {
  const std::string_view old_part = OrEmpty(from);
  const std::string_view new_part = OrEmpty(to);
  if (old_part.empty()) return 0;
  std::size_t pos = FindText(text, old_part);
  if (pos == std::string::npos) return 0;
  // Built beside the text, which the arguments may point into.
  std::string result;
  long count = 0;
  std::size_t copied = 0;
  for (; pos != std::string::npos; pos = FindText(text, old_part, copied)) {
    result.append(text, copied, pos - copied);
    result.append(new_part);
    copied = pos + old_part.size();
    ++count;
  }
  result.append(text, copied);
  text.swap(result);
  return count;
}

void string_to_vector(const std::string& text, char separator,
                      std::vector<std::string>& out, bool trim_each) {
  Split(text, 1, trim_each, out, [&](std::size_t start) {
    return FindText(text, std::string_view(&separator, 1), start);
  });
}

bool string_to_vector(const std::string& text, const std::string& separator,
                      std::vector<std::string>& out, bool trim_each) {
  if (separator.empty()) return false;
  const std::string wanted = separator;  // may lie in `out` as well
  Split(text, wanted.size(), trim_each, out,
        [&](std::size_t start) { return FindText(text, wanted, start); });
  return true;
}

void append_unique(const std::string& item, std::vector<std::string>& items,
                   bool ignore_case) {
  const bool is_there =
      std::any_of(items.begin(), items.end(), [&](const std::string& other) {
        return ignore_case ? stricmp(item.c_str(), other.c_str()) == 0
                           : item == other;
      });
  if (!is_there) items.push_back(item);
}

void append_unique(const std::vector<std::string>& new_items,
                   std::vector<std::string>& items, bool ignore_case) {
  for (const std::string& item : new_items)
    append_unique(item, items, ignore_case);
}

std::string& upperFirstChar(std::string& text) {
  if (text.size() == 1) return lowerFirstChar(text);
  if (!text.empty()) text[0] = AsciiToUpper(text[0]);
  return text;
}

std::string& lowerFirstChar(std::string& text) {
  if (!text.empty()) text[0] = AsciiToLower(text[0]);
  return text;
}

bool is_all_digit(const char* text) {
  const std::string_view digits = OrEmpty(text);
  return !digits.empty() &&
         std::all_of(digits.begin(), digits.end(), IsAsciiDigit);
}

bool isValidNumber(const std::string& text) {
  if (text.empty()) return false;
  const bool has_sign = text[0] == '+' || text[0] == '-';
  if (text.size() == 1 || !has_sign) return IsAsciiDigit(text[0]);
  return IsAsciiDigit(text[1]);
}

bool isNotEnglish(const char* text, unsigned size_bytes) {
  if (text == nullptr) return false;
  return !std::all_of(text, text + size_bytes, IsAscii);
}

unsigned hash_string(const char* text) {
  unsigned hash = 0;
  for (const char byte : std::string_view(OrEmpty(text)))
    hash = hash * 5 + static_cast<unsigned>(static_cast<signed char>(byte));
  return hash;
}

unsigned strlen(const char* text) { return Length(text); }
unsigned strlen(const WideChar* text) { return Length(text); }
unsigned strlen(const wchar_t* text) { return Length(text); }

int strcmp(const char* a, const char* b) {
  const int order = std::strcmp(OrEmpty(a), OrEmpty(b));
  return (order > 0) - (order < 0);
}

int strcmp(const WideChar* a, const WideChar* b) {
  return CompareWide<false>(a, b);
}

int strcmp(const wchar_t* a, const wchar_t* b) {
  return CompareWide<false>(a, b);
}

int stricmp(const char* a, const char* b) {
  return CompareIgnoreCase(OrEmpty(a), OrEmpty(b));
}

int stricmp(const WideChar* a, const WideChar* b) {
  return CompareWide<true>(a, b);
}

int stricmp(const wchar_t* a, const wchar_t* b) {
  return CompareWide<true>(a, b);
}

int atoi(const char* text) {
  const char* in = OrEmpty(text);
  while (IsAsciiSpace(*in)) ++in;
  const bool is_negative = *in == '-';
  if (*in == '-' || *in == '+') ++in;
  // One past INT_MAX in size is as far as either sign can need.
  constexpr long long kLimit = -static_cast<long long>(INT_MIN);
  long long value = 0;
  for (; IsAsciiDigit(*in); ++in)
    value = std::min(value * 10 + (*in - '0'), kLimit);
  if (is_negative) return static_cast<int>(-value);
  return static_cast<int>(std::min<long long>(value, INT_MAX));
}

}  // namespace kiv
