#include "parser/parser_messages.h"

#include "util/log_entry.h"

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

namespace kiv::parser::message {

std::string NoOpeningQuote() {
  return "Parser::ParseString Failed: can not find left \" char";
}

std::string BadEscape(std::string_view character) {
  return "Parser::ParseString Failed: 解释转义字符'" + Shown(character) +
         "'时失败。";
}

std::string NoStringForBool() {
  return "Parser::ParseStrBool Failed: ParseString return false";
}

std::string FractionTooLong() {
  return "Parser::ParseReal Failed: God! Maybe you want to fly the space "
         "shuttle ?! overflow in faction part !!!!";
}

std::string NoWeekday() {
  return "ParseDateTimeFromRFC867 Failed: Parse day of week failed";
}

std::string NoMonth() {
  return "ParseDateTimeFromRFC867 Failed: Parse month failed";
}

std::string DotItemNotFirst(std::string_view remaining) {
  return "Parser::ParseLocalPathItem Failed: '" + Shown(remaining) + "' 无效";
}

std::string NoCurrentPath() {
  return "Parser::ParseLocalPathItem Failed: curr_path 参数不允许为空";
}

std::string NotADot(std::string_view remaining, std::size_t index) {
  return "Parser::ParseLocalPathItem Failed: '" + Shown(remaining) + "' 第 " +
         std::to_string(index) + "个字符不是.字符，失败。";
}

std::string AboveRoot(std::string_view remaining,
                      std::string_view current_path) {
  return "Parser::ParseLocalPathItem Failed: '" + Shown(remaining) +
         "' 超出了 '" + Shown(current_path) + "' 的根目录。";
}

std::string NoCurrentDirectory(std::string_view reason) {
  return "toFullPath Failed: 无法取得当前目录，" + Shown(reason);
}

}  // namespace kiv::parser::message
