#include <sqlext.h>

#include <algorithm>
#include <utility>

#include "dm/layout.h"
#include "store/ado/parameters.h"
#include "store/ado/records.h"
#include "store/ado/statements.h"
#include "util/cp936.h"
#include "util/gb_text.h"

namespace kiv::store::ado {
namespace {

std::string StatementForDatabase(const std::string& statement) {
  if (statement.find('\0') != std::string::npos || !IsCp936(statement))
    Raise(kInvalidArgument, "the statement is no text");
  return Cp936ToUtf8(statement);
}

// Bound until they go.
std::vector<ParameterArray> Bind(OdbcStatement& statement,
                                 const std::vector<AnyObject>& parameters) {
  std::vector<ParameterArray> arrays;
  arrays.reserve(parameters.size());
  for (const AnyObject& parameter : parameters) {
    const void* const object = parameter.get();
    const auto type =
        object == nullptr
            ? DM_STRING
            : static_cast<dm_type_id_e>(dm::TypeIdOfObject(object));
    const void* const data = object == nullptr ? nullptr : dm_o_data(object);
    ParameterArray& array = arrays.emplace_back(type, statement.connection());
    array.Reserve(1, data == nullptr ? 0 : LongSizeOf(type, data));
    array.Put(0, data);
    array.Bind(statement, static_cast<SQLUSMALLINT>(arrays.size()));
  }
  return arrays;
}

// SQLite's driver hands numbers out with 15 digits. Nineteen are enough for
// every double to come back as it was.
std::string ExactReal(const std::string& column) {
  return "CASE typeof(" + column + ") WHEN 'real' THEN printf('%!.19g', " +
         column + ") ELSE " + column + " END";
}

bool IsReal(const FieldInfo& field) { return field.type == adDouble; }

// In parentheses. The line feed ends a comment.
std::string AsTable(std::string statement) {
  while (!statement.empty() &&
         (statement.back() == ';' || IsAsciiSpace(statement.back())))
    statement.pop_back();
  return "(" + statement + "\n)";
}

// The statement's rows with every real number as a text: as a table expression
// whose columns have names of ours.
std::string WithExactReals(const std::string& statement,
                           const std::vector<FieldInfo>& fields) {
  std::string names, columns;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const std::string name = "kiv_" + std::to_string(i);
    names += (i == 0 ? "" : ", ") + name;
    columns +=
        (i == 0 ? "" : ", ") + (IsReal(fields[i]) ? ExactReal(name) : name);
  }
  return "WITH kiv_rows(" + names + ") AS " + AsTable(statement) + " SELECT " +
         columns + " FROM kiv_rows";
}

std::unique_ptr<RowCursor> Run(OdbcConnection& odbc,
                               const std::string& statement,
                               const std::vector<AnyObject>& parameters,
                               const std::vector<FieldInfo>* fields) {
  auto executed = std::make_unique<OdbcStatement>(odbc);
  executed->Prepare(statement);
  // Before it has changed anything. Access's driver looks at a statement only
  // when it runs, and changes nothing.
  const bool knows_columns = odbc.dialect() != Dialect::Access;
  if (knows_columns && executed->ColumnCount() == 0)
    Raise(kInvalidArgument, "the statement gives no rows");
  const auto arrays = Bind(*executed, parameters);
  executed->ExecutePrepared();
  // The arrays go; the rows do not need them.
  if (!arrays.empty()) SQLFreeStmt(executed->handle(), SQL_RESET_PARAMS);
  return std::make_unique<RowCursor>(std::move(executed), fields);
}

// The columns of a query. The types of computed ones are known only with a row,
// so the first is asked for. None when the statement is no query, but changes
// something or asks for a setting.
std::vector<FieldInfo> SqliteFields(OdbcConnection& odbc,
                                    const std::string& statement,
                                    const std::vector<AnyObject>& parameters) {
  std::vector<FieldInfo> fields;
  try {
    const auto row =
        Run(odbc, "SELECT * FROM " + AsTable(statement) + " LIMIT 1",
            parameters, nullptr);
    OdbcStatement original(odbc);
    original.Prepare(statement);
    for (std::size_t i = 0; i < row->size(); ++i) {
      fields.push_back(row->Info(i));
      // A table would change names that are there twice.
      fields.back().name =
          Utf8ToCp936(original.ColumnName(static_cast<SQLUSMALLINT>(i + 1)));
    }
  } catch (const _com_error&) {
    // Whatever is wrong with it, it says when it runs as it is.
    fields.clear();
  }
  return fields;
}

}  // namespace

std::unique_ptr<RowCursor> OpenQuery(Connection& connection,
                                     const std::string& statement,
                                     const std::vector<AnyObject>& parameters) {
  OdbcConnection& odbc = connection.Odbc();
  const std::string text = StatementForDatabase(statement);
  if (odbc.dialect() == Dialect::Sqlite) {
    const std::vector<FieldInfo> fields = SqliteFields(odbc, text, parameters);
    if (std::any_of(fields.begin(), fields.end(), IsReal))
      return Run(odbc, WithExactReals(text, fields), parameters, &fields);
  }
  return Run(odbc, text, parameters, nullptr);
}

long long ExecuteStatement(Connection& connection, const std::string& statement,
                           const std::vector<AnyObject>& parameters) {
  connection.RequireWritable();
  OdbcStatement executed(connection.Odbc());
  const std::string text = StatementForDatabase(statement);
  if (parameters.empty()) {
    executed.Execute(text);
    return executed.RowCount();
  }
  executed.Prepare(text);
  const auto arrays = Bind(executed, parameters);
  executed.ExecutePrepared();
  return executed.RowCount();
}

std::unique_ptr<RowCursor> OpenTableRows(
    const std::shared_ptr<Connection>& connection, const std::string& name) {
  OdbcConnection& odbc = connection->Odbc();
  const auto all_of = [&odbc](const std::string& table) {
    return "SELECT * FROM " + odbc.Quoted(NameForDatabase(table));
  };
  // Theirs fail with a text that says why, and with a state that tells.
  const bool asks_database =
      odbc.dialect() != Dialect::Sqlite && odbc.dialect() != Dialect::Access;
  if (asks_database) return Run(odbc, all_of(name), {}, nullptr);
  const auto table = Catalog(connection).GetTable(name);
  if (table == nullptr) Raise(kNoTable, "there is no table '" + name + "'");
  if (odbc.dialect() == Dialect::Access)
    return Run(odbc, all_of(table->Name()), {}, nullptr);
  std::vector<FieldInfo> fields;
  std::string columns;
  for (long i = 0; i < table->ColumnCount(); ++i) {
    const auto column = table->GetColumn(i);
    fields.push_back({column->Name(), column->Type(), column->DefinedSize()});
    const std::string quoted = odbc.Quoted(NameForDatabase(column->Name()));
    columns += (i == 0 ? "" : ", ") +
               (IsReal(fields.back()) ? ExactReal(quoted) : quoted);
  }
  return Run(odbc,
             "SELECT " + columns + " FROM " +
                 odbc.Quoted(NameForDatabase(table->Name())),
             {}, &fields);
}

}  // namespace kiv::store::ado
