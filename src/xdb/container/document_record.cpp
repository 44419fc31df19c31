#include "xdb/container/document_record.h"

#include <array>
#include <cstring>

#include "xdb/tree/varint.h"

namespace kiv::xdb {
namespace {

constexpr std::size_t kChecksumBytes = 4;
constexpr std::uint64_t kPrime = 0x9E3779B185EBCA87U;

constexpr std::size_t kWord = 8;

// The lowest byte first; one load where that is the processor's own order.
std::uint64_t WordAt(const char* bytes) {
  const auto byte = [bytes](unsigned i) {
    return std::uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
  };
  return byte(0) | byte(1) | byte(2) | byte(3) | byte(4) | byte(5) | byte(6) |
         byte(7);
}

std::uint64_t PartOfWordAt(const char* bytes, std::size_t size) {
  std::uint64_t word = 0;
  for (std::size_t i = 0; i < size; ++i)
    word |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
  return word;
}

// Four sums of every fourth word, which a processor adds to side by side: it is
// asked for with every document that is read.
std::uint32_t ChecksumOf(std::string_view text) {
  std::array<std::uint64_t, 4> sums = {1, 2, 3, 4};
  const char* at = text.data();
  std::size_t left = text.size();
  for (; left >= 4 * kWord; left -= 4 * kWord, at += 4 * kWord) {
    sums[0] = (sums[0] ^ WordAt(at)) * kPrime;
    sums[1] = (sums[1] ^ WordAt(at + kWord)) * kPrime;
    sums[2] = (sums[2] ^ WordAt(at + 2 * kWord)) * kPrime;
    sums[3] = (sums[3] ^ WordAt(at + 3 * kWord)) * kPrime;
  }
  for (std::uint64_t& sum : sums) {
    const std::size_t size = left < kWord ? left : kWord;
    sum = (sum ^ PartOfWordAt(at, size)) * kPrime;
    at += size;
    left -= size;
  }
  std::uint64_t all = text.size();
  for (const std::uint64_t sum : sums) {
    all = (all ^ sum) * kPrime;
    all ^= all >> 32;
  }
  return static_cast<std::uint32_t>(all);
}

}  // namespace

void DocumentRecord::Check() const {
  if (ChecksumOf(tree) != checksum)
    ThrowDamaged("it is not what was stored: the checksum differs");
}

std::string MakeRecord(DocumentId id, std::uint64_t version,
                       std::string_view tree) {
  std::string record;
  record.reserve(tree.size() + 24);
  AppendVarint(record, id);
  // Most documents are never replaced, and the first version is the id.
  AppendVarint(record, version - id);
  const std::uint32_t checksum = ChecksumOf(tree);
  for (unsigned shift = 0; shift < 8 * kChecksumBytes; shift += 8)
    record += static_cast<char>(checksum >> shift);
  record += tree;
  return record;
}

DocumentRecord ReadRecordHead(std::string_view bytes) {
  StoredBytes stored(bytes);
  DocumentRecord record;
  record.id = stored.Varint();
  record.version = record.id + stored.Varint();
  record.checksum = static_cast<std::uint32_t>(
      PartOfWordAt(stored.Take(kChecksumBytes).data(), kChecksumBytes));
  record.tree = stored.Rest();
  return record;
}

DocumentRecord ReadRecord(std::string_view bytes) {
  const DocumentRecord record = ReadRecordHead(bytes);
  record.Check();
  return record;
}

}  // namespace kiv::xdb
