#ifndef XDB_XQUERY_RUN_COLLECTION_H_
#define XDB_XQUERY_RUN_COLLECTION_H_

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "xdb/tree/dictionary.h"
#include "xdb/xquery/run/axes.h"
#include "xdb/xquery/run/document_source.h"
#include "xdb/xquery/run/flwor.h"
#include "xdb/xquery/run/plan.h"
#include "xdb/xquery/values/compare.h"

// Of the documents of a collection only those are read that an expression can
// be about, where the index of the collection tells which. The expression is
// then evaluated as it stands: what the index says need not be exact, as long
// as it leaves out no document that counts. An error that only a document left
// out would give is not raised.
namespace kiv::xdb::xq {

// A way down from a document.
struct PatternStep {
  bool is_any_depth = false;
  NodeMatch match;
};
using PathPattern = std::vector<PatternStep>;

inline constexpr std::size_t kMostPatternSteps = 60;

// The paths that nodes at the end of the way have.
std::vector<PathId> PathsOf(const PathPattern& pattern,
                            const Dictionary& dictionary);

// What a document must have to count.
struct IndexCondition {
  enum class Kind { All, Any, Leaf };

  Kind kind = Kind::Leaf;
  std::vector<IndexCondition> parts;  // All, Any

  // A leaf on that way, or, where `is_text`, the text in one.
  PathPattern pattern;
  bool is_text = false;
  // Of its value, which lies in `value_slot`, untyped. Null: that it is there.
  PlanPtr test;
  Bound value_slot;
  // The same as "leaf comparison compared" where that is all the test does;
  // the values are atomised.
  Comparison comparison = Comparison::Eq;
  PlanPtr compared;
  bool is_single = false;  // `compared` is one value at most, or an error
  // No variable but that of the value is asked for.
  bool is_constant = true;
  std::size_t slot_end = 0;  // behind all slots that it takes
};

// fn:collection with what is known of the documents wanted; in document order.
class CollectionPlan final : public Plan {
 public:
  // Without `uri` the default collection. `slot_count`: of the slots that have
  // a value when it is opened.
  CollectionPlan(PlanPtr uri, std::size_t slot_count);
  IteratorPtr Open(const Frame& frame) const override;
  PlanNote Explain(Execution& run) const override;

  // Before the plan is shared.
  void Require(IndexCondition condition);
  std::size_t slot_count() const { return slot_count_; }

 private:
  IteratorPtr OpenChosen(const Frame& frame, const std::string& uri) const;

  const PlanPtr uri_;
  const std::size_t slot_count_;
  IndexCondition wanted_;  // Kind::All
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_COLLECTION_H_
