#ifndef MQ_BLOCK_FRAMER_H_
#define MQ_BLOCK_FRAMER_H_

#include <cstddef>
#include <vector>

namespace kiv::mq {

// A piece of what a serial line sent. Lives until the framer gives room again.
struct Block {
  const char* bytes = nullptr;
  std::size_t size = 0;
  // Both, for a whole block. A line longer than the buffer comes in pieces as
  // they fill: the first begins it, the last ends it.
  bool begins = true;
  bool ends = true;
};

// Cuts a stream of bytes into blocks: at an event character, which belongs to
// no block, or every so many bytes. How the stream was cut into reads makes no
// difference to the blocks.
//
// A line feed directly behind a carriage return that ended a block belongs to
// the line's end. In the place of the event character stands a NUL, so that
// also a processor that expects a text finds its end.
//
// The bytes lie in one buffer: [begin_, end_) are not handed over yet, of which
// [begin_, scanned_) hold no event character.
class BlockFramer {
 public:
  // `package_size` 0: blocks end at the event character, and none is longer
  // than `buffer_size`.
  BlockFramer(char event_char, std::size_t package_size,
              std::size_t buffer_size);

  // Where the next bytes may be written; never without room.
  char* Room(std::size_t& size);
  // That many of them were.
  void Fill(std::size_t size) { end_ += size; }
  bool Next(Block& block);

  // Forgets the bytes of an unfinished block, and the line they were part of.
  // Returns how many they were.
  std::size_t Reset();

 private:
  bool NextLine(Block& block);
  bool NextPackage(Block& block);

  char event_char_;
  std::size_t package_size_;
  std::size_t limit_;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;
  std::size_t scanned_ = 0;
  std::size_t end_ = 0;
  bool is_in_line_ = false;
  bool skips_line_feed_ = false;
};

// Whether the block is an operator's word to end the reader: a block, not the
// middle of one, that begins with "exit" in any case.
bool IsStopWord(const Block& block);

}  // namespace kiv::mq

#endif  // MQ_BLOCK_FRAMER_H_
