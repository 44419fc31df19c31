// The composite readers on one text: connection and location expressions, local
// paths, dates and times.
#include <cstring>
#include <stdexcept>
#include <string>

#include "input_of_fuzz.h"
#include "kiv/parser/parser.h"

namespace kiv::fuzz {

using parser::Parser;

void ReadExpressions(const char* begin, const char* end) {
  const std::string text(begin, end);
  std::string protocol, rest, location, part2, part3;
  unsigned consumed = 0;
  const bool has_protocol =
      Parser::ParseProtocol(begin, end, protocol, consumed);
  Expect(has_protocol ? consumed == protocol.size() + 3
                      : consumed == 0 && protocol.empty());
  Expect(Parser::ParseConnectionExpression(begin, end, protocol, rest,
                                           consumed) == has_protocol);
  if (has_protocol) Expect(protocol + "://" + rest == text);
  const auto read_location = [&](bool flag) {
    return Parser::ParseLocationExpression(begin, end, protocol, location,
                                           part2, part3, consumed, flag);
  };
  if (!read_location(false)) return Expect(consumed == 0 && location.empty());
  Expect(consumed == text.size() && !location.empty());
  const std::string parts = location + ":" + part2 + ":" + part3;
  Expect(rest == parts.substr(0, rest.size()));
  read_location(true);
}

void ReadPaths(const char* begin, const char* end, unsigned size) {
  std::string out;
  unsigned consumed = 0;
  for (const char* const current : {"/srv/app/bin", "c:\\app", ""}) {
    const bool is_read =
        Parser::ParseLocalPath(begin, end, out, consumed, false, current);
    Expect(is_read ? consumed == size : consumed == 0 && out.empty());
    Parser::ParseLocalPath(begin, end, out, consumed, true, current);
    Parser::ParseLocalPathItem(begin, end, out, consumed, false, current);
    Expect(consumed <= size);
  }
}

void ReadTimes(const char* begin, const char* end, unsigned size) {
  unsigned consumed = 0;
  DateTime time;
  try {
    const bool is_read = Parser::ParseDateTime(begin, end, time, consumed);
    Expect(consumed <= size && (is_read || time == DateTime()));
  } catch (const std::out_of_range&) {
    Expect(time == DateTime());
  }
  if (time != DateTime()) {
    std::string written;
    Parser::DateTimeToRFC867(time, written);
    DateTime again;
    Parser::ParseDateTime(written.data(), written.data() + written.size(),
                          again, consumed);
    Expect(again == time || again == DateTime());
  }
  if (Parser::ParseTime(begin, end, time, consumed))
    Expect(time.Year() == 1 && time.DayOfYear() == 1);
  Expect(consumed <= size);
}

void Run(std::string_view input) {
  const char* const begin = input.data();
  const char* const end = begin + input.size();
  const auto size = static_cast<unsigned>(input.size());
  ReadExpressions(begin, end);
  ReadPaths(begin, end, size);
  ReadTimes(begin, end, size);
}

}  // namespace kiv::fuzz
