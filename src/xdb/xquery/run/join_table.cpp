#include "xdb/xquery/run/join_table.h"

#include <algorithm>
#include <cmath>
#include <functional>

#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/values/arithmetic.h"
#include "xdb/xquery/values/cast.h"
#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {
namespace {

constexpr std::uint32_t kNoKey = ~std::uint32_t{0};

// Untyped values beside numbers are numbers.
double NumberOf(const Item& value) {
  if (value.type() == Type::UntypedAtomic)
    return Cast(value, Type::Double).AsDouble();
  return ToDouble(value);
}

}  // namespace

JoinTable::JoinTable(JoinComparison comparison, Execution& run)
    : comparison_(comparison), run_(run), zone_(run.zone()) {}

void JoinTable::AddItem(Item item) {
  constexpr std::size_t kMostItems = std::size_t{1} << 31;
  if (items_.size() == kMostItems)
    throw Error("XPDY0130", "a join has too many items");
  items_.push_back(std::move(item));
  ChargeMemory();
}

void JoinTable::AddKey(Item key) {
  const Type type = key.type();
  if (type == Type::UntypedAtomic)
    has_untyped_ = true;
  else if (IsString(type))
    has_string_ = true;
  else if (IsNumeric(type))
    has_number_ = true;
  else
    has_other_ = true;
  has_float_ |= type == Type::Float;
  keys_.push_back(
      {std::move(key), static_cast<std::uint32_t>(items_.size() - 1)});
  ChargeMemory();
}

// With what the indices will take.
void JoinTable::ChargeMemory() {
  ChargeUpTo(items_.capacity() * sizeof(Item) +
             keys_.capacity() * (sizeof(Key) + 3 * sizeof(std::uint64_t)));
}

bool JoinTable::Holds(const Item& probe, const Key& key) const {
  run_.Tick();
  return comparison_.Holds(probe, key.value, zone_);
}

bool JoinTable::AreUntypedNumbers() const {
  if (!are_untyped_numbers_) {
    are_untyped_numbers_ =
        std::all_of(keys_.begin(), keys_.end(), [](const Key& key) {
          return key.value.type() != Type::UntypedAtomic ||
                 IsCastable(key.value, Type::Double);
        });
  }
  return *are_untyped_numbers_;
}

// Texts compare with texts and numbers with numbers; what is untyped is either,
// by what it stands beside.
JoinTable::Way JoinTable::WayFor(const Item& probe) const {
  if (has_other_) return Way::OneByOne;
  const Type type = probe.type();
  const bool is_untyped = type == Type::UntypedAtomic;
  if ((is_untyped || IsString(type)) && !has_number_) return Way::Texts;
  if ((!is_untyped && !IsNumeric(type)) || has_string_) return Way::OneByOne;
  if (!comparison_.is_general && (is_untyped || has_untyped_))
    return Way::OneByOne;
  // Two untyped values compare as texts, whatever else is there.
  if (is_untyped && (has_untyped_ || !IsCastable(probe, Type::Double)))
    return Way::OneByOne;
  return AreUntypedNumbers() ? Way::Numbers : Way::OneByOne;
}

std::size_t JoinTable::HashOf(const Item& value, Way way) const {
  if (way == Way::Texts) return std::hash<std::string_view>()(value.AsText());
  return HashOfKey(Item::OfDouble(NumberOf(value)), zone_, true);
}

const JoinTable::HashIndex& JoinTable::Hashes(Way way) const {
  auto& index = way == Way::Texts ? text_hashes_ : number_hashes_;
  if (index) return *index;
  index.emplace();
  std::size_t size = 16;
  while (size < 2 * keys_.size()) size *= 2;
  index->first.assign(size, kNoKey);
  index->next.resize(keys_.size());
  index->hashes.resize(keys_.size());
  for (std::size_t i = keys_.size(); i-- != 0;) {
    const std::size_t hash = HashOf(keys_[i].value, way);
    index->hashes[i] = hash;
    std::uint32_t& first = index->first[hash & (size - 1)];
    index->next[i] = std::exchange(first, static_cast<std::uint32_t>(i));
  }
  return *index;
}

const JoinTable::SortedTexts& JoinTable::Texts() const {
  if (texts_) return *texts_;
  texts_.emplace();
  for (std::uint32_t i = 0; i != keys_.size(); ++i)
    texts_->push_back({keys_[i].value.AsText(), i});
  std::sort(texts_->begin(), texts_->end(),
            [](const auto& a, const auto& b) { return a.place < b.place; });
  return *texts_;
}

