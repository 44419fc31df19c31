#include <algorithm>

#include "store/ado/ado_objects.h"
#include "store/ado/column_types.h"
#include "store/ado/odbc_connection.h"
#include "store/ado/statements.h"
#include "util/cp936.h"
#include "util/gb_text.h"

namespace kiv::store::ado {

// --- Column ------------------------------------------------------------------

void Column::RequireLoose() const {
  if (!table_.expired())
    Raise(kNotAllowedHere, "a column of the database cannot be changed so");
}

const std::string& Column::RelatedColumn() const {
  if (const auto table = table_.lock()) table->LoadRelations();
  return related_column_;
}

void Column::SetName(const std::string& name) {
  if (const auto table = table_.lock()) {
    table->RenameColumn(*this, name);
  } else {
    NameForDatabase(name);
    name_ = name;
  }
}

void Column::SetType(DataType type) {
  RequireLoose();
  type_ = type;
}

void Column::SetDefinedSize(long size) {
  RequireLoose();
  if (size < 0) Raise(kInvalidArgument, "a size must not be negative");
  defined_size_ = size;
}

void Column::SetPrecision(long precision) {
  RequireLoose();
  if (precision < 0)
    Raise(kInvalidArgument, "a precision must not be negative");
  precision_ = precision;
}

void Column::SetNumericScale(long scale) {
  RequireLoose();
  if (scale < 0) Raise(kInvalidArgument, "a scale must not be negative");
  numeric_scale_ = scale;
}

void Column::SetRelatedColumn(const std::string& name) {
  RequireLoose();
  related_column_ = name;
}

void Column::SetAttributes(long attributes) {
  RequireLoose();
  if ((attributes & ~(adColFixed | adColNullable)) != 0)
    Raise(kInvalidArgument, "there are no such column attributes");
  attributes_ = attributes;
}

// --- Table -------------------------------------------------------------------

std::shared_ptr<Table> Table::Create() {
  return std::shared_ptr<Table>(new Table);
}

OdbcConnection& Table::Odbc() const { return connection_->Odbc(); }

void Table::SetName(const std::string& name) {
  NameForDatabase(name);
  if (IsInCatalog()) {
    connection_->RequireWritable();
    Odbc().Execute(RenameTableStatement(name_, name, Odbc()));
  }
  name_ = name;
}

// Reads what SQLColumns says of the table, and of no other whose name its
// pattern fits.
void Table::Load() {
  if (!IsInCatalog() || is_loaded_) return;
  enum : SQLUSMALLINT {
    kTableName = 3,
    kColumnName = 4,
    kDataType = 5,
    kTypeName = 6,
    kColumnSize = 7,
    kDecimalDigits = 9,
    kNullable = 11
  };
  OdbcConnection& odbc = Odbc();
  const std::string name_utf8 = NameForDatabase(name_);
  OdbcStatement statement(odbc);
  statement.Columns(odbc.Pattern(name_utf8));
  std::vector<std::shared_ptr<Column>> columns;
  while (statement.Fetch()) {
    std::string table, name, type_name;
    if (!statement.GetText(kTableName, table) || table != name_utf8) continue;
    statement.GetText(kColumnName, name);
    const long odbc_type = statement.GetNumber(kDataType);
    statement.GetText(kTypeName, type_name);
    const long size = statement.GetNumber(kColumnSize);
    const long digits = statement.GetNumber(kDecimalDigits);
    // Access's driver says of every column that it takes no NULL.
    const bool is_nullable = odbc.dialect() == Dialect::Access ||
                             statement.GetNumber(kNullable) != SQL_NO_NULLS;

    auto column = std::make_shared<Column>();
    column->name_ = Utf8ToCp936(name);
    column->type_ =
        TypeOf(static_cast<int>(odbc_type), type_name, odbc.dialect());
    const bool is_long =
        column->type_ == adLongVarWChar || column->type_ == adLongVarBinary;
    if (IsText(column->type_) || IsBinary(column->type_)) {
      column->defined_size_ = is_long ? 0 : std::max(size, 0L);
    } else {
      column->precision_ = std::max(size, 0L);
      column->numeric_scale_ = std::max(digits, 0L);
    }
    column->attributes_ = (is_nullable ? adColNullable : 0) |
                          (IsFixedSize(column->type_) ? adColFixed : 0);
    column->table_ = weak_from_this();
    columns.push_back(std::move(column));
  }
  if (columns.empty()) Raise(kNoTable, "there is no table '" + name_ + "'");
  columns_ = std::move(columns);
  is_loaded_ = true;
  has_relations_ = false;
}

void Table::LoadRelations() {
  if (has_relations_) return;
  has_relations_ = true;
  OdbcConnection& odbc = Odbc();
  // Access files tell none.
  if (odbc.dialect() == Dialect::Access) return;
  enum : SQLUSMALLINT { kRelatedColumn = 4, kOwnColumn = 8 };
  OdbcStatement statement(odbc);
  statement.ForeignKeys(NameForDatabase(name_));
  while (statement.Fetch()) {
    std::string related, own;
    statement.GetText(kRelatedColumn, related);
    statement.GetText(kOwnColumn, own);
    if (const auto column = GetColumn(Utf8ToCp936(own)))
      column->related_column_ = Utf8ToCp936(related);
  }
}

long Table::ColumnCount() {
  Load();
  return static_cast<long>(columns_.size());
}

std::shared_ptr<Column> Table::GetColumn(const std::string& name) {
  Load();
  std::shared_ptr<Column> similar;
  for (const auto& column : columns_) {
    if (column->name_ == name) return column;
    if (IsInCatalog() ? Odbc().IsSameName(column->name_, name)
                      : EqualIgnoreCase(column->name_, name))
      similar = column;
  }
  return similar;
}

std::shared_ptr<Column> Table::GetColumn(long index) {
  Load();
  if (index < 0 || static_cast<std::size_t>(index) >= columns_.size())
    return nullptr;
  return columns_[static_cast<std::size_t>(index)];
}

std::shared_ptr<Column> Table::FindColumn(const std::string& name) {
  if (auto column = GetColumn(name)) return column;
  for (const auto& column : columns_)
    if (EqualIgnoreCase(column->name_, name)) return column;
  return nullptr;
}

void Table::AppendColumn(const std::string& name, DataType type, long size) {
  auto column = std::make_shared<Column>();
  column->SetName(name);
  column->SetType(type);
  column->SetDefinedSize(size);
  AppendColumn(column);
}

void Table::AppendColumn(const std::shared_ptr<Column>& column) {
  if (!column->table_.expired())
    Raise(kNotAllowedHere, "the column belongs to a table already");
  NameForDatabase(column->name_);
  if (!IsInCatalog()) {
    // Two of a name would only be noticed when the table is made.
    for (const auto& other : columns_)
      if (EqualIgnoreCase(other->name_, column->name_))
        Raise(kInvalidArgument,
              "there is a column '" + column->name_ + "' already");
    columns_.push_back(column);
    return;
  }
  connection_->RequireWritable();
  Odbc().Execute(AddColumnStatement(name_, *column, Odbc()));
  is_loaded_ = false;
}

void Table::DeleteColumn(const std::string& name) {
  const auto column = GetColumn(name);
  if (column == nullptr)
    Raise(kItemNotFound, "there is no column '" + name + "'");
  if (!IsInCatalog()) {
    std::erase(columns_, column);
    return;
  }
  connection_->RequireWritable();
  Odbc().Execute(DropColumnStatement(name_, column->name_, Odbc()));
  is_loaded_ = false;
}

void Table::RenameColumn(Column& column, const std::string& name) {
  connection_->RequireWritable();
  Odbc().Execute(RenameColumnStatement(name_, column.name_, name, Odbc()));
  column.name_ = name;
}

}  // namespace kiv::store::ado
