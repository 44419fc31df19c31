// The record store against bare ODBC on the same driver and the same file:
// reading a table, writing records, opening a database.
#include <sql.h>
#include <sqlext.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "compare.h"
#include "dm/dm.h"
#include "kiv/date_time.h"
#include "kiv/store/factory.h"
#include "kiv/store/recordset.h"
#include "kiv/store/rows.h"
#include "kiv/store/table.h"

namespace {

namespace fs = std::filesystem;
using Any = dm::ObjectPtr<int*>;

constexpr std::size_t kBlock = 500;
constexpr char kFile[] = "kiv_store_bench.db";
constexpr char kOurText[] =
    "ado::Provider=Microsoft.Jet.OLEDB.4.0;Data Source=kiv_store_bench.db";
constexpr char kBareText[] =
    "Driver=SQLite3;Database=kiv_store_bench.db;NoCreat=1";
constexpr char kColumns[] =
    "(id integer, big bigint, price double, name varchar(50), city "
    "varchar(50), code smallint, flag bit, weight double, at timestamp, note "
    "varchar(50))";

void Require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

// --- Bare ODBC ---------------------------------------------------------------

class Bare {
 public:
  Bare() {
    SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &environment_);
    SQLSetEnvAttr(environment_, SQL_ATTR_ODBC_VERSION,
                  reinterpret_cast<void*>(SQL_OV_ODBC3), 0);
    SQLAllocHandle(SQL_HANDLE_DBC, environment_, &connection_);
    std::string text = kBareText;
    Require(SQL_SUCCEEDED(SQLDriverConnect(
                connection_, nullptr, reinterpret_cast<SQLCHAR*>(text.data()),
                SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT)),
            "bare connection");
  }
  ~Bare() {
    SQLDisconnect(connection_);
    SQLFreeHandle(SQL_HANDLE_DBC, connection_);
    SQLFreeHandle(SQL_HANDLE_ENV, environment_);
  }
  Bare(const Bare&) = delete;
  Bare& operator=(const Bare&) = delete;

  SQLHDBC get() const { return connection_; }

 private:
  SQLHENV environment_ = SQL_NULL_HENV;
  SQLHDBC connection_ = SQL_NULL_HDBC;
};

class BareStatement {
 public:
  explicit BareStatement(const Bare& connection) {
    SQLAllocHandle(SQL_HANDLE_STMT, connection.get(), &statement_);
  }
  ~BareStatement() { SQLFreeHandle(SQL_HANDLE_STMT, statement_); }
  BareStatement(const BareStatement&) = delete;
  BareStatement& operator=(const BareStatement&) = delete;

  void Execute(std::string text) {
    const SQLRETURN result = SQLExecDirect(
        statement_, reinterpret_cast<SQLCHAR*>(text.data()), SQL_NTS);
    Require(SQL_SUCCEEDED(result) || result == SQL_NO_DATA, text.c_str());
  }
  SQLHSTMT get() const { return statement_; }

 private:
  SQLHSTMT statement_ = SQL_NULL_HSTMT;
};

// A row as a program without the library has it.
struct PlainRow {
  SQLINTEGER id;
  SQLBIGINT big;
  double price;
  std::array<char, 51> name;
  std::array<char, 51> city;
  SQLSMALLINT code;
  unsigned char flag;
  double weight;
  SQL_TIMESTAMP_STRUCT at;
  std::array<char, 51> note;
};

struct BoundColumn {
  SQLSMALLINT c_type;
  SQLSMALLINT odbc_type;
  SQLULEN size;
  std::size_t offset;
  std::size_t width;
};

#define KIV_COLUMN(c_type, odbc_type, size, member)      \
  {                                                      \
    c_type, odbc_type, size, offsetof(PlainRow, member), \
        sizeof(PlainRow::member)                         \
  }
