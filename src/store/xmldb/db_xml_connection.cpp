#include "kiv/store/db_xml.h"
#include "store/named_table.h"
#include "store/xmldb/db_xml_messages.h"
#include "util/log_entry.h"

namespace kiv::store {
namespace {

constexpr char kClass[] = "DbXmlConnection";

// What the manager gets would end there, and name another container.
bool HasNul(const std::string& name) {
  return name.find('\0') != std::string::npos;
}

}  // namespace

DbXmlConnection::DbXmlConnection(const std::string& directory)
    : directory_(directory) {}

DbXmlConnection::~DbXmlConnection() = default;

bool DbXmlConnection::Open(const std::string& a, const std::string& b) {
  return !directory_.empty() &&
         manager_.Open(directory_.c_str(),
                       XDbManager::THREAD | XDbManager::TRANSACTION, a.c_str(),
                       b.c_str());
}

bool DbXmlConnection::Create(const std::string& a, const std::string& b) {
  return Open(a, b);
}

bool DbXmlConnection::IsExistTable(const std::string& name) {
  return !HasNul(name) && manager_.IsExistContainer(name.c_str());
}

std::shared_ptr<Table> DbXmlConnection::GetTable(const std::string& name) {
  if (!HasName(kClass, "GetTable", name)) return nullptr;
  if (!IsExistTable(name)) {
    LogError("db", xmldb::message::NoSuchTable(Shown(name)));
    return nullptr;
  }
  return NamedTable(kClass, "GetTable", "GetTable", name, CreateTableInstance(),
                    &DbXmlTable::GetTable);
}

std::shared_ptr<Table> DbXmlConnection::CreateTable(const std::string& name) {
  if (!HasName(kClass, "CreateTable", name)) return nullptr;
  if (IsExistTable(name)) {
    LogError("db", xmldb::message::TableExists(Shown(name)));
    return nullptr;
  }
  return NamedTable(kClass, "CreateTable", "SetName", name,
                    CreateTableInstance(),
                    [](DbXmlTable& table, const auto& as) {
                      return !HasNul(as) && table.SetName(as);
                    });
}

bool DbXmlConnection::DeleteTable(const std::string& name) {
  if (!HasName(kClass, "DeleteTable", name)) return false;
  return HasNul(name) || manager_.RemoveContainer(name.c_str());
}

std::shared_ptr<Transaction> DbXmlConnection::BeginTransaction() {
  auto transaction = std::make_shared<DbXmlTransaction>(this);
  if (!transaction->Begin()) {
    LogError("db", "DbXmlConnection::BeginTransaction Failed");
    return nullptr;
  }
  return transaction;
}

std::shared_ptr<DbXmlTable> DbXmlConnection::CreateTableInstance() {
  return std::make_shared<DbXmlTable>(this);
}

DbXmlTransaction::DbXmlTransaction(DbXmlConnection* connection)
    : connection_(connection) {}

DbXmlTransaction::~DbXmlTransaction() = default;

bool DbXmlTransaction::Begin() {
  return connection_->GetManager().CreateTransaction(transaction_);
}

bool DbXmlTransaction::Commit() { return transaction_.Commit(); }

bool DbXmlTransaction::Rollback() { return transaction_.Abort(); }

}  // namespace kiv::store
