#ifndef XDB_XQUERY_RUN_CONSTRUCTORS_H_
#define XDB_XQUERY_RUN_CONSTRUCTORS_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "xdb/xquery/run/node_writer.h"
#include "xdb/xquery/run/plan.h"

namespace kiv::xdb::xq {

// What constructors know of the static context.
struct ConstructionContext {
  Namespaces namespaces;  // to resolve computed names
  std::string base_uri;
  CopyModes modes;
};
using ConstructionContextPtr = std::shared_ptr<const ConstructionContext>;

// Makes one node. A constructor directly in another one writes into the tree of
// that one: nothing is copied.
class ConstructorPlan : public SinglePlan {
 public:
  virtual void Write(const Frame& frame, NodeWriter& out) const = 0;
  // Whether what it writes may stand in another node as it is.
  virtual bool IsPart() const { return true; }

 protected:
  ConstructorPlan(ItemKind kind, ConstructionContextPtr context);
  Item Compute(const Frame& frame) const override;

  const ConstructionContextPtr context_;
};

// A piece of content: characters where there is no plan.
struct ContentPart {
  std::string text;
  PlanPtr plan;
  bool is_nested = false;  // a direct element in another one, which is no copy
};

// The name is constant, or a plan of one atomised item at most.
struct ConstructedName {
  QName name;
  PlanPtr plan;

  // Errors of values: XPTY0004; of texts: XQDY0074.
  QName Get(const Frame& frame, const ConstructionContext& context,
            bool is_element) const;
};

class ElementPlan final : public ConstructorPlan {
 public:
  ElementPlan(ConstructedName name,
              std::vector<std::pair<std::string, std::string>> namespaces,
              std::vector<ContentPart> content, ConstructionContextPtr context);
  void Write(const Frame& frame, NodeWriter& out) const override;
  PlanNote Explain(Execution& run) const override;

 private:
  const ConstructedName name_;
  const std::vector<std::pair<std::string, std::string>> namespaces_;
  const std::vector<ContentPart> content_;
};

class DocumentPlan final : public ConstructorPlan {
 public:
  DocumentPlan(PlanPtr content, ConstructionContextPtr context);
  void Write(const Frame& frame, NodeWriter& out) const override;
  bool IsPart() const override { return false; }
  PlanNote Explain(Execution& run) const override;

 private:
  std::vector<ContentPart> content_;
};

// Attributes, texts, comments and instructions: their value is a string of
// parts, whose plans are atomised.
class LeafPlan final : public ConstructorPlan {
 public:
  LeafPlan(ItemKind kind, ConstructedName name, std::vector<ContentPart> value,
           ConstructionContextPtr context);
  void Write(const Frame& frame, NodeWriter& out) const override;
  PlanNote Explain(Execution& run) const override;

 protected:
  Item Compute(const Frame& frame) const override;

 private:
  std::string Join(const Frame& frame, bool& is_there) const;
  void WriteInstruction(const Frame& frame, NodeWriter& out) const;

  const ItemKind kind_;
  const ConstructedName name_;
  const std::vector<ContentPart> value_;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_CONSTRUCTORS_H_
