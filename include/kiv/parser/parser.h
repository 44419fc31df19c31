#ifndef KIV_PARSER_PARSER_H_
#define KIV_PARSER_PARSER_H_

#include <cstdint>
#include <string>

#include "kiv/date_time.h"
#include "kiv/export.h"

namespace kiv {

// Resolves a path with leading-dot shorthand ("./x", "../x", ".../x") against
// `base`, or against the current directory when `base` is empty. Unless `force`
// is set, a path that does not begin with "." is left as it is. False, and the
// path untouched, when it cannot be resolved.
KIV_API bool toFullPath(std::string& path, bool force = false,
                        const std::string& base = std::string());

namespace parser {

// Readers of text held between two pointers; nothing at or behind `end` is ever
// looked at. Any thread.
//
// Every reader sets `consumed` to the number of bytes it used from `text`,
// skipped blanks included, and to 0 when it fails. Outputs are written on
// success. A null or empty range is no failure for the readers down to
// ParseStrBool: it gives the default, or an empty string, and true.
//
// Narrow text is in the local encoding: the second byte of a two-byte character
// never counts as a delimiter, quote, escape or stop character. Blanks, digits
// and letters are ASCII.
class KIV_API Parser {
 public:
  // Between the parts of a location expression.
  static constexpr char KIV_PART_SEP[] = ":";
  static constexpr unsigned KIV_PART_SEP_LEN = 1;

  static bool IgnoreSpaces(const char* text, const char* end,
                           unsigned& consumed);
  // Counts backwards from `end`.
  static bool IgnoreSpacesTail(const char* text, const char* end,
                               unsigned& consumed);
  // False when there is no character.
  static bool IgnoreNextChar(const char* text, const char* end,
                             unsigned& consumed);
  // Skips blanks, then `c` when it is there. Always true: `consumed` tells.
  static bool IgnoreNextChar(const char* text, const char* end, char c,
                             unsigned& consumed);

  // The first `n` bytes of both; a NUL before that is no match. The whole
  // NUL-terminated texts when `n` is 0. False when one is null.
  static bool IsEqual(const char* a, const char* b, bool ignoreCase,
                      unsigned n);

  // Skips blanks, then the string when it is there. Always true: `consumed`
  // tells. Without the flag the case counts.
  static bool IgnoreNextString(const char* text, const char* end,
                               const char* sBegin, const char* sEnd,
                               bool ignoreCase, unsigned& consumed);
  static bool IgnoreNextString(const char* text, const char* end,
                               const std::string& s, bool ignoreCase,
                               unsigned& consumed);
  static bool IgnoreNextString(const char* text, const char* end,
                               const char* sBegin, const char* sEnd,
                               unsigned& consumed);
  static bool IgnoreNextString(const char* text, const char* end,
                               const std::string& s, unsigned& consumed);

  // The span from the first non-blank up to the delimiter, or to `end`. The
  // delimiter is left to the caller. Trailing blanks count in `consumed` but
  // are dropped from `out`, which may be null. Without the flag the case of the
  // delimiter does not count.
  static bool ParseTo(const char* text, const char* end, const char* dBegin,
                      const char* dEnd, bool ignoreCase, std::string* out,
                      unsigned& consumed);
  static bool ParseTo(const char* text, const char* end, const char* dBegin,
                      const char* dEnd, bool ignoreCase, std::string& out,
                      unsigned& consumed);
  static bool ParseTo(const char* text, const char* end,
                      const std::string& delimiter, bool ignoreCase,
                      std::string* out, unsigned& consumed);
  static bool ParseTo(const char* text, const char* end,
                      const std::string& delimiter, bool ignoreCase,
                      std::string& out, unsigned& consumed);
  static bool ParseTo(const char* text, const char* end,
                      const std::string& delimiter, std::string* out,
                      unsigned& consumed);
  static bool ParseTo(const char* text, const char* end,
                      const std::string& delimiter, std::string& out,
                      unsigned& consumed);
  static bool ParseTo(const char* text, const char* end, char delimiter,
                      std::string* out, unsigned& consumed);
  static bool ParseTo(const char* text, const char* end, char delimiter,
                      std::string& out, unsigned& consumed);

  // The span up to the first of `stopChars`, or of nothing but `acceptChars`,
  // or to `end` when both are empty; a NUL ends a span of either kind. An empty
  // span gives `def`. False, with nothing written, when both are given.
  static bool ParseToAny(const char* text, const char* end,
                         const char* stopChars, const char* acceptChars,
                         std::string& out, unsigned& consumed,
                         const std::string& def = std::string());
  // Up to a blank, a tab or ASCII punctuation; "_" belongs to a word.
  static bool ParseWord(const char* text, const char* end, std::string& out,
                        unsigned& consumed,
                        const std::string& def = std::string());
  static bool ParseAlpha(const char* text, const char* end, unsigned maxCount,
                         std::string& out, unsigned& consumed);

