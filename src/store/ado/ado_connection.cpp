#include "kiv/store/ado_connection.h"

#include <utility>

#include "kiv/store/ado_table.h"
#include "store/ado/ado_objects.h"
#include "store/ado/guarded_call.h"
#include "store/named_table.h"

namespace kiv::store {
namespace {

constexpr char kClass[] = "AdoConnection";

using ado::GuardedCall;

}  // namespace

AdoConnection::AdoConnection(const std::string& adoString)
    : ado_string_(adoString), inner_(std::make_shared<ado::Connection>()) {}

AdoConnection::~AdoConnection() = default;

bool AdoConnection::Open(const std::string& a, const std::string& b) {
  return GuardedCall("AdoConnection::Open Failed: ", false, [&] {
    inner_->Open(ado_string_, a, b);
    return true;
  });
}

bool AdoConnection::Create(const std::string& a, const std::string& b) {
  return GuardedCall("AdoConnection::Create Failed(Catalog.Create): ", false,
                     [&] {
                       ado::Catalog::Create(*inner_, ado_string_, a, b);
                       return true;
                     });
}

bool AdoConnection::IsExistTable(const std::string& name) {
  return GuardedCall("AdoConnection::IsExistTable Failed:", false, [&] {
    return !name.empty() && ado::Catalog(inner_).HasTable(name);
  });
}

std::shared_ptr<Table> AdoConnection::GetTable(const std::string& name) {
  if (!HasName(kClass, "GetTable", name)) return nullptr;
  return NamedTable(kClass, "GetTable", "GetTable", name, CreateTableInstance(),
                    &AdoTable::GetTable);
}

std::shared_ptr<Table> AdoConnection::CreateTable(const std::string& name) {
  if (!HasName(kClass, "CreateTable", name)) return nullptr;
  return NamedTable(kClass, "CreateTable", "SetName", name,
                    CreateTableInstance(), &AdoTable::SetName);
}

bool AdoConnection::DeleteTable(const std::string& name) {
  if (!HasName(kClass, "DeleteTable", name)) return false;
  return GuardedCall("AdoConnection::DeleteTable Failed: ", false, [&] {
    ado::Catalog(inner_).DeleteTable(name);
    return true;
  });
}

std::shared_ptr<Transaction> AdoConnection::BeginTransaction() {
  return GuardedCall("AdoConnection::BeginTransaction Failed: ",
                     std::shared_ptr<Transaction>(),
                     [&]() -> std::shared_ptr<Transaction> {
                       inner_->BeginTrans();
                       return std::make_shared<AdoTransaction>(inner_);
                     });
}

bool AdoConnection::TableNames(std::vector<std::string>& names) {
  return GuardedCall("AdoConnection::TableNames Failed: ", false, [&] {
    names = ado::Catalog(inner_).TableNames();
    return true;
  });
}

std::shared_ptr<AdoTable> AdoConnection::CreateTableInstance() {
  return std::make_shared<AdoTable>(inner_);
}

std::shared_ptr<AdoTable> AccessAdoConnection::CreateTableInstance() {
  return std::make_shared<AccessAdoTable>(Inner());
}

std::shared_ptr<AdoTable> MsSqlAdoConnection::CreateTableInstance() {
  return std::make_shared<MsSqlAdoTable>(Inner());
}

AdoTransaction::AdoTransaction(std::shared_ptr<ado::Connection> connection)
    : connection_(std::move(connection)) {}

AdoTransaction::~AdoTransaction() {
  if (!has_ended_) Rollback();
}

// The connection may have begun another transaction since: an ended one must
// not end that.
ado::Connection& AdoTransaction::Connection() const {
  if (has_ended_)
    ado::Raise(ado::kNotAllowedHere, "the transaction has ended already");
  return *connection_;
}

bool AdoTransaction::Commit() {
  return GuardedCall("AdoTransaction::Commit Failed: ", false, [&] {
    Connection().CommitTrans();
    return has_ended_ = true;
  });
}

bool AdoTransaction::Rollback() {
  return GuardedCall("AdoTransaction::Rollback Failed: ", false, [&] {
    Connection().RollbackTrans();
    return has_ended_ = true;
  });
}

}  // namespace kiv::store
