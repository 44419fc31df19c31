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
  explicit TextSink(std::size_t expected_bytes) : text_(expected_bytes, '\0') {}

  void Add(std::string_view piece) {
    if (text_.size() - size_ < piece.size()) Grow(piece.size());
    std::memcpy(text_.data() + size_, piece.data(), piece.size());
    size_ += piece.size();
  }
  void Add(char byte) {
    if (text_.size() == size_) Grow(1);
    text_[size_++] = byte;
  }

  std::string Take() {
    text_.resize(std::exchange(size_, 0));
    return std::exchange(text_, {});
  }

 private:
  void Grow(std::size_t more) { text_.resize(2 * (text_.size() + more)); }

  std::string text_;
  std::size_t size_ = 0;
};

}  // namespace kiv::xdb

#endif  // XDB_TREE_TEXT_SINK_H_
