#include "xdb/query_engine.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <utility>

#include "xdb/query_documents.h"
#include "xdb/query_items.h"
#include "xdb/session.h"
#include "xdb/xdb_text.h"
#include "xdb/xquery/compile/query.h"
#include "xdb/xquery/values/lexical.h"

namespace kiv::xdb {
namespace {

using Compiled = std::shared_ptr<const xq::CompiledQuery>;

// Runs what may throw an error of the query: nothing of that type leaves here.
template <typename Call>
auto WithoutQueryErrors(Call call) -> decltype(call()) {
  try {
    return call();
  } catch (const xq::Error& error) {
    throw std::runtime_error(LocalText(error.what()));
  }
}

// "prefix:local" by the namespaces of the context.
xq::QName VariableName(const std::string& text, const QueryContext& context) {
  std::string_view prefix, local;
  if (!xq::SplitQName(text, prefix, local))
    throw xq::Error("XPST0003", "\"" + text + "\" is no name of a variable");
  xq::QName name{std::string(prefix), "", std::string(local)};
  if (prefix.empty()) return name;
  const auto found = context.namespaces.find(name.prefix);
  if (found == context.namespaces.end()) {
    throw xq::Error("XPST0081", "the context has no namespace for the prefix " +
                                    name.prefix);
  }
  name.uri = found->second;
  return name;
}

xq::Surroundings SurroundingsOf(const QueryContext& context,
                                xq::DocumentSource& documents) {
  xq::Surroundings surroundings;
  surroundings.documents = &documents;
  surroundings.cancel = context.cancels;
  surroundings.limits.call_depth = context.limits.call_depth;
  surroundings.limits.memory_bytes = static_cast<std::int64_t>(
      std::min<std::uint64_t>(context.limits.memory_bytes, INT64_MAX));
  if (context.limits.time_ms != 0) {
    surroundings.limits.time =
        std::chrono::milliseconds(context.limits.time_ms);
  } else {
    surroundings.limits.time = std::chrono::years(100);
  }
  return surroundings;
}

// The values that a query has given so far, and the rest of it.
class RunResults final : public QueryResults {
 public:
  RunResults(Compiled query, const std::shared_ptr<Session>& session,
             const QueryContext& context)
      : documents_(session, context.transaction),
        is_dead_(context.return_type != 0) {
    documents_.SetDefaultCollection(context.default_collection);
    const auto transaction = documents_.HoldTransaction();
    std::vector<xq::BoundVariable> variables;
    for (const auto& [name, value] : context.variables)
      variables.push_back({VariableName(name, context), ItemsOfValue(*value)});
    running_.emplace(std::move(query), SurroundingsOf(context, documents_),
                     xq::Item(), variables);
  }

  void RunToTheEnd() {
    while (Pull()) {
    }
  }

  std::uint64_t Size() override {
    WithoutQueryErrors([this] { RunToTheEnd(); });
    return values_.size();
  }
  bool KnowsSize() const override { return !running_; }
  bool Has(std::uint64_t count) override {
    return WithoutQueryErrors([&] {
      while (values_.size() < count && Pull()) {
      }
      return values_.size() >= count;
    });
  }
  std::shared_ptr<const QueryValue> Next() override {
    if (at_ == values_.size() && !WithoutQueryErrors([this] { return Pull(); }))
      return nullptr;
    return values_[at_++];
  }
  std::shared_ptr<const QueryValue> Previous() override {
    return at_ == 0 ? nullptr : values_[--at_];
  }
  void Reset() override { at_ = 0; }

 private:
  // One value more; an error ends the query for good.
  bool Pull() {
    if (!running_) return false;
    const auto transaction = documents_.HoldTransaction();
    try {
      xq::Item item;
      const bool is_there = running_->Next(item);
      if (is_there)
        Keep(std::move(item));
      else
        End();
      return is_there;
    } catch (...) {
      End();
      throw;
    }
  }

  void Keep(xq::Item item) {
    xq::ValueMemory& memory = running_->execution().memory();
    const xq::Execution::Entry entry(memory);
    values_.push_back(ValueOfItem(item, is_dead_));
    // About what the value takes.
    std::int64_t bytes = 64;
    if (xq::IsText(item.type()))
      bytes += static_cast<std::int64_t>(item.AsText().size());
    else if (item.IsNode() && is_dead_)
      bytes += 64 * std::int64_t{item.tree()[item.node()].size};
    memory.Require(bytes);
    memory.used_bytes += bytes;
    item = {};
  }

  // Nothing of the containers is held any longer than it is needed.
  void End() {
    running_.reset();
    documents_.Close();
  }

  ContainerDocuments documents_;
  const bool is_dead_;
  std::optional<xq::RunningQuery> running_;
  std::vector<std::shared_ptr<const QueryValue>> values_;
  std::size_t at_ = 0;
};

class PreparedXQuery final : public PreparedQuery {
 public:
  PreparedXQuery(std::string text, Compiled query)
      : text_(std::move(text)), query_(std::move(query)) {}

  const std::string& Text() const override { return text_; }
  std::shared_ptr<QueryResults> Execute(
      const std::shared_ptr<Session>& session,
      const QueryContext& context) const override {
    return WithoutQueryErrors([&] {
      auto results = std::make_shared<RunResults>(query_, session, context);
      const bool is_lazy = context.evaluation_type != 0;
      if (!is_lazy) results->RunToTheEnd();
      return results;
    });
  }
  std::string Explain(const std::shared_ptr<Session>& session,
                      const QueryContext& context) const override {
    return WithoutQueryErrors([&] {
      ContainerDocuments documents(session, context.transaction);
      documents.SetDefaultCollection(context.default_collection);
      const auto transaction = documents.HoldTransaction();
      return xq::Explain(*query_, SurroundingsOf(context, documents));
    });
  }

 private:
  const std::string text_;
  const Compiled query_;
};

class XQueryEngine final : public QueryEngine {
 public:
  std::shared_ptr<PreparedQuery> Prepare(const std::string& text,
                                         const QueryContext& context) override {
    return WithoutQueryErrors([&] {
      xq::StaticSettings settings;
      for (const auto& entry : context.namespaces)
        settings.namespaces.push_back(entry);
      for (const auto& entry : context.variables)
        settings.variables.push_back(VariableName(entry.first, context));
      return std::make_shared<PreparedXQuery>(text,
                                              xq::Compile(text, settings));
    });
  }
};

}  // namespace

std::shared_ptr<QueryEngine> MakeQueryEngine() {
  return std::make_shared<XQueryEngine>();
}

}  // namespace kiv::xdb