constexpr BoundColumn kBound[] = {
    KIV_COLUMN(SQL_C_SLONG, SQL_INTEGER, 10, id),
    KIV_COLUMN(SQL_C_SBIGINT, SQL_BIGINT, 19, big),
    KIV_COLUMN(SQL_C_DOUBLE, SQL_DOUBLE, 15, price),
    KIV_COLUMN(SQL_C_CHAR, SQL_VARCHAR, 50, name),
    KIV_COLUMN(SQL_C_CHAR, SQL_VARCHAR, 50, city),
    KIV_COLUMN(SQL_C_SSHORT, SQL_SMALLINT, 5, code),
    KIV_COLUMN(SQL_C_BIT, SQL_BIT, 1, flag),
    KIV_COLUMN(SQL_C_DOUBLE, SQL_DOUBLE, 15, weight),
    KIV_COLUMN(SQL_C_TYPE_TIMESTAMP, SQL_TYPE_TIMESTAMP, 23, at),
    KIV_COLUMN(SQL_C_CHAR, SQL_VARCHAR, 50, note)};
#undef KIV_COLUMN

void SetText(std::array<char, 51>& to, const char* format, int number) {
  std::snprintf(to.data(), to.size(), format, number);
}

PlainRow RowOf(int number) {
  PlainRow row{};
  row.id = number;
  row.big = number * 1000000007LL;
  row.price = number * 0.37;
  SetText(row.name, "customer number %d", number);
  SetText(row.city, "a city of %d", number % 1000);
  row.code = static_cast<SQLSMALLINT>(number % 30000);
  row.flag = number % 2;
  row.weight = number / 7.0;
  row.at = {static_cast<SQLSMALLINT>(2004 + number % 10), 2,        28, 12, 30,
            static_cast<SQLUSMALLINT>(number % 60),       125000000};
  SetText(row.note, "note %d", number);
  return row;
}

// Is rolled back where it is not committed.
class BareTransaction {
 public:
  explicit BareTransaction(const Bare& connection)
      : connection_(connection.get()) {
    Switch(SQL_AUTOCOMMIT_OFF);
  }
  ~BareTransaction() {
    SQLEndTran(SQL_HANDLE_DBC, connection_, SQL_ROLLBACK);
    Switch(SQL_AUTOCOMMIT_ON);
  }
  BareTransaction(const BareTransaction&) = delete;
  BareTransaction& operator=(const BareTransaction&) = delete;

  void Commit() {
    Require(SQL_SUCCEEDED(SQLEndTran(SQL_HANDLE_DBC, connection_, SQL_COMMIT)),
            "bare commit");
  }

 private:
  void Switch(std::size_t to) {
    SQLSetConnectAttr(connection_, SQL_ATTR_AUTOCOMMIT,
                      reinterpret_cast<void*>(to), 0);
  }

  const SQLHDBC connection_;
};

// In one transaction, with arrays of a column each. The driver parses the
// statement for every row: the shorter it is, the better, so it names no
// columns.
void InsertBare(const Bare& connection, const std::string& table,
                const std::vector<PlainRow>& rows) {
  BareTransaction transaction(connection);
  {
    BareStatement statement(connection);
    std::string text = "INSERT INTO " + table + " VALUES (?,?,?,?,?,?,?,?,?,?)";
    SQLPrepare(statement.get(), reinterpret_cast<SQLCHAR*>(text.data()),
               SQL_NTS);
    SQLSetStmtAttr(statement.get(), SQL_ATTR_PARAMSET_SIZE,
                   reinterpret_cast<void*>(std::size_t{kBlock}), 0);
    std::vector<std::vector<char>> values;
    std::vector<std::vector<SQLLEN>> sizes(
        std::size(kBound), std::vector<SQLLEN>(kBlock, SQL_NTS));
    for (const BoundColumn& column : kBound)
      values.emplace_back(column.width * kBlock);
    for (std::size_t i = 0; i < std::size(kBound); ++i)
      SQLBindParameter(statement.get(), static_cast<SQLUSMALLINT>(i + 1),
                       SQL_PARAM_INPUT, kBound[i].c_type, kBound[i].odbc_type,
                       kBound[i].size, 3, values[i].data(),
                       static_cast<SQLLEN>(kBound[i].width), sizes[i].data());
    for (std::size_t first = 0; first < rows.size(); first += kBlock) {
      for (std::size_t i = 0; i < std::size(kBound); ++i)
        for (std::size_t row = 0; row < kBlock; ++row)
          std::memcpy(values[i].data() + row * kBound[i].width,
                      reinterpret_cast<const char*>(&rows[first + row]) +
                          kBound[i].offset,
                      kBound[i].width);
      Require(SQL_SUCCEEDED(SQLExecute(statement.get())), "bare insertion");
    }
  }
  transaction.Commit();
}

