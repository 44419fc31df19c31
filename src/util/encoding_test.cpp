#include "kiv/encoding.h"

#include <gtest/gtest.h>

#include <string>

namespace kiv {
namespace {

// "容€镕—·A" in the local encoding, in UTF-16 and in UTF-8.
constexpr char kGb[] = "\xC8\xDD\x80\xE9\x46\xA1\xAA\xA1\xA4\x41";
constexpr char16_t kWide[] = u"\u5BB9\u20AC\u9555\u2014\u00B7A";
constexpr char kUtf8[] =
    "\xE5\xAE\xB9\xE2\x82\xAC\xE9\x95\x95\xE2\x80\x94\xC2\xB7\x41";

TEST(Encoding, ConvertsBetweenAllThree) {
  EXPECT_STREQ(wstringToString(kWide, 0).get(), kGb);
  EXPECT_EQ(std::u16string(stringToWstring(kGb, 0).get()), kWide);
  EXPECT_EQ(std::u16string(utf8ToWstring(kUtf8, 0).get()), kWide);
  EXPECT_STREQ(wstringToUtf8(kWide, 0).get(), kUtf8);
  EXPECT_STREQ(utf8ToString(kUtf8, 0).get(), kGb);
  EXPECT_STREQ(stringToUtf8(kGb, 0).get(), kUtf8);
}

TEST(Encoding, NullGivesAnEmptyText) {
  EXPECT_STREQ(wstringToString(static_cast<const char16_t*>(nullptr), 5).get(),
               "");
  EXPECT_EQ(stringToWstring(nullptr, 5)[0], u'\0');
  EXPECT_EQ(utf8ToWstring(nullptr, 5)[0], u'\0');
  EXPECT_STREQ(utf8ToString(nullptr, 0).get(), "");
  EXPECT_STREQ(stringToUtf8(nullptr, 5).get(), "");
}

TEST(Encoding, ALengthCutsTheInputAndReachesOverNul) {
  EXPECT_STREQ(stringToUtf8("abc\xC8\xDD", 2).get(), "ab");
  EXPECT_STREQ(stringToUtf8(kGb, 1).get(), "\xEF\xBF\xBD");
  EXPECT_STREQ(wstringToString(kWide, 2).get(), "\xC8\xDD\x80");
  const auto wide = stringToWstring("a\0\xC8\xDD", 4);
  EXPECT_EQ(std::u16string(wide.get(), 4), std::u16string(u"a\0\u5BB9\0", 4));
  const auto narrow = utf8ToString("a\0b", 3);
  EXPECT_EQ(std::string(narrow.get(), 4), std::string("a\0b\0", 4));
}

}  // namespace
}  // namespace kiv
