#ifndef STORE_ADO_COLUMN_TYPES_H_
#define STORE_ADO_COLUMN_TYPES_H_

#include <string>
#include <string_view>

#include "store/ado/sql_language.h"

// ADO data types and what databases call them.
namespace kiv::store::ado {

// Of an ODBC type number, with the database's own word for it, which tells more
// where a database has few types.
DataType TypeOf(int odbc_type, std::string_view type_name, Dialect dialect);

// Whether its values all have one size.
bool IsFixedSize(DataType type);
bool IsText(DataType type);
bool IsBinary(DataType type);

// What follows a column's name in a statement: "varchar(50)". A size of 0 is
// the largest. Throws kInvalidArgument for a type that the database lacks.
std::string TypeWords(const Column& column, SqlLanguage& language);

}  // namespace kiv::store::ado

#endif  // STORE_ADO_COLUMN_TYPES_H_
