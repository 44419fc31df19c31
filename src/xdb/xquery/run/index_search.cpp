#include "xdb/xquery/run/index_search.h"

#include <algorithm>
#include <iterator>

#include "xdb/tree/index_values.h"
#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/values/item.h"

namespace kiv::xdb::xq {
namespace {

// To read a document takes about as long as so many leaves of the index.
constexpr std::uint64_t kLeavesOfDocument = 64;

IndexBounds BoundsOf(Comparison comparison, std::string value) {
  using Bound = IndexBounds::Bound;
  switch (comparison) {
    case Comparison::Lt:
      return {{}, Bound{std::move(value), false}};
    case Comparison::Le:
      return {{}, Bound{std::move(value), true}};
    case Comparison::Gt:
      return {Bound{std::move(value), false}, {}};
    case Comparison::Ge:
      return {Bound{std::move(value), true}, {}};
    default:
      return {Bound{value, true}, Bound{value, true}};
  }
}

}  // namespace

std::optional<DocumentNumbers> IndexSearch::Find(
    const IndexCondition& condition, std::uint64_t most) {
  switch (condition.kind) {
    case IndexCondition::Kind::All:
      return FindAll(condition.parts, most);
    case IndexCondition::Kind::Any:
      return FindAny(condition.parts, most);
    case IndexCondition::Kind::Leaf:
      return FindLeaf(condition, most);
  }
  return std::nullopt;
}

// A part is left out where it takes longer than it saves.
std::optional<DocumentNumbers> IndexSearch::FindAll(
    const std::vector<IndexCondition>& parts, std::uint64_t most) {
  std::optional<DocumentNumbers> found;
  for (const IndexCondition& part : parts) {
    auto other = Find(
        part, found ? std::min(most, found->size() * kLeavesOfDocument) : most);
    if (!other) continue;
    if (found) {
      DocumentNumbers both;
      std::set_intersection(found->begin(), found->end(), other->begin(),
                            other->end(), std::back_inserter(both));
      found = std::move(both);
    } else {
      found = std::move(other);
    }
    if (found->empty()) break;
  }
  return found;
}

std::optional<DocumentNumbers> IndexSearch::FindAny(
    const std::vector<IndexCondition>& parts, std::uint64_t most) {
  DocumentNumbers found;
  for (const IndexCondition& part : parts) {
    const auto other = Find(part, most);
    if (!other) return std::nullopt;
    DocumentNumbers all;
    std::set_union(found.begin(), found.end(), other->begin(), other->end(),
                   std::back_inserter(all));
    found = std::move(all);
  }
  return found;
}

// Also where it may be an error, which the document then gives.
bool IndexSearch::MayHold(const IndexCondition& leaf, Item value) const {
  try {
    leaf.value_slot.Set(frame_, Value(std::move(value)));
    return leaf.test->Test(frame_);
  } catch (const Error& error) {
    if (error.code() == "XPDY0130") throw;
    return true;
  }
}

// The values compared with, when they compare as texts.
std::optional<Sequence> IndexSearch::TextsOf(const IndexCondition& leaf) const {
  if (!leaf.compared || leaf.comparison == Comparison::Ne) return std::nullopt;
  Sequence values;
  try {
    values = ItemsOf(*leaf.compared, frame_);
  } catch (const Error& error) {
    if (error.code() == "XPDY0130") throw;
    return std::nullopt;
  }
  if (leaf.is_single && values.size() > 1) return std::nullopt;
  for (const Item& value : values)
    if (value.type() != Type::UntypedAtomic && !IsString(value.type()))
      return std::nullopt;
  return values;
}

// Adds what to look for on one path; false where that is not all there is.
bool IndexSearch::AddLookups(const IndexCondition& leaf, PathId path,
                             const std::optional<Sequence>& texts,
                             std::vector<Lookup>& lookups) const {
  const std::uint8_t traits = index_.Traits(path);
  if ((traits & kHasParents) != 0) return false;
  if (leaf.is_text && (traits & kHasSplitText) != 0) return false;
  const bool has_long = (traits & kHasLongValues) != 0;
  if (!texts) {
    if (has_long) return false;
    lookups.push_back({path, {}, leaf.test != nullptr});
    return true;
  }
  for (const Item& text : *texts) {
    const bool is_long = text.AsText().size() > kMostIndexedBytes;
    if (has_long && (is_long || leaf.comparison != Comparison::Eq))
      return false;
    lookups.push_back(
        {path, BoundsOf(leaf.comparison, std::string(text.AsText())), false});
  }
  return true;
}

std::optional<std::vector<IndexSearch::Lookup>> IndexSearch::LookupsOf(
    const IndexCondition& leaf) {
  // A document without any leaf there must not count.
  if (leaf.test && MayHold(leaf, {})) return std::nullopt;
  const auto texts = TextsOf(leaf);
  std::vector<Lookup> lookups;
  for (const PathId path : PathsOf(leaf.pattern, index_.dictionary()))
    if (!AddLookups(leaf, path, texts, lookups)) return std::nullopt;
  return lookups;
}

std::optional<DocumentNumbers> IndexSearch::FindLeaf(const IndexCondition& leaf,
                                                     std::uint64_t most) {
  const auto lookups = LookupsOf(leaf);
  if (!lookups) return std::nullopt;
  DocumentNumbers found;
  std::uint64_t read = 0;
  for (const Lookup& lookup : *lookups) {
    // Leaves of one value follow each other.
    std::string known;
    std::optional<bool> holds;
    index_.EachLeaf(lookup.path, lookup.bounds, [&](const IndexedLeaf& met) {
      frame_.run->Tick();
      if (++read > most) return false;
      if (lookup.is_tested && met.is_whole && (!holds || met.value != known)) {
        known = met.value;
        holds = MayHold(leaf, Item::OfText(known, Type::UntypedAtomic));
      }
      if (!lookup.is_tested || !met.is_whole || *holds)
        found.push_back(met.document);
      return true;
    });
    if (read > most) return std::nullopt;
  }
  std::sort(found.begin(), found.end());
  found.erase(std::unique(found.begin(), found.end()), found.end());
  return found;
}

std::optional<std::uint64_t> IndexSearch::Estimate(const IndexCondition& leaf) {
  const auto lookups = LookupsOf(leaf);
  if (!lookups) return std::nullopt;
  std::uint64_t count = 0;
  for (const Lookup& lookup : *lookups)
    count += index_.Estimate(lookup.path, lookup.bounds);
  return count;
}

}  // namespace kiv::xdb::xq