// --- The data ----------------------------------------------------------------

std::vector<PlainRow> Rows(std::size_t count) {
  std::vector<PlainRow> rows;
  for (std::size_t i = 0; i < count; ++i)
    rows.push_back(RowOf(static_cast<int>(i)));
  return rows;
}

// A file on the disk that the program runs on, with tables. A process has one.
class Database {
 public:
  // Empty ones: t0, t1 and so on.
  static void MakeTables(std::size_t count) {
    static const Database database(count);
  }
  // In t0.
  static void MakeRows(std::size_t count) {
    static const bool is_made = [count] {
      MakeTables(1);
      InsertBare(Bare(), "t0", Rows(count));
      return true;
    }();
    static_cast<void>(is_made);
  }

 private:
  explicit Database(std::size_t tables) {
    fs::remove(kFile);
    const auto connection = kiv::store::Factory().CreateConnection(kOurText);
    Require(connection != nullptr && connection->Create("", ""), "database");
    const Bare bare;
    BareTransaction transaction(bare);
    for (std::size_t i = 0; i < tables; ++i)
      BareStatement(bare).Execute("CREATE TABLE t" + std::to_string(i) + ' ' +
                                  kColumns);
    transaction.Commit();
  }
  ~Database() { fs::remove(kFile); }
};

std::shared_ptr<kiv::store::Connection> Open() {
  auto connection = kiv::store::Factory().CreateConnection(kOurText);
  Require(connection != nullptr && connection->Open("", ""), "our connection");
  return connection;
}

// --- Reading -----------------------------------------------------------------

void ReadOurs(benchmark::State& state, std::size_t row_count) {
  Database::MakeRows(row_count);
  const auto connection = Open();
  for (auto _ : state) {
    const auto rows = connection->GetTable("t0")->OpenRecordset();
    const auto fields = rows->GetFields();
    std::vector<std::shared_ptr<kiv::store::Field>> columns;
    for (long i = 0; i < fields->Count(); ++i)
      columns.push_back(fields->Item(i));
    std::size_t count = 0;
    for (; !rows->IsEOF(); rows->MoveNext(), ++count)
      for (const auto& column : columns)
        benchmark::DoNotOptimize(column->Value().llVal);
    Require(count == row_count, "rows read");
  }
}

void ReadBare(benchmark::State& state, std::size_t row_count) {
  Database::MakeRows(row_count);
  const Bare connection;
  for (auto _ : state) {
    BareStatement statement(connection);
    std::vector<PlainRow> block(kBlock);
    std::vector<std::vector<SQLLEN>> sizes(std::size(kBound),
                                           std::vector<SQLLEN>(kBlock));
    SQLULEN fetched = 0;
    SQLSetStmtAttr(statement.get(), SQL_ATTR_ROW_BIND_TYPE, nullptr, 0);
    SQLSetStmtAttr(statement.get(), SQL_ATTR_ROW_ARRAY_SIZE,
                   reinterpret_cast<void*>(std::size_t{kBlock}), 0);
    SQLSetStmtAttr(statement.get(), SQL_ATTR_ROWS_FETCHED_PTR, &fetched, 0);
    std::vector<std::vector<char>> values;
    for (const BoundColumn& column : kBound)
      values.emplace_back(column.width * kBlock);
    for (std::size_t i = 0; i < std::size(kBound); ++i)
      SQLBindCol(statement.get(), static_cast<SQLUSMALLINT>(i + 1),
                 kBound[i].c_type, values[i].data(),
                 static_cast<SQLLEN>(kBound[i].width), sizes[i].data());
    statement.Execute("SELECT * FROM t0");
    std::size_t count = 0;
    while (SQL_SUCCEEDED(SQLFetch(statement.get()))) {
      count += fetched;
      benchmark::DoNotOptimize(values);
    }
    Require(count == row_count, "bare rows");
  }
}

// --- Writing -----------------------------------------------------------------

template <typename T>
void SetField(void* record, std::size_t index, T value) {
  Require(dm::Object(dm_o_struct_field_at(record, index)).Write(value),
          "a field");
}

