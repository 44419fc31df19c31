#include "xdb/xquery/run/joins.h"

#include "xdb/xquery/run/execution.h"

namespace kiv::xdb::xq {
namespace {

struct KeptSequence final : Kept {
  explicit KeptSequence(Sequence items) : value(std::move(items)) {}
  const Value value;
};

const JoinTable& KeepTable(const Frame& frame, std::size_t slot,
                           std::shared_ptr<JoinTable> table) {
  const JoinTable& kept = *table;
  frame.slots[slot] = Value(std::shared_ptr<const Kept>(std::move(table)));
  return kept;
}

const JoinTable* KnownTable(const Frame& frame, std::size_t slot) {
  return static_cast<const JoinTable*>(frame.slots[slot].kept().get());
}

}  // namespace

MemoPlan::MemoPlan(PlanPtr operand, std::size_t slot)
    : operand_(std::move(operand)), slot_(slot) {
  properties = operand_->properties;
  position = operand_->position;
}

const Value& MemoPlan::Get(const Frame& frame) const {
  Value& slot = frame.slots[slot_];
  if (!slot.kept()) {
    auto made = std::make_shared<KeptSequence>(ItemsOf(*operand_, frame));
    slot = Value(std::shared_ptr<const Kept>(std::move(made)));
  }
  return static_cast<const KeptSequence&>(*slot.kept()).value;
}

IteratorPtr MemoPlan::Open(const Frame& frame) const {
  if (!is_enabled_) return operand_->Open(frame);
  return std::make_unique<ValueIterator>(Get(frame));
}

Item MemoPlan::One(const Frame& frame) const {
  if (!is_enabled_) return operand_->One(frame);
  const Value& value = Get(frame);
  return value.size() == 0 ? Item() : value[0];
}

bool MemoPlan::Test(const Frame& frame) const {
  if (!is_enabled_) return operand_->Test(frame);
  return Plan::Test(frame);
}

class JoinStream final : public TupleStream {
 public:
  JoinStream(const Frame& frame, TupleStreamPtr before, const JoinClause& join)
      : frame_(frame), before_(std::move(before)), join_(join) {}

  bool Next() override {
    while (next_ == found_.size()) {
      frame_.run->Tick();
      if (!before_->Next()) return false;
      try {
        Probe();
      } catch (Error& error) {
        error.PlaceAt(join_.sides_.position);
        throw;
      }
    }
    frame_.run->Tick();
    const std::uint32_t ordinal = found_[next_++];
    join_.item_.Set(frame_, Value(table_->item(ordinal)));
    if (join_.at_)
      join_.at_->Set(frame_, Value(Item::OfInteger(ordinal + 1LL)));
    return true;
  }

 private:
  void Probe() {
    found_.clear();
    next_ = 0;
    const IteratorPtr probes = join_.sides_.probe->Open(frame_);
    std::size_t count = 0;
    for (Item probe; probes->Next(probe); ++count) {
      if (count == 0) table_ = &join_.Table(frame_);
      if (table_->IsEmpty()) return;
      table_->Find(probe, found_);
      // Many probes may find the same items.
      if (found_.size() > 2 * table_->item_count()) table_->Arrange(found_);
    }
    if (!found_.empty()) table_->Arrange(found_);
  }

  const Frame frame_;
  const TupleStreamPtr before_;
  const JoinClause& join_;
  const JoinTable* table_ = nullptr;
  std::vector<std::uint32_t> found_;
  std::size_t next_ = 0;
};

TupleStreamPtr JoinClause::Open(const Frame& frame,
                                TupleStreamPtr before) const {
  return std::make_unique<JoinStream>(frame, std::move(before), *this);
}

const JoinTable& JoinClause::Table(const Frame& frame) const {
  if (const JoinTable* known = KnownTable(frame, table_slot_)) return *known;
  auto table = std::make_shared<JoinTable>(sides_.comparison, *frame.run);
  const IteratorPtr items = operand_->Open(frame);
  std::int64_t place = 0;
  for (Item item; items->Next(item);) {
    frame.run->Tick();
    table->AddItem(item);
    item_.Set(frame, Value(std::move(item)));
    if (at_) at_->Set(frame, Value(Item::OfInteger(++place)));
    const IteratorPtr keys = sides_.key->Open(frame);
    for (Item key; keys->Next(key);) table->AddKey(std::move(key));
  }
  return KeepTable(frame, table_slot_, std::move(table));
}

bool MemberPlan::Decide(const Frame& frame) const {
  const IteratorPtr probes = sides_.probe->Open(frame);
  Item probe;
  if (!probes->Next(probe)) return false;
  const JoinTable& table = Table(frame);
  do {
    frame.run->Tick();
    if (table.Has(probe)) return true;
  } while (probes->Next(probe));
  return false;
}

const JoinTable& MemberPlan::Table(const Frame& frame) const {
  if (const JoinTable* known = KnownTable(frame, table_slot_)) return *known;
  auto table = std::make_shared<JoinTable>(sides_.comparison, *frame.run);
  table->AddItem({});
  const IteratorPtr keys = sides_.key->Open(frame);
  for (Item key; keys->Next(key);) {
    frame.run->Tick();
    table->AddKey(std::move(key));
  }
  return KeepTable(frame, table_slot_, std::move(table));
}

}  // namespace kiv::xdb::xq
