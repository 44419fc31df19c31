#include "xdb/xquery/run/execution.h"

#include <ctime>

#include "port/clock.h"
#include "xdb/xquery/values/date_time.h"
#include "xdb/xquery/values/stack_guard.h"

namespace kiv::xdb::xq {
namespace {

constexpr std::int64_t kNanosecondsPerTick = 100;
// Of a collection so much is kept for the next one who asks.
constexpr std::size_t kMostKeptBytes = std::size_t{32} << 20;
// What a name takes in a dictionary, about.
constexpr std::int64_t kNameBytes = 256;
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

// Minutes east of Greenwich at that second.
int LocalZone(std::time_t second) {
  std::tm local{};
  if (!port::CurrentClock().LocalTime(second, local)) return 0;
  // The local time read as if it were UTC, without asking the system again.
  const std::time_t day = second - (second % 86400 + 86400) % 86400;
  long minutes = local.tm_hour * 60L + local.tm_min -
                 static_cast<long>((second - day) / 60);
  if (minutes > 14L * 60) minutes -= 24L * 60;
  if (minutes < -14L * 60) minutes += 24L * 60;
  return static_cast<int>(minutes);
}

// A search in a text looks at the time and the cancel flag as all else does.
MatchLimits MatchLimitsOf(const Execution& run) {
  MatchLimits limits;
  limits.milliseconds = 0;
  limits.may_go_on = [](const void* execution) {
    return static_cast<const Execution*>(execution)->MayGoOn();
  };
  limits.argument = &run;
  return limits;
}

}  // namespace

Execution::Execution(const Surroundings& surroundings, std::size_t global_count)
    : globals(global_count),
      surroundings_(surroundings),
      cancel_count_(surroundings.cancel ? surroundings.cancel->load() : 0),
      end_(std::chrono::steady_clock::now() + surroundings.limits.time),
      dictionary_(std::make_shared<Dictionary>()),
      patterns_(MatchLimitsOf(*this)) {
  memory_.limit_bytes = surroundings.limits.memory_bytes;
  const Entry entry(memory_);
  const std::int64_t now = surroundings.now.value_or(
      port::CurrentClock().UnixTicks() * kNanosecondsPerTick);
  zone_ = surroundings.zone.value_or(
      LocalZone(static_cast<std::time_t>(now / kNanosecondsPerSecond)));
  call_context_.current_date_time = DateTimeOfUnix(now, zone_);
  call_context_.implicit_zone = zone_;
  call_context_.patterns = &patterns_;
}

Execution::~Execution() {
  const Entry entry(memory_);
  globals.clear();
  documents_.clear();
  other_uris_.clear();
  collections_.clear();
  trees_.clear();
  focus_.item = Item();
  call_context_.current_date_time = Item();
}

const char* Execution::WhyToEnd() const {
  if (surroundings_.cancel != nullptr &&
      surroundings_.cancel->load(std::memory_order_relaxed) != cancel_count_) {
    return "the query was cancelled";
  }
  if (std::chrono::steady_clock::now() > end_)
    return "the query takes more time than is allowed";
  return nullptr;
}

void Execution::CheckTime() {
  if (const char* why = WhyToEnd()) throw Error("XPDY0130", why);
}

void Execution::EnterCall(Position position) {
  Tick();
  RequireStack(position);
  if (call_depth_ >= surroundings_.limits.call_depth) {
    throw Error("XPDY0130", "functions call each other deeper than is allowed",
                position);
  }
  ++call_depth_;
}

std::uint64_t Execution::OrderOf(
    const std::shared_ptr<const TreeOrigin>& origin) {
  if (!origin || origin->collection.empty()) return next_order_++;
  const auto known = collection_orders_.find(origin->collection);
  if (known != collection_orders_.end()) return known->second;
  collection_orders_.emplace(origin->collection, next_order_);
  return next_order_++;
}

const HeldTree* Execution::Hold(
    const std::shared_ptr<const Tree>& tree,
    const std::shared_ptr<const TreeOrigin>& origin) {
  const auto [found, is_new] = trees_.try_emplace(tree.get());
  if (is_new) {
    auto* held = Counted::Make<HeldTree>(0, tree, OrderOf(origin), origin);
    found->second = Item::OfNode(held, 0);
    held->Drop();
  }
  return found->second.held_tree();
}

Item Execution::HoldNew(std::shared_ptr<const Tree> tree,
                        std::shared_ptr<const TreeOrigin> origin) {
  // Names stay for good.
  const std::uint32_t names = dictionary_->name_count();
  memory_.used_bytes += std::int64_t{names - charged_names_} * kNameBytes;
  charged_names_ = names;
  const std::size_t bytes = tree->MemoryBytes();
  auto* held = Counted::Make<HeldTree>(0, std::move(tree), next_order_++,
                                       std::move(origin), bytes);
  Item root = Item::OfNode(held, 0);
  held->Drop();
  return root;
}

Item Execution::RootOf(const SourceDocument& document) {
  const auto hold = [&] {
    return Item::OfNode(Hold(document.tree, document.origin), 0);
  };
  if (!document.origin || document.origin->document_uri.empty()) return hold();
  const std::string& uri = document.origin->document_uri;
  const auto known = documents_.find(uri);
  if (known != documents_.end()) return known->second;
  Item root = hold();
  // The tree may be known already, with an origin of its own.
  const auto& origin = root.held_tree()->origin();
  if (origin && origin->document_uri == uri)
    documents_.emplace(origin->document_uri, root);
  return root;
}

void Execution::LetGoOfDocuments() {
  if (documents_.size() < most_documents_) return;
  // Those of the two tables.
  constexpr std::uint32_t kOwnReferences = 2;
  for (auto entry = documents_.begin(); entry != documents_.end();) {
    const HeldTree* const held = entry->second.held_tree();
    const bool is_unused = held->references() == kOwnReferences &&
                           !held->origin()->collection.empty();
    if (is_unused) {
      trees_.erase(&held->tree());
      entry = documents_.erase(entry);
    } else {
      ++entry;
    }
  }
  // Another dictionary may lie where one was.
  names_.clear();
  most_documents_ = 2 * documents_.size() + 1024;
}

Item Execution::Adopt(const Item& item) {
  if (!item.IsNode()) return item;
  return Item::OfNode(
      Hold(item.held_tree()->shared_tree(), item.held_tree()->origin()),
      item.node());
}

std::optional<NameId> Execution::NameIn(const Tree& tree, std::size_t slot,
                                        const QName& name) {
  if (names_.size() <= slot) names_.resize(slot + 1);
  KnownName& known = names_[slot];
  const Dictionary& dictionary = tree.dictionary();
  if (known.dictionary == &dictionary &&
      (known.id || known.name_count == dictionary.name_count())) {
    return known.id;
  }
  known.dictionary = &dictionary;
  known.name_count = dictionary.name_count();
  known.id = dictionary.FindName(name.uri, name.local);
  return known.id;
}

Item Execution::Document(const std::string& uri) {
  const auto known = documents_.find(uri);
  if (known != documents_.end()) return known->second;
  const auto other = other_uris_.find(uri);
  if (other != other_uris_.end()) return other->second;
  SourceDocument found;
  if (surroundings_.documents != nullptr)
    found = surroundings_.documents->FindDocument(uri);
  if (!found.tree) throw Error("FODC0002", "there is no document " + uri);
  return other_uris_.emplace(uri, RootOf(found)).first->second;
}

bool Execution::HasDocument(const std::string& uri) {
  try {
    Document(uri);
    return true;
  } catch (const Error& error) {
    if (error.code() == "XPDY0130") throw;
    return false;
  }
}

// All that is kept, then the rest: of a large collection by a stream of its
// own.
class Execution::CollectionIterator final : public Iterator {
 public:
  CollectionIterator(Execution& run, std::string uri,
                     KnownCollection& collection)
      : run_(run), uri_(std::move(uri)), collection_(collection) {}

