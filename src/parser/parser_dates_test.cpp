#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "kiv/parser/parser.h"
#include "parser/parser_testing.h"

namespace kiv::parser {
namespace {

DateTime At(int year, int month, int day, int hour = 0, int minute = 0,
            int second = 0) {
  return DateTime(year, month, day, hour, minute, second, 0);
}

TEST(ParserDates, WriteWithoutPaddingAndReadBack) {
  const DateTime time = At(2005, 11, 3, 9, 5, 7);
  std::string out = "old";
  EXPECT_TRUE(Parser::DateTimeToRFC867(time, out));
  EXPECT_EQ(out, "Thu,3 Nov 2005 9:5:7");
  DateTime read;
  unsigned consumed = 99;
  EXPECT_TRUE(Parser::ParseDateTime(out.data(), out.data() + out.size(), read,
                                    consumed));
  EXPECT_EQ(read, time);
  EXPECT_EQ(consumed, 20u);
  EXPECT_TRUE(Parser::TimeToString(time, out));
  EXPECT_EQ(out, "9:5:7");
}

TEST(ParseDate, Reads) {
  const struct {
    const char* name;
    std::string text;
    DateTime out;
    unsigned consumed;
  } cases[] = {
      {"NoWeekday", "3 nov 2005", At(2005, 11, 3), 10},
      {"TrailingBlanks", " 3 nov 2005 ", At(2005, 11, 3), 12},
      {"WrongWeekday", "Xyz,  3\tNOV  2005", At(2005, 11, 3), 17},
      {"ZoneByName", "Thu, 3 Nov 2005 10:20:30 GMT",
       At(2005, 11, 3, 10, 20, 30), 28},
      {"ZoneIsNotApplied", "3 Nov 2005 10:20:30 pst",
       At(2005, 11, 3, 10, 20, 30), 23},
      {"ZoneByOffset", "3 Nov 2005 10:20:30 +0800", At(2005, 11, 3, 10, 20, 30),
       25},
      {"SecondLeftOut", "3 Nov 2005 10:20:", At(2005, 11, 3, 10, 20, 0), 17},
      {"OtherTextBehind", "3 Nov 2005 10:20:30;", At(2005, 11, 3, 10, 20, 30),
       19},
      {"ShortYear", "3 Nov 5", At(5, 11, 3), 7},
      // True with nothing stored: the result stays the missing value.
      {"HourZero", "Thu, 3 Nov 2005 00:10:00", DateTime(), 18},
      {"MinuteZero", "3 Nov 2005 9:00:10", DateTime(), 15},
      {"SecondZero", "3 Nov 2005 9:10:00 XYZ", DateTime(), 18}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const ExactText text(row.text);
    DateTime out;
    unsigned consumed = 99;
    EXPECT_TRUE(Parser::ParseDateTimeFromRFC867(text.begin(), text.end(), out,
                                                consumed));
    EXPECT_EQ(out, row.out);
    EXPECT_EQ(consumed, row.consumed);
  }
}

TEST(ParserDates, ARefusedDateLeavesTheResult) {
  for (const char* const bad :
       {"  ", "Thu 3 Nov 2005", "Thur, 3 Nov 2005", "Thu, Nov 2005",
        "003 Nov 2005", "3Nov 2005", "3 Nop 2005", "3 November 2005", "3 Nov ",
        "3 Nov 0000", "3 Nov 2005 x", "3 Nov 2005 9",
        "3 Nov 2005 9:", "3 Nov 2005 9:5", "Thu, 3 Nov 2005 10:20:30 XYZ",
        "3 Nov 2005 10:20:30 +x"}) {
    SCOPED_TRACE(bad);
    const ExactText text(bad);
    DateTime out = At(1999, 1, 1);
    unsigned consumed = 99;
    EXPECT_FALSE(Parser::ParseDateTimeFromRFC867(text.begin(), text.end(), out,
                                                 consumed));
    EXPECT_EQ(out, At(1999, 1, 1));
    EXPECT_EQ(consumed, 0u);
  }
}

TEST(ParserDates, LogsWeekdayAndMonth) {
  const CapturedLog log;
  DateTime out;
  unsigned consumed;
  const ExactText weekday("Thu 3 Nov 2005");
  Parser::ParseDateTime(weekday.begin(), weekday.end(), out, consumed);
  EXPECT_TRUE(
      log.Has("ParseDateTimeFromRFC867 Failed: Parse day of week failed"));
  EXPECT_FALSE(log.Has("ParseDateTimeFromRFC867 Failed: Parse month failed"));
  const ExactText month("3 Mai 2005");
  Parser::ParseDateTime(month.begin(), month.end(), out, consumed);
  EXPECT_TRUE(log.Has("ParseDateTimeFromRFC867 Failed: Parse month failed"));
}

TEST(ParserDates, ImpossibleDatesThrowAndAFreeTextHasNoGrammar) {
  for (const char* const bad :
       {"31 Feb 2005", "0 Nov 2005", "3 Nov 2005 24:10:10"}) {
    const ExactText text(bad);
    DateTime out = At(1999, 1, 1);
    unsigned consumed;
    EXPECT_THROW(Parser::ParseDateTime(text.begin(), text.end(), out, consumed),
                 std::out_of_range)
        << bad;
    EXPECT_EQ(out, At(1999, 1, 1));
  }
  const ExactText text("3 Nov 2005");
  DateTime out;
  unsigned consumed = 99;
  EXPECT_FALSE(
      Parser::ParseDateTimeFromString(text.begin(), text.end(), out, consumed));
  EXPECT_EQ(out, DateTime());
}

TEST(ParserTime, StandsOnTheFirstDay) {
  const struct {
    const char* text;
    DateTime out;
    unsigned consumed;
  } rows[] = {{"23:59:59", At(1, 1, 1, 23, 59, 59), 8},
              {"00:00:00", At(1, 1, 1), 8},
              {"9:5:7", At(1, 1, 1, 9, 5, 7), 5},
              {"08:00:001", At(1, 1, 1, 8), 8}};
  for (const auto& row : rows) {
    const ExactText text(row.text);
    DateTime out;
    unsigned consumed = 99;
    EXPECT_TRUE(Parser::ParseTime(text.begin(), text.end(), out, consumed));
    EXPECT_EQ(out, row.out) << row.text;
    EXPECT_EQ(consumed, row.consumed) << row.text;
  }
}

TEST(ParserTime, RefusesEveryDeviation) {
  for (const char* const bad :
       {"24:00:00", "23:60:00", "23:59:60", "8:00", "8:00:", "08-00-00",
        " 08:00:00", "08: 00:00", "::", "-1:00:00", "008:00:00", "x"}) {
    const ExactText text(bad);
    DateTime out;
    unsigned consumed = 99;
    EXPECT_FALSE(Parser::ParseTime(text.begin(), text.end(), out, consumed))
        << bad;
    EXPECT_EQ(out, DateTime()) << bad;
    EXPECT_EQ(consumed, 0u) << bad;
  }
}

}  // namespace
}  // namespace kiv::parser
