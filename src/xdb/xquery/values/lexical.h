#ifndef XDB_XQUERY_VALUES_LEXICAL_H_
#define XDB_XQUERY_VALUES_LEXICAL_H_

#include <string>
#include <string_view>

#include "xdb/xquery/values/types.h"

namespace kiv::xdb::xq {

// The lexical forms of the types that are texts, octets or floating point
// numbers. White space around is gone already; false when a text is no such
// form.

bool ParseBoolean(std::string_view text, bool& value);
// Past the range: infinite, or zero.
bool ParseDouble(std::string_view text, double& value);
bool ParseFloat(std::string_view text, float& value);
// The canonical forms of the query language: "1.0E6", "0.5", "-INF".
void AppendDouble(double value, std::string& text);
void AppendFloat(float value, std::string& text);

bool ParseHex(std::string_view text, std::string& octets);
bool ParseBase64(std::string_view text, std::string& octets);
void AppendHex(std::string_view octets, std::string& text);
void AppendBase64(std::string_view octets, std::string& text);

bool IsName(std::string_view text);
bool IsNcName(std::string_view text);
bool IsNmToken(std::string_view text);
bool IsLanguage(std::string_view text);
// "p:local" cut in two; false when it is no lexical xs:QName.
bool SplitQName(std::string_view text, std::string_view& prefix,
                std::string_view& local);
bool IsUri(std::string_view text);

// Blank, tab, line end.
constexpr bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
std::string_view TrimSpace(std::string_view text);
// The text with white space as the type has it: as it is for xs:string, tabs
// and line ends as blanks for xs:normalizedString, rows of it as one blank and
// none at the ends for all others. `room` holds the text where it changes
// inside.
std::string_view NormalizeSpace(std::string_view text, Type type,
                                std::string& room);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_LEXICAL_H_
