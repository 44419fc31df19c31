#include "kiv/store/ado_table.h"

#include <utility>

#include "kiv/store/ado_column.h"
#include "kiv/store/ado_recordset.h"
#include "store/ado/ado_messages.h"
#include "store/ado/ado_objects.h"
#include "store/ado/guarded_call.h"
#include "store/store_messages.h"

namespace kiv::store {
namespace {

constexpr char kGetColumnFailed[] = "AdoTable::GetColumn Failed: ";

using ado::GuardedCall;

// Throws for a table object that is no table yet.
ado::Table& Attached(const std::shared_ptr<ado::Table>& table) {
  if (!table) ado::Raise(ado::kObjectClosed, "the table has no name yet");
  return *table;
}

}  // namespace

AdoTable::AdoTable(std::shared_ptr<ado::Connection> connection)
    : connection_(std::move(connection)) {}

AdoTable::~AdoTable() = default;

bool AdoTable::GetTable(const std::string& name) {
  return GuardedCall("AdoTable::GetTable Failed: ", false, [&] {
    table_ = ado::Catalog(connection_).GetTable(name);
    return table_ != nullptr;
  });
}

bool AdoTable::SetName(const std::string& name) {
  return GuardedCall("AdoTable::SetName Failed ", false, [&] {
    auto table = ado::Table::Create();
    table->SetName(name);
    table_ = std::move(table);
    return true;
  });
}

bool AdoTable::CompleteCreate() {
  return GuardedCall("AdoTable::CompleteCreate Failed: ", false, [&] {
    Attached(table_);
    ado::Catalog(connection_).AppendTable(table_);
    return true;
  });
}

std::string AdoTable::GetName() {
  return GuardedCall("AdoTable::GetName Failed: ", std::string(),
                     [&] { return Attached(table_).Name(); });
}

std::shared_ptr<Column> AdoTable::Wrapped(std::shared_ptr<ado::Column> column) {
  if (!column) return nullptr;
  auto wrapped = CreateColumnInstance();
  wrapped->Attach(table_, std::move(column));
  return wrapped;
}

std::shared_ptr<Column> AdoTable::GetColumn(const std::string& name) {
  if (name.empty()) {
    LogError("db", message::EmptyName("AdoTable", "GetColumn"));
    return nullptr;
  }
  return GuardedCall(kGetColumnFailed, std::shared_ptr<Column>(),
                     [&] { return Wrapped(Attached(table_).GetColumn(name)); });
}

std::shared_ptr<Column> AdoTable::GetColumn(long index) {
  return GuardedCall(kGetColumnFailed, std::shared_ptr<Column>(), [&] {
    return Wrapped(Attached(table_).GetColumn(index));
  });
}

bool AdoTable::DeleteColumn(const std::string& name) {
  return GuardedCall("AdoTable::DeleteColumn Failed: ", false, [&] {
    Attached(table_).DeleteColumn(name);
    return true;
  });
}

long AdoTable::GetColumnCount() {
  return GuardedCall("AdoTable::GetColumnCount Failed: ", 0L,
                     [&] { return Attached(table_).ColumnCount(); });
}

std::shared_ptr<Recordset> AdoTable::OpenRecordset() {
  auto recordset = CreateRecordsetInstance(nullptr);
  if (recordset && recordset->LoadTable()) return recordset;
  LogError("db", ado::message::NotLoaded());
  return nullptr;
}

bool AdoTable::ReservedCreateColumn(dm::ObjectPtr<int*>) { return false; }

std::string AdoTable::ReservedText(std::uintptr_t, std::uintptr_t) {
  return "";
}

std::string AdoTable::ColumnList(const std::vector<long>& columns,
                                 const std::vector<std::string>& others) {
  if (columns.size() != others.size()) return "";
  std::string list;
  for (const long position : columns) {
    const auto column = GetColumn(position);
    if (!column) return "";
    if (!list.empty()) list += ',';
    list += column->GetName();
  }
  return list;
}

bool AdoTable::ReservedRow(std::string, std::uintptr_t) { return false; }
bool AdoTable::ReservedRows(std::string, std::uintptr_t) { return false; }
bool AdoTable::ReservedKey(std::string, std::uintptr_t) { return false; }

std::shared_ptr<AdoColumn> AdoTable::CreateColumnInstance() {
  return std::make_shared<AdoColumn>();
}

std::shared_ptr<AdoColumn> AccessAdoTable::CreateColumnInstance() {
  return std::make_shared<AccessAdoColumn>();
}

std::shared_ptr<AdoColumn> MsSqlAdoTable::CreateColumnInstance() {
  return std::make_shared<MsSqlAdoColumn>();
}

std::shared_ptr<AdoRecordset> AdoTable::CreateRecordsetInstance(
    std::shared_ptr<ado::Recordset> recordset) {
  if (recordset) return std::make_shared<AdoRecordset>(std::move(recordset));
  return std::make_shared<AdoRecordset>(connection_, table_);
}

bool AdoTable::AppendColumn(const char* class_name, const std::string& name,
                            int ado_type, long length) {
  const std::string failed =
      std::string(class_name) + "::CreateColumn Failed: ";
  return GuardedCall(failed.c_str(), false, [&] {
    Attached(table_).AppendColumn(name, static_cast<ado::DataType>(ado_type),
                                  length);
    return true;
  });
}

}  // namespace kiv::store
