#include "store/ado/parameters.h"

#include <sqlext.h>
#include <sqlucode.h>

#include <algorithm>
#include <cstring>

#include "dm/layout.h"
#include "dm/string_data.h"
#include "dm/vector_words.h"
#include "kiv/date_time.h"
#include "store/ado/row_values.h"
#include "util/cp936.h"

namespace kiv::store::ado {
namespace {

// Above it SQL Server has no simple text or binary value any more.
constexpr std::size_t kMaxSimpleText = 4000;
constexpr std::size_t kMaxSimpleBinary = 8000;

constexpr std::size_t kGuidText = 36;
constexpr std::size_t kDateText = 27;

}  // namespace

std::size_t LongSizeOf(dm_type_id_e type, const void* data) {
  if (type == DM_STRING) return dm::StringAt(data).size();
  return type == DM_BINARY ? dm::VectorAt(data).used() : 0;
}

std::size_t ParameterArray::RoomOf(dm_type_id_e type, std::size_t size,
                                   const OdbcConnection& connection) {
  switch (type) {
    case DM_STRING:
      // Of a byte at most one unit of UTF-16 or three bytes of UTF-8 come.
      return size * (connection.is_wide() ? sizeof(char16_t) : 3);
    case DM_BINARY:
      return size;
    default:
      return sizeof(SQL_TIMESTAMP_STRUCT);
  }
}

ParameterArray::ParameterArray(dm_type_id_e type,
                               const OdbcConnection& connection)
    : type_(type),
      is_wide_(connection.is_wide()),
      shape_(ShapeOf(type, connection.dialect(), is_wide_)) {}

ParameterArray::Shape ParameterArray::ShapeOf(dm_type_id_e type,
                                              Dialect dialect, bool is_wide) {
  const bool is_postgres = dialect == Dialect::PostgreSql;
  const bool is_sql_server = dialect == Dialect::SqlServer;
  switch (type) {
    case DM_BOOLEAN:
      return {SQL_C_BIT, SQL_BIT, 1, 1, 0};
    case DM_BYTE: {
      // PostgreSQL has no byte.
      const SQLSMALLINT odbc_type = is_postgres ? SQL_SMALLINT : SQL_TINYINT;
      return {SQL_C_UTINYINT, odbc_type, 3, 1, 0};
    }
    case DM_INT16:
      return {SQL_C_SSHORT, SQL_SMALLINT, 5, 2, 0};
    case DM_INT32:
      return {SQL_C_SLONG, SQL_INTEGER, 10, 4, 0};
    case DM_INT64:
      return {SQL_C_SBIGINT, SQL_BIGINT, 19, 8, 0};
    case DM_FLOAT:
      return {SQL_C_FLOAT, SQL_REAL, 7, 4, 0};
    case DM_DOUBLE:
      return {SQL_C_DOUBLE, SQL_DOUBLE, 15, 8, 0};
    case DM_GUID:
      if (is_postgres || is_sql_server)
        return {SQL_C_GUID, SQL_GUID, kGuidText, sizeof(GUID), 0};
      return {SQL_C_CHAR, SQL_VARCHAR, kGuidText, kGuidText + 1, 0};
    case DM_DATE_TIME:
      // As a text SQLite keeps every tick; its driver would cut.
      if (dialect == Dialect::Sqlite)
        return {SQL_C_CHAR, SQL_VARCHAR, kDateText, kDateText + 1, 0};
      return {SQL_C_TYPE_TIMESTAMP, SQL_TYPE_TIMESTAMP,
              is_sql_server ? kDateText : kDateText - 1,
              sizeof(SQL_TIMESTAMP_STRUCT),
              static_cast<SQLSMALLINT>(is_sql_server ? 7 : 6)};
    case DM_STRING:
      if (is_wide) return {SQL_C_WCHAR, SQL_WVARCHAR, 0, 0, 0};
      return {SQL_C_CHAR, SQL_VARCHAR, 0, 0, 0};
    case DM_BINARY:
      return {SQL_C_BINARY, SQL_VARBINARY, 0, 0, 0};
    default: {
      const dm_type_info_t* const info = dm_o_type_info_from_id(type);
      Raise(kInvalidArgument,
            std::string("no column can hold values of the type ") +
                (info != nullptr ? info->type_name : "unknown"));
    }
  }
}

void ParameterArray::Reserve(std::size_t rows, std::size_t size) {
  if (type_ == DM_STRING) {
    shape_.stride = size * (is_wide_ ? sizeof(char16_t) : 3) + sizeof(char16_t);
    shape_.column_size = std::max<SQLULEN>(is_wide_ ? size : 3 * size, 1);
    if (shape_.column_size > kMaxSimpleText)
      shape_.odbc_type = is_wide_ ? SQL_WLONGVARCHAR : SQL_LONGVARCHAR;
  } else if (type_ == DM_BINARY) {
    shape_.stride = std::max<std::size_t>(size, 1);
    shape_.column_size = shape_.stride;
    if (size > kMaxSimpleBinary) shape_.odbc_type = SQL_LONGVARBINARY;
  }
  values_.assign(rows * shape_.stride, '\0');
  sizes_.assign(rows, SQL_NULL_DATA);
}

void ParameterArray::Bind(OdbcStatement& statement, SQLUSMALLINT number,
                          std::size_t first_row) {
  statement.Check(SQLBindParameter(
      statement.handle(), number, SQL_PARAM_INPUT, shape_.c_type,
      shape_.odbc_type, shape_.column_size, shape_.digits, At(first_row),
      static_cast<SQLLEN>(shape_.stride), &sizes_[first_row]));
}

void ParameterArray::Put(std::size_t row, const void* data) {
  if (data == nullptr) {
    sizes_[row] = SQL_NULL_DATA;
    return;
  }
  switch (type_) {
    case DM_STRING:
      return PutText(row, data);
    case DM_BINARY:
      return PutBinary(row, data);
    case DM_DATE_TIME:
      return PutDate(row, data);
    case DM_GUID:
      if (shape_.c_type == SQL_C_CHAR) {
        const GUID guid = dm::Load<GUID>(data);
        dm_guid_to_string(&guid, At(row), kGuidText + 1);
        sizes_[row] = kGuidText;
        return;
      }
      break;
    default:
      break;
  }
  dm::CopyPlain(At(row), data, shape_.stride);
  sizes_[row] = static_cast<SQLLEN>(shape_.stride);
}

void ParameterArray::PutText(std::size_t row, const void* data) {
  const std::string_view text = dm::StringAt(data);
  // Databases end it there or refuse it, each in its own way.
  if (text.find('\0') != std::string_view::npos)
    Raise(kDataOverflow, "a text with a NUL in it");
  if (is_wide_) {
    const std::size_t units =
        Cp936ToUtf16(text, reinterpret_cast<char16_t*>(At(row)));
    sizes_[row] = static_cast<SQLLEN>(units * sizeof(char16_t));
  } else {
    sizes_[row] = static_cast<SQLLEN>(Cp936ToUtf8(text, At(row)));
  }
}

void ParameterArray::PutBinary(std::size_t row, const void* data) {
  const dm::VectorWords words = dm::VectorAt(data);
  if (words.used() > 0) std::memcpy(At(row), words.begin, words.used());
  sizes_[row] = static_cast<SQLLEN>(words.used());
}

void ParameterArray::PutDate(std::size_t row, const void* data) {
  const auto ticks = dm::Load<std::int64_t>(data);
  // A missing one, or none of the calendar.
  if (ticks < DateTime::MinValue || ticks > DateTime::MaxValue) {
    sizes_[row] = SQL_NULL_DATA;
    return;
  }
  if (shape_.c_type == SQL_C_CHAR) {
    const std::string text = TextOfTicks(ticks);
    std::memcpy(At(row), text.data(), text.size());
    sizes_[row] = static_cast<SQLLEN>(text.size());
    return;
  }
  const DateTime date(ticks);
  constexpr int kTicksPerMicrosecond = 10;
  auto fraction = static_cast<SQLUINTEGER>(ticks % TimeSpan::TicksPerSecond);
  if (shape_.digits < 7 && fraction % kTicksPerMicrosecond != 0) {
    fraction -= fraction % kTicksPerMicrosecond;
    ++cut_count_;
  }
  const SQL_TIMESTAMP_STRUCT at{static_cast<SQLSMALLINT>(date.Year()),
                                static_cast<SQLUSMALLINT>(date.Month()),
                                static_cast<SQLUSMALLINT>(date.Day()),
                                static_cast<SQLUSMALLINT>(date.Hour()),
                                static_cast<SQLUSMALLINT>(date.Minute()),
                                static_cast<SQLUSMALLINT>(date.Second()),
                                fraction * 100};
  std::memcpy(At(row), &at, sizeof at);
  sizes_[row] = sizeof at;
}

}  // namespace kiv::store::ado
