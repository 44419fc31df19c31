#ifndef XDB_TREE_VARINT_H_
#define XDB_TREE_VARINT_H_

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "xdb/tree/tree_error.h"

// Numbers and texts of variable size, as they are stored.
namespace kiv::xdb {

// Seven bits a byte, the lowest first; the top bit says that more follow.
inline void AppendVarint(std::string& out, std::uint64_t number) {
  while (number >= 0x80) {
    out += static_cast<char>(number | 0x80);
    number >>= 7;
  }
  out += static_cast<char>(number);
}

inline void AppendSized(std::string& out, std::string_view text) {
  AppendVarint(out, text.size());
  out += text;
}

// Reads what was appended, in its order. Every step throws TreeError past the
// end.
class StoredBytes {
 public:
  explicit StoredBytes(std::string_view bytes)
      : begin_(bytes.data()), at_(begin_), end_(begin_ + bytes.size()) {}

  bool AtEnd() const { return at_ == end_; }
  std::size_t Position() const {
    return static_cast<std::size_t>(at_ - begin_);
  }
  std::size_t Left() const { return static_cast<std::size_t>(end_ - at_); }
  std::string_view Rest() const { return {at_, Left()}; }

  unsigned char Byte() {
    if (at_ == end_) ThrowDamaged("the bytes end too early");
    return static_cast<unsigned char>(*at_++);
  }

  std::uint64_t Varint() {
    const unsigned char first = Byte();
    return first < 0x80 ? first : LongVarint(first);
  }

  std::uint32_t Varint32() {
    const std::uint64_t number = Varint();
    if (number > UINT32_MAX) ThrowDamaged("a number is too large");
    return static_cast<std::uint32_t>(number);
  }

  std::string_view Take(std::uint64_t size) {
    if (size > Left()) ThrowDamaged("a text ends behind the bytes");
    const char* const text = at_;
    at_ += size;
    return {text, static_cast<std::size_t>(size)};
  }

  std::string_view Sized() { return Take(Varint()); }

 private:
  std::uint64_t LongVarint(unsigned char first) {
    std::uint64_t number = first & 0x7FU;
    for (unsigned shift = 7; shift < 64; shift += 7) {
      const unsigned char next = Byte();
      number |= static_cast<std::uint64_t>(next & 0x7FU) << shift;
      if (next < 0x80) return number;
    }
    ThrowDamaged("a number does not end");
  }

  const char* begin_;
  const char* at_;
  const char* end_;
};

}  // namespace kiv::xdb

#endif  // XDB_TREE_VARINT_H_
