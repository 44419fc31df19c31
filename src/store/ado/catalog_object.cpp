#include <utility>

#include "store/ado/ado_objects.h"
#include "store/ado/odbc_connection.h"
#include "store/ado/provider.h"
#include "store/ado/statements.h"
#include "util/cp936.h"

namespace kiv::store::ado {

Catalog::Catalog(std::shared_ptr<Connection> connection)
    : connection_(std::move(connection)) {
  if (connection_ == nullptr || !connection_->IsOpen())
    Raise(kObjectClosed, "the connection is closed");
}

void Catalog::Create(Connection& connection, const std::string& text,
                     const std::string& user, const std::string& password) {
  if (connection.IsOpen())
    Raise(kNotAllowedHere, "the connection is open already");
  const Target target = TargetOf(text, user, password, OpenMode::New);
  if (target.is_read_only)
    Raise(kNotAvailable, "Access files can be read, not written");
  if (!target.is_file) {
    if (target.server_text.empty())
      Raise(kNotAvailable, "this driver's databases cannot be created here");
    const auto server = OdbcConnection::Open(target, target.server_text);
    server->Execute(CreateDatabaseStatement(target.database, *server));
  }
  auto odbc = OdbcConnection::Open(target, target.odbc_text);
  // Otherwise the file comes into being with the first table.
  if (target.is_file) odbc->Execute("PRAGMA user_version = 0");
  connection.odbc_ = std::move(odbc);
}

// In UTF-8.
std::vector<std::string> Catalog::Matching(
    const std::string& pattern_utf8) const {
  OdbcStatement statement(connection_->Odbc());
  statement.Tables(pattern_utf8);
  std::vector<std::string> names;
  constexpr SQLUSMALLINT kTableName = 3;
  std::string name;
  while (statement.Fetch())
    if (statement.GetText(kTableName, name)) names.push_back(name);
  return names;
}

std::vector<std::string> Catalog::TableNames() const {
  std::vector<std::string> names = Matching("%");
  for (std::string& name : names) name = Utf8ToCp936(name);
  return names;
}

// As the database spells it, in UTF-8; empty when there is none.
std::string Catalog::NameInDatabase(const std::string& name) const {
  const OdbcConnection& odbc = connection_->Odbc();
  const std::string wanted = NameForDatabase(name);
  std::string similar;
  for (const std::string& found : Matching(odbc.Pattern(wanted))) {
    if (found == wanted) return found;
    if (odbc.IsSameName(found, wanted)) similar = found;
  }
  return similar;
}

bool Catalog::HasTable(const std::string& name) const {
  return !NameInDatabase(name).empty();
}

std::shared_ptr<Table> Catalog::GetTable(const std::string& name) const {
  const std::string found = NameInDatabase(name);
  if (found.empty()) return nullptr;
  std::shared_ptr<Table> table = Table::Create();
  table->name_ = Utf8ToCp936(found);
  table->connection_ = connection_;
  return table;
}

void Catalog::AppendTable(const std::shared_ptr<Table>& table) {
  if (table->IsInCatalog())
    Raise(kNotAllowedHere, "the table is in a catalog already");
  connection_->RequireWritable();
  if (table->columns_.empty())
    Raise(kInvalidArgument, "a table must have a column");
  OdbcConnection& odbc = connection_->Odbc();
  odbc.Execute(CreateTableStatement(table->name_, table->columns_, odbc));
  table->connection_ = connection_;
}

void Catalog::DeleteTable(const std::string& name) {
  connection_->RequireWritable();
  const std::string found = NameInDatabase(name);
  if (found.empty()) Raise(kItemNotFound, "there is no table '" + name + "'");
  OdbcConnection& odbc = connection_->Odbc();
  odbc.Execute(DropTableStatement(Utf8ToCp936(found), odbc));
}

}  // namespace kiv::store::ado
