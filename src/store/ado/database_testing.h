#ifndef STORE_ADO_DATABASE_TESTING_H_
#define STORE_ADO_DATABASE_TESTING_H_

#include <gtest/gtest.h>

#include <clocale>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "dm/data_runtime.h"
#include "dm/dm.h"
#include "dm/object.h"
#include "port/test_folder.h"
#include "store/ado/ado_objects.h"
#include "store/ado/connection_text.h"
#include "store/ado/records.h"
#include "testing/postgres_server.h"

namespace kiv::store::ado {

// \xB6\xA9\xB5\xA5 is 订单, in the local encoding.
inline constexpr char kOrders[] = "\xB6\xA9\xB5\xA5";

inline std::string SqliteText(const std::string& file) {
  return "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + file;
}

// A text inside of another, in single quotes.
inline std::string InQuotes(const std::string& text) {
  std::string quoted = "'";
  for (const char byte : text) quoted.append(byte == '\'' ? 2 : 1, byte);
  return quoted + "'";
}

// Of the PostgreSQL driver with that name.
inline std::string PostgresText(
    const testing::PostgresServer& server, const std::string& driver,
    const std::string& password = testing::PostgresServer::kPassword) {
  ConnectionText odbc;
  odbc.Add("Driver", driver);
  odbc.Add("Servername", server.Host());
  odbc.Add("Port", std::to_string(testing::PostgresServer::Port()));
  odbc.Add("Database", "postgres");
  odbc.Add("UID", testing::PostgresServer::kUser);
  odbc.Add("PWD", password);
  return "Provider=MSDASQL;Extended Properties=" + InQuotes(odbc.ToOdbc());
}

struct DatabaseCase {
  const char* name;
  // Of PostgreSQL; null is SQLite.
  const char* driver;
  const char* locale;
};

// A struct type out of names and types, and its objects.
class RecordType {
 public:
  RecordType(std::initializer_list<std::pair<const char*, void*>> fields)
      : metadata_(AnyObject::Take(dm_o_struct_metadata_new())) {
    for (const auto& [name, type] : fields)
      EXPECT_TRUE(dm_o_struct_metadata_append(metadata_.get(), name, type));
  }
  AnyObject New() const {
    return AnyObject::Take(dm_o_instance_from_metadata(metadata_.get()));
  }
  void* metadata() const { return metadata_.get(); }

 private:
  AnyObject metadata_;
};

inline void* FieldOf(const AnyObject& record, const char* name) {
  return dm_o_struct_field_at(
      record.get(),
      static_cast<std::size_t>(dm_o_struct_field_index(record.get(), name)));
}
template <typename T>
T Get(const AnyObject& record, const char* name) {
  T value{};
  EXPECT_TRUE(dm::Object(FieldOf(record, name)).Read(value)) << name;
  return value;
}

// One suite, each database, both locales: what a database holds must not depend
// on the process's.
inline const DatabaseCase kDatabases[] = {
    {"Sqlite", nullptr, "C"},
    {"SqliteUtf8", nullptr, "C.UTF-8"},
    {"PostgresWide", "PostgreSQL Unicode", "C"},
    {"PostgresWideUtf8", "PostgreSQL Unicode", "C.UTF-8"},
    {"PostgresNarrow", "PostgreSQL ANSI", "C"},
    {"PostgresNarrowUtf8", "PostgreSQL ANSI", "C.UTF-8"}};

inline void PrintTo(const DatabaseCase& database, std::ostream* out) {
  *out << database.name;
}

class DatabaseTest : public ::testing::TestWithParam<DatabaseCase> {
 protected:
  void SetUp() override {
    if (GetParam().driver != nullptr && !testing::PostgresServer::IsInstalled())
      GTEST_SKIP() << testing::PostgresServer::kWhyNot;
    ASSERT_NE(std::setlocale(LC_ALL, GetParam().locale), nullptr);
    ASSERT_TRUE(StartData());
    is_started_ = true;
    if (IsSqlite()) {
      text_ = SqliteText("test.db");
      Catalog::Create(*connection_, text_, "", "");
    } else {
      text_ = PostgresText(testing::SharedPostgres(), GetParam().driver);
      connection_->Open(text_, "", "");
      for (const char* const statement :
           {"DROP SCHEMA public CASCADE", "CREATE SCHEMA public"})
        Execute(statement);
    }
  }
  void TearDown() override {
    connection_.reset();
    if (is_started_) StopData();
    std::setlocale(LC_ALL, "C");
  }

  static bool IsSqlite() { return GetParam().driver == nullptr; }

  struct ColumnSpec {
    const char* name;
    DataType type;
    long size = 0;
  };
  std::shared_ptr<Table> MakeTable(const std::string& name,
                                   const std::vector<ColumnSpec>& columns) {
    auto table = Table::Create();
    table->SetName(name);
    for (const ColumnSpec& column : columns)
      table->AppendColumn(column.name, column.type, column.size);
    Catalog(connection_).AppendTable(table);
    return table;
  }

  long long Execute(const std::string& statement,
                    const std::vector<AnyObject>& values = {}) {
    return ExecuteStatement(*connection_, statement, values);
  }

  // What the failure says; empty when there is none.
  template <typename Call>
  static std::string FailureOf(Call&& call) {
    try {
      call();
    } catch (const _com_error& error) {
      return DescriptionOf(error);
    }
    return {};
  }
  template <typename Call>
  static HRESULT CodeOf(Call&& call) {
    try {
      call();
    } catch (const _com_error& error) {
      return error.Error();
    }
    return 0;
  }

  const TestFolder folder_;
  std::string text_;
  std::shared_ptr<Connection> connection_ = std::make_shared<Connection>();

 private:
  bool is_started_ = false;
};

#define KIV_ON_EVERY_DATABASE(Suite)                    \
  INSTANTIATE_TEST_SUITE_P(                             \
      Database, Suite, ::testing::ValuesIn(kDatabases), \
      [](const auto& database) { return database.param.name; })

}  // namespace kiv::store::ado

#endif  // STORE_ADO_DATABASE_TESTING_H_
