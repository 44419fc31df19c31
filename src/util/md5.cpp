#include "kiv/md5.h"

#include <cstring>
#include <exception>

#include "port/file_reader.h"
#include "util/md5_blocks.h"

namespace kiv {
namespace {

constexpr unsigned kBlockBytes = 64;
constexpr unsigned kLengthOffset = 56;  // of the bit count in the last block
constexpr unsigned kGuidRoom = 37;

void PutWord(std::uint32_t word, unsigned char* out) {
  for (int i = 0; i < 4; ++i)
    out[i] = static_cast<unsigned char>(word >> (8 * i));
}

}  // namespace

md5::md5() { init(); }

void md5::init() {
  static constexpr std::uint32_t kStart[4] = {0x67452301, 0xEFCDAB89,
                                              0x98BADCFE, 0x10325476};
  std::memcpy(state_, kStart, sizeof state_);
  std::memset(count_, 0, sizeof count_);
  std::memset(buffer_, 0, sizeof buffer_);
  std::memset(digest_, 0, sizeof digest_);
}

void md5::Transform(const unsigned char* block) { Md5Blocks(state_, block, 1); }

void md5::update(const unsigned char* input, unsigned long length) {
  if (!input || length == 0) return;
  const unsigned filled = count_[0] / 8 % kBlockBytes;
  std::uint64_t bits = std::uint64_t{count_[1]} << 32 | count_[0];
  bits += std::uint64_t{length} * 8;
  count_[0] = static_cast<std::uint32_t>(bits);
  count_[1] = static_cast<std::uint32_t>(bits >> 32);

  if (filled != 0) {
    const unsigned room = kBlockBytes - filled;
    if (length < room) {
      std::memcpy(buffer_ + filled, input, length);
      return;
    }
    std::memcpy(buffer_ + filled, input, room);
    Transform(buffer_);
    input += room;
    length -= room;
  }
  Md5Blocks(state_, input, length / kBlockBytes);
  input += length / kBlockBytes * kBlockBytes;
  std::memcpy(buffer_, input, length % kBlockBytes);
}

void md5::finalize() {
  unsigned filled = count_[0] / 8 % kBlockBytes;
  buffer_[filled++] = 0x80;
  if (filled > kLengthOffset) {
    std::memset(buffer_ + filled, 0, kBlockBytes - filled);
    Transform(buffer_);
    filled = 0;
  }
  std::memset(buffer_ + filled, 0, kLengthOffset - filled);
  PutWord(count_[0], buffer_ + kLengthOffset);
  PutWord(count_[1], buffer_ + kLengthOffset + 4);
  Transform(buffer_);

  for (std::size_t i = 0; i < 4; ++i) PutWord(state_[i], digest_ + 4 * i);
  // Spent, and nothing of the input stays in memory.
  std::memset(state_, 0, sizeof state_);
  std::memset(count_, 0, sizeof count_);
  std::memset(buffer_, 0, sizeof buffer_);
}

bool md5::do_string(const char* text, unsigned length) {
  update(reinterpret_cast<const unsigned char*>(text), length);
  finalize();
  return true;
}

bool md5::do_file(const char* path) try {
  const auto file = port::FileReader::Open(path ? path : "");
  if (!file) return false;
  unsigned char block[1024];
  for (;;) {
    std::size_t size_bytes = 0;
    // A digest of half a file would pass for that of another file.
    if (!file->Read(block, sizeof block, size_bytes)) return false;
    if (size_bytes == 0) break;
    update(block, size_bytes);
  }
  finalize();
  return true;
} catch (const std::exception&) {
  return false;
}

unsigned char* md5::digest() { return digest_; }

bool md5::digest32(unsigned long& out) const {
  std::uint32_t fold = 0;
  for (int i = 0; i < 16; ++i) fold += std::uint32_t{digest_[i]} << (15 - i);
  out = fold;
  return true;
}

GUID md5::get_guid() const {
  GUID guid;
  guid.Data1 = std::uint32_t{digest_[0]} | std::uint32_t{digest_[1]} << 8 |
               std::uint32_t{digest_[2]} << 16 |
               std::uint32_t{digest_[3]} << 24;
  guid.Data2 = static_cast<std::uint16_t>(digest_[4] | digest_[5] << 8);
  guid.Data3 = static_cast<std::uint16_t>(digest_[6] | digest_[7] << 8);
  std::memcpy(guid.Data4, digest_ + 8, sizeof guid.Data4);
  return guid;
}

void md5::get_guid_str(char* out, unsigned size) const {
  if (!out || size < kGuidRoom) return;
  const GUID guid = get_guid();
  dm_guid_to_string(&guid, out, size);
}

}  // namespace kiv
