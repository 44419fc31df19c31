#include "xdb/container/index_block.h"

#include <algorithm>

#include "xdb/tree/varint.h"

namespace kiv::xdb {
namespace {

constexpr std::size_t kMostInByte = 14;
constexpr unsigned char kLong = 0xFF;

}  // namespace

void BlockWriter::Add(std::string_view entry) {
  const std::size_t most = std::min(entry.size(), last_.size());
  std::size_t shared = 0;
  while (shared < most && entry[shared] == last_[shared]) ++shared;
  const std::size_t rest = entry.size() - shared;
  if (shared <= kMostInByte && rest <= kMostInByte) {
    bytes_ += static_cast<char>(shared << 4 | rest);
  } else {
    bytes_ += static_cast<char>(kLong);
    AppendVarint(bytes_, shared);
    AppendVarint(bytes_, rest);
  }
  bytes_ += entry.substr(shared);
  last_.replace(shared, std::string::npos, entry.substr(shared));
}

void BlockWriter::Clear() {
  bytes_.clear();
  last_.clear();
}

bool BlockReader::Next() {
  if (rest_.empty()) return false;
  StoredBytes bytes(rest_);
  const unsigned char sizes = bytes.Byte();
  std::uint64_t shared = sizes >> 4;
  std::uint64_t rest = sizes & 15U;
  if (sizes == kLong) {
    shared = bytes.Varint();
    rest = bytes.Varint();
  }
  if (shared > entry_.size())
    ThrowDamaged("an index entry begins with nothing");
  entry_.resize(static_cast<std::size_t>(shared));
  entry_ += bytes.Take(rest);
  rest_ = bytes.Rest();
  return true;
}

}  // namespace kiv::xdb
