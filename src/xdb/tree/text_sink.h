#ifndef XDB_TREE_TEXT_SINK_H_
#define XDB_TREE_TEXT_SINK_H_

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace kiv::xdb {

// A text that grows at its end by many small pieces.
class TextSink {
 public:
  explicit TextSink(std::size_t expected_bytes) : text_(expected_bytes, '\0') {
    Point(0);
  }
  TextSink(const TextSink&) = delete;
  TextSink& operator=(const TextSink&) = delete;

  void Add(std::string_view piece) {
    Reserve(piece.size());
    AddReserved(piece);
  }
  void Add(char byte) {
    Reserve(1);
    *at_++ = byte;
  }

  // Room for pieces that are then added without a look.
  void Reserve(std::size_t size) {
    if (static_cast<std::size_t>(end_ - at_) < size) Grow(size);
  }
  void AddReserved(std::string_view piece) {
    Copy(piece.data(), piece.size(), at_);
    at_ += piece.size();
  }

  std::string Take() {
    text_.resize(Size());
    return std::move(text_);
  }

 private:
  std::size_t Size() const {
    return static_cast<std::size_t>(at_ - text_.data());
  }
  void Point(std::size_t size) {
    at_ = text_.data() + size;
    end_ = text_.data() + text_.size();
  }
  void Grow(std::size_t more) {
    const std::size_t size = Size();
    text_.resize(2 * (text_.size() + more));
    Point(size);
  }

  // Of few bytes mostly, for which two copies of a fixed size that overlap are
  // quicker than a call.
  static void Copy(const char* from, std::size_t size, char* to) {
    if (size > 32) {
      std::memcpy(to, from, size);
    } else if (size >= 16) {
      std::memcpy(to, from, 16);
      std::memcpy(to + size - 16, from + size - 16, 16);
    } else if (size >= 8) {
      std::memcpy(to, from, 8);
      std::memcpy(to + size - 8, from + size - 8, 8);
    } else if (size >= 4) {
      std::memcpy(to, from, 4);
      std::memcpy(to + size - 4, from + size - 4, 4);
    } else {
      for (std::size_t i = 0; i < size; ++i) to[i] = from[i];
    }
  }

  std::string text_;
  char* at_ = nullptr;
  char* end_ = nullptr;
};

}  // namespace kiv::xdb

#endif  // XDB_TREE_TEXT_SINK_H_
