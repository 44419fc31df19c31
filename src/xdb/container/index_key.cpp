#include "xdb/container/index_key.h"

#include <cstring>

#include "xdb/tree/tree_error.h"

namespace kiv::xdb {
namespace {

// The first byte says how many follow: none up to 240, one (of 8 bits and what
// the first has of 3 more) up to 2287, then as many as are needed.
constexpr std::uint64_t kMostInOne = 240;
constexpr std::uint64_t kMostInTwo = 2287;
constexpr unsigned kTwoBytes = 241;   // to 248
constexpr unsigned kMoreBytes = 249;  // and 2 bytes; 250 and 3, to 255 and 8

constexpr char kValueEnds = '\0';
constexpr char kValueGoesOn = '\1';
constexpr std::size_t kHashBytes = 4;

std::uint32_t HashOf(std::string_view value) {
  std::uint32_t hash = 2166136261U;
  for (const char byte : value)
    hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
  return hash;
}

std::uint64_t TakeBigEndian(std::string_view& bytes, std::size_t count) {
  if (bytes.size() < count) ThrowDamaged("an index entry ends too early");
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < count; ++i)
    number = number << 8 | static_cast<unsigned char>(bytes[i]);
  bytes.remove_prefix(count);
  return number;
}

std::uint64_t TakeOrdered(std::string_view& bytes) {
  const std::uint64_t first = TakeBigEndian(bytes, 1);
  if (first <= kMostInOne) return first;
  if (first < kMoreBytes)
    return kMostInOne + 256 * (first - kTwoBytes) + TakeBigEndian(bytes, 1);
  const std::size_t count = first - kMoreBytes + 2;
  const std::uint64_t number = TakeBigEndian(bytes, count);
  return count == 2 ? number + kMostInTwo + 1 : number;
}

}  // namespace

void AppendOrdered(std::string& out, std::uint64_t number) {
  if (number <= kMostInOne) {
    out += static_cast<char>(number);
    return;
  }
  if (number <= kMostInTwo) {
    number -= kMostInOne;
    out += static_cast<char>(kTwoBytes + number / 256);
    out += static_cast<char>(number % 256);
    return;
  }
  unsigned count = 2;
  if (number <= kMostInTwo + 0x10000) {
    number -= kMostInTwo + 1;
  } else {
    count = 3;
    while (count < 8 && number >> (8 * count) != 0) ++count;
  }
  out += static_cast<char>(kMoreBytes + count - 2);
  while (count-- > 0) out += static_cast<char>(number >> (8 * count));
}

std::string OrderedKey(std::uint64_t number) {
  std::string key;
  AppendOrdered(key, number);
  return key;
}

void AppendValueKey(std::string& out, PathId path, std::string_view value) {
  AppendOrdered(out, path);
  if (value.size() <= kWholeBytes) {
    out += value;
    out += kValueEnds;
    return;
  }
  out += value.substr(0, kWholeBytes);
  out += kValueGoesOn;
  const std::uint32_t hash = HashOf(value);
  for (unsigned shift = 32; shift > 0; shift -= 8)
    out += static_cast<char>(hash >> (shift - 8));
}

void AppendEntry(std::string& out, PathId path, std::string_view value,
                 DocumentId document, NodeId node) {
  AppendValueKey(out, path, value);
  AppendOrdered(out, document);
  AppendOrdered(out, node);
}

IndexEntry ReadEntry(std::string_view entry) {
  IndexEntry read;
  const std::uint64_t path = TakeOrdered(entry);
  // The end stands where the value ends, or behind as much as there may be.
  const std::size_t end = entry.substr(0, kWholeBytes).find(kValueEnds);
  const std::size_t size = end != std::string_view::npos ? end : kWholeBytes;
  if (path > UINT32_MAX || entry.size() <= size)
    ThrowDamaged("an index entry ends too early");
  read.path = static_cast<PathId>(path);
  read.value = entry.substr(0, size);
  read.is_whole = entry[size] == kValueEnds;
  if (!read.is_whole && entry[size] != kValueGoesOn)
    ThrowDamaged("a value in the index does not end");
  entry.remove_prefix(size + 1);
  if (!read.is_whole) TakeBigEndian(entry, kHashBytes);
  read.document = TakeOrdered(entry);
  const std::uint64_t node = TakeOrdered(entry);
  if (node > UINT32_MAX || !entry.empty())
    ThrowDamaged("an index entry does not end");
  read.node = static_cast<NodeId>(node);
  return read;
}

}  // namespace kiv::xdb
