// The framer of serial lines against a byte-by-byte reference: the same blocks
// however the stream is cut into reads.
//
// Input: event character, package size, buffer size, sizes of the reads (one
// byte each), then the stream.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "mq/block_framer.h"

namespace {

using kiv::mq::Block;
using kiv::mq::BlockFramer;

constexpr std::size_t kHeader = 4;

struct Piece {
  std::string bytes;
  bool begins;
  bool ends;
  bool operator==(const Piece&) const = default;
};

struct Setting {
  char event_char;
  std::size_t package_size;
  std::size_t buffer_size;
};

// Returns how many bytes belong to no block yet.
std::size_t CutSlowly(const Setting& setting, const std::string& stream,
                      std::vector<Piece>& pieces) {
  std::string piece;
  bool begins = true;
  bool is_behind_return = false;
  for (const char c : stream) {
    if (setting.package_size != 0) {
      piece += c;
      if (piece.size() < setting.package_size) continue;
      pieces.push_back({piece, true, true});
      piece.clear();
      continue;
    }
    if (std::exchange(is_behind_return, false) && c == '\n') continue;
    if (c == setting.event_char) {
      pieces.push_back({piece, begins, true});
      piece.clear();
      begins = true;
      is_behind_return = c == '\r';
      continue;
    }
    if (piece.size() == setting.buffer_size) {
      pieces.push_back({piece, begins, false});
      piece.clear();
      begins = false;
    }
    piece += c;
  }
  return piece.size();
}

void Require(bool is_true, const char* what) {
  if (is_true) return;
  std::fprintf(stderr, "%s\n", what);
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                      std::size_t size) {
  if (size < kHeader) return 0;
  const Setting setting{static_cast<char>(bytes[0]), bytes[1],
                        std::size_t{1} + bytes[2]};
  const std::size_t read_size = std::size_t{1} + bytes[3];
  const std::string stream(reinterpret_cast<const char*>(bytes) + kHeader,
                           size - kHeader);
  std::vector<Piece> expected;
  const std::size_t rest = CutSlowly(setting, stream, expected);

  BlockFramer framer(setting.event_char, setting.package_size,
                     setting.buffer_size);
  std::vector<Piece> pieces;
  std::size_t at = 0;
  while (at < stream.size()) {
    std::size_t room = 0;
    char* const out = framer.Room(room);
    Require(room > 0, "no room");
    const std::size_t count = std::min({room, read_size, stream.size() - at});
    std::memcpy(out, stream.data() + at, count);
    framer.Fill(count);
    at += count;
    Block block;
    while (framer.Next(block)) {
      if (setting.package_size == 0 && block.ends)
        Require(block.bytes[block.size] == '\0', "no NUL behind the block");
      pieces.push_back(
          {std::string(block.bytes, block.size), block.begins, block.ends});
    }
  }
  Require(pieces == expected, "other blocks than the reference");
  // A line feed that ends a line is no part of the next.
  const std::size_t dropped = framer.Reset();
  Require(dropped == rest, "another rest than the reference");
  return 0;
}