  bool Next(Item& item) override {
    run_.Tick();
    if (own_) return NextOwn(item);
    Sequence& roots = collection_.roots;
    if (next_ == roots.size() && !collection_.is_whole) {
      if (collection_.is_ordered && collection_.root_bytes >= kMostKeptBytes) {
        TakeRest();
        return NextOwn(item);
      }
      AddRoot();
    }
    if (next_ == roots.size()) return false;
    item = roots[next_++];
    return true;
  }

 private:
  void AddRoot() {
    SourceDocument document;
    if (!collection_.rest->Next(document)) {
      collection_.is_whole = true;
      collection_.rest.reset();
      return;
    }
    collection_.root_bytes += document.tree->MemoryBytes();
    collection_.roots.push_back(run_.RootOf(document));
  }

  void TakeRest() {
    own_ = std::move(collection_.rest);
    if (own_) return;
    own_ = run_.OpenCollection(uri_);
    own_->StartBehind(collection_.roots.back().held_tree()->origin()->name);
  }

  bool NextOwn(Item& item) {
    SourceDocument document;
    if (!own_->Next(document)) return false;
    run_.LetGoOfDocuments();
    item = run_.RootOf(document);
    return true;
  }

  Execution& run_;
  const std::string uri_;
  KnownCollection& collection_;
  std::size_t next_ = 0;
  std::unique_ptr<DocumentStream> own_;
};

std::unique_ptr<DocumentStream> Execution::OpenCollection(
    const std::string& uri) {
  std::unique_ptr<DocumentStream> found;
  if (surroundings_.documents != nullptr)
    found = surroundings_.documents->OpenCollection(uri);
  if (found) return found;
  throw Error("FODC0002", uri.empty() ? "there is no default collection"
                                      : "there is no collection " + uri +
                                            ", or it is not open");
}

Execution::KnownCollection& Execution::FindCollection(const std::string& uri) {
  const auto known = collections_.find(uri);
  if (known != collections_.end()) return known->second;
  KnownCollection collection;
  collection.rest = OpenCollection(uri);
  collection.is_ordered = collection.rest->IsOrdered();
  return collections_.emplace(uri, std::move(collection)).first->second;
}

IteratorPtr Execution::Collection(const std::string& uri) {
  return std::make_unique<CollectionIterator>(*this, uri, FindCollection(uri));
}

bool Execution::IsOrderedCollection(const std::string& uri) {
  return FindCollection(uri).is_ordered;
}

}  // namespace kiv::xdb::xq
