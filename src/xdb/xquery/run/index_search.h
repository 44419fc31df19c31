#ifndef XDB_XQUERY_RUN_INDEX_SEARCH_H_
#define XDB_XQUERY_RUN_INDEX_SEARCH_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "xdb/xquery/run/collection.h"

namespace kiv::xdb::xq {

// Documents by their numbers; ascending, none twice.
using DocumentNumbers = std::vector<std::uint64_t>;

// Asks the index of a collection which documents may satisfy a condition.
class IndexSearch {
 public:
  IndexSearch(const Frame& frame, const CollectionIndex& index)
      : frame_(frame), index_(index) {}

  // None where the index does not tell, or only by reading more than `most`
  // leaves.
  std::optional<DocumentNumbers> Find(const IndexCondition& condition,
                                      std::uint64_t most);

  // How many leaves it would read, about; none where the index does not tell.
  std::optional<std::uint64_t> Estimate(const IndexCondition& leaf);

 private:
  struct Lookup {
    PathId path;
    IndexBounds bounds;
    bool is_tested;  // each value is
  };

  std::optional<DocumentNumbers> FindAll(
      const std::vector<IndexCondition>& parts, std::uint64_t most);
  std::optional<DocumentNumbers> FindAny(
      const std::vector<IndexCondition>& parts, std::uint64_t most);
  std::optional<DocumentNumbers> FindLeaf(const IndexCondition& leaf,
                                          std::uint64_t most);
  std::optional<std::vector<Lookup>> LookupsOf(const IndexCondition& leaf);
  bool AddLookups(const IndexCondition& leaf, PathId path,
                  const std::optional<Sequence>& texts,
                  std::vector<Lookup>& lookups) const;
  std::optional<Sequence> TextsOf(const IndexCondition& leaf) const;
  bool MayHold(const IndexCondition& leaf, Item value) const;

  const Frame frame_;
  const CollectionIndex& index_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_INDEX_SEARCH_H_
