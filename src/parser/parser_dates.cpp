#include <string>
#include <string_view>

#include "kiv/parser/parser.h"
#include "parser/parser_messages.h"
#include "parser/scanner.h"
#include "util/log_entry.h"

namespace kiv::parser {
namespace {

constexpr std::string_view kDays[] = {"Sun", "Mon", "Tue", "Wed",
                                      "Thu", "Fri", "Sat"};
constexpr std::string_view kMonths[] = {"Jan", "Feb", "Mar", "Apr",
                                        "May", "Jun", "Jul", "Aug",
                                        "Sep", "Oct", "Nov", "Dec"};

struct Zone {
  std::string_view name;
  int offset_seconds;
};

// Offsets are kept for the record: a time is taken as it is written.
constexpr Zone kZones[] = {{"UT", 0},       {"GMT", 0},      {"EST", -18000},
                           {"EDT", -14400}, {"CST", -21600}, {"CDT", -18000},
                           {"MST", -25200}, {"MDT", -21600}, {"PST", -28800},
                           {"PDT", -25200}, {"Z", 0},        {"A", -3600},
                           {"M", -43200},   {"N", 3600},     {"Y", 43200}};

struct Fields {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
};

// At least one digit, at most `max_digits`.
bool TakeNumber(Scanner& scanner, unsigned max_digits, int& out) {
  std::uint64_t value;
  if (scanner.TakeDigits(max_digits, value) == 0) return false;
  out = static_cast<int>(value);
  return true;
}

// Whatever the name: texts with misspelt weekdays are about.
bool TakeWeekday(Scanner& scanner) {
  scanner.SkipBlanks();
  if (scanner.TakeLetters(3).empty() || scanner.TakeChar(',')) return true;
  LogError("parser", message::NoWeekday());
  return false;
}

bool TakeMonth(Scanner& scanner, int& month) {
  const std::string_view name = scanner.TakeLetters(3);
  for (int i = 0; i < 12; ++i) {
    if (EqualIgnoreCase(name, kMonths[i])) {
      month = i + 1;
      return true;
    }
  }
  LogError("parser", message::NoMonth());
  return false;
}

bool TakeDate(Scanner& scanner, Fields& fields) {
  if (!TakeWeekday(scanner)) return false;
  scanner.SkipBlanks();
  if (!TakeNumber(scanner, 2, fields.day) || scanner.SkipBlanks() == 0) {
    return false;
  }
  if (!TakeMonth(scanner, fields.month) || scanner.SkipBlanks() == 0) {
    return false;
  }
  if (!TakeNumber(scanner, 4, fields.year) || fields.year == 0) return false;
  scanner.SkipBlanks();
  return true;
}

bool TakeZone(Scanner& scanner) {
  scanner.SkipBlanks();
  if (scanner.TakeChar('+') || scanner.TakeChar('-')) {
    int offset;
    return TakeNumber(scanner, 4, offset);
  }
  const std::string_view name = scanner.TakeLetters(3);
  if (name.empty()) return true;
  for (const Zone& zone : kZones) {
    if (EqualIgnoreCase(name, zone.name)) return true;
  }
  return false;
}

enum class TimeReading { kFault, kZero, kComplete };

// A 0 in any field ends the reading: stored texts were taken as having no time
// to give then, and programs live by the untouched result.
TimeReading TakeTimeOfDay(Scanner& scanner, Fields& fields) {
  using enum TimeReading;
  if (!TakeNumber(scanner, 2, fields.hour)) return kFault;
  if (fields.hour == 0) return kZero;
  if (!scanner.TakeChar(':') || !TakeNumber(scanner, 2, fields.minute)) {
    return kFault;
  }
  if (fields.minute == 0) return kZero;
  if (!scanner.TakeChar(':')) return kFault;
  if (scanner.AtEnd()) return kComplete;
  if (!TakeNumber(scanner, 2, fields.second)) return kFault;
  if (fields.second == 0) return kZero;
  return TakeZone(scanner) ? kComplete : kFault;
}

void AppendTime(const DateTime& time, std::string& out) {
  out += std::to_string(time.Hour());
  out += ':';
  out += std::to_string(time.Minute());
  out += ':';
  out += std::to_string(time.Second());
}

}  // namespace

// No blank behind the comma and no padding: the form that stored texts have.
bool Parser::DateTimeToRFC867(const DateTime& time, std::string& out) {
  out = kDays[static_cast<int>(time.getDayOfWeek())];
  out += ',';
  out += std::to_string(time.Day());
  out += ' ';
  out += kMonths[time.Month() - 1];
  out += ' ';
  out += std::to_string(time.Year());
  out += ' ';
  AppendTime(time, out);
  return true;
}

bool Parser::ParseDateTimeFromRFC867(const char* text, const char* end,
                                     DateTime& out, unsigned& consumed) {
  consumed = 0;
  Scanner scanner(text, end);
  Fields fields;
  if (scanner.AtEnd() || !TakeDate(scanner, fields)) return false;
  TimeReading reading = TimeReading::kComplete;
  if (!scanner.AtEnd()) reading = TakeTimeOfDay(scanner, fields);
  if (reading == TimeReading::kFault) return false;
  if (reading == TimeReading::kComplete) {
    out = DateTime(fields.year, fields.month, fields.day, fields.hour,
                   fields.minute, fields.second, 0);
  }
  consumed = scanner.Consumed();
  return true;
}

bool Parser::ParseDateTime(const char* text, const char* end, DateTime& out,
                           unsigned& consumed) {
  return ParseDateTimeFromRFC867(text, end, out, consumed);
}

bool Parser::ParseDateTimeFromString(const char*, const char*, DateTime&,
                                     unsigned& consumed) {
  consumed = 0;
  return false;
}

bool Parser::TimeToString(const DateTime& time, std::string& out) {
  out.clear();
  AppendTime(time, out);
  return true;
}

bool Parser::ParseTime(const char* text, const char* end, DateTime& out,
                       unsigned& consumed) {
  consumed = 0;
  Scanner scanner(text, end);
  int hour, minute, second;
  if (!TakeNumber(scanner, 2, hour) || hour > 23 || !scanner.TakeChar(':') ||
      !TakeNumber(scanner, 2, minute) || minute > 59 ||
      !scanner.TakeChar(':') || !TakeNumber(scanner, 2, second) ||
      second > 59) {
    return false;
  }
  out = DateTime(1, 1, 1, hour, minute, second, 0);
  consumed = scanner.Consumed();
  return true;
}

}  // namespace kiv::parser
