#include "xdb/xquery/run/calls.h"

#include <array>

#include "xdb/xquery/run/execution.h"

namespace kiv::xdb::xq {
namespace {

// Of a function F with its arguments.
template <typename Base, typename F>
class CallPlan : public Base {
 public:
  CallPlan(std::string_view name, F function, Plans arguments)
      : function_(function), arguments_(std::move(arguments)), name_(name) {}
  PlanNote Explain(Execution& run) const override {
    return NoteOfCall(name_, NotesOf(arguments_, run));
  }

 protected:
  const F function_;
  const Plans arguments_;

 private:
  const std::string_view name_;
};

class ScalarCallPlan final : public CallPlan<SinglePlan, ScalarFunction> {
  using CallPlan::CallPlan;

  Item Compute(const Frame& frame) const override {
    const CallContext& context = frame.run->call_context();
    if (arguments_.size() <= Function::kMaxParameters) {
      std::array<Item, Function::kMaxParameters> values;
      for (std::size_t i = 0; i < arguments_.size(); ++i)
        values[i] = arguments_[i]->One(frame);
      return function_(context, {values.data(), arguments_.size()});
    }
    Sequence values;
    for (const PlanPtr& argument : arguments_)
      values.push_back(argument->One(frame));
    return function_(context, values);
  }
};

class ListCallPlan final : public CallPlan<Plan, ListFunction> {
  using CallPlan::CallPlan;

  IteratorPtr Open(const Frame& frame) const override {
    Sequence values;
    for (const PlanPtr& argument : arguments_)
      values.push_back(argument->One(frame));
    try {
      return IterateItems(function_(frame.run->call_context(), values));
    } catch (Error& error) {
      error.PlaceAt(position);
      throw;
    }
  }
};

class EngineSinglePlan final : public CallPlan<SinglePlan, SingleFunction> {
  using CallPlan::CallPlan;

  Item Compute(const Frame& frame) const override {
    return function_(frame, arguments_);
  }
};

class EngineStreamPlan final : public CallPlan<Plan, StreamFunction> {
  using CallPlan::CallPlan;

  IteratorPtr Open(const Frame& frame) const override {
    try {
      return function_(frame, arguments_);
    } catch (Error& error) {
      error.PlaceAt(position);
      throw;
    }
  }
};

template <typename P>
PlanPtr WithType(std::unique_ptr<P> plan, const SequenceType& type) {
  plan->properties.type = type;
  return plan;
}

}  // namespace

PlanPtr CallOfScalar(const Function& function, Plans arguments,
                     const SequenceType& result) {
  if (function.list != nullptr) {
    return WithType(std::make_unique<ListCallPlan>(function.name, function.list,
                                                   std::move(arguments)),
                    result);
  }
  return WithType(std::make_unique<ScalarCallPlan>(
                      function.name, function.scalar, std::move(arguments)),
                  result);
}

PlanPtr CallOfEngine(const Function& function, Plans arguments,
                     const SequenceType& result) {
  EngineImplementation found = NodeFunction(function.engine);
  if (found.single == nullptr && found.stream == nullptr)
    found = SequenceFunction(function.engine);
  if (found.single == nullptr && found.stream == nullptr)
    found = AggregateFunction(function.engine);
  if (found.single != nullptr) {
    return WithType(std::make_unique<EngineSinglePlan>(
                        function.name, found.single, std::move(arguments)),
                    result);
  }
  return WithType(std::make_unique<EngineStreamPlan>(
                      function.name, found.stream, std::move(arguments)),
                  result);
}

}  // namespace kiv::xdb::xq
