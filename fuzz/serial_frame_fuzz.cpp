// The framer of serial lines against a byte-by-byte reference: the same blocks
// however the stream is cut into reads.
//
// Input: event character, package size, buffer size, sizes of the reads (one
// byte each), then the stream.
#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "input_of_fuzz.h"
#include "mq/block_framer.h"

namespace kiv::fuzz {

struct Piece {
  std::string bytes;
  bool begins;
  bool ends;
  bool operator==(const Piece&) const = default;
};

// Returns how many bytes belong to no block yet.
std::size_t CutSlowly(char event_char, std::size_t package_size,
                      std::size_t buffer_size, std::string_view stream,
                      std::vector<Piece>& pieces) {
  std::string piece;
  bool begins = true;
  bool is_behind_return = false;
  const auto cut = [&](bool ends) {
    pieces.push_back({std::exchange(piece, ""), begins, ends});
    begins = ends;
  };
  for (const char c : stream) {
    if (package_size != 0) {
      piece += c;
      if (piece.size() == package_size) cut(true);
      continue;
    }
    if (std::exchange(is_behind_return, false) && c == '\n') continue;
    if (c == event_char) {
      cut(true);
      is_behind_return = c == '\r';
      continue;
    }
    if (piece.size() == buffer_size) cut(false);
    piece += c;
  }
  return piece.size();
}

void Run(std::string_view input) {
  if (input.size() < 4) return;
  const auto event_char = static_cast<char>(TakeByte(input));
  const std::size_t package_size = TakeByte(input);
  const std::size_t buffer_size = std::size_t{1} + TakeByte(input);
  const std::size_t read_size = std::size_t{1} + TakeByte(input);
  std::vector<Piece> expected;
  const std::size_t rest =
      CutSlowly(event_char, package_size, buffer_size, input, expected);

  mq::BlockFramer framer(event_char, package_size, buffer_size);
  std::vector<Piece> pieces;
  while (!input.empty()) {
    std::size_t room = 0;
    char* const out = framer.Room(room);
    Expect(room > 0);
    const std::size_t count = std::min({room, read_size, input.size()});
    std::memcpy(out, input.data(), count);
    framer.Fill(count);
    input.remove_prefix(count);
    mq::Block block;
    while (framer.Next(block)) {
      // In the place of the event character.
      Expect(package_size != 0 || !block.ends ||
             block.bytes[block.size] == '\0');
      pieces.push_back({{block.bytes, block.size}, block.begins, block.ends});
    }
  }
  Expect(pieces == expected);
  // A line feed that ends a line is no part of the next.
  Expect(framer.Reset() == rest);
}

}  // namespace kiv::fuzz
