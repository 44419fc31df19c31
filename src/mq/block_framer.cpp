#include "mq/block_framer.h"

#include <algorithm>
#include <cstring>

namespace kiv::mq {
namespace {

// Room for one read: what a line hands over at most at once.
constexpr std::size_t kRead = 4096;
constexpr char kCarriageReturn = '\r';
constexpr char kLineFeed = '\n';
constexpr char kStopWord[] = "exit";
constexpr std::size_t kStopWordSize = sizeof kStopWord - 1;

}  // namespace

BlockFramer::BlockFramer(char event_char, std::size_t package_size,
                         std::size_t buffer_size)
    : event_char_(event_char),
      package_size_(package_size),
      limit_(package_size != 0 ? package_size
                               : std::max<std::size_t>(buffer_size, 1)),
      // A large package's buffer grows with its bytes.
      buffer_(std::min(limit_, kRead) + 2 * kRead) {}

char* BlockFramer::Room(std::size_t& size) {
  if (begin_ > 0 && buffer_.size() - end_ < kRead) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    scanned_ -= begin_;
    begin_ = 0;
  }
  if (buffer_.size() - end_ < kRead) buffer_.resize(2 * buffer_.size());
  size = buffer_.size() - end_;
  return buffer_.data() + end_;
}

bool BlockFramer::Next(Block& block) {
  const bool found = package_size_ != 0 ? NextPackage(block) : NextLine(block);
  // Blocks point into the buffer, so it is emptied only when they are used up.
  if (!found && begin_ == end_) begin_ = scanned_ = end_ = 0;
  return found;
}

bool BlockFramer::NextLine(Block& block) {
  if (begin_ == end_) return false;
  char* const bytes = buffer_.data();
  if (skips_line_feed_) {
    skips_line_feed_ = false;
    if (bytes[begin_] == kLineFeed) scanned_ = ++begin_;
    if (begin_ == end_) return false;
  }
  // One byte more than a piece holds decides whether the line goes on.
  const std::size_t bound = std::min(end_, begin_ + limit_ + 1);
  auto* const event = static_cast<char*>(
      std::memchr(bytes + scanned_, event_char_, bound - scanned_));
  block.bytes = bytes + begin_;
  block.begins = !is_in_line_;
  if (event != nullptr) {
    block.size = static_cast<std::size_t>(event - block.bytes);
    block.ends = true;
    *event = '\0';
    begin_ += block.size + 1;
    scanned_ = begin_;
    is_in_line_ = false;
    skips_line_feed_ = event_char_ == kCarriageReturn;
    return true;
  }
  scanned_ = bound;
  if (bound - begin_ <= limit_) return false;
  block.size = limit_;
  block.ends = false;
  begin_ += limit_;
  is_in_line_ = true;
  return true;
}

bool BlockFramer::NextPackage(Block& block) {
  if (end_ - begin_ < package_size_) return false;
  block = {buffer_.data() + begin_, package_size_, true, true};
  begin_ += package_size_;
  scanned_ = begin_;
  return true;
}

std::size_t BlockFramer::Reset() {
  const std::size_t dropped = end_ - begin_;
  begin_ = scanned_ = end_ = 0;
  is_in_line_ = false;
  skips_line_feed_ = false;
  return dropped;
}

bool IsStopWord(const Block& block) {
  if (!block.begins || block.size < kStopWordSize) return false;
  return std::equal(kStopWord, kStopWord + kStopWordSize, block.bytes,
                    [](char letter, char c) {
                      return letter == c || letter - 'a' + 'A' == c;
                    });
}

}  // namespace kiv::mq
