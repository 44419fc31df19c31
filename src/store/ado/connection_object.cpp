#include "store/ado/ado_objects.h"
#include "store/ado/odbc_connection.h"
#include "store/ado/provider.h"

namespace kiv::store::ado {

Connection::Connection() = default;
Connection::~Connection() {
  try {
    Close();
  } catch (const _com_error&) {
    // A server that is gone has rolled back by itself.
  }
}

void Connection::Open(const std::string& text, const std::string& user,
                      const std::string& password) {
  if (IsOpen()) Raise(kNotAllowedHere, "the connection is open already");
  const Target target = TargetOf(text, user, password, OpenMode::Existing);
  odbc_ = OdbcConnection::Open(target, target.odbc_text);
}

void Connection::Close() {
  const std::shared_ptr<OdbcConnection> odbc = std::move(odbc_);
  odbc_.reset();
  if (odbc != nullptr && odbc->is_in_transaction()) odbc->Rollback();
}

bool Connection::IsOpen() const { return odbc_ != nullptr; }

bool Connection::IsReadOnly() const { return Odbc().is_read_only(); }

void Connection::RequireWritable() const {
  if (IsReadOnly())
    Raise(kNotAvailable, "Access files can be read, not written");
}

void Connection::BeginTrans() { Odbc().Begin(); }
void Connection::CommitTrans() { Odbc().Commit(); }
void Connection::RollbackTrans() { Odbc().Rollback(); }

bool Connection::IsInTransaction() const { return Odbc().is_in_transaction(); }

OdbcConnection& Connection::Odbc() const {
  if (odbc_ == nullptr) Raise(kObjectClosed, "the connection is closed");
  return *odbc_;
}

}  // namespace kiv::store::ado
