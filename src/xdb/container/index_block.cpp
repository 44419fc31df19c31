#include "xdb/container/index_block.h"

#include <algorithm>

#include "xdb/tree/varint.h"

namespace kiv::xdb {
namespace {

constexpr std::size_t kMostInByte = 14;
constexpr unsigned char kLong = 0xFF;

struct Sizes {
  std::uint64_t shared;
  std::uint64_t rest;
};

Sizes ReadSizes(StoredBytes& bytes) {
  const unsigned sizes = bytes.Byte();
  if (sizes != kLong) return {sizes >> 4, sizes & 15};
  const std::uint64_t shared = bytes.Varint();
  return {shared, bytes.Varint()};
}

void Append(std::string& out, std::size_t shared, std::string_view rest) {
  if (shared <= kMostInByte && rest.size() <= kMostInByte) {
    out += static_cast<char>(shared << 4 | rest.size());
  } else {
    out += static_cast<char>(kLong);
    AppendVarint(out, shared);
    AppendVarint(out, rest.size());
  }
  out += rest;
}

std::size_t SharedBytes(std::string_view left, std::string_view right) {
  const std::size_t most = std::min(left.size(), right.size());
  std::size_t shared = 0;
  while (shared < most && left[shared] == right[shared]) ++shared;
  return shared;
}

[[noreturn]] void ThrowBeginsWithNothing() {
  ThrowDamaged("an index entry begins with nothing");
}

}  // namespace

void BlockWriter::Add(std::string_view entry) {
  const std::size_t shared = SharedBytes(entry, last_);
  Append(bytes_, shared, entry.substr(shared));
  last_.replace(shared, std::string::npos, entry.substr(shared));
}

void BlockWriter::Clear() {
  bytes_.clear();
  last_.clear();
}

bool BlockReader::Next() {
  if (rest_.empty()) return false;
  StoredBytes bytes(rest_);
  const Sizes sizes = ReadSizes(bytes);
  if (sizes.shared > entry_.size()) ThrowBeginsWithNothing();
  entry_.resize(static_cast<std::size_t>(sizes.shared));
  entry_ += bytes.Take(sizes.rest);
  rest_ = bytes.Rest();
  return true;
}

BlockEditor::BlockEditor(std::string_view block) : block_(block) { Load(); }

void BlockEditor::Load() {
  begin_ = end_;
  is_rewritten_ = false;
  is_there_ = begin_ != block_.size();
  if (!is_there_) return;
  StoredBytes bytes(block_.substr(begin_));
  const Sizes sizes = ReadSizes(bytes);
  if (sizes.shared > size_) ThrowBeginsWithNothing();
  shared_ = static_cast<std::size_t>(sizes.shared);
  rest_ = bytes.Take(sizes.rest);
  size_ = shared_ + rest_.size();
  end_ = begin_ + bytes.Position();
}

void BlockEditor::Pass() {
  if (is_rewritten_) Append(out_, shared_, rest_);
  Load();
}

void BlockEditor::Rewrite() {
  if (!is_rewritten_) out_ += block_.substr(copied_, begin_ - copied_);
  copied_ = end_;
  is_rewritten_ = true;
}

bool BlockEditor::Seek(std::string_view entry) {
  // What was passed is not behind what was sought, which is before this one.
  shared_with_passed_ =
      std::min(shared_with_passed_, SharedBytes(sought_, entry));
  sought_ = entry;
  for (; is_there_; Pass()) {
    if (shared_ > shared_with_passed_) continue;
    shared_with_sought_ = shared_;
    if (shared_ < shared_with_passed_) return false;
    const std::string_view wanted = entry.substr(shared_);
    const std::size_t more = SharedBytes(rest_, wanted);
    shared_with_sought_ += more;
    if (more == rest_.size() && more == wanted.size()) return true;
    if (rest_.compare(more, std::string_view::npos, wanted.substr(more)) > 0)
      return false;
    shared_with_passed_ = shared_with_sought_;
  }
  return false;
}

bool BlockEditor::Insert(std::string_view entry) {
  if (Seek(entry)) return false;
  Rewrite();
  Append(out_, shared_with_passed_, entry.substr(shared_with_passed_));
  shared_with_passed_ = entry.size();
  if (is_there_) {
    rest_.remove_prefix(shared_with_sought_ - shared_);
    shared_ = shared_with_sought_;
  }
  return true;
}

bool BlockEditor::Remove(std::string_view entry) {
  if (!Seek(entry)) return false;
  Rewrite();
  const std::size_t shared = shared_;
  Load();
  if (!is_there_) return true;
  copied_ = end_;
  is_rewritten_ = true;
  if (shared_ > shared) {
    joined_.assign(entry.substr(shared, shared_ - shared)).append(rest_);
    rest_ = joined_;
    shared_ = shared;
  }
  return true;
}

std::string BlockEditor::Finish() {
  if (is_there_ && is_rewritten_) Append(out_, shared_, rest_);
  out_ += block_.substr(copied_);
  return std::move(out_);
}

}  // namespace kiv::xdb
