#include "kiv/store/db_xml.h"
#include "store/column_type.h"
#include "store/store_messages.h"
#include "store/xmldb/db_xml_messages.h"
#include "util/log_entry.h"

namespace kiv::store {
namespace {

constexpr char kClass[] = "DbXmlTable";
constexpr long kContainerFlags =
    XDbManager::ENCRYPT | XDbManager::THREAD | XDbManager::TRANSACTION;

}  // namespace

DbXmlTable::DbXmlTable(DbXmlConnection* connection) : connection_(connection) {}

DbXmlTable::~DbXmlTable() = default;

bool DbXmlTable::GetTable(const std::string& name) {
  return connection_->GetManager().OpenContainer(name.c_str(), container_,
                                                 kContainerFlags);
}

bool DbXmlTable::SetName(const std::string& name) {
  const std::string current = GetName();
  if (!current.empty()) return current == name;
  return connection_->GetManager().CreateContainer(name.c_str(), container_,
                                                   kContainerFlags);
}

// A container is there from the moment it has a name; programs that share code
// with databases know that this answer says nothing here.
bool DbXmlTable::CompleteCreate() { return false; }

std::string DbXmlTable::GetName() { return container_.GetName(); }

std::shared_ptr<Column> DbXmlTable::GetColumn(const std::string& name) {
  if (name.empty()) {
    LogError("db", message::EmptyName(kClass, "GetColumn"));
    return nullptr;
  }
  if (!CreateColumnInstance())
    LogError("db", xmldb::message::NoColumnInstance(Shown(name)));
  else
    LogError("db", xmldb::message::NoColumn(Shown(name)));
  return nullptr;
}

std::shared_ptr<Column> DbXmlTable::GetColumn(long index) {
  return GetColumn(std::to_string(index));
}

bool DbXmlTable::CreateColumn(const std::string& name,
                              const dm::ObjectPtr<int*>& type, long length) {
  const auto value_type = CheckedColumnType(kClass, name, type, length);
  if (!value_type) return false;
  if (IsUsualColumnType(*value_type)) return true;
  LogTypeNotHandled(kClass, type);
  return false;
}

bool DbXmlTable::ReservedCreateColumn(dm::ObjectPtr<int*>) { return false; }

bool DbXmlTable::DeleteColumn(const std::string&) { return false; }

long DbXmlTable::GetColumnCount() { return 0; }

std::shared_ptr<Recordset> DbXmlTable::OpenRecordset() {
  return CreateRecordsetInstance(nullptr);
}

std::string DbXmlTable::ReservedText(std::uintptr_t, std::uintptr_t) {
  return "";
}

std::string DbXmlTable::ColumnList(const std::vector<long>&,
                                   const std::vector<std::string>&) {
  return "";
}

bool DbXmlTable::ReservedRow(std::string, std::uintptr_t) { return false; }
bool DbXmlTable::ReservedRows(std::string, std::uintptr_t) { return false; }
bool DbXmlTable::ReservedKey(std::string, std::uintptr_t) { return false; }

std::shared_ptr<DbXmlColumn> DbXmlTable::CreateColumnInstance() {
  return std::make_shared<DbXmlColumn>();
}

std::shared_ptr<Recordset> DbXmlTable::CreateRecordsetInstance(void*) {
  return nullptr;
}

std::string DbXmlColumn::GetName() const { return ""; }
bool DbXmlColumn::SetName(const std::string&) { return false; }
dm::ObjectPtr<int*> DbXmlColumn::GetType() const { return nullptr; }
long DbXmlColumn::GetDefinedSize() const { return 0; }
bool DbXmlColumn::SetDefinedSize(long) { return false; }
long DbXmlColumn::GetPrecision() const { return 0; }
bool DbXmlColumn::SetPrecision(long) { return false; }
long DbXmlColumn::GetNumericScale() const { return 0; }
bool DbXmlColumn::SetNumericScale(long) { return false; }
std::string DbXmlColumn::GetRelatedColumn() const { return ""; }
bool DbXmlColumn::SetRelatedColumn(const std::string&) { return false; }
long DbXmlColumn::GetSortOrder() const { return 1; }
bool DbXmlColumn::SetSortOrder(long) { return false; }
long DbXmlColumn::GetAttributes() const { return ATTRIBUTE_NULLABLE; }
bool DbXmlColumn::SetAttributes(long) { return false; }
void* DbXmlColumn::Handle() const { return nullptr; }

}  // namespace kiv::store
