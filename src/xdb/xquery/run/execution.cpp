#include "xdb/xquery/run/execution.h"

#include <ctime>

#include "port/clock.h"
#include "xdb/xquery/values/date_time.h"

namespace kiv::xdb::xq {
namespace {

constexpr std::int64_t kNanosecondsPerTick = 100;
constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

// Minutes east of Greenwich at that second.
int LocalZone(std::time_t second) {
  std::tm local{};
  if (!port::CurrentClock().LocalTime(second, local)) return 0;
  // The local time read as if it were UTC, without asking the system again.
  const std::time_t day = second - (second % 86400 + 86400) % 86400;
  long minutes = local.tm_hour * 60L + local.tm_min -
                 static_cast<long>((second - day) / 60);
  if (minutes > 14 * 60) minutes -= 24 * 60;
  if (minutes < -14 * 60) minutes += 24 * 60;
  return static_cast<int>(minutes);
}

}  // namespace

Execution::Execution(const Surroundings& surroundings, std::size_t global_count)
    : globals(global_count),
      surroundings_(surroundings),
      end_(std::chrono::steady_clock::now() + surroundings.limits.time),
      stack_start_(static_cast<const char*>(__builtin_frame_address(0))),
      dictionary_(std::make_shared<Dictionary>()) {
  ValueMemory& memory = ValueMemory::OfThisThread();
  memory_limit_before_ = memory.limit_bytes;
  memory.limit_bytes = memory.used_bytes + surroundings.limits.memory_bytes;
  const std::int64_t now = surroundings.now.value_or(
      port::CurrentClock().UnixTicks() * kNanosecondsPerTick);
  zone_ = surroundings.zone.value_or(
      LocalZone(static_cast<std::time_t>(now / kNanosecondsPerSecond)));
  call_context_.current_date_time = DateTimeOfUnix(now, zone_);
  call_context_.implicit_zone = zone_;
  call_context_.patterns = &patterns_;
}

Execution::~Execution() {
  ValueMemory::OfThisThread().limit_bytes = memory_limit_before_;
}

void Execution::CheckTime() {
  if (surroundings_.cancel != nullptr &&
      surroundings_.cancel->load(std::memory_order_relaxed)) {
    throw Error("XPDY0130", "the query was cancelled");
  }
  if (std::chrono::steady_clock::now() > end_)
    throw Error("XPDY0130", "the query takes more time than is allowed");
}

void Execution::EnterCall(Position position) {
  Tick();
  const char* here = static_cast<const char*>(__builtin_frame_address(0));
  const auto used =
      here < stack_start_ ? stack_start_ - here : here - stack_start_;
  if (call_depth_ >= surroundings_.limits.call_depth ||
      static_cast<std::size_t>(used) > surroundings_.limits.stack_bytes) {
    throw Error("XPDY0130", "functions call each other too deep", position);
  }
  ++call_depth_;
}

const HeldTree* Execution::Hold(
    const std::shared_ptr<const Tree>& tree,
    const std::shared_ptr<const TreeOrigin>& origin) {
  const auto [found, is_new] = trees_.try_emplace(tree.get());
  if (is_new) {
    auto* held = Counted::Make<HeldTree>(0, tree, next_order_++, origin);
    found->second = Item::OfNode(held, 0);
    held->Drop();
  }
  return found->second.held_tree();
}

Item Execution::RootOf(const SourceDocument& document) {
  return Item::OfNode(Hold(document.tree, document.origin), 0);
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
  SourceDocument found;
  if (surroundings_.documents != nullptr)
    found = surroundings_.documents->FindDocument(uri);
  if (!found.tree) throw Error("FODC0002", "there is no document " + uri);
  return documents_.emplace(uri, RootOf(found)).first->second;
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

Sequence Execution::Collection(const std::string& uri) {
  const auto known = collections_.find(uri);
  if (known != collections_.end()) return known->second;
  std::optional<std::vector<SourceDocument>> found;
  if (surroundings_.documents != nullptr)
    found = surroundings_.documents->FindCollection(uri);
  if (!found) {
    if (uri.empty()) throw Error("FODC0002", "there is no default collection");
    throw Error("FODC0002", "there is no collection " + uri);
  }
  Sequence roots;
  for (const SourceDocument& document : *found)
    roots.push_back(RootOf(document));
  return collections_.emplace(uri, std::move(roots)).first->second;
}

}  // namespace kiv::xdb::xq