  // One escape; `p` is behind the backslash. False for a NUL.
  static bool ParseTransMeanChar(const char* p, char& c, unsigned& consumed);
  // A text in double or single quotes; "@" before it turns escapes off. The
  // closing quote is not consumed and may be missing.
  static bool ParseString(const char* text, const char* end, std::string& out,
                          unsigned& consumed,
                          const std::string& def = std::string());

  // "+" gives true, "-" false.
  static bool ParseSign(const char* text, const char* end, bool& positive,
                        unsigned& consumed, bool def = true);

  // Blanks may stand between sign and digits. Values wrap. At most `maxDigits`
  // digits are read, any number when it is 0. Without digits `def`, negated
  // behind a "-".
  static bool ParseInt8(const char* text, const char* end, std::int8_t& out,
                        unsigned& consumed, std::int8_t def = 0,
                        unsigned maxDigits = 0);
  static bool ParseInt16(const char* text, const char* end, std::int16_t& out,
                         unsigned& consumed, std::int16_t def = 0,
                         unsigned maxDigits = 0);
  static bool ParseInt32(const char* text, const char* end, std::int32_t& out,
                         unsigned& consumed, std::int32_t def = 0,
                         unsigned maxDigits = 0);
  static bool ParseInt64(const char* text, const char* end, long long& out,
                         unsigned& consumed, long long def = 0,
                         unsigned maxDigits = 0);

  // Decimal, without exponent; blanks may stand around the point. A range
  // without a number gives 0; `def` is for the empty range alone. False for a
  // fraction of 20 digits and more that is not 0.
  static bool ParseDouble(const char* text, const char* end, double& out,
                          unsigned& consumed, double def = 0);
  static bool ParseFloat(const char* text, const char* end, float& out,
                         unsigned& consumed, float def = 0);

  // A word: "true", "1", "false" or "0" in any case; any other gives `def`.
  static bool ParseBool(const char* text, const char* end, bool& out,
                        unsigned& consumed, bool def = false);
  // The same as a quoted string, of "true" and "false" alone.
  static bool ParseStrBool(const char* text, const char* end, bool& out,
                           unsigned& consumed, bool def = false);

  // protocol "://". The name ends at a blank, a tab or ASCII punctuation other
  // than "_" and is cleared on failure.
  static bool ParseProtocol(const char* text, const char* end,
                            std::string& protocol, unsigned& consumed);
  // protocol "://" rest.
  static bool ParseConnectionExpression(const char* text, const char* end,
                                        std::string& protocol,
                                        std::string& rest, unsigned& consumed);
  // protocol "://" location [ ":" part2 [ ":" part3 ] ]. A drive's colon ends
  // the location like any other; texts with drive letters need the connection
  // form. `generic` turns the location into "/" and upper case. Parts that are
  // not there, and those behind a fault, come back empty.
  static bool ParseLocationExpression(const char* text, const char* end,
                                      std::string& protocol,
                                      std::string& location, std::string& part2,
                                      std::string& part3, unsigned& consumed,
                                      bool generic = false);

  // "Thu,3 Nov 2005 9:5:7".
  static bool DateTimeToRFC867(const DateTime& time, std::string& out);
  // [weekday ","] day month year [hour ":" minute ":" [second] [zone]]. The
  // zone is checked but not applied. True with `out` untouched when hour,
  // minute or second is 0: stored texts are read that way. Throws
  // std::out_of_range for a date that does not exist.
  static bool ParseDateTimeFromRFC867(const char* text, const char* end,
                                      DateTime& out, unsigned& consumed);
  static bool ParseDateTime(const char* text, const char* end, DateTime& out,
                            unsigned& consumed);
  // Reserved, without a grammar: always false.
  static bool ParseDateTimeFromString(const char* text, const char* end,
                                      DateTime& out, unsigned& consumed);

  // "9:5:7".
  static bool TimeToString(const DateTime& time, std::string& out);
  // hour ":" minute ":" second, on 0001-01-01. What follows is not read.
  static bool ParseTime(const char* text, const char* end, DateTime& out,
                        unsigned& consumed);

  // Names between "/" or "\", put together with "/". A first name of dots alone
  // stands for `currentPath`: "." itself, ".." its parent, "..." the parent of
  // that. "//" in front stays, a single "/" in front does not; a long-path
  // prefix is dropped. `generic` turns the result into upper case. `out` is
  // cleared on failure.
  static bool ParseLocalPath(const char* text, const char* end,
                             std::string& out, unsigned& consumed,
                             bool generic = false,
                             const std::string& currentPath = std::string());
  // One name and the separator behind it.
  static bool ParseLocalPathItem(
      const char* text, const char* end, std::string& item, unsigned& consumed,
      bool first, const std::string& currentPath = std::string());
};

}  // namespace parser
}  // namespace kiv

#endif  // KIV_PARSER_PARSER_H_
