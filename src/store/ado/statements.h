#ifndef STORE_ADO_STATEMENTS_H_
#define STORE_ADO_STATEMENTS_H_

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/ado/sql_language.h"

// The statements that change what a database has, in its own dialect: UTF-8.
// Names are in the local encoding, as the ADO objects have them; every one is
// quoted. Throw kInvalidArgument for a name or a type that cannot be.
namespace kiv::store::ado {

// A name as the database gets it. Throws for an empty one, for bytes that are
// no character, which would name something else, and for a NUL.
std::string NameForDatabase(const std::string& name);

std::string CreateTableStatement(
    const std::string& table,
    const std::vector<std::shared_ptr<Column>>& columns, SqlLanguage& language);
std::string DropTableStatement(const std::string& table,
                               const SqlLanguage& language);
std::string RenameTableStatement(const std::string& from, const std::string& to,
                                 const SqlLanguage& language);
std::string AddColumnStatement(const std::string& table, const Column& column,
                               SqlLanguage& language);
std::string DropColumnStatement(const std::string& table,
                                const std::string& column,
                                const SqlLanguage& language);
std::string RenameColumnStatement(const std::string& table,
                                  const std::string& from,
                                  const std::string& to,
                                  const SqlLanguage& language);
std::string CreateDatabaseStatement(const std::string& name_utf8,
                                    const SqlLanguage& language);

// A mark inside of a transaction, and the way back to it. Empty where the
// database has none.
std::string SavepointStatement(const SqlLanguage& language);
std::string RollbackToSavepointStatement(const SqlLanguage& language);
std::string ReleaseSavepointStatement(const SqlLanguage& language);

}  // namespace kiv::store::ado

#endif  // STORE_ADO_STATEMENTS_H_
