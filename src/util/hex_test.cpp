#include "kiv/hex.h"

#include <gtest/gtest.h>

#include <string>

namespace kiv {
namespace {

// One digit at a time, from the rule itself.
int DigitValue(unsigned char character) {
  if (character >= '0' && character <= '9') return character - '0';
  if (character >= 'a' && character <= 'z') return character - 'a' + 10;
  if (character >= 'A' && character <= 'Z') return character - 'A' + 10;
  return -1;
}

TEST(Hex, EveryPairOfCharactersAtEveryPlaceOfABlock) {
  for (unsigned high = 0; high < 256; ++high) {
    for (unsigned low = 0; low < 256; ++low) {
      // 40 pairs: the fast path, its second half and the rest.
      for (const unsigned place : {0u, 11u, 15u, 33u}) {
        std::string text(80, '5');
        text[2 * place] = static_cast<char>(high);
        text[2 * place + 1] = static_cast<char>(low);
        const int x = DigitValue(static_cast<unsigned char>(high));
        const int y = DigitValue(static_cast<unsigned char>(low));
        std::string out = "kept";
        const bool is_hex = x >= 0 && y >= 0;
        ASSERT_EQ(hexToString(text.c_str(), 80, out), is_hex)
            << high << ' ' << low;
        if (is_hex) {
          std::string expected(40, '\x55');
          expected[place] = static_cast<char>(x * 16 | (y & 15));
          ASSERT_EQ(out, expected) << high << ' ' << low << ' ' << place;
        } else {
          ASSERT_EQ(out, "kept");
        }
      }
    }
  }
}

TEST(Hex, EveryByteAtEveryLengthComesBack) {
  std::string bytes = "\x0F\xA0";
  for (int i = 0; i < 300; ++i) bytes += static_cast<char>(i * 7);
  std::string text;
  for (unsigned size = 1; size <= bytes.size(); ++size) {
    ASSERT_TRUE(bytesToHex(reinterpret_cast<const unsigned char*>(bytes.data()),
                           size, text));
    ASSERT_EQ(text.size(), 2 * size);
    ASSERT_EQ(text.find_first_not_of("0123456789ABCDEF"), std::string::npos);
    std::string back;
    ASSERT_TRUE(hexToString(text.data(), 2 * size, back));
    ASSERT_EQ(back, bytes.substr(0, size));
  }
  EXPECT_TRUE(text.starts_with("0FA0"));
}

TEST(Hex, RoomForTheTerminatorIsAskedForEvenWithoutOne) {
  const unsigned char bytes[] = {0xAB, 0xCD};
  char out[6] = "-----";
  EXPECT_FALSE(bytesToHex(bytes, 2, out, 4, false));
  EXPECT_TRUE(bytesToHex(bytes, 2, out, 5, false));
  EXPECT_STREQ(out, "ABCD-");
  EXPECT_TRUE(bytesToHex(bytes, 2, out, 5, true));
  EXPECT_STREQ(out, "ABCD");
  // The other way it is asked for only with one.
  EXPECT_FALSE(hexToString("4142", 4, out, 2, true));
  EXPECT_TRUE(hexToString("6162", 4, out, 2, false));
  EXPECT_STREQ(out, "abCD");
  EXPECT_TRUE(hexToString("4142", 4, out, 3, true));
  EXPECT_STREQ(out, "AB");
}

TEST(Hex, RefusesNothingAndSizesThatOverflow) {
  unsigned char bytes[4] = {};
  char out[8];
  std::string text = "old";
  EXPECT_FALSE(bytesToHex(nullptr, 1, out, 8, true));
  EXPECT_FALSE(bytesToHex(bytes, 0, out, 8, true));
  EXPECT_FALSE(bytesToHex(bytes, 1, nullptr, 8, true));
  EXPECT_FALSE(bytesToHex(bytes, 0x80000000U, out, 8, true));
  EXPECT_FALSE(bytesToHex(bytes, 0xFFFFFFFFU, out, 0xFFFFFFFFU, true));
  EXPECT_TRUE(bytesToHex(nullptr, 4, text));
  EXPECT_EQ(text, "");
  EXPECT_FALSE(hexToBytes(nullptr, 2, bytes, 4));
  EXPECT_FALSE(hexToBytes("", 0, bytes, 4));
  EXPECT_FALSE(hexToBytes("123", 3, bytes, 4));
  EXPECT_FALSE(hexToBytes("1234", 4, bytes, 1));
}

TEST(Hex, ConvertsInPlace) {
  std::string text;
  for (int i = 0; i < 50; ++i) text += "6b";
  auto* const bytes = reinterpret_cast<unsigned char*>(text.data());
  EXPECT_TRUE(hexToBytes(text.data(), 100, bytes, 50));
  EXPECT_EQ(text.substr(0, 50), std::string(50, 'k'));
  bytesToHex(bytes, 2, text);
  EXPECT_EQ(text, "6B6B");
  EXPECT_TRUE(hexToString(text.data(), 4, text));
  EXPECT_EQ(text, "kk");
}

}  // namespace
}  // namespace kiv
