#include "kiv/store/db_xml.h"
#include "store/store_messages.h"
#include "store/xmldb/db_xml_messages.h"
#include "util/log_entry.h"

namespace kiv::store {
namespace {

constexpr char kClass[] = "DbXmlConnection";

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
  return manager_.IsExistContainer(name.c_str());
}

std::shared_ptr<Table> DbXmlConnection::GetTable(const std::string& name) {
  if (name.empty()) {
    LogError("db", message::EmptyName(kClass, "GetTable"));
    return nullptr;
  }
  if (!IsExistTable(name)) {
    LogError("db", xmldb::message::NoSuchTable(Shown(name)));
    return nullptr;
  }
  auto table = CreateTableInstance();
  if (!table) {
    LogError("db", message::NoTableInstance(kClass, "GetTable", Shown(name)));
    return nullptr;
  }
  if (!table->GetTable(name)) {
    LogError("db",
             message::CallFailed(kClass, "GetTable", "GetTable", Shown(name)));
    return nullptr;
  }
  return table;
}

std::shared_ptr<Table> DbXmlConnection::CreateTable(const std::string& name) {
  if (name.empty()) {
    LogError("db", message::EmptyName(kClass, "CreateTable"));
    return nullptr;
  }
  if (IsExistTable(name)) {
    LogError("db", xmldb::message::TableExists(Shown(name)));
    return nullptr;
  }
  auto table = CreateTableInstance();
  if (!table) {
    LogError("db",
             message::NoTableInstance(kClass, "CreateTable", Shown(name)));
    return nullptr;
  }
  if (!table->SetName(name)) {
    LogError("db", message::CallFailed(kClass, "CreateTable", "SetName",
                                       Shown(name)));
    return nullptr;
  }
  return table;
}

bool DbXmlConnection::DeleteTable(const std::string& name) {
  if (name.empty()) {
    LogError("db", message::EmptyName(kClass, "DeleteTable"));
    return false;
  }
  return manager_.RemoveContainer(name.c_str());
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
