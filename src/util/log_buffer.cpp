#include "util/log_buffer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace kiv {
namespace {

// A usual last entry fits in behind a nearly full buffer.
constexpr std::size_t kUsualBytes =
    LogBuffer::kFullBytes + std::size_t{4} * 1024;
// What streambuf can count (its steps are int). No message comes near it.
constexpr std::size_t kMostBytes = std::size_t{1} << 30;

}  // namespace

std::size_t LogBuffer::End(Mark entry) {
  const std::size_t size_bytes = Begin() - entry;
  char* const unfinished = pbase() + complete_;
  // Nothing moves unless this entry was built inside another one.
  if (entry != 0) std::rotate(unfinished, unfinished + entry, pptr());
  complete_ += size_bytes;
  return size_bytes;
}

std::size_t LogBuffer::EndAtFront(Mark entry) {
  const std::size_t before = complete_;
  const std::size_t size_bytes = End(entry);
  std::rotate(pbase(), pbase() + before, pbase() + complete_);
  return size_bytes;
}

void LogBuffer::Drop(Mark entry) { SetUsed(complete_ + entry); }

void LogBuffer::RemoveFront(std::size_t size_bytes) {
  const std::size_t rest = Used() - size_bytes;
  complete_ -= size_bytes;
  if (rest == 0 && static_cast<std::size_t>(epptr() - pbase()) > kUsualBytes) {
    // One huge entry does not keep its memory for ever.
    storage_.reset();
    setp(nullptr, nullptr);
    return;
  }
  if (rest != 0 && size_bytes != 0)
    std::memmove(pbase(), pbase() + size_bytes, rest);
  SetUsed(rest);
}

bool LogBuffer::TakeFlushRequest() {
  return std::exchange(flush_requested_, false);
}

std::streamsize LogBuffer::xsputn(const char* text, std::streamsize size) {
  if (size <= 0) return 0;
  const auto size_bytes = static_cast<std::size_t>(size);
  if (size_bytes > static_cast<std::size_t>(epptr() - pptr()) &&
      !Grow(size_bytes))
    return 0;
  std::memcpy(pptr(), text, size_bytes);
  pbump(static_cast<int>(size));
  return size;
}

LogBuffer::int_type LogBuffer::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof()))
    return traits_type::not_eof(character);
  const char byte = traits_type::to_char_type(character);
  return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
}

int LogBuffer::sync() {
  flush_requested_ = true;
  return 0;
}

void LogBuffer::SetUsed(std::size_t size_bytes) {
  setp(pbase(), epptr());
  pbump(static_cast<int>(size_bytes));
}

bool LogBuffer::Grow(std::size_t more_bytes) {
  const std::size_t used = Used();
  if (more_bytes > kMostBytes - used) return false;
  const std::size_t room =
      used == 0 && more_bytes <= kUsualBytes
          ? kUsualBytes
          : std::min(std::max(used + more_bytes, 2 * used), kMostBytes);
  std::unique_ptr<char[]> bigger(new (std::nothrow) char[room]);
  if (!bigger) return false;
  if (used != 0) std::memcpy(bigger.get(), pbase(), used);
  storage_ = std::move(bigger);
  setp(storage_.get(), storage_.get() + room);
  pbump(static_cast<int>(used));
  return true;
}

}  // namespace kiv
