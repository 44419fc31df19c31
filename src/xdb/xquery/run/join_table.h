#ifndef XDB_XQUERY_RUN_JOIN_TABLE_H_
#define XDB_XQUERY_RUN_JOIN_TABLE_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "xdb/xquery/run/value.h"
#include "xdb/xquery/values/compare.h"

namespace kiv::xdb::xq {

class Execution;

// What the comparison of a join is: the pairs of a general one, or one pair of
// a value comparison.
struct JoinComparison {
  Comparison comparison = Comparison::Eq;
  bool is_general = true;

  bool Holds(const Item& probe, const Item& key, int zone) const {
    return is_general ? CompareGeneral(comparison, probe, key, zone)
                      : CompareValues(comparison, probe, key, zone);
  }
};

// Items with their keys, to find those with a key to which a value compares.
//
// Equal keys are found by a hash, others by a sorted list, each made when it is
// first of use: one for texts, one for numbers. What these cannot answer, or
// only with an error, is compared one by one, as it would be without a table.
class JoinTable final : public Kept {
 public:
  // Of that execution.
  JoinTable(JoinComparison comparison, Execution& run);

  void AddItem(Item item);
  // Of the item that was added last.
  void AddKey(Item key);

  bool IsEmpty() const { return keys_.empty(); }
  std::size_t item_count() const { return items_.size(); }
  const Item& item(std::uint32_t ordinal) const { return items_[ordinal]; }

  // Adds the ordinals of the items with a key for which "probe comparison key"
  // holds, in no order, some twice.
  void Find(const Item& probe, std::vector<std::uint32_t>& ordinals) const;
  bool Has(const Item& probe) const;

  // Ascending, none twice.
  void Arrange(std::vector<std::uint32_t>& ordinals) const;

 private:
  struct Key {
    Item value;
    std::uint32_t ordinal;
  };
  // The keys that have one hash form a chain by their indices, ascending.
  struct HashIndex {
    std::vector<std::uint32_t> first;  // a power of two
    std::vector<std::uint32_t> next;
    std::vector<std::size_t> hashes;
  };
  template <typename Place>
  struct SortedKey {
    Place place;
    std::uint32_t key;
  };
  using SortedTexts = std::vector<SortedKey<std::string_view>>;
  using SortedNumbers = std::vector<SortedKey<double>>;
  enum class Way { OneByOne, Texts, Numbers };

  Way WayFor(const Item& probe) const;
  bool AreUntypedNumbers() const;
  template <typename Found>
  void Visit(const Item& probe, Found found) const;
  template <typename Found>
  bool VisitEqual(const Item& probe, Way way, Found found) const;
  template <typename Found>
  bool VisitSorted(const Item& probe, Way way, Found found) const;
  template <typename Place, typename Found>
  bool VisitSide(const std::vector<SortedKey<Place>>& sorted, Place place,
                 const Item& probe, Found found) const;
  const HashIndex& Hashes(Way way) const;
  std::size_t HashOf(const Item& value, Way way) const;
  const SortedTexts& Texts() const;
  const SortedNumbers& Numbers() const;

  void ChargeMemory();
  bool Holds(const Item& probe, const Key& key) const;

  const JoinComparison comparison_;
  Execution& run_;
  const int zone_;
  Sequence items_;
  std::vector<Key> keys_;
  // What types the keys have.
  bool has_untyped_ = false;
  bool has_string_ = false;
  bool has_number_ = false;
  bool has_float_ = false;
  bool has_other_ = false;
  // Made on demand; one thread.
  mutable std::optional<bool> are_untyped_numbers_;
  mutable std::optional<HashIndex> text_hashes_;
  mutable std::optional<HashIndex> number_hashes_;
  mutable std::optional<SortedTexts> texts_;
  mutable std::optional<SortedNumbers> numbers_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_JOIN_TABLE_H_
