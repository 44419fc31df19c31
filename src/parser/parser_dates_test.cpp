#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <tuple>

#include "kiv/parser/parser.h"
#include "parser/parser_testing.h"

namespace kiv::parser {
namespace {

using Reader = bool (*)(const char*, const char*, DateTime&, unsigned&);

DateTime At(int year, int month, int day, int hour = 0, int minute = 0,
            int second = 0) {
  return DateTime(year, month, day, hour, minute, second, 0);
}

// What is refused uses nothing.
void ExpectReads(Reader read, const std::string& text, const DateTime& expected,
                 unsigned used, bool done = true) {
  SCOPED_TRACE(text);
  const ExactText exact(text);
  DateTime out;
  unsigned consumed = 99;
  EXPECT_EQ(read(exact.begin(), exact.end(), out, consumed), done);
  EXPECT_EQ(out, expected);
  EXPECT_EQ(consumed, used);
}

TEST(ParserDates, WriteWithoutPaddingAndReadBack) {
  const DateTime time = At(2005, 11, 3, 9, 5, 7);
  std::string out = "old";
  EXPECT_TRUE(Parser::DateTimeToRFC867(time, out));
  EXPECT_EQ(out, "Thu,3 Nov 2005 9:5:7");
  ExpectReads(Parser::ParseDateTime, out, time, 20);
  EXPECT_TRUE(Parser::TimeToString(time, out));
  EXPECT_EQ(out, "9:5:7");
}

TEST(ParserDates, ReadDayMonthYearAndWhatMayStandAround) {
  const DateTime day = At(2005, 11, 3), time = At(2005, 11, 3, 10, 20, 30);
  const std::tuple<const char*, const char*, DateTime, unsigned> cases[] = {
      {"TrailingBlanks", " 3 nov 2005 ", day, 12},
      {"WrongWeekday", "Xyz,  3\tNOV  2005", day, 17},
      {"ShortYear", "3 Nov 5", At(5, 11, 3), 7},
      {"ZoneIsNotApplied", "3 Nov 2005 10:20:30 pst", time, 23},
      {"ZoneByOffset", "3 Nov 2005 10:20:30 +0800", time, 25},
      {"SecondLeftOut", "3 Nov 2005 10:20:", At(2005, 11, 3, 10, 20), 17},
      {"OtherTextBehind", "3 Nov 2005 10:20:30;", time, 19},
      // True with nothing stored: the result stays the missing value.
      {"HourZero", "Thu, 3 Nov 2005 00:10:00", DateTime(), 18},
      {"MinuteZero", "3 Nov 2005 9:00:10", DateTime(), 15},
      {"SecondZero", "3 Nov 2005 9:10:00 XYZ", DateTime(), 18},
  };
  for (const auto& [name, text, out, consumed] : cases) {
    SCOPED_TRACE(name);
    ExpectReads(Parser::ParseDateTimeFromRFC867, text, out, consumed);
  }
}

TEST(ParserDates, ARefusedDateLeavesTheResult) {
  const CapturedLog log;
  for (const char* const bad :
       {"", "  ", "Thur, 3 Nov 2005", "003 Nov 2005", "3Nov 2005", "3 Nov ",
        "3 November 2005", "3 Nov 0000", "3 Nov 2005 x", "3 Nov 2005 9",
        "3 Nov 2005 9:5", "3 Nov 2005 1:2:3 XYZ", "3 Nov 2005 1:2:3 +x"}) {
    ExpectReads(Parser::ParseDateTime, bad, DateTime(), 0, false);
  }
  // No grammar yet.
  ExpectReads(Parser::ParseDateTimeFromString, "3 Nov 2005", {}, 0, false);
  const ExactText text("31 Feb 2005");
  DateTime out;
  unsigned consumed;
  EXPECT_THROW(Parser::ParseDateTime(text.begin(), text.end(), out, consumed),
               std::out_of_range);
}

TEST(ParserDates, LogWeekdayAndMonth) {
  const CapturedLog log;
  const std::string failed = "ParseDateTimeFromRFC867 Failed: Parse ";
  ExpectReads(Parser::ParseDateTime, "Thu 3 Nov 2005", {}, 0, false);
  EXPECT_TRUE(log.Has(failed + "day of week failed"));
  ExpectReads(Parser::ParseDateTime, "3 Mai 2005", {}, 0, false);
  EXPECT_TRUE(log.Has(failed + "month failed"));
}

TEST(ParserTime, StandsOnTheFirstDayWithoutADeviation) {
  ExpectReads(Parser::ParseTime, "23:59:59", At(1, 1, 1, 23, 59, 59), 8);
  ExpectReads(Parser::ParseTime, "9:0:0", At(1, 1, 1, 9), 5);
  ExpectReads(Parser::ParseTime, "08:00:001", At(1, 1, 1, 8), 8);
  for (const char* const bad :
       {"24:00:00", "23:60:00", "23:59:60", "8:00", "8:00:", "08-00-00",
        " 08:00:00", "008:00:00"}) {
    ExpectReads(Parser::ParseTime, bad, DateTime(), 0, false);
  }
}

}  // namespace
}  // namespace kiv::parser
