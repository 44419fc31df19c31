// Every primitive reader on one text: none may read outside it or claim to have
// used more than there is.
//
// Input: how many of the next bytes are a delimiter, these, then the text.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "input_of_fuzz.h"
#include "kiv/parser/parser.h"

namespace kiv::fuzz {

using parser::Parser;
using Bytes = std::vector<char>;  // of exactly their size, too

void ReadSpans(const char* begin, const char* end, unsigned size,
               const Bytes& other) {
  unsigned consumed = 0;
  std::string out;
  const auto expect_inside = [&] {
    Expect(consumed <= size && out.size() <= consumed);
  };
  const std::string delimiter(other.begin(), other.end());
  for (const bool ignore_case : {false, true}) {
    Parser::ParseTo(begin, end, other.data(), other.data() + other.size(),
                    ignore_case, out, consumed);
    expect_inside();
    unsigned measured = 0;
    std::string* const none = nullptr;
    Parser::ParseTo(begin, end, delimiter, ignore_case, none, measured);
    Expect(measured == consumed);
    Parser::IgnoreNextString(begin, end, delimiter, ignore_case, consumed);
    Expect(consumed <= size);
  }
  Parser::ParseToAny(begin, end, delimiter.c_str(), nullptr, out, consumed, "");
  expect_inside();
  Parser::ParseToAny(begin, end, nullptr, delimiter.c_str(), out, consumed, "");
  expect_inside();
  Parser::ParseWord(begin, end, out, consumed, "");
  expect_inside();
  Parser::ParseAlpha(begin, end, 5, out, consumed);
  Expect(consumed <= size && out.size() <= 5);
}

void ReadStrings(const char* begin, const char* end, unsigned size) {
  unsigned consumed = 0;
  std::string out;
  if (Parser::ParseString(begin, end, out, consumed, ""))
    Expect(out.size() <= consumed);
  else
    Expect(consumed == 0);
  Expect(consumed <= size);
  bool flag = false;
  Parser::ParseBool(begin, end, flag, consumed, false);
  Expect(consumed <= size);
  Parser::ParseStrBool(begin, end, flag, consumed, false);
  Expect(consumed <= size);
}

void ReadNumbers(const char* begin, const char* end, unsigned size,
                 unsigned max_digits) {
  unsigned wide_size = 0;
  long long wide = 0;
  Parser::ParseInt64(begin, end, wide, wide_size, 3, max_digits);
  Expect(wide_size <= size);
  unsigned consumed = 0;
  std::int8_t tiny = 0;
  Parser::ParseInt8(begin, end, tiny, consumed, 3, max_digits);
  Expect(consumed == wide_size && tiny == static_cast<std::int8_t>(wide));
  std::int32_t number = 0;
  Parser::ParseInt32(begin, end, number, consumed, 3, max_digits);
  Expect(consumed == wide_size && number == static_cast<std::int32_t>(wide));
  constexpr double kUnread = 0.123;
  double real = kUnread;
  const bool is_read = Parser::ParseDouble(begin, end, real, consumed, 3);
  Expect(consumed <= size && (is_read || real == kUnread));
  float narrow = 0;
  Expect(Parser::ParseFloat(begin, end, narrow, consumed, 3) == is_read);
}

void Skip(const char* begin, const char* end, unsigned size) {
  unsigned head = 0, tail = 0, consumed = 0;
  Parser::IgnoreSpaces(begin, end, head);
  Parser::IgnoreSpacesTail(begin, end, tail);
  Expect(head <= size && tail <= size);
  Parser::IgnoreNextChar(begin, end, ';', consumed);
  Expect(consumed == head || consumed == head + 1);
  bool positive = false;
  Parser::ParseSign(begin, end, positive, consumed, true);
  Expect(consumed == head || consumed == head + 1);
}

void Run(std::string_view input) {
  const std::size_t digits = input.empty() ? 0 : TakeByte(input) % 4;
  const std::size_t length = std::min(digits, input.size());
  const Bytes delimiter(input.begin(), input.begin() + length);
  const Bytes text(input.begin() + length, input.end());
  const char* const begin = text.data();
  const char* const end = begin + text.size();
  const auto size = static_cast<unsigned>(text.size());
  Skip(begin, end, size);
  ReadSpans(begin, end, size, delimiter);
  ReadStrings(begin, end, size);
  ReadNumbers(begin, end, size, static_cast<unsigned>(length));
}

}  // namespace kiv::fuzz