// What is not a number compares to nothing.
const JoinTable::SortedNumbers& JoinTable::Numbers() const {
  if (numbers_) return *numbers_;
  numbers_.emplace();
  for (std::uint32_t i = 0; i != keys_.size(); ++i) {
    const double number = NumberOf(keys_[i].value);
    if (!std::isnan(number)) numbers_->push_back({number, i});
  }
  std::sort(numbers_->begin(), numbers_->end(),
            [](const auto& a, const auto& b) { return a.place < b.place; });
  return *numbers_;
}

// Tells `found` of each key, until it answers true.
template <typename Found>
void JoinTable::Visit(const Item& probe, Found found) const {
  if (keys_.empty()) return;
  const Way way = WayFor(probe);
  if (way != Way::OneByOne) {
    const bool is_answered = comparison_.comparison == Comparison::Eq
                                 ? VisitEqual(probe, way, found)
                                 : VisitSorted(probe, way, found);
    if (is_answered) return;
  }
  for (const Key& key : keys_)
    if (Holds(probe, key) && found(key)) return;
}

template <typename Found>
bool JoinTable::VisitEqual(const Item& probe, Way way, Found found) const {
  const HashIndex& index = Hashes(way);
  const std::size_t hash = HashOf(probe, way);
  for (std::uint32_t i = index.first[hash & (index.first.size() - 1)];
       i != kNoKey; i = index.next[i]) {
    if (index.hashes[i] == hash && Holds(probe, keys_[i]) && found(keys_[i]))
      return true;
  }
  return true;
}

// False when the order does not tell. A float is equal to numbers of which one
// is less than the other.
template <typename Found>
bool JoinTable::VisitSorted(const Item& probe, Way way, Found found) const {
  if (comparison_.comparison == Comparison::Ne) return false;
  if (way == Way::Texts)
    return VisitSide(Texts(), probe.AsText(), probe, found);
  if (has_float_ || probe.type() == Type::Float) return false;
  const double number = NumberOf(probe);
  return std::isnan(number) || VisitSide(Numbers(), number, probe, found);
}

// Those that lie on the right side of the place; at the place itself the
// numbers of a double may differ, and are compared.
template <typename Place, typename Found>
bool JoinTable::VisitSide(const std::vector<SortedKey<Place>>& sorted,
                          Place place, const Item& probe, Found found) const {
  const auto less = [](const SortedKey<Place>& key, Place wanted) {
    return key.place < wanted;
  };
  const auto more = [](Place wanted, const SortedKey<Place>& key) {
    return wanted < key.place;
  };
  const auto begin =
      std::lower_bound(sorted.begin(), sorted.end(), place, less);
  const auto end = std::upper_bound(begin, sorted.end(), place, more);
  const bool wants_greater = comparison_.comparison == Comparison::Lt ||
                             comparison_.comparison == Comparison::Le;
  for (auto at = begin; at != end; ++at) {
    const Key& key = keys_[at->key];
    if (Holds(probe, key) && found(key)) return true;
  }
  const auto first = wants_greater ? end : sorted.begin();
  const auto last = wants_greater ? sorted.end() : begin;
  for (auto at = first; at != last; ++at)
    if (found(keys_[at->key])) return true;
  return true;
}

void JoinTable::Find(const Item& probe,
                     std::vector<std::uint32_t>& ordinals) const {
  Visit(probe, [&ordinals](const Key& key) {
    if (ordinals.empty() || ordinals.back() != key.ordinal)
      ordinals.push_back(key.ordinal);
    return false;
  });
}

bool JoinTable::Has(const Item& probe) const {
  bool has = false;
  Visit(probe, [&has](const Key&) { return has = true; });
  return has;
}

// Many are marked and read off, few sorted.
void JoinTable::Arrange(std::vector<std::uint32_t>& ordinals) const {
  constexpr std::size_t kWordBits = 64;
  if (std::is_sorted(ordinals.begin(), ordinals.end())) {
    ordinals.erase(std::unique(ordinals.begin(), ordinals.end()),
                   ordinals.end());
    return;
  }
  if (ordinals.size() < items_.size() / kWordBits) {
    std::sort(ordinals.begin(), ordinals.end());
    ordinals.erase(std::unique(ordinals.begin(), ordinals.end()),
                   ordinals.end());
    return;
  }
  std::vector<std::uint64_t> marks(items_.size() / kWordBits + 1);
  for (const std::uint32_t ordinal : ordinals)
    marks[ordinal / kWordBits] |= std::uint64_t{1} << ordinal % kWordBits;
  ordinals.clear();
  for (std::size_t word = 0; word != marks.size(); ++word) {
    for (std::uint64_t bits = marks[word]; bits != 0; bits &= bits - 1) {
      ordinals.push_back(static_cast<std::uint32_t>(
          word * kWordBits + static_cast<std::size_t>(__builtin_ctzll(bits))));
    }
  }
}

}  // namespace kiv::xdb::xq
