#ifndef PARSER_PARSER_MESSAGES_H_
#define PARSER_PARSER_MESSAGES_H_

#include <cstddef>
#include <string>
#include <string_view>

// What the parser writes to the log.
namespace kiv::parser::message {

std::string NoOpeningQuote();
std::string BadEscape(std::string_view character);
std::string NoStringForBool();
std::string FractionTooLong();

std::string NoWeekday();
std::string NoMonth();

// `remaining`: the text from the item on.
std::string DotItemNotFirst(std::string_view remaining);
std::string NoCurrentPath();
std::string NotADot(std::string_view remaining, std::size_t index);
std::string AboveRoot(std::string_view remaining,
                      std::string_view current_path);
std::string NoCurrentDirectory(std::string_view reason);

}  // namespace kiv::parser::message

#endif  // PARSER_PARSER_MESSAGES_H_
