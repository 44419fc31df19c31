#include "kiv/md5.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string>

#include "kiv/hex.h"
#include "util/gb_text.h"
#include "util/log_test_fixture.h"

namespace kiv {
namespace {

std::string Shown(md5& digest) {
  std::string out;
  bytesToHex(digest.digest(), 16, out);
  LowerAscii(out);
  return out;
}

std::string Digest(const std::string& text) {
  md5 digest;
  digest.do_string(text.data(), static_cast<unsigned>(text.size()));
  return Shown(digest);
}

const unsigned char* Bytes(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

// The byte at i is i * 7 + 3, cut to 8 bits.
std::string Pattern(std::size_t size_bytes) {
  std::string text(size_bytes, '\0');
  for (std::size_t i = 0; i < size_bytes; ++i)
    text[i] = static_cast<char>(i * 7 + 3);
  return text;
}

TEST(Md5, GivesThePublishedDigests) {
  EXPECT_EQ(Digest(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(Digest("abc"), "900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(
      Digest("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
      "d174ab98d277d9f5a5611c2c9f419d9f");
}

// The digest over the digests of all lengths in which the padding and the count
// of bits come to lie at every place of a block.
TEST(Md5, PadsEveryLengthAroundABlock) {
  std::string digests;
  for (std::size_t size = 0; size < 200; ++size)
    digests += Digest(Pattern(size));
  EXPECT_EQ(Digest(digests), "95f7e028214827e2cec4d6e8b236791b");
}

TEST(Md5, GivesTheSameInWhateverPiecesItIsFed) {
  const std::string text = Pattern(4096);
  const std::string whole = Digest(text);
  for (const std::size_t step : {1, 3, 55, 63, 64, 65, 127, 128, 1000}) {
    md5 digest;
    for (std::size_t pos = 0; pos < text.size(); pos += step)
      digest.update(Bytes(text) + pos, std::min(step, text.size() - pos));
    digest.update(nullptr, 0);
    digest.finalize();
    EXPECT_EQ(Shown(digest), whole) << step;
  }
}

TEST(Md5, CountsBitsBeyond32) {
  const std::string block(1 << 20, '\0');
  md5 digest;
  for (int i = 0; i < 513; ++i) digest.update(Bytes(block), block.size());
  digest.finalize();
  EXPECT_EQ(Shown(digest), "f3a8799d64129a6fd8a5aa56f199ac54");
}

TEST(Md5, FoldsAndReadsAsAGuid) {
  char text[37];
  EXPECT_TRUE(md5::string_digest128("abc", 3, text, sizeof text));
  EXPECT_STREQ(text, "98500190-d23c-b04f-d696-3f7d28e17f72");
  // True, and nothing is written into a text that is too small.
  text[0] = 'x';
  EXPECT_TRUE(md5::string_digest128("abc", 3, text, 36));
  EXPECT_STREQ(text, "x8500190-d23c-b04f-d696-3f7d28e17f72");
  _GUID guid;
  ASSERT_TRUE(md5::string_digest128("abc", 3, &guid));
  EXPECT_EQ(guid.Data1, 0x98500190U);
  EXPECT_EQ(guid.Data4[0], 0xD6U);
  EXPECT_FALSE(md5::string_digest128("abc", 3, nullptr));
}

using Md5File = LogTest;

TEST_F(Md5File, ReadsWholeFilesAndRefusesWhatCannotBeRead) {
  const std::string text = Pattern(2 * 1024 + 17);
  std::ofstream(In("block"), std::ios::binary) << text;
  md5 digest;
  ASSERT_TRUE(digest.do_file(In("block").c_str()));
  EXPECT_EQ(Shown(digest), Digest(text));
  // 源, in UTF-8 on disk
  std::ofstream(In("\xE6\xBA\x90"), std::ios::binary).flush();
  unsigned long fold = 1;
  EXPECT_TRUE(md5::file_digest32(".\\\xD4\xB4", fold));
  EXPECT_EQ(fold, 9886562U);
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  for (const char* path :
       {".", "missing", "pipe", "", static_cast<const char*>(nullptr)}) {
    _GUID guid;
    char guid_text[37] = "kept";
    EXPECT_FALSE(md5::file_digest32(path, fold));
    EXPECT_FALSE(md5::file_digest128(path, &guid));
    EXPECT_FALSE(md5::file_digest128(path, guid_text, sizeof guid_text));
    EXPECT_STREQ(guid_text, "kept");
  }
  EXPECT_EQ(fold, 9886562U);
}

TEST_F(Md5File, HashLogsAndThrowsForNoText) {
  EXPECT_EQ(md5_hash_string("abc", 0), 6478948U);
  EXPECT_EQ(md5_hash_string("abcd", 3), 6478948U);
  Log::Instance().Open(Folder(), true);
  EXPECT_THROW(md5_hash_string(nullptr, 3), std::runtime_error);
  Log::Instance().Close();
  EXPECT_EQ(Text(In(kDay)),
            "12:00:00 [\xB4\xED\xCE\xF3] sharelib::util: md5_hash_string "
            "''failed: encoding user message failed\r\n");
}

}  // namespace
}  // namespace kiv
