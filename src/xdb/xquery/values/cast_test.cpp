#include "xdb/xquery/values/cast.h"

#include <gtest/gtest.h>

#include <string>

#include "testing/xquery_values.h"

namespace kiv::xdb::xq {
namespace {

using kiv::testing::ShownOrCode;
using kiv::testing::ValueOf;

struct CastCase {
  const char* name;
  const char* from;  // as ValueOf
  const char* to;    // a type
  const char* result;
};

class CastOf : public ::testing::TestWithParam<CastCase> {};

TEST_P(CastOf, GivesTheValueOrTheCode) {
  const CastCase& row = GetParam();
  const Item value = ValueOf(row.from);
  const Type target = TypeNamed(row.to);
  const std::string result = ShownOrCode([&] { return Cast(value, target); });
  const bool is_value = std::string(row.result).rfind("FO", 0) != 0 &&
                        std::string(row.result) != "XPTY0004";
  EXPECT_EQ(result, is_value ? std::string(row.to) + " " + row.result
                             : std::string(row.result));
  EXPECT_EQ(IsCastable(value, target), is_value);
  const CastRule rule = RuleOfCast(value.type(), target);
  EXPECT_EQ(rule == CastRule::Never, result == "XPTY0004");
  if (!is_value) {
    EXPECT_NE(rule, CastRule::Always);
  }
}

const auto kRowName = [](const auto& row) { return row.param.name; };

INSTANTIATE_TEST_SUITE_P(
    Floating, CastOf,
    ::testing::Values(
        CastCase{"PlainBelowMillion", "string 999999.5e0", "double",
                 "999999.5"},
        CastCase{"ExponentFromMillion", "string 1000000", "double", "1.0E6"},
        CastCase{"PlainFromMillionth", "string 1e-6", "double", "0.000001"},
        CastCase{"ExponentBelowMillionth", "string 0.00000099", "double",
                 "9.9E-7"},
        CastCase{"LargestDouble", "string 1.7976931348623157e308", "double",
                 "1.7976931348623157E308"},
        CastCase{"LeastDouble", "string 4.9e-324", "double", "5.0E-324"},
        CastCase{"PastDouble", "string -1e309", "double", "-INF"},
        CastCase{"PastAnyExponent", "string 1e99999999999999999999", "double",
                 "INF"},
        CastCase{"BelowDouble", "string -1e-99999999999999999999", "double",
                 "-0"},
        CastCase{"LongZeros", "string 0000000000000000000.10", "double", "0.1"},
        CastCase{"Spaces", "string \t-INF\n", "double", "-INF"},
        CastCase{"NaN", "string NaN", "double", "NaN"},
        CastCase{"NoPlusInf", "string +INF", "double", "FORG0001"},
        CastCase{"NoLowerNan", "string nan", "double", "FORG0001"},
        CastCase{"NoHex", "string 0x1p3", "double", "FORG0001"},
        CastCase{"NoEmptyExponent", "string 1e", "double", "FORG0001"},
        CastCase{"NoInnerSpace", "string 1 2", "double", "FORG0001"},
        CastCase{"NoPointAlone", "string .", "double", "FORG0001"},
        CastCase{"FloatDigits", "float 0.1", "string", "0.1"},
        CastCase{"FloatWidens", "float 0.1", "double", "0.10000000149011612"},
        CastCase{"FloatOnceRounded", "decimal 16777217.0000000000001", "float",
                 "1.6777218E7"},
        CastCase{"DoubleNarrows", "double 1e300", "float", "INF"},
        CastCase{"BooleanCounts", "boolean true", "float", "1"}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    Decimals, CastOf,
    ::testing::Values(
        CastCase{"DoubleExactly", "double 0.5", "decimal", "0.5"},
        CastCase{"NaNIsNone", "double NaN", "decimal", "FOCA0002"},
        CastCase{"InfinityIsNoInteger", "float -INF", "integer", "FOCA0002"},
        CastCase{"CutTowardZero", "double -1.9", "integer", "-1"},
        CastCase{"LargeDouble", "double 1e20", "integer",
                 "100000000000000000000"},
        CastCase{"DecimalCut", "decimal -0.9", "integer", "0"},
        CastCase{"NoExponent", "string 1e2", "decimal", "FORG0001"},
        CastCase{"NoPointInInteger", "string 1.0", "integer", "FORG0001"},
        CastCase{"ByteHigh", "integer 127", "byte", "127"},
        CastCase{"ByteTooHigh", "integer 128", "byte", "FORG0001"},
        CastCase{"ByteFromDouble", "double -128.9", "byte", "-128"},
        CastCase{"LongTooHigh", "integer 9223372036854775808", "long",
                 "FORG0001"},
        CastCase{"UnsignedLongHigh", "string 18446744073709551615",
                 "unsignedLong", "18446744073709551615"},
        CastCase{"UnsignedLongTooHigh", "string 18446744073709551616",
                 "unsignedLong", "FORG0001"},
        CastCase{"PositiveHasNoZero", "boolean false", "positiveInteger",
                 "FORG0001"},
        CastCase{"NegativeOfAnySize", "string -99999999999999999999",
                 "negativeInteger", "-99999999999999999999"},
        CastCase{"NonNegativeOfAnySize", "integer -99999999999999999999",
                 "nonNegativeInteger", "FORG0001"},
        CastCase{"AcrossBranches", "unsignedByte 200", "short", "200"}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    Texts, CastOf,
    ::testing::Values(
        CastCase{"NormalizedKeepsBlanks", "string \ta\r\n b ",
                 "normalizedString", " a   b "},
        CastCase{"TokenCollapses", "string \ta\n  b ", "token", "a b"},
        CastCase{"StringKeeps", "token a b", "string", "a b"},
        CastCase{"Language", "string en-US-x", "language", "en-US-x"},
        CastCase{"LanguagePartTooLong", "string abcdefghi", "language",
                 "FORG0001"},
        CastCase{"LanguageFirstHasNoDigit", "string e1", "language",
                 "FORG0001"},
        CastCase{"NameHasColon", "string :a:b", "Name", ":a:b"},
        CastCase{"NcNameHasNone", "string a:b", "NCName", "FORG0001"},
        CastCase{"NcNameStart", "string -a", "NCName", "FORG0001"},
        CastCase{"NcNameOutsideAscii", "string \xC3\xA9t\xC3\xA9", "ID",
                 "\xC3\xA9t\xC3\xA9"},
        CastCase{"NoTimesSign", "string a\xC3\x97", "ID", "FORG0001"},
        CastCase{"NmTokenStart", "string -1:.", "NMTOKEN", "-1:."},
        CastCase{"NmTokenEmpty", "string ", "NMTOKEN", "FORG0001"},
        CastCase{"NumberAsToken", "integer 5", "NMTOKEN", "5"},
        CastCase{"NumberAsName", "integer 5", "Name", "FORG0001"},
        CastCase{"UriCollapses", "string  a  b ", "anyURI", "a b"},
        CastCase{"UriPercent", "string a%2", "anyURI", "FORG0001"},
        CastCase{"UriColonWithoutScheme", "string :a", "anyURI", "FORG0001"},
        CastCase{"UriColonInPath", "string a/b:c", "anyURI", "a/b:c"},
        CastCase{"UriAsName", "anyURI a", "NCName", "a"},
        CastCase{"UriIsNoNumber", "anyURI 1", "integer", "XPTY0004"}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    Others, CastOf,
    ::testing::Values(
        CastCase{"BooleanDigit", "string  1 ", "boolean", "true"},
        CastCase{"BooleanWord", "string TRUE", "boolean", "FORG0001"},
        CastCase{"BooleanOfNaN", "double NaN", "boolean", "false"},
        CastCase{"BooleanOfSmall", "decimal 0.1", "boolean", "true"},
        CastCase{"HexUpper", "string 0aFf", "hexBinary", "0AFF"},
        CastCase{"HexOdd", "string 0af", "hexBinary", "FORG0001"},
        CastCase{"HexAsBase64", "hexBinary 00FF10", "base64Binary", "AP8Q"},
        CastCase{"Base64Spaces", "string A P 8 = ", "base64Binary", "AP8="},
        CastCase{"Base64Empty", "string ", "base64Binary", ""},
        CastCase{"Base64LostBits", "string AP9=", "base64Binary", "FORG0001"},
        CastCase{"Base64TooShort", "string AP8", "base64Binary", "FORG0001"},
        CastCase{"Base64MiddlePad", "string AP8=AP8=", "base64Binary",
                 "FORG0001"},
        CastCase{"NamesNeedNamespaces", "string p:a", "QName", "XPTY0004"},
        CastCase{"DurationLosesTime", "duration -P1Y2M3DT4H",
                 "yearMonthDuration", "-P1Y2M"},
        CastCase{"DurationLosesMonths", "duration P1Y2M", "dayTimeDuration",
                 "PT0S"},
        CastCase{"DateTimeLosesTime", "dateTime 1999-05-31T23:00:00-14:00",
                 "date", "1999-05-31-14:00"},
        CastCase{"DateTimeLosesDate", "dateTime -0044-03-15T23:00:00.5Z",
                 "time", "23:00:00.5Z"},
        CastCase{"DateGainsTime", "date 2000-02-29Z", "dateTime",
                 "2000-02-29T00:00:00Z"},
        CastCase{"MonthDayOfLeapDay", "date 2000-02-29", "gMonthDay",
                 "--02-29"},
        CastCase{"DayOfLongMonth", "date 2000-01-31", "gDay", "---31"},
        CastCase{"MonthOfNegative", "date -0001-01-31", "gYearMonth",
                 "-0001-01"},
        CastCase{"TimeIsNoDate", "time 00:00:00", "dateTime", "XPTY0004"},
        CastCase{"YearIsNoDate", "gYear 2000", "date", "XPTY0004"},
        CastCase{"NumberIsNoDuration", "integer 1", "duration", "XPTY0004"}),
    kRowName);

struct FormCase {
  const char* name;
  const char* type;
  const char* text;
  const char* result;  // canonical, or a code
};

class Form : public ::testing::TestWithParam<FormCase> {};

TEST_P(Form, IsReadAndWrittenCanonically) {
  const FormCase& row = GetParam();
  const std::string result =
      ShownOrCode([&] { return FromText(row.text, TypeNamed(row.type)); });
  const bool is_code = std::string(row.result).rfind("FO", 0) == 0;
  EXPECT_EQ(result,
            is_code ? row.result : std::string(row.type) + " " + row.result);
}

INSTANTIATE_TEST_SUITE_P(
    OfDates, Form,
    ::testing::Values(
        FormCase{"EndOfDay", "dateTime", "1999-12-31T24:00:00",
                 "2000-01-01T00:00:00"},
        FormCase{"EndOfDayHasNoFraction", "dateTime", "1999-12-31T24:00:00.1",
                 "FORG0001"},
        FormCase{"EndOfDayHasNoMinute", "time", "24:01:00", "FORG0001"},
        FormCase{"TimeWraps", "time", "24:00:00.000", "00:00:00"},
        FormCase{"FractionIsExact", "dateTime",
                 "2000-01-01T00:00:00.100000000000000001Z",
                 "2000-01-01T00:00:00.100000000000000001Z"},
        FormCase{"ZeroFraction", "time", "00:00:00.000", "00:00:00"},
        FormCase{"FractionNeedsDigit", "time", "00:00:00.", "FORG0001"},
        FormCase{"NoLeapSecond", "time", "23:59:60", "FORG0001"},
        FormCase{"ZoneZero", "date", "2000-01-01-00:00", "2000-01-01Z"},
        FormCase{"WidestZone", "date", "2000-01-01-14:00", "2000-01-01-14:00"},
        FormCase{"ZoneTooWide", "date", "2000-01-01+14:01", "FORG0001"},
        FormCase{"ZoneNeedsTwoDigits", "date", "2000-01-01+1:00", "FORG0001"},
        FormCase{"LeapCentury", "date", "1900-02-29", "FORG0001"},
        FormCase{"LeapFourthCentury", "date", "2000-02-29", "2000-02-29"},
        FormCase{"LeapYearBeforeFirst", "date", "-0001-02-29", "-0001-02-29"},
        FormCase{"NoLeapYearFour", "date", "-0004-02-29", "FORG0001"},
        FormCase{"NoYearZero", "date", "0000-01-01", "FORG0001"},
        FormCase{"NoPlus", "date", "+2000-01-01", "FORG0001"},
        FormCase{"NoShortYear", "date", "200-01-01", "FORG0001"},
        FormCase{"NoPaddedLongYear", "date", "02000-01-01", "FORG0001"},
        FormCase{"LongestNegativeYear", "gYear", "-292277024000",
                 "-292277024000"},
        FormCase{"LongestYear", "gYear", "292277024000Z", "292277024000Z"},
        FormCase{"YearTooLong", "gYear", "292277024001", "FODT0001"},
        FormCase{"HugeYear", "date", "99999999999999999999999999-02-29",
                 "FODT0001"},
        FormCase{"HugeYearBadDay", "date", "99999999999999999999-02-30",
                 "FORG0001"},
        FormCase{"Month", "gMonth", "--02+01:00", "--02+01:00"},
        FormCase{"NoOldMonth", "gMonth", "--02--", "FORG0001"},
        FormCase{"DayZero", "gDay", "---00", "FORG0001"},
        FormCase{"MonthDayNeverThere", "gMonthDay", "--02-30", "FORG0001"},
        FormCase{"Trailing", "date", "2000-01-01x", "FORG0001"},
        FormCase{"Empty", "date", "", "FORG0001"}),
    kRowName);

INSTANTIATE_TEST_SUITE_P(
    OfDurations, Form,
    ::testing::Values(
        FormCase{"Carries", "dayTimeDuration", "PT90061.50S", "P1DT1H1M1.5S"},
        FormCase{"CarriesMonths", "duration", "-P13MT24H", "-P1Y1M1D"},
        FormCase{"ZeroMonths", "yearMonthDuration", "-P0Y", "P0M"},
        FormCase{"Zero", "duration", "P0Y", "PT0S"},
        FormCase{"SmallNegative", "dayTimeDuration", "-PT0.000000000000000001S",
                 "-PT0.000000000000000001S"},
        FormCase{"NothingBehindP", "duration", "P", "FORG0001"},
        FormCase{"NothingBehindT", "duration", "P1YT", "FORG0001"},
        FormCase{"WrongOrder", "duration", "P1M1Y", "FORG0001"},
        FormCase{"TimeWithoutT", "duration", "P1H", "FORG0001"},
        FormCase{"FractionOnlyInSeconds", "duration", "PT1.5M", "FORG0001"},
        FormCase{"SignInside", "duration", "P-1Y", "FORG0001"},
        FormCase{"MonthsHaveNoDays", "yearMonthDuration", "P1Y1D", "FORG0001"},
        FormCase{"DaysHaveNoMonths", "dayTimeDuration", "P1M", "FORG0001"},
        FormCase{"MostMonths", "yearMonthDuration", "P9223372036854775807M",
                 "P768614336404564650Y7M"},
        FormCase{"TooManyMonths", "yearMonthDuration", "P9223372036854775808M",
                 "FODT0002"},
        FormCase{"TooManyDays", "dayTimeDuration", "P999999999999999999999999D",
                 "FODT0002"}),
    kRowName);

TEST(Cast, SharesTheTextThatItKeeps) {
  const Item untyped = Item::OfText("text", Type::UntypedAtomic);
  EXPECT_EQ(Cast(untyped, Type::String).AsText().data(),
            untyped.AsText().data());
  EXPECT_EQ(Cast(untyped, Type::NcName).AsText().data(),
            untyped.AsText().data());
}

TEST(Cast, SaysWhatItCouldNotRead) {
  try {
    Cast(Item::OfText(std::string(59, 'a') + "\xC3\xA9" + "b"), Type::Integer);
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(error.message(),
              "xs:string \"" + std::string(59, 'a') + "...\" is no xs:integer");
  }
}

}  // namespace
}  // namespace kiv::xdb::xq
