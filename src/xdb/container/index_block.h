#ifndef XDB_CONTAINER_INDEX_BLOCK_H_
#define XDB_CONTAINER_INDEX_BLOCK_H_

#include <string>
#include <string_view>

namespace kiv::xdb {

// Sorted entries in one record of the index, each as what it shares with the
// one before and the rest: a byte with both sizes in four bits, or 0xFF and
// both as varints.
class BlockWriter {
 public:
  // In ascending order.
  void Add(std::string_view entry);
  std::size_t size() const { return bytes_.size(); }
  const std::string& bytes() const { return bytes_; }
  const std::string& last() const { return last_; }
  void Clear();

 private:
  std::string bytes_;
  std::string last_;
};

class BlockReader {
 public:
  BlockReader() = default;
  explicit BlockReader(std::string_view bytes) : rest_(bytes) {}

  // False behind the last entry. Throws TreeError.
  bool Next();
  // Until the next Next().
  std::string_view entry() const { return entry_; }

 private:
  std::string_view rest_;
  std::string entry_;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_INDEX_BLOCK_H_
