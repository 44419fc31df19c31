#ifndef XDB_CONTAINER_INDEX_BLOCK_H_
#define XDB_CONTAINER_INDEX_BLOCK_H_

#include <cstddef>
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

// A block with entries put in and taken out, in ascending order. What stays is
// copied and not decoded: of an entry that was passed only counts how many
// bytes the sought one shares with it, which tells where the sought one
// belongs.
class BlockEditor {
 public:
  // The bytes outlive it. Throws TreeError, as the changes do.
  explicit BlockEditor(std::string_view block);

  // False when it is there, or not there, already. The caller keeps the bytes
  // of an entry until the next change is done.
  bool Insert(std::string_view entry);
  bool Remove(std::string_view entry);

  // With all that is behind the last change.
  std::string Finish();

 private:
  // To the first entry that is not before it; whether it is this one.
  bool Seek(std::string_view entry);
  void Pass();
  void Load();
  // All that comes before the current entry is written, and it is to be, too.
  void Rewrite();

  const std::string_view block_;
  std::string out_;
  std::size_t copied_ = 0;  // of the block, to `out_`
  std::string_view sought_;
  // Of what was sought and the entry before the current one, in `out_`.
  std::size_t shared_with_passed_ = 0;

  // The current entry.
  bool is_there_ = true;
  bool is_rewritten_ = false;
  std::size_t begin_ = 0;  // in the block
  std::size_t end_ = 0;
  std::size_t size_ = 0;    // of the entry as the block has it
  std::size_t shared_ = 0;  // with the one before it in `out_`
  std::string_view rest_;
  std::size_t shared_with_sought_ = 0;
  std::string joined_;  // for `rest_`
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_INDEX_BLOCK_H_
