#include "xdb/xquery/run/variables.h"

#include "xdb/xquery/run/execution.h"

namespace kiv::xdb::xq {
namespace {

constexpr std::size_t kLazyCallDepth = 32;

// A call counts for as long as its frame lives.
class Call {
 public:
  Call(Execution& run, const std::vector<Value>& slots, Position position)
      : run_(run) {
    charge_.Add(slots.size() * sizeof(Value));
    run.EnterCall(position);
  }
  ~Call() { run_.LeaveCall(); }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

 private:
  Execution& run_;
  MemoryCharge charge_;
};

class CallIterator final : public Iterator {
 public:
  CallIterator(Execution& run, std::vector<Value> slots, const Plan& body,
               Position position)
      : slots_(std::move(slots)),
        call_(run, slots_, position),
        body_(body.Open({&run, slots_.data(), nullptr})) {}
  bool Next(Item& item) override { return body_->Next(item); }

 private:
  std::vector<Value> slots_;
  const Call call_;
  const IteratorPtr body_;
};

}  // namespace

VariablePlan::VariablePlan(std::size_t slot, const Properties& known,
                           std::string name)
    : slot_(slot), name_(std::move(name)) {
  properties = known;
}

IteratorPtr VariablePlan::Open(const Frame& frame) const {
  return std::make_unique<ValueIterator>(frame.slots[slot_]);
}

Item VariablePlan::One(const Frame& frame) const {
  const Value& value = frame.slots[slot_];
  return value.size() == 0 ? Item() : value[0];
}

GlobalPlan::GlobalPlan(const GlobalVariable& variable) : variable_(variable) {
  properties.type = variable.type;
}

IteratorPtr GlobalPlan::Open(const Frame& frame) const {
  return std::make_unique<ValueIterator>(Get(frame));
}

Item GlobalPlan::One(const Frame& frame) const {
  const Value& value = Get(frame);
  return value.size() == 0 ? Item() : value[0];
}

const Value& GlobalPlan::Get(const Frame& frame) const {
  using State = Execution::Global::State;
  Execution::Global& global = frame.run->globals[variable_.index];
  if (global.state == State::Known) return global.value;
  const std::string name = "$" + variable_.name.local;
  if (!variable_.plan)
    throw Error("XPDY0002", name + " has no value", position);
  if (global.state == State::InWork)
    throw Error("XQST0054", name + " depends on itself", position);
  global.state = State::InWork;
  std::vector<Value> slots(variable_.slot_count);
  Value value = ValueOf(*variable_.plan,
                        {frame.run, slots.data(), frame.run->initial_focus()});
  global.value = std::move(value);
  global.state = State::Known;
  return global.value;
}

UserCallPlan::UserCallPlan(const UserFunction& function,
                           std::vector<PlanPtr> arguments)
    : function_(function), arguments_(std::move(arguments)) {
  properties.type = function.result;
}

std::vector<Value> UserCallPlan::SlotsOf(const Frame& frame) const {
  std::vector<Value> slots(function_.slot_count);
  for (std::size_t i = 0; i < arguments_.size(); ++i)
    slots[i] = ValueOf(*arguments_[i], frame);
  return slots;
}

// Deep calls are carried out at once: in a row of iterators, each inside the
// one before, every item would pass through all of them.
IteratorPtr UserCallPlan::Open(const Frame& frame) const {
  if (frame.run->call_depth() >= kLazyCallDepth) {
    std::vector<Value> slots = SlotsOf(frame);
    const Call call(*frame.run, slots, position);
    return IterateItems(
        ItemsOf(*function_.body, {frame.run, slots.data(), nullptr}));
  }
  return std::make_unique<CallIterator>(*frame.run, SlotsOf(frame),
                                        *function_.body, position);
}

Item UserCallPlan::One(const Frame& frame) const {
  std::vector<Value> slots = SlotsOf(frame);
  const Call call(*frame.run, slots, position);
  return function_.body->One({frame.run, slots.data(), nullptr});
}

}  // namespace kiv::xdb::xq
