#include "xdb/xquery/run/collection.h"

#include <algorithm>

#include "xdb/xquery/run/calls.h"
#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/run/index_search.h"
#include "xdb/xquery/run/nodes.h"

namespace kiv::xdb::xq {
namespace {

bool Passes(const NodeMatch& match, const Path& path,
            const Dictionary& dictionary) {
  const bool is_attribute = path.kind == PathKind::Attribute;
  if (is_attribute != (match.principal == NodeKind::Attribute)) return false;
  const Name& name = dictionary.name(path.name);
  switch (match.kind) {
    case NodeMatch::Kind::Name:
      return name.local == match.name.local && name.uri == match.name.uri;
    case NodeMatch::Kind::Uri:
      return name.uri == match.name.uri;
    case NodeMatch::Kind::Local:
      return name.local == match.name.local;
    default:
      return true;
  }
}

// Documents that the index has found, as the execution holds them.
class ChosenDocuments final : public Iterator {
 public:
  ChosenDocuments(Execution& run, std::unique_ptr<DocumentStream> documents)
      : run_(run), documents_(std::move(documents)) {}

  bool Next(Item& item) override {
    run_.Tick();
    SourceDocument document;
    if (!documents_->Next(document)) return false;
    run_.LetGoOfDocuments();
    item = run_.RootOf(document);
    return true;
  }

 private:
  Execution& run_;
  const std::unique_ptr<DocumentStream> documents_;
};

}  // namespace

// A path has a bit for each step before which a node of it may stand; parents
// come before their children.
std::vector<PathId> PathsOf(const PathPattern& pattern,
                            const Dictionary& dictionary) {
  const std::uint32_t count = dictionary.path_count();
  std::vector<std::uint64_t> states(count);
  states[kDocumentPath] = 1;
  std::vector<PathId> found;
  for (PathId id = kDocumentPath + 1; id < count; ++id) {
    const Path& path = dictionary.path(id);
    const std::uint64_t above = states[path.parent];
    if (above == 0) continue;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
      if ((above >> i & 1) == 0) continue;
      if (pattern[i].is_any_depth) states[id] |= std::uint64_t{1} << i;
      if (Passes(pattern[i].match, path, dictionary))
        states[id] |= std::uint64_t{1} << (i + 1);
    }
    if ((states[id] >> pattern.size() & 1) != 0) found.push_back(id);
  }
  return found;
}

CollectionPlan::CollectionPlan(PlanPtr uri, std::size_t slot_count)
    : uri_(std::move(uri)), slot_count_(slot_count) {
  properties.type = {ItemType::OfKind(ItemKind::Node), Occurrence::ZeroOrMore};
  properties.is_ordered = properties.is_disjoint = true;
  wanted_.kind = IndexCondition::Kind::All;
}

// What is looked up comes before what is searched through.
void CollectionPlan::Require(IndexCondition condition) {
  const auto is_look_up = [](const IndexCondition& one) {
    return one.compared != nullptr && one.comparison == Comparison::Eq;
  };
  auto& parts = wanted_.parts;
  auto place = parts.end();
  if (is_look_up(condition))
    place = std::find_if_not(parts.begin(), parts.end(), is_look_up);
  parts.insert(place, std::move(condition));
}

IteratorPtr CollectionPlan::Open(const Frame& frame) const {
  try {
    const Item given = uri_ ? uri_->One(frame) : Item();
    const std::string uri =
        given.IsNone() ? "" : AbsoluteUri(frame, given.AsText(), "FODC0004");
    if (IteratorPtr chosen = OpenChosen(frame, uri)) return chosen;
    if (frame.run->IsOrderedCollection(uri)) return frame.run->Collection(uri);
    Sequence roots = Drain(*frame.run->Collection(uri));
    SortNodes(*frame.run, roots);
    return IterateItems(std::move(roots));
  } catch (Error& error) {
    error.PlaceAt(position);
    throw;
  }
}

// Null where the index does not tell which documents are wanted.
IteratorPtr CollectionPlan::OpenChosen(const Frame& frame,
                                       const std::string& uri) const {
  DocumentSource* const source = frame.run->surroundings().documents;
  if (wanted_.parts.empty() || source == nullptr) return nullptr;
  const CollectionIndex* const index = source->IndexOf(uri);
  if (index == nullptr) return nullptr;
  auto numbers = IndexSearch(frame, *index).Find(wanted_, ~std::uint64_t{0});
  if (!numbers) return nullptr;
  return std::make_unique<ChosenDocuments>(
      *frame.run, index->Documents(*std::move(numbers)));
}

}  // namespace kiv::xdb::xq
