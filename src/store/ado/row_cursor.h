#ifndef STORE_ADO_ROW_CURSOR_H_
#define STORE_ADO_ROW_CURSOR_H_

#include <sql.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "dm/guid.h"
#include "store/ado/ado_objects.h"
#include "store/ado/odbc_connection.h"

namespace kiv::store::ado {

// The rows of an executed statement, from first to last, in bound columns.
//
// Values are bound with the room that most of them need. One that is longer is
// read again, whole, where the driver can do that; where it cannot, columns
// without a small limit are not bound and every value is read by itself.
class RowCursor {
 public:
  // What the columns are is said by `fields`, unless that is null, in place of
  // the driver.
  explicit RowCursor(std::unique_ptr<OdbcStatement> statement,
                     const std::vector<FieldInfo>* fields = nullptr);

  // How a value lies here. SQLite's and Access's come as texts: columns hold
  // any kind of value there, and their drivers' conversions lose some.
  enum class Form : std::uint8_t {
    Bool,  // one byte
    Byte,  // as the numbers below, in the machine's own form
    Int16,
    Int32,
    Int64,
    Single,
    Double,
    Guid,
    Timestamp,  // SQL_TIMESTAMP_STRUCT
    BoolText,   // digits and words, ASCII
    IntegerText,
    RealText,
    DecimalText,
    GuidText,
    DateText,  // dates, times and both
    Utf8,
    Utf16,
    Bytes
  };

  // On to the first row, or the next. False behind the last; after a failure
  // there is no other row.
  bool Next();
  bool is_on_row() const { return row_ < rows_; }

  std::size_t size() const { return columns_.size(); }
  // Name in the local encoding.
  const FieldInfo& Info(std::size_t column) const {
    return columns_[column].info;
  }
  // Past the last when there is none. Case of ASCII letters does not count.
  std::size_t IndexOf(std::string_view name) const;
  Form FormOf(std::size_t column) const { return columns_[column].form; }

  // Of the current row; nothing for NULL. Good until the next row.
  std::optional<std::string_view> Bytes(std::size_t column) {
    Column& in = columns_[column];
    if (in.sizes.empty()) return in.whole;
    const SQLLEN size = in.sizes[row_];
    if (size == SQL_NULL_DATA) return std::nullopt;
    if (size > in.room || size < 0) return Reread(column);
    return std::string_view(in.values.data() + row_ * in.stride,
                            static_cast<std::size_t>(size));
  }

  // New: the caller clears it.
  VARIANT Value(std::size_t column);

 private:
  struct Column {
    FieldInfo info;
    Form form = Form::Utf8;
    SQLSMALLINT c_type = 0;
    std::size_t stride = 0;  // bytes of a value and its NUL
    SQLLEN room = 0;         // without the NUL
    std::vector<char> values;
    std::vector<SQLLEN> sizes;  // empty: not bound
    // Of a value that was read by itself, as one piece.
    std::optional<std::string> whole;
    std::size_t whole_row = static_cast<std::size_t>(-1);
  };

  FieldInfo Describe(SQLUSMALLINT number) const;
  void ChooseForm(Column& column) const;
  void Bind();
  void BindColumn(std::size_t column, std::size_t rows);
  std::optional<std::string_view> Reread(std::size_t column);
  void ReadUnbound();
  bool ReadWhole(std::size_t column, std::string& out) const;

  std::unique_ptr<OdbcStatement> statement_;
  std::vector<Column> columns_;
  bool is_bound_ = true;
  bool is_over_ = false;
  std::size_t block_ = 1;
  SQLULEN fetched_ = 0;
  std::size_t row_ = 0;
  std::size_t rows_ = 0;
  std::size_t generation_ = 0;
};

}  // namespace kiv::store::ado

#endif  // STORE_ADO_ROW_CURSOR_H_
