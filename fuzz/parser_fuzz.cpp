// Every primitive reader on one text: none may read outside it or claim to have
// used more than there is. The text lies in a block of exactly its size.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "kiv/parser/parser.h"

using kiv::parser::Parser;

namespace {

void Expect(bool holds) {
  if (!holds) std::abort();
}

struct Text {
  const char* begin;
  const char* end;
  unsigned size;
};

void ReadSpans(const Text& text, const Text& other) {
  unsigned consumed = 0;
  std::string out;
  const std::string delimiter(other.begin, other.end);
  for (const bool ignore_case : {false, true}) {
    Parser::ParseTo(text.begin, text.end, other.begin, other.end, ignore_case,
                    out, consumed);
    Expect(consumed <= text.size && out.size() <= consumed);
    unsigned measured = 0;
    std::string* const none = nullptr;
    Parser::ParseTo(text.begin, text.end, delimiter, ignore_case, none,
                    measured);
    Expect(measured == consumed);
    Parser::IgnoreNextString(text.begin, text.end, delimiter, ignore_case,
                             consumed);
    Expect(consumed <= text.size);
  }
  Parser::ParseToAny(text.begin, text.end, delimiter.c_str(), nullptr, out,
                     consumed, "");
  Expect(consumed <= text.size && out.size() <= consumed);
  Parser::ParseToAny(text.begin, text.end, nullptr, delimiter.c_str(), out,
                     consumed, "");
  Expect(consumed <= text.size && out.size() <= consumed);
  Parser::ParseWord(text.begin, text.end, out, consumed, "");
  Expect(consumed <= text.size && out.size() <= consumed);
  Parser::ParseAlpha(text.begin, text.end, 5, out, consumed);
  Expect(consumed <= text.size && out.size() <= 5);
}

void ReadStrings(const Text& text) {
  unsigned consumed = 0;
  std::string out;
  if (Parser::ParseString(text.begin, text.end, out, consumed, "")) {
    Expect(out.size() <= consumed);
  } else {
    Expect(consumed == 0);
  }
  Expect(consumed <= text.size);
  bool flag = false;
  Parser::ParseBool(text.begin, text.end, flag, consumed, false);
  Expect(consumed <= text.size);
  Parser::ParseStrBool(text.begin, text.end, flag, consumed, false);
  Expect(consumed <= text.size);
}

void ReadNumbers(const Text& text, unsigned max_digits) {
  unsigned wide_size = 0;
  long long wide = 0;
  Parser::ParseInt64(text.begin, text.end, wide, wide_size, 3, max_digits);
  Expect(wide_size <= text.size);
  unsigned consumed = 0;
  std::int8_t tiny = 0;
  Parser::ParseInt8(text.begin, text.end, tiny, consumed, 3, max_digits);
  Expect(consumed == wide_size && tiny == static_cast<std::int8_t>(wide));
  std::int32_t number = 0;
  Parser::ParseInt32(text.begin, text.end, number, consumed, 3, max_digits);
  Expect(consumed == wide_size && number == static_cast<std::int32_t>(wide));
  constexpr double kUnread = 0.123;
  double real = kUnread;
  const bool is_read =
      Parser::ParseDouble(text.begin, text.end, real, consumed, 3);
  Expect(consumed <= text.size && (is_read || real == kUnread));
  float narrow = 0;
  Expect(Parser::ParseFloat(text.begin, text.end, narrow, consumed, 3) ==
         is_read);
}

void Skip(const Text& text) {
  unsigned head = 0, tail = 0, consumed = 0;
  Parser::IgnoreSpaces(text.begin, text.end, head);
  Parser::IgnoreSpacesTail(text.begin, text.end, tail);
  Expect(head <= text.size && tail <= text.size);
  Parser::IgnoreNextChar(text.begin, text.end, ';', consumed);
  Expect(consumed == head || consumed == head + 1);
  bool positive = false;
  Parser::ParseSign(text.begin, text.end, positive, consumed, true);
  Expect(consumed == head || consumed == head + 1);
}

}  // namespace

// The first byte says how many of the next ones are a delimiter.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                      std::size_t size) {
  const std::size_t delimiter_size =
      size > 0 ? std::min<std::size_t>(bytes[0] % 4, size - 1) : 0;
  const std::size_t skipped = size > 0 ? 1 + delimiter_size : 0;
  const std::size_t text_size = size - skipped;
  const std::unique_ptr<char[]> delimiter(new char[delimiter_size]);
  const std::unique_ptr<char[]> block(new char[text_size]);
  if (size > 0) {
    std::memcpy(delimiter.get(), bytes + 1, delimiter_size);
    std::memcpy(block.get(), bytes + skipped, text_size);
  }
  const Text text{block.get(), block.get() + text_size,
                  static_cast<unsigned>(text_size)};
  const Text other{delimiter.get(), delimiter.get() + delimiter_size,
                   static_cast<unsigned>(delimiter_size)};
  Skip(text);
  ReadSpans(text, other);
  ReadStrings(text);
  ReadNumbers(text, static_cast<unsigned>(delimiter_size));
  return 0;
}
