#ifndef XDB_XQUERY_RUN_EXECUTION_H_
#define XDB_XQUERY_RUN_EXECUTION_H_

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kiv/xdb_query.h"
#include "xdb/tree/dictionary.h"
#include "xdb/tree/tree.h"
#include "xdb/xquery/functions/call_context.h"
#include "xdb/xquery/functions/pattern.h"
#include "xdb/xquery/run/document_source.h"
#include "xdb/xquery/run/plan.h"

namespace kiv::xdb::xq {

// What an execution may take; beyond it ends with XPDY0130, and so it does
// where the stack of its thread comes to its end.
struct Limits {
  std::size_t call_depth = XDbQueryLimits().call_depth;
  std::int64_t memory_bytes =
      static_cast<std::int64_t>(XDbQueryLimits().memory_bytes);
  std::chrono::milliseconds time = std::chrono::hours(24);
};

// By which other threads end executions: those that began before the count
// grew.
using CancelCount = std::atomic<std::uint32_t>;

// What the one who executes a query gives it.
struct Surroundings {
  DocumentSource* documents = nullptr;
  // Told of fn:trace; may be empty.
  std::function<void(const std::string&)> trace;
  std::shared_ptr<const CancelCount> cancel;
  Limits limits;
  // Nanoseconds since 1970 and the time zone in minutes, for current-dateTime
  // and for dates without a zone; none: the clock's.
  std::optional<std::int64_t> now;
  std::optional<int> zone;
};

// One run of a compiled query, on one thread at a time: the trees that it has
// met, what it has taken of its limits, its clock.
class Execution {
 public:
  // Around all that is done with an execution and its items.
  using Entry = ValueMemoryScope;

  Execution(const Surroundings& surroundings, std::size_t globals);
  ~Execution();
  Execution(const Execution&) = delete;
  Execution& operator=(const Execution&) = delete;

  // In loops: now and then looks at the time and at the cancel flag.
  void Tick() {
    if ((++ticks_ & 1023) == 0) CheckTime();
  }
  // The same without an error, for what has a loop of its own.
  bool MayGoOn() const { return WhyToEnd() == nullptr; }
  void EnterCall(Position position);
  void LeaveCall() { --call_depth_; }
  std::size_t call_depth() const { return call_depth_; }

  // The tree as this execution holds it, the same each time.
  const HeldTree* Hold(const std::shared_ptr<const Tree>& tree,
                       const std::shared_ptr<const TreeOrigin>& origin);
  // Documents of one URI are one.
  Item RootOf(const SourceDocument& document);
  // Documents of ordered collections, which can be read again, go when they are
  // many and no item is left of them.
  void LetGoOfDocuments();
  // A tree that nobody else has.
  Item HoldNew(std::shared_ptr<const Tree> tree,
               std::shared_ptr<const TreeOrigin> origin);
  // An item of another execution as one of this.
  Item Adopt(const Item& item);

  // Of the trees that this execution makes.
  const std::shared_ptr<Dictionary>& dictionary() const { return dictionary_; }
  // The id of a name in the dictionary of a tree; none when it has no such
  // name. Remembers the last answer for each `slot`.
  std::optional<NameId> NameIn(const Tree& tree, std::size_t slot,
                               const QName& name);

  const Surroundings& surroundings() const { return surroundings_; }
  // Of the query's body; null when the context item is undefined.
  const Focus* initial_focus() const {
    return focus_.item.IsNone() ? nullptr : &focus_;
  }
  void SetBaseUri(const std::string& uri) {
    if (!uri.empty()) call_context_.base_uri = uri;
  }
  const CallContext& call_context() const { return call_context_; }
  void SetContextItem(Item item) { focus_.item = std::move(item); }
  int zone() const { return zone_; }

  // By absolute URI.
  Item Document(const std::string& uri);
  bool HasDocument(const std::string& uri);
  // The roots one after the other; the same for each who asks.
  IteratorPtr Collection(const std::string& uri);
  // Whether that is in document order.
  bool IsOrderedCollection(const std::string& uri);
  ValueMemory& memory() { return memory_; }

  struct Global {
    enum class State { Unknown, InWork, Known } state = State::Unknown;
    Value value;
  };
  std::vector<Global> globals;

 private:
  struct KnownName {
    const Dictionary* dictionary = nullptr;
    std::uint32_t name_count = 0;
    std::optional<NameId> id;
  };

  class CollectionIterator;
  struct KnownCollection {
    Sequence roots;  // as far as they were asked for and are kept
    std::size_t root_bytes = 0;
    // Behind those; null when they are all, or when an iterator has taken it.
    std::unique_ptr<DocumentStream> rest;
    bool is_ordered = false;
    bool is_whole = false;
  };

  std::unique_ptr<DocumentStream> OpenCollection(const std::string& uri);
  KnownCollection& FindCollection(const std::string& uri);
  std::uint64_t OrderOf(const std::shared_ptr<const TreeOrigin>& origin);
  // Null: for no reason.
  const char* WhyToEnd() const;
  void CheckTime();

  ValueMemory memory_;
  const Surroundings surroundings_;
  const std::uint32_t cancel_count_;
  std::chrono::steady_clock::time_point end_;
  std::uint32_t ticks_ = 0;
  std::size_t call_depth_ = 0;
  std::shared_ptr<Dictionary> dictionary_;
  std::uint32_t charged_names_ = 0;
  std::unordered_map<const Tree*, Item> trees_;
  std::uint64_t next_order_ = 0;
  // Of the trees of a collection, which have one.
  std::map<std::string, std::uint64_t, std::less<>> collection_orders_;
  std::vector<KnownName> names_;
  // By their own URI, and by others that they were asked for by.
  std::unordered_map<std::string_view, Item> documents_;
  std::map<std::string, Item> other_uris_;
  std::size_t most_documents_ = 1024;
  std::map<std::string, KnownCollection> collections_;
  int zone_ = 0;
  Focus focus_;
  PatternCache patterns_;
  CallContext call_context_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_EXECUTION_H_
