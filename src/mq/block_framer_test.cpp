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

TEST(Framing, GivesTheSameBlocksHoweverTheStreamIsRead) {
  const struct {
    const char* name;
    std::string stream;
    Blocks blocks;
    std::size_t unfinished = 0;
    std::size_t buffer_size = 64;
    std::size_t package_size = 0;
    char event_char = '\r';
  } rows[] = {
      {"Lines", "one\rtwo\rthr", {"one", "two"}, 3},
      {"LineFeedEndsTheLineToo", "one\r\ntwo\r\n", {"one", "two"}},
      {"OnlyOneLineFeedDoes", "a\r\n\nb\r", {"a", "\nb"}},
      {"OnlyBehindACarriageReturn", "a;\nb;", {"a", "\nb"}, 0, 64, 0, ';'},
      {"EmptyLines", "\r\r\n\r", {"", "", ""}},
      {"ExactlyTheBuffer", "abcd\refgh\r", {"abcd", "efgh"}, 0, 4},
      {"Longer", "abcdefghij\rk\r", {"abcd+", "+efgh+", "+ij", "k"}, 0, 4},
      {"LongerEndingWithAPiece", "abcdefgh\rk", {"abcd+", "+efgh"}, 1, 4},
      {"Packages", "ab\rcd\r\nf", {"ab\r", "cd\r"}, 2, 4, 3},
      {"PackageLongerThanTheBuffer", "abcdefghi", {"abcdef"}, 3, 4, 6}};
  for (const auto& row : rows) {
    for (std::size_t size = 1; size <= row.stream.size(); ++size) {
      BlockFramer framer(row.event_char, row.package_size, row.buffer_size);
      EXPECT_EQ(Cut(framer, row.stream, size), row.blocks) << row.name << size;
      EXPECT_EQ(framer.Reset(), row.unfinished) << row.name << size;
    }
  }
}

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
  EXPECT_EQ(blocks, Blocks(2, std::string(1'000'000, 'x')));
  EXPECT_EQ(framer.Reset(), 500'000u);
}

TEST(StopWord, IsFourLettersInAnyCaseAtTheStartOfABlock) {
  const auto is_stop = [](std::string_view text, bool begins = true) {
    return IsStopWord({text.data(), text.size(), begins, true});
  };
  for (const char* const stop : {"exit", "eXiTing"})
    EXPECT_TRUE(is_stop(stop)) << stop;
  for (const char* const other : {"exi", " exit", "EX\tT", "%xit"})
    EXPECT_FALSE(is_stop(other)) << other;
  EXPECT_FALSE(is_stop("exit", false));
}

}  // namespace
}  // namespace kiv::mq
