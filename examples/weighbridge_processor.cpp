// A processor library: takes one line of a weighbridge, "scale,day,hour,minute,
// second,kilograms,plate", and adds it as a row to the table "weighings" of the
// SQLite database ../out/weighbridge.db.
//
// queue.xml names it as processor="dll://../lib/weighbridge_processor:Weigh".
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "dm/dm.h"
#include "kiv/parser/parser.h"
#include "kiv/store/store.h"

namespace {

using kiv::parser::Parser;
using Any = dm::ObjectPtr<int*>;
using StructPtr = dm::ObjectPtr<dm::StructType>;

constexpr char kDatabase[] =
    "ado:ado:Driver=SQLite3;Database=../out/weighbridge.db";
constexpr char kTable[] = "weighings";

struct Weighing {
  std::string scale;
  std::int32_t day = 0;
  std::int32_t hour = 0;
  std::int32_t minute = 0;
  std::int32_t second = 0;
  std::int32_t kilograms = 0;
  std::string plate;
};

bool TakeComma(const char*& at, const char* end) {
  if (at == end || *at != ',') return false;
  ++at;
  return true;
}

// A field that holds no number is a fault here, though the reader would accept
// it and give the default.
bool TakeNumber(const char*& at, const char* end, std::int32_t& out) {
  constexpr std::int32_t kNoNumber = -1;
  std::int32_t number = kNoNumber;
  unsigned consumed = 0;
  if (!Parser::ParseInt32(at, end, number, consumed, kNoNumber, 0)) {
    return false;
  }
  at += consumed;
  out = number;
  return number >= 0 && TakeComma(at, end);
}

bool Read(const char* at, const char* end, Weighing& out) {
  unsigned consumed = 0;
  if (!Parser::ParseTo(at, end, ',', out.scale, consumed)) return false;
  at += consumed;
  if (out.scale.empty() || !TakeComma(at, end)) return false;
  if (!TakeNumber(at, end, out.day) || !TakeNumber(at, end, out.hour) ||
      !TakeNumber(at, end, out.minute) || !TakeNumber(at, end, out.second) ||
      !TakeNumber(at, end, out.kilograms)) {
    return false;
  }
  out.plate.assign(at, end);
  return !out.plate.empty();
}

// The database, opened by the first weighing. What fails is in the log.
class Weighings {
 public:
  bool Add(const Weighing& weighing) {
    // Every queue calls from its own thread, and a connection is for one at a
    // time.
    const std::lock_guard lock(mutex_);
    return IsOpen() && rows_->Insert(kTable, {RecordOf(weighing)});
  }

 private:
  bool IsOpen() {
    if (rows_) return true;
    if (!type_ && !MakeType()) return false;
    const auto connection = kiv::store::Factory().CreateConnection(kDatabase);
    if (!connection || !connection->OpenOrCreate("", "")) return false;
    if (!connection->IsExistTable(kTable)) {
      const auto table = connection->CreateTable(kTable);
      if (!table || !table->CreateColumns(type_) || !table->CompleteCreate()) {
        return false;
      }
    }
    rows_ = kiv::store::Rows::On(connection);
    return rows_ != nullptr;
  }

  // A record type becomes a table, and its fields the columns.
  bool MakeType() {
    const auto type = StructPtr::Take(dm_o_struct_metadata_new());
    const auto add = [&](const char* name, void* field) {
      return dm_o_struct_metadata_append(type.get(), name, field);
    };
    if (!add("scale", dm_o_ansi_string_metadata()) ||
        !add("day", dm_o_int32_metadata()) ||
        !add("hour", dm_o_int32_metadata()) ||
        !add("minute", dm_o_int32_metadata()) ||
        !add("second", dm_o_int32_metadata()) ||
        !add("kilograms", dm_o_int32_metadata()) ||
        !add("plate", dm_o_ansi_string_metadata())) {
      return false;
    }
    type_ = type;
    return true;
  }

  Any RecordOf(const Weighing& weighing) const {
    auto record = Any::Take(dm_o_instance_from_metadata(type_.get()));
    std::size_t next = 0;
    const auto field = [&] {
      return dm::Object(dm_o_struct_field_at(record.get(), next++));
    };
    bool done = dm_o_string_assign(field().get(), weighing.scale.c_str());
    for (const std::int32_t number :
         {weighing.day, weighing.hour, weighing.minute, weighing.second,
          weighing.kilograms}) {
      done &= field().Write(number);
    }
    done &= dm_o_string_assign(field().get(), weighing.plate.c_str());
    return done ? record : Any();
  }

  std::mutex mutex_;
  StructPtr type_;
  std::shared_ptr<kiv::store::Rows> rows_;
};

}  // namespace

// The bytes need not end with a NUL. False refuses the message.
extern "C" __attribute__((visibility("default"))) bool Weigh(
    const char* bytes, int length, void* /*context*/) {
  static Weighings weighings;
  Weighing weighing;
  return Read(bytes, bytes + length, weighing) && weighings.Add(weighing);
}
