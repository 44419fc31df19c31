#include "mq/block_framer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace kiv::mq {
namespace {

// What the framer makes of the stream when it is read so many bytes at a time.
// A piece that does not end its line is shown with "+" behind it, one that does
// not begin it with "+" in front.
std::vector<std::string> Cut(BlockFramer& framer, std::string_view stream,
                             std::size_t read_size) {
  std::vector<std::string> blocks;
  while (!stream.empty()) {
    std::size_t room = 0;
    char* const out = framer.Room(room);
    const std::size_t count = std::min({room, read_size, stream.size()});
    std::memcpy(out, stream.data(), count);
    framer.Fill(count);
    stream.remove_prefix(count);
    Block block;
    while (framer.Next(block))
      blocks.push_back((block.begins ? "" : "+") +
                       std::string(block.bytes, block.size) +
                       (block.ends ? "" : "+"));
  }
  return blocks;
}

using Blocks = std::vector<std::string>;

struct FramingCase {
  const char* name;
  std::string stream;
  Blocks blocks;
  std::size_t unfinished;
  std::size_t buffer_size = 64;
  std::size_t package_size = 0;
  char event_char = '\r';
};

class Framing : public ::testing::TestWithParam<FramingCase> {};

TEST_P(Framing, GivesTheSameBlocksHoweverTheStreamIsRead) {
  const FramingCase& given = GetParam();
  for (std::size_t read_size = 1; read_size <= given.stream.size();
       ++read_size) {
    BlockFramer framer(given.event_char, given.package_size, given.buffer_size);
    EXPECT_EQ(Cut(framer, given.stream, read_size), given.blocks) << read_size;
    EXPECT_EQ(framer.Reset(), given.unfinished) << read_size;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Stream, Framing,
    ::testing::Values(
        FramingCase{"Lines", "one\rtwo\rthr", {"one", "two"}, 3},
        FramingCase{
            "LineFeedEndsTheLineToo", "one\r\ntwo\r\n", {"one", "two"}, 0},
        FramingCase{"OnlyOneLineFeedDoes", "a\r\n\nb\r", {"a", "\nb"}, 0},
        FramingCase{
            "OnlyBehindACarriageReturn", "a;\nb;", {"a", "\nb"}, 0, 64, 0, ';'},
        FramingCase{"EmptyLines", "\r\r\n\r", {"", "", ""}, 0},
        FramingCase{"ExactlyTheBuffer", "abcd\refgh\r", {"abcd", "efgh"}, 0, 4},
        FramingCase{"LongerThanTheBuffer",
                    "abcdefghij\rk\r",
                    {"abcd+", "+efgh+", "+ij", "k"},
                    0,
                    4},
        FramingCase{"LongerAndEndingWithAPiece",
                    "abcdefgh\rk",
                    {"abcd+", "+efgh"},
                    1,
                    4},
        FramingCase{"Packages", "ab\rcd\r\nf", {"ab\r", "cd\r"}, 2, 4, 3},
        FramingCase{
            "PackageLongerThanTheBuffer", "abcdefghi", {"abcdef"}, 3, 4, 6}),
    [](const auto& test) { return test.param.name; });

TEST(Framer, StartsAfreshBehindAReset) {
  BlockFramer framer('\r', 0, 4);
  EXPECT_EQ(Cut(framer, "abcdef", 6), Blocks{"abcd+"});
  EXPECT_EQ(framer.Reset(), 2u);
  // Neither the middle of the old line nor a line feed that would belong to it.
  EXPECT_EQ(Cut(framer, "gh\r", 3), Blocks{"gh"});
  framer.Reset();
  EXPECT_EQ(Cut(framer, "\ni\r", 3), Blocks{"\ni"});
}

TEST(Framer, TakesAPackageOfManyReads) {
  BlockFramer framer('\r', 1'000'000, 4096);
  const auto blocks = Cut(framer, std::string(2'500'000, 'x'), 4096);
  ASSERT_EQ(blocks.size(), 2u);
  EXPECT_EQ(blocks[1].size(), 1'000'000u);
  EXPECT_EQ(framer.Reset(), 500'000u);
}

TEST(StopWord, IsFourLettersInAnyCaseAtTheStartOfABlock) {
  const auto is_stop = [](std::string_view text, bool begins = true) {
    return IsStopWord({text.data(), text.size(), begins, true});
  };
  for (const char* const stop : {"exit", "EXIT", "eXiTing"})
    EXPECT_TRUE(is_stop(stop)) << stop;
  for (const char* const other : {"exi", " exit", "EX\tT", "%xit"})
    EXPECT_FALSE(is_stop(other)) << other;
  EXPECT_FALSE(is_stop("exit", false));
}

}  // namespace
}  // namespace kiv::mq
