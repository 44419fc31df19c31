#include "xdb/xquery/compile/query.h"

#include "xdb/xquery/compile/compiler.h"

namespace kiv::xdb::xq {

std::shared_ptr<const CompiledQuery> Compile(std::string_view query,
                                             const StaticSettings& settings) {
  const ast::Module module = Parse(query, settings.parsing);
  auto compiled = std::make_shared<CompiledQuery>();
  Compiler(settings, *compiled).CompileModule(module);
  return compiled;
}

std::string Explain(const CompiledQuery& query,
                    const Surroundings& surroundings) {
  Execution run(surroundings, query.variables.size());
  const Execution::Entry entry(run.memory());
  run.SetBaseUri(query.base_uri);
  std::string text;
  for (const GlobalVariable& variable : query.variables) {
    const std::string head = "variable $" + ToText(variable.name);
    text += variable.plan
                ? ToText(PlanNote{head, {variable.plan->Explain(run)}})
                : head + " external\n";
  }
  for (const UserFunction& function : query.functions) {
    const std::string head = "function " + ToText(function.name) + "#" +
                             std::to_string(function.parameters.size());
    text += ToText(PlanNote{head, {function.body->Explain(run)}});
  }
  return text + ToText(query.body->Explain(run));
}

RunningQuery::RunningQuery(std::shared_ptr<const CompiledQuery> query,
                           const Surroundings& surroundings,
                           const Item& context,
                           const std::vector<BoundVariable>& variables)
    : query_(std::move(query)),
      run_(surroundings, query_->variables.size()),
      slots_(query_->slot_count) {
  const Execution::Entry entry(run_.memory());
  run_.SetBaseUri(query_->base_uri);
  if (!context.IsNone()) run_.SetContextItem(run_.Adopt(context));
  for (const BoundVariable& bound : variables) Bind(bound);
  items_ = query_->body->Open({&run_, slots_.data(), run_.initial_focus()});
}

RunningQuery::~RunningQuery() {
  const Execution::Entry entry(run_.memory());
  items_.reset();
  slots_.clear();
}

bool RunningQuery::Next(Item& item) {
  const Execution::Entry entry(run_.memory());
  return items_->Next(item);
}

void RunningQuery::Bind(const BoundVariable& bound) {
  for (const GlobalVariable& variable : query_->variables) {
    if (variable.plan || !(variable.name == bound.name)) continue;
    if (!Matches(bound.value, variable.type)) {
      throw Error("XPTY0004",
                  "the value of $" + variable.name.local + " must be " +
                      ToText(variable.type),
                  variable.position);
    }
    Sequence adopted;
    for (const Item& item : bound.value) adopted.push_back(run_.Adopt(item));
    run_.globals[variable.index].value = Value(std::move(adopted));
    run_.globals[variable.index].state = Execution::Global::State::Known;
  }
}

}  // namespace kiv::xdb::xq
