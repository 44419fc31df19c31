#include "store/ado/row_cursor.h"

#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "store/ado/column_types.h"
#include "store/ado/odbc_text.h"
#include "store/ado/row_values.h"
#include "util/cp936.h"
#include "util/gb_text.h"

namespace kiv::store::ado {
namespace {

// Room for a value where more can be read again, and the largest limit of a
// value that gets all its room where nothing can.
constexpr long kCharactersWithReread = 128;
constexpr long kCharactersWithout = 4000;
constexpr std::size_t kMaxBlock = 128;
constexpr std::size_t kMaxBlockBytes = std::size_t{1024} * 1024;

// Texts of numbers, dates and GUIDs.
constexpr SQLLEN kShortText = 48;

using Form = RowCursor::Form;

// The machine's own forms and their ODBC names.
SQLSMALLINT CTypeOf(Form form) {
  switch (form) {
    case Form::Bool:
      return SQL_C_BIT;
    case Form::Byte:
      return SQL_C_UTINYINT;
    case Form::Int16:
      return SQL_C_SSHORT;
    case Form::Int32:
      return SQL_C_SLONG;
    case Form::Int64:
      return SQL_C_SBIGINT;
    case Form::Single:
      return SQL_C_FLOAT;
    case Form::Double:
      return SQL_C_DOUBLE;
    case Form::Guid:
      return SQL_C_GUID;
    case Form::Timestamp:
      return SQL_C_TYPE_TIMESTAMP;
    case Form::Utf16:
      return SQL_C_WCHAR;
    case Form::Bytes:
      return SQL_C_BINARY;
    default:
      return SQL_C_CHAR;
  }
}

SQLLEN SizeOf(Form form) {
  switch (form) {
    case Form::Bool:
    case Form::Byte:
      return 1;
    case Form::Int16:
      return 2;
    case Form::Int32:
    case Form::Single:
      return 4;
    case Form::Int64:
    case Form::Double:
      return 8;
    case Form::Guid:
      return sizeof(GUID);
    case Form::Timestamp:
      return sizeof(SQL_TIMESTAMP_STRUCT);
    default:
      return 0;
  }
}

// A type whose driver has it in the machine's own form.
Form NativeForm(DataType type, bool is_wide) {
  switch (type) {
    case adBoolean:
      return Form::Bool;
    case adUnsignedTinyInt:
      return Form::Byte;
    case adSmallInt:
      return Form::Int16;
    case adInteger:
      return Form::Int32;
    case adBigInt:
      return Form::Int64;
    case adSingle:
      return Form::Single;
    case adDouble:
      return Form::Double;
    case adNumeric:
      return Form::DecimalText;
    case adGUID:
      return Form::Guid;
    case adDBTimeStamp:
      return Form::Timestamp;
    case adDBDate:
    case adDBTime:
      return Form::DateText;
    default:
      if (IsBinary(type)) return Form::Bytes;
      return is_wide ? Form::Utf16 : Form::Utf8;
  }
}

Form TextForm(DataType type) {
  switch (type) {
    case adBoolean:
      return Form::BoolText;
    case adUnsignedTinyInt:
    case adSmallInt:
    case adInteger:
    case adBigInt:
      return Form::IntegerText;
    case adSingle:
    case adDouble:
      return Form::RealText;
    case adNumeric:
      return Form::DecimalText;
    case adGUID:
      return Form::GuidText;
    case adDBTimeStamp:
    case adDBDate:
    case adDBTime:
      return Form::DateText;
    default:
      return IsBinary(type) ? Form::Bytes : Form::Utf8;
  }
}

}  // namespace

RowCursor::RowCursor(std::unique_ptr<OdbcStatement> statement,
                     const std::vector<FieldInfo>* fields)
    : statement_(std::move(statement)) {
  const auto count = static_cast<SQLUSMALLINT>(statement_->ColumnCount());
  for (SQLUSMALLINT number = 1; number <= count; ++number) {
    Column& column = columns_.emplace_back();
    column.info =
        fields != nullptr ? fields->at(number - 1U) : Describe(number);
    ChooseForm(column);
  }
  Bind();
}

FieldInfo RowCursor::Describe(SQLUSMALLINT number) const {
  SQLSMALLINT name_size = 0;
  SQLSMALLINT odbc_type = 0;
  SQLULEN size = 0;
  SQLSMALLINT digits = 0;
  SQLSMALLINT nullable = 0;
  // The name apart: it may be of any length.
  statement_->Check(SQLDescribeCol(statement_->handle(), number, nullptr, 0,
                                   &name_size, &odbc_type, &size, &digits,
                                   &nullable));
  FieldInfo info;
  info.name = Utf8ToCp936(statement_->ColumnName(number));
  const Dialect dialect = statement_->connection().dialect();
  info.type = TypeOf(
      odbc_type,
      dialect == Dialect::Sqlite ? statement_->ColumnTypeName(number) : "",
      dialect);
  const bool has_limit = info.type != adLongVarWChar &&
                         info.type != adLongVarBinary &&
                         (IsText(info.type) || IsBinary(info.type)) &&
                         size < std::numeric_limits<int>::max();
  info.defined_size = has_limit ? static_cast<long>(size) : 0;
  return info;
}

void RowCursor::ChooseForm(Column& column) const {
  const OdbcConnection& connection = statement_->connection();
  const Dialect dialect = connection.dialect();
  const bool is_text_only =
      dialect == Dialect::Sqlite || dialect == Dialect::Access;
  column.form = is_text_only
                    ? TextForm(column.info.type)
                    : NativeForm(column.info.type, connection.is_wide());
  if (dialect == Dialect::Access && connection.is_wide() &&
      column.form == Form::Utf8)
    column.form = Form::Utf16;
  column.c_type = CTypeOf(column.form);
  column.room = SizeOf(column.form);
  column.stride = static_cast<std::size_t>(column.room);
  if (column.room > 0) return;

  const long limit =
      connection.rereads_bound() ? kCharactersWithReread : kCharactersWithout;
  const long declared = column.info.defined_size;
  const long characters =
      declared > 0 ? std::min(declared, limit) : kCharactersWithReread;
  std::size_t end = 1;
  switch (column.form) {
    case Form::Utf8:
      column.room = characters * 3;
      break;
    case Form::Utf16:
      column.room = characters * static_cast<long>(sizeof(char16_t));
      end = sizeof(char16_t);
      break;
    case Form::Bytes:
      column.room = characters;
      end = 0;
      break;
    default:
      column.room = kShortText;
      break;
  }
  column.stride = static_cast<std::size_t>(column.room) + end;
}

void RowCursor::Bind() {
  const OdbcConnection& connection = statement_->connection();
  std::size_t row_bytes = 1;
  bool is_limited = true;
  for (const Column& column : columns_) {
    row_bytes += column.stride;
    const bool is_long = IsText(column.info.type) || IsBinary(column.info.type);
    // Characters beyond 16 bits take two units, those beyond ASCII up to four
    // bytes: without a way to read again, declared sizes are not enough.
    if (is_long && (column.info.defined_size == 0 ||
                    column.info.defined_size > kCharactersWithout ||
                    column.form == Form::Utf8))
      is_limited = false;
  }
  is_bound_ = connection.rereads_bound() ||
              (is_limited && connection.dialect() != Dialect::Access);
  if (!is_bound_) return;
  if (connection.rereads_in_blocks() || !connection.rereads_bound())
    block_ = std::clamp<std::size_t>(kMaxBlockBytes / row_bytes, 1, kMaxBlock);
  if (block_ > 1) {
    states_.assign(block_, SQL_ROW_SUCCESS);
    statement_->SetAttribute(SQL_ATTR_ROW_ARRAY_SIZE, block_);
    statement_->SetAttribute(SQL_ATTR_ROW_STATUS_PTR, states_.data());
  }
  statement_->SetAttribute(SQL_ATTR_ROWS_FETCHED_PTR, &fetched_);
  for (std::size_t column = 0; column < columns_.size(); ++column)
    BindColumn(column, block_);
}

void RowCursor::BindColumn(std::size_t column, std::size_t rows) {
  Column& in = columns_[column];
  in.values.resize(in.stride * rows);
  in.sizes.resize(rows);
  statement_->Check(SQLBindCol(
      statement_->handle(), static_cast<SQLUSMALLINT>(column + 1), in.c_type,
      in.values.data(), static_cast<SQLLEN>(in.stride), in.sizes.data()));
}

bool RowCursor::Next() {
  if (is_over_) return false;
  ++generation_;
  if (row_ + 1 < rows_) {
    ++row_;
    RequireRow();
    return true;
  }
  // Until the block is there, there is no row.
  row_ = rows_ = 0;
  is_over_ = true;
  fetched_ = 1;
  if (!statement_->Fetch()) return false;
  rows_ = is_bound_ ? static_cast<std::size_t>(fetched_) : 1;
  if (rows_ == 0) return false;
  is_over_ = false;
  if (!is_bound_) ReadUnbound();
  RequireRow();
  return true;
}

// Of several rows, a driver reports those that failed beside its success.
void RowCursor::RequireRow() {
  if (block_ == 1 || states_[row_] != SQL_ROW_ERROR) return;
  row_ = rows_ = 0;
  is_over_ = true;
  statement_->connection().RaiseFrom(SQL_HANDLE_STMT, statement_->handle());
}

std::size_t RowCursor::IndexOf(std::string_view name) const {
  std::size_t similar = columns_.size();
  for (std::size_t index = 0; index < columns_.size(); ++index) {
    const std::string& found = columns_[index].info.name;
    if (found == name) return index;
    if (similar == columns_.size() && EqualIgnoreCase(found, name))
      similar = index;
  }
  return similar;
}

bool RowCursor::ReadWhole(std::size_t column, std::string& out) const {
  const auto number = static_cast<SQLUSMALLINT>(column + 1);
  const Column& in = columns_[column];
  if (in.form == Form::Bytes) return statement_->GetBinary(number, out);
  if (in.form == Form::Utf16) {
    std::u16string text;
    if (!statement_->GetText(number, text)) return false;
    out.assign(reinterpret_cast<const char*>(text.data()),
               text.size() * sizeof(char16_t));
    return true;
  }
  if (const SQLLEN size = SizeOf(in.form); size > 0) {
    out.resize(static_cast<std::size_t>(size));
    SQLLEN read = 0;
    statement_->Check(SQLGetData(statement_->handle(), number, in.c_type,
                                 out.data(), size, &read));
    return read != SQL_NULL_DATA;
  }
  return statement_->GetNarrow(number, out);
}

// Each value once, from the first column to the last: some drivers can do no
// more.
void RowCursor::ReadUnbound() {
  for (std::size_t column = 0; column < columns_.size(); ++column) {
    Column& in = columns_[column];
    std::string value;
    if (ReadWhole(column, value)) {
      in.whole = std::move(value);
    } else {
      in.whole.reset();
    }
  }
}

std::optional<std::string_view> RowCursor::Reread(std::size_t column) {
  Column& in = columns_[column];
  if (in.whole_row == generation_) return in.whole;
  if (block_ > 1)
    statement_->Check(SQLSetPos(statement_->handle(), row_ + 1, SQL_POSITION,
                                SQL_LOCK_NO_CHANGE));
  std::string value;
  if (ReadWhole(column, value)) {
    in.whole = std::move(value);
  } else {
    in.whole.reset();
  }
  in.whole_row = generation_;
  return in.whole;
}

VARIANT RowCursor::Value(std::size_t column) {
  const auto bytes = Bytes(column);
  const Column& in = columns_[column];
  return VariantOf(in.form, in.info.type, bytes);
}

}  // namespace kiv::store::ado
