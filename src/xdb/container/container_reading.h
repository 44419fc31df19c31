#ifndef XDB_CONTAINER_CONTAINER_READING_H_
#define XDB_CONTAINER_CONTAINER_READING_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xdb/container/container.h"
#include "xdb/container/index_block.h"
#include "xdb/tree/tree.h"

// What queries read of a container: trees instead of texts, and the index of
// values. Everything throws StoreError; nothing holds a lock of its own from
// one call to the next, so a query may change the container while it reads.
namespace kiv::xdb {

class ContainerCore;

using DocumentId = std::uint64_t;

struct DocumentTree {
  DocumentId id = 0;
  std::string name;
  std::shared_ptr<const Tree> tree;
};

// The values of one path that a look-up is about.
struct ValueRange {
  struct Bound {
    std::string value;
    bool is_included = true;
  };

  PathId path = kDocumentPath;
  std::optional<Bound> from;
  std::optional<Bound> to;

  static ValueRange All(PathId path) { return {path, {}, {}}; }
  static ValueRange Equal(PathId path, const std::string& value) {
    return {path, Bound{value}, Bound{value}};
  }
};

// An attribute or element in the range; the document may be gone by the time it
// is asked for.
struct IndexHit {
  DocumentId document = 0;
  NodeId node = 0;
  // The index has not all of the value: whether the node is in the range shows
  // only there.
  bool is_certain = true;
  // What the index has of it, until the next hit; `is_whole` when that is all.
  std::string_view value;
  bool is_whole = true;
};

// Hits in the order of values, then documents, then nodes.
class IndexHits {
 public:
  IndexHits(const IndexHits&) = delete;
  IndexHits& operator=(const IndexHits&) = delete;

  // False behind the last.
  bool Next(IndexHit& hit);
  // Tells `each` of the rest until that answers false.
  void Each(const std::function<bool(const IndexHit&)>& each);

 private:
  friend class ContainerReading;
  IndexHits(std::shared_ptr<ContainerCore> core, Transaction* transaction,
            ValueRange range);
  bool NextBlock();
  bool NextInBlock(IndexHit& hit);
  bool IsInRange(std::string_view value, bool is_whole, bool& is_certain) const;

  const std::shared_ptr<ContainerCore> core_;
  Transaction* const transaction_;
  const ValueRange range_;
  std::string from_;   // the entries from here
  std::string to_;     // to here, which is not one; empty: to the end
  std::string first_;  // as from_ was
  bool has_ended_ = false;
  std::string block_;
  BlockReader reader_;
};

// Numbers of documents; ascending, none twice.
using DocumentIds = std::vector<DocumentId>;

// Documents in the order of their names.
class DocumentScan {
 public:
  bool Next(DocumentTree& document);
  // Before the first Next, of all documents: those behind that name.
  void StartBehind(const std::string& name) { from_ = name + '\0'; }

 private:
  friend class ContainerReading;
  DocumentScan(std::shared_ptr<ContainerCore> core, Transaction* transaction)
      : core_(std::move(core)), transaction_(transaction) {}
  void Fill();
  void FillFromNames();
  bool IsWanted(std::string_view record) const;

  const std::shared_ptr<ContainerCore> core_;
  Transaction* const transaction_;
  std::string from_;
  bool has_ended_ = false;
  std::vector<DocumentTree> read_;
  std::size_t next_ = 0;
  // Where only some are wanted: their names, or, of many, their numbers.
  std::optional<std::vector<std::pair<std::string, DocumentId>>> names_;
  std::size_t next_name_ = 0;
  std::optional<DocumentIds> wanted_;
};

class ContainerReading {
 public:
  // Sees what other processes have committed before, the dictionary included;
  // and what the transaction, which may be null, has changed.
  ContainerReading(Container& container, Transaction* transaction);

  // For resolving names; a tree has its own, whose ids may be others.
  const Dictionary& dictionary() const { return *dictionary_; }
  // Those of PathTrait. Without kHasParents the index has every element of the
  // path for equality; for ranges it must be without kHasLongValues too.
  std::uint8_t Traits(PathId path) const;

  // Null and nullopt when there is none. Large trees are kept for the next one
  // who asks, as long as nobody changes the document.
  std::shared_ptr<const Tree> Document(const std::string& name) const;
  std::optional<DocumentTree> Document(DocumentId id) const;
  DocumentScan Documents() const;
  // Those that are still there.
  DocumentScan Documents(DocumentIds ids) const;

  IndexHits Find(const ValueRange& range) const;
  // Exact for few, a guess for many.
  std::uint64_t EstimateHits(const ValueRange& range) const;

 private:
  const std::shared_ptr<ContainerCore> core_;
  Transaction* const transaction_;
  std::shared_ptr<const Dictionary> dictionary_;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_CONTAINER_READING_H_
