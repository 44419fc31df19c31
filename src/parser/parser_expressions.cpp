#include <string_view>

#include "kiv/parser/parser.h"
#include "kiv/strings.h"
#include "parser/scanner.h"

namespace kiv::parser {
namespace {

constexpr std::string_view kProtocolEnd = "://";
constexpr char kPartSeparator = Parser::KIV_PART_SEP[0];

bool TakeProtocol(Scanner& scanner, std::string& protocol) {
  protocol.clear();
  const std::string_view name = TakeWord(scanner);
  if (name.empty() || !scanner.Rest().starts_with(kProtocolEnd)) return false;
  scanner.Take(kProtocolEnd.size());
  protocol = name;
  return true;
}

}  // namespace

bool Parser::ParseProtocol(const char* text, const char* end,
                           std::string& protocol, unsigned& consumed) {
  consumed = 0;
  Scanner scanner(text, end);
  if (!TakeProtocol(scanner, protocol)) return false;
  consumed = scanner.Consumed();
  return true;
}

bool Parser::ParseConnectionExpression(const char* text, const char* end,
                                       std::string& protocol, std::string& rest,
                                       unsigned& consumed) {
  consumed = 0;
  rest.clear();
  Scanner scanner(text, end);
  if (!TakeProtocol(scanner, protocol)) return false;
  rest = scanner.TakeAll();
  consumed = scanner.Consumed();
  return true;
}

bool Parser::ParseLocationExpression(const char* text, const char* end,
                                     std::string& protocol,
                                     std::string& location, std::string& part2,
                                     std::string& part3, unsigned& consumed,
                                     bool generic) {
  consumed = 0;
  location.clear();
  part2.clear();
  part3.clear();
  Scanner scanner(text, end);
  if (!TakeProtocol(scanner, protocol)) return false;
  // A drive letter is cut off here. Written descriptions count on the second
  // colon beginning the next part, so that it stays.
  location = scanner.TakeTo(kPartSeparator);
  if (location.empty()) return false;
  if (generic) toGenericPath(location, false);
  scanner.TakeChar(kPartSeparator);
  part2 = scanner.TakeTo(kPartSeparator);
  scanner.TakeChar(kPartSeparator);
  part3 = scanner.TakeAll();
  consumed = scanner.Consumed();
  return true;
}

}  // namespace kiv::parser
