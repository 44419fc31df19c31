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
  std::string bytes;
  for (int i = 0; i < 300; ++i) bytes += static_cast<char>(i * 7);
  for (unsigned size = 1; size <= bytes.size(); ++size) {
    std::string text;
    ASSERT_TRUE(bytesToHex(reinterpret_cast<const unsigned char*>(bytes.data()),
                           size, text));
    ASSERT_EQ(text.size(), 2 * size);
    ASSERT_EQ(text.find_first_not_of("0123456789ABCDEF"), std::string::npos);
    std::string back;
    ASSERT_TRUE(hexToString(text.data(), 2 * size, back));
    ASSERT_EQ(back, bytes.substr(0, size));
  }
  std::string text;
  const unsigned char order[] = {0x0F, 0xA0};
  bytesToHex(order, 2, text);
  EXPECT_EQ(text, "0FA0");
}

TEST(Hex, RoomForTheTerminatorIsAskedForEvenWithoutOne) {
  const unsigned char bytes[] = {0xAB, 0xCD};
  char out[6] = "-----";
  EXPECT_FALSE(bytesToHex(bytes, 2, out, 4, false));
  EXPECT_STREQ(out, "-----");
  EXPECT_TRUE(bytesToHex(bytes, 2, out, 5, false));
  EXPECT_STREQ(out, "ABCD-");
  EXPECT_TRUE(bytesToHex(bytes, 2, out, 5, true));
  EXPECT_STREQ(out, "ABCD");
  // The other way it is asked for only with one.
  EXPECT_FALSE(hexToString("4142", 4, out, 2, true));
  EXPECT_STREQ(out, "ABCD");
  EXPECT_TRUE(hexToString("6162", 4, out, 2, false));
  EXPECT_STREQ(out, "abCD");
  EXPECT_TRUE(hexToString("4142", 4, out, 3, true));
  EXPECT_STREQ(out, "AB");
}

TEST(Hex, RefusesNothingAndSizesThatOverflow) {
  const unsigned char byte = 1;
  char out[8];
  EXPECT_FALSE(bytesToHex(nullptr, 1, out, 8, true));
  EXPECT_FALSE(bytesToHex(&byte, 0, out, 8, true));
  EXPECT_FALSE(bytesToHex(&byte, 1, nullptr, 8, true));
  EXPECT_FALSE(bytesToHex(&byte, 0x80000000U, out, 8, true));
  EXPECT_FALSE(bytesToHex(&byte, 0xFFFFFFFFU, out, 0xFFFFFFFFU, true));
  std::string text = "old";
  EXPECT_TRUE(bytesToHex(nullptr, 4, text));
  EXPECT_EQ(text, "");
  unsigned char bytes[4];
  EXPECT_FALSE(hexToBytes(nullptr, 2, bytes, 4));
  EXPECT_FALSE(hexToBytes("", 0, bytes, 4));
  EXPECT_FALSE(hexToBytes("123", 3, bytes, 4));
  EXPECT_FALSE(hexToBytes("1234", 4, bytes, 1));
  EXPECT_FALSE(hexToBytes("1234", 4, nullptr, 4));
  EXPECT_FALSE(hexToString(nullptr, 2, text));
}

TEST(Hex, ConvertsInPlace) {
  std::string text;
  for (int i = 0; i < 50; ++i) text += "6b";
  EXPECT_TRUE(hexToBytes(text.data(), 100,
                         reinterpret_cast<unsigned char*>(text.data()), 50));
  EXPECT_EQ(text.substr(0, 50), std::string(50, 'k'));
  std::string bytes = "ab";
  bytesToHex(reinterpret_cast<const unsigned char*>(bytes.data()), 2, bytes);
  EXPECT_EQ(bytes, "6162");
  EXPECT_TRUE(hexToString(bytes.data(), 4, bytes));
  EXPECT_EQ(bytes, "ab");
}

}  // namespace
}  // namespace kiv