std::vector<Any> Records(std::size_t count) {
  const Any type = Any::Take(dm_o_struct_metadata_new());
  const std::pair<const char*, void*> fields[] = {
      {"id", dm_o_int32_metadata()},
      {"big", dm_o_int64_metadata()},
      {"price", dm_o_double_metadata()},
      {"name", dm_o_ansi_string_metadata()},
      {"city", dm_o_ansi_string_metadata()},
      {"code", dm_o_int16_metadata()},
      {"flag", dm_o_bool_metadata()},
      {"weight", dm_o_double_metadata()},
      {"at", dm_o_datetime_metadata()},
      {"note", dm_o_ansi_string_metadata()}};
  for (const auto& [name, field] : fields)
    dm_o_struct_metadata_append(type.get(), name, field);
  std::vector<Any> records;
  for (const PlainRow& row : Rows(count)) {
    records.push_back(Any::Take(dm_o_instance_from_metadata(type.get())));
    void* const record = records.back().get();
    SetField(record, 0, row.id);
    SetField(record, 1, static_cast<long long>(row.big));
    SetField(record, 2, row.price);
    dm_o_string_assign(dm_o_struct_field_at(record, 3), row.name.data());
    dm_o_string_assign(dm_o_struct_field_at(record, 4), row.city.data());
    SetField(record, 5, row.code);
    SetField(record, 6, row.flag != 0);
    SetField(record, 7, row.weight);
    SetField(record, 8,
             kiv::DateTime(row.at.year, row.at.month, row.at.day, row.at.hour,
                           row.at.minute, row.at.second, 125));
    dm_o_string_assign(dm_o_struct_field_at(record, 9), row.note.data());
  }
  return records;
}

constexpr char kEmptying[] = "DELETE FROM t0";

void WriteOurs(benchmark::State& state, std::size_t row_count) {
  Database::MakeTables(1);
  const std::vector<Any> records = Records(row_count);
  const auto rows = kiv::store::Rows::On(Open());
  for (auto _ : state) {
    Require(rows->Insert("t0", records), "our insertion");
    state.PauseTiming();
    Require(rows->Execute(kEmptying) >= 0, "our emptying");
    state.ResumeTiming();
  }
}

void WriteBare(benchmark::State& state, std::size_t row_count) {
  Database::MakeTables(1);
  const std::vector<PlainRow> rows = Rows(row_count);
  const Bare connection;
  for (auto _ : state) {
    InsertBare(connection, "t0", rows);
    state.PauseTiming();
    BareStatement(connection).Execute(kEmptying);
    state.ResumeTiming();
  }
}

// --- Opening -----------------------------------------------------------------

void LookUpOurs(benchmark::State& state, std::size_t tables) {
  Database::MakeTables(tables);
  for (auto _ : state) Require(Open()->IsExistTable("t0"), "our table");
}

void LookUpBare(benchmark::State& state, std::size_t tables) {
  Database::MakeTables(tables);
  for (auto _ : state) {
    const Bare connection;
    BareStatement statement(connection);
    std::string name = "t0", kind = "TABLE";
    SQLTables(statement.get(), nullptr, 0, nullptr, 0,
              reinterpret_cast<SQLCHAR*>(name.data()), SQL_NTS,
              reinterpret_cast<SQLCHAR*>(kind.data()), SQL_NTS);
    Require(SQL_SUCCEEDED(SQLFetch(statement.get())), "bare table");
  }
}

// Whole blocks, for the peer.
bench::Growth ByRows(std::size_t compared) {
  return bench::Curve{"rows", compared, {kBlock, 5'000, 20'000}};
}

const bool reading = bench::Compare(
    {"store/recordset", "rows/s", bench::Size, "bare ODBC", 1 / 1.5},
    ByRows(200'000), ReadOurs, ReadBare);
const bool writing = bench::Compare(
    {"store/batch_insert", "rows/s", bench::Size, "bare ODBC", 1 / 1.3},
    ByRows(100'000), WriteOurs, WriteBare);
const bool opening = bench::Compare(
    {"store/open_lookup", "opens/s", bench::One, "bare ODBC", 1 / 2.0},
    bench::Curve{"tables of the database", 2, {20, 200, 2'000}}, LookUpOurs,
    LookUpBare);

}  // namespace
