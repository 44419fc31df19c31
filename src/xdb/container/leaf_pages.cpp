#include "xdb/container/leaf_pages.h"

#include <cerrno>
#include <cstdint>
#include <fstream>
#include <optional>

#include "xdb/container/environment_access.h"
#include "xdb/container/table.h"

namespace kiv::xdb {
namespace {

// A page of Berkeley DB 5.3 as it lies in a file: a head of 26 bytes, the
// offsets of the items, and from the end of the page the items. Numbers have
// their lowest byte first.
constexpr std::size_t kOwnNumber = 8;
constexpr std::size_t kNextPage = 16;
constexpr std::size_t kItemCount = 20;
constexpr std::size_t kBytesUsed = 22;  // of a page of a long item
constexpr std::size_t kPageType = 25;
constexpr std::size_t kHeadBytes = 26;
constexpr unsigned kLeafPage = 5;
constexpr unsigned kLongItemPage = 7;

// An item: its size (2 bytes), its type, then itself; or, when it is long, 4
// bytes, the first of its pages and its size (4 bytes each).
constexpr unsigned kItem = 1;
constexpr unsigned kLongItem = 3;
constexpr std::size_t kItemHead = 3;
constexpr std::size_t kLongItemHead = 12;

std::uint32_t NumberAt(std::string_view bytes, std::size_t at, unsigned size) {
  std::uint32_t number = 0;
  for (unsigned i = 0; i < size; ++i)
    number |= std::uint32_t{static_cast<unsigned char>(bytes[at + i])}
              << (8 * i);
  return number;
}

class PageFile {
 public:
  explicit PageFile(const std::string& path)
      : file_(path, std::ios::binary | std::ios::ate) {
    if (!file_) throw MakeStoreError(errno, "read", path);
    page_count_ = static_cast<std::uint64_t>(file_.tellg()) / kPageBytes;
  }

  std::uint64_t page_count() const { return page_count_; }

  // Whether there is such a page of that type, which is then in `page`.
  bool Read(std::uint64_t number, unsigned type, std::string& page) {
    if (number >= page_count_) return false;
    page.resize(kPageBytes);
    file_.clear();
    file_.seekg(static_cast<std::streamoff>(number * kPageBytes));
    file_.read(page.data(), static_cast<std::streamsize>(page.size()));
    return file_.gcount() == static_cast<std::streamsize>(page.size()) &&
           NumberAt(page, kOwnNumber, 4) == number &&
           NumberAt(page, kPageType, 1) == type;
  }

 private:
  std::ifstream file_;
  std::uint64_t page_count_ = 0;
};

// A long item of its pages; nullopt when one of them is missing.
std::optional<std::string> LongItem(PageFile& file, std::uint64_t page_number,
                                    std::size_t size) {
  std::string item;
  std::string page;
  while (item.size() < size) {
    if (!file.Read(page_number, kLongItemPage, page)) return std::nullopt;
    const std::size_t used = NumberAt(page, kBytesUsed, 2);
    if (used == 0 || used > kPageBytes - kHeadBytes) return std::nullopt;
    item.append(page, kHeadBytes, used);
    page_number = NumberAt(page, kNextPage, 4);
  }
  if (item.size() != size) return std::nullopt;
  return item;
}

// The item whose offset is the n-th; nullopt when there is no sense in it, or
// it was deleted.
std::optional<std::string> ItemOf(PageFile& file, std::string_view page,
                                  std::size_t n) {
  const std::size_t at = NumberAt(page, kHeadBytes + 2 * n, 2);
  if (at < kHeadBytes || at + kItemHead > page.size()) return std::nullopt;
  const std::size_t size = NumberAt(page, at, 2);
  const unsigned type = NumberAt(page, at + 2, 1);
  if (type == kItem && size <= page.size() - at - kItemHead)
    return std::string(page.substr(at + kItemHead, size));
  if (type == kLongItem && at + kLongItemHead <= page.size())
    return LongItem(file, NumberAt(page, at + 4, 4), NumberAt(page, at + 8, 4));
  return std::nullopt;
}

}  // namespace

void EachLeafItem(const std::string& path,
                  const std::function<void(std::string_view key,
                                           std::string_view value)>& each) {
  PageFile file(path);
  std::string page;
  for (std::uint64_t number = 0; number < file.page_count(); ++number) {
    if (!file.Read(number, kLeafPage, page)) continue;
    const std::size_t count = NumberAt(page, kItemCount, 2);
    if (kHeadBytes + 2 * count > page.size()) continue;
    for (std::size_t i = 0; i + 1 < count; i += 2) {
      const auto key = ItemOf(file, page, i);
      const auto value = key ? ItemOf(file, page, i + 1) : std::nullopt;
      if (value) each(*key, *value);
    }
  }
}

}  // namespace kiv::xdb
