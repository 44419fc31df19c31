#include "dm/guid.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

#include "kiv/environment.h"

namespace {

constexpr GUID kKnown = {0x01234567,
                         0x89AB,
                         0xCDEF,
                         {0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE}};
constexpr char kKnownText[] = "01234567-89ab-cdef-1032-547698badcfe";

TEST(Guid, TextShowsTheFieldsAndComesBackInEitherCase) {
  char text[37] = "-";
  EXPECT_FALSE(dm_guid_to_string(&kKnown, text, 36));
  EXPECT_STREQ(text, "-");
  ASSERT_TRUE(dm_guid_to_string(&kKnown, text, 37));
  EXPECT_STREQ(text, kKnownText);
  for (const char* form :
       {kKnownText, "01234567-89AB-CDEF-1032-547698BADCFE"}) {
    GUID guid{};
    ASSERT_TRUE(dm_string_to_guid(form, &guid));
    EXPECT_EQ(std::memcmp(&guid, &kKnown, sizeof guid), 0);
  }
}

TEST(Guid, RefusesEveryOtherFormAndLeavesTheValue) {
  const std::string good = kKnownText;
  std::set<std::string> bad = {"", good + "0", good.substr(1),
                               "{" + good + "}"};
  for (std::size_t i = 0; i < good.size(); ++i)
    for (const char wrong : {'g', ' ', '\xB0', good[i] == '-' ? '0' : '-'})
      bad.insert(std::string(good).replace(i, 1, 1, wrong));
  GUID guid = kKnown;
  for (const std::string& text : bad)
    EXPECT_FALSE(dm_string_to_guid(text.c_str(), &guid)) << text;
  EXPECT_EQ(std::memcmp(&guid, &kKnown, sizeof guid), 0);
}

TEST(Guid, FreshOnesAreRandomOfVersion4) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    std::string text;
    kiv::generateUUID(text);
    EXPECT_EQ(text.at(14), '4');
    EXPECT_NE(std::strchr("89ab", text[19]), nullptr) << text;
    seen.insert(text);
  }
  EXPECT_EQ(seen.size(), 1000u);
}

}  // namespace
