#ifndef UTIL_LOG_BUFFER_H_
#define UTIL_LOG_BUFFER_H_

#include <cstddef>
#include <cstring>
#include <memory>
#include <streambuf>
#include <string_view>

namespace kiv {

// Log entries that wait to be written, one behind the other:
//
//   complete entries | entries being built
//
// Only complete entries are ever handed out, so none is split by a flush. An
// entry may be built while another one is (a layout that logs): it ends up
// complete before the outer one, which stays whole.
class LogBuffer : public std::streambuf {
 public:
  // Complete entries beyond this size are due to be written.
  static constexpr std::size_t kFullBytes = std::size_t{32} * 1024;

  // Where an entry begins, counted from the end of the complete ones; it stays
  // right while those are taken away or added to.
  using Mark = std::size_t;
  Mark Begin() const { return Used() - complete_; }
  // The entry's size; 0 when nothing was written.
  std::size_t End(Mark entry);
  // As End, but in front of all the others.
  std::size_t EndAtFront(Mark entry);
  void Drop(Mark entry);

  std::string_view Complete() const { return {pbase(), complete_}; }
  bool IsFull() const { return complete_ >= kFullBytes; }
  // As sputn, for the usual piece.
  bool Put(std::string_view piece) {
    if (piece.empty()) return true;
    if (piece.size() > static_cast<std::size_t>(epptr() - pptr()))
      return sputn(piece.data(), static_cast<std::streamsize>(piece.size())) ==
             static_cast<std::streamsize>(piece.size());
    std::memcpy(pptr(), piece.data(), piece.size());
    pbump(static_cast<int>(piece.size()));
    return true;
  }

  // Takes away complete text from the front.
  void RemoveFront(std::size_t size_bytes);

  // True once when the stream above was flushed.
  bool TakeFlushRequest();

 protected:
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int_type overflow(int_type character) override;
  // Notes the wish; an entry is not written before it is complete.
  int sync() override;

 private:
  std::size_t Used() const {
    return static_cast<std::size_t>(pptr() - pbase());
  }
  void SetUsed(std::size_t size_bytes);
  bool Grow(std::size_t more_bytes);

  std::unique_ptr<char[]> storage_;
  std::size_t complete_ = 0;
  bool flush_requested_ = false;
};

}  // namespace kiv

#endif  // UTIL_LOG_BUFFER_H_
