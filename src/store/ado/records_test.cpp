#include "store/ado/records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <set>
#include <tuple>

#include "kiv/date_time.h"
#include "store/ado/column_types.h"
#include "store/ado/database_testing.h"
#include "store/ado/row_values.h"

namespace kiv::store::ado {
namespace {

using ::testing::HasSubstr;

template <typename T>
void Set(const AnyObject& record, const char* name, T value) {
  ASSERT_TRUE(dm::Object(FieldOf(record, name)).Write(value));
}
// A text, or bytes.
void Set(const AnyObject& record, const char* name, const std::string& value) {
  void* const field = FieldOf(record, name);
  ASSERT_TRUE(
      dm::Object(field).GetTypeId() == DM_STRING
          ? dm_o_copy_from(field, &value)
          : dm_o_vector_append_values(field, value.data(), value.size()));
}
std::string TextIn(const AnyObject& record, const char* name) {
  void* const field = FieldOf(record, name);
  if (dm::Object(field).GetTypeId() == DM_STRING)
    return {dm_o_string_text(field), dm_o_string_size(field)};
  const std::size_t count = dm_o_vector_count(field);
  if (count == 0) return "";
  return {static_cast<const char*>(dm_o_vector_at(field, 0)), count};
}

AnyObject Whole(std::int32_t value) {
  auto object = AnyObject::Take(dm_o_new(DM_SIGN_DEFAULT + DM_INT32, nullptr));
  EXPECT_TRUE(object.object().Write(value));
  return object;
}
AnyObject Text(const std::string& value) {
  auto object = AnyObject::Take(dm_o_new(DM_SIGN_DEFAULT + DM_STRING, nullptr));
  EXPECT_TRUE(dm_o_copy_from(object.get(), &value));
  return object;
}

class Records : public DatabaseTest {
 protected:
  std::vector<AnyObject> ReadAll(const std::string& table,
                                 const RecordType& type) {
    Recordset rows;
    rows.OpenTable(connection_, table);
    std::vector<AnyObject> records;
    for (; !rows.IsEof(); rows.MoveNext()) {
      records.push_back(type.New());
      rows.Fill(records.back().get());
    }
    return records;
  }
  int Count(const std::string& table) {
    const auto rows = OpenQuery(
        *connection_, "SELECT cast(count(*) AS integer) FROM " + table, {});
    EXPECT_TRUE(rows->Next());
    return rows->Value(0).lVal;
  }
  // What it says against the insertion; empty when there is nothing.
  std::string InsertFailure(const std::string& table,
                            const std::vector<AnyObject>& records) {
    return FailureOf([&] { InsertRecords(connection_, table, records); });
  }
};

// Of the one field.
template <typename T>
std::string BitsOf(const AnyObject& record) {
  if constexpr (std::is_same_v<T, std::string>) {
    return TextIn(record, "v");
  } else {
    const T value = Get<T>(record, "v");
    return {reinterpret_cast<const char*>(&value), sizeof value};
  }
}

class Extremes : public Records {
 protected:
  // Writes a record of each value and reads it back.
  template <typename T>
  void RoundTrip(DataType column, void* field_type,
                 const std::vector<T>& values, long size = 0) {
    const RecordType type({{"v", field_type}});
    MakeTable("extremes", {{"v", column, size}});
    std::vector<AnyObject> records;
    for (const T& value : values) {
      records.push_back(type.New());
      Set(records.back(), "v", value);
    }
    InsertRecords(connection_, "extremes", records);
    const auto read = ReadAll("extremes", type);
    ASSERT_EQ(read.size(), values.size());
    for (std::size_t i = 0; i < values.size(); ++i)
      EXPECT_TRUE(BitsOf<T>(read[i]) == BitsOf<T>(records[i])) << i;
    Catalog(connection_).DeleteTable("extremes");
  }
};

TEST_P(Extremes, OfWholeNumbersBoolsGuidsAndDates) {
  using Int32 = std::numeric_limits<std::int32_t>;
  using Int64 = std::numeric_limits<std::int64_t>;
  RoundTrip<bool>(adBoolean, dm_o_bool_metadata(), {false, true});
  RoundTrip<std::uint8_t>(adUnsignedTinyInt, dm_o_byte_metadata(),
                          {0, 127, 128, 255});
  RoundTrip<std::int16_t>(adSmallInt, dm_o_int16_metadata(), {-32768, 32767});
  RoundTrip<std::int32_t>(adInteger, dm_o_int32_metadata(),
                          {Int32::min(), -1, 0, Int32::max()});
  RoundTrip<std::int64_t>(adBigInt, dm_o_int64_metadata(),
                          {Int64::min(), -1, 0, Int64::max()});
  RoundTrip<GUID>(
      adGUID, dm_o_guid_metadata(),
      {{}, {0x01020304, 0x0506, 0xF708, {9, 10, 11, 12, 13, 14, 15, 255}}});
  RoundTrip<DateTime>(
      adDBTimeStamp, dm_o_datetime_metadata(),
      {DateTime(0), DateTime(10), DateTime(1899, 12, 29, 23, 59, 59, 999),
       DateTime(1899, 12, 30, 0, 0, 0, 0),
       DateTime(DateTime::MaxValue / 10 * 10)});
}

TEST_P(Extremes, OfRealNumbers) {
  using D = std::numeric_limits<double>;
  using F = std::numeric_limits<float>;
  std::vector<double> doubles{0,          0.1,
                              1.0 / 3,    D::max(),
                              D::min(),   -D::denorm_min(),
                              1e22,       -D::infinity(),
                              1234567.89, 9007199254740993.0};
  std::mt19937_64 random(7);
  while (doubles.size() < 500) {
    const auto value = std::bit_cast<double>(random());
    if (std::isfinite(value)) doubles.push_back(value);
  }
  RoundTrip<double>(adDouble, dm_o_double_metadata(), doubles);
  RoundTrip<float>(adSingle, dm_o_float_metadata(),
                   {0, 0.1F, F::lowest(), F::min(), F::denorm_min(),
                    F::infinity(), 16777217.0F});
}

// What SQLite keeps of them: no sign of a zero, and NULL for NaN, which comes
// back as one.
TEST_P(Extremes, OfZerosAndNumbersThatAreNone) {
  const RecordType type({{"v", dm_o_double_metadata()}});
  MakeTable("t", {{"v", adDouble}});
  const std::vector<AnyObject> records{type.New(), type.New()};
  Set(records[0], "v", -0.0);
  Set(records[1], "v", std::nan(""));
  InsertRecords(connection_, "t", records);
  const auto read = ReadAll("t", type);
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(std::signbit(Get<double>(read[0], "v")), !IsSqlite());
  EXPECT_TRUE(std::isnan(Get<double>(read[1], "v")));
}

// PostgreSQL keeps microseconds, SQLite every tick.
TEST_P(Extremes, OfTicksAreKeptOrCut) {
  const RecordType type({{"v", dm_o_datetime_metadata()}});
  MakeTable("t", {{"v", adDBTimeStamp}});
  const AnyObject record = type.New();
  Set(record, "v", DateTime(DateTime::MaxValue));
  const InsertReport report = InsertRecords(connection_, "t", {record});
  EXPECT_EQ(report.cut_dates, IsSqlite() ? 0U : 1U);
  EXPECT_EQ(Get<DateTime>(ReadAll("t", type).at(0), "v").Ticks(),
            IsSqlite() ? DateTime::MaxValue : DateTime::MaxValue / 10 * 10);
}

TEST_P(Extremes, OfTextsAndBytes) {
  std::string every_byte, fifty, long_text;
  for (int i = 0; i < 256; ++i) every_byte += static_cast<char>(i);
  for (int i = 0; i < 50; ++i) fifty += "\xB6\xA9";
  for (int i = 0; i < 100000; ++i) long_text += i % 2 == 0 ? "\xB5\xA5" : "'\"";
  // 乗 and €: a "\" as second byte, and one byte for a character.
  RoundTrip<std::string>(adVarWChar, dm_o_ansi_string_metadata(),
                         {"", fifty, "'; --", "\x81\x5C\x80", " blanks "}, 50);
  RoundTrip<std::string>(adLongVarWChar, dm_o_ansi_string_metadata(),
                         {"", long_text, "line\r\nfeed\ttab", " "});
  RoundTrip<std::string>(
      adLongVarBinary, dm_o_binary_metadata(),
      {"", every_byte, std::string(300000, '\0'), std::string(1, '\0'), "x"});
}

KIV_ON_EVERY_DATABASE(Extremes);

TEST_P(Records, MissingValuesAreNullBothWays) {
  const RecordType type({{"text", dm_o_object_pointer_metadata()},
                         {"at", dm_o_datetime_metadata()}});
  MakeTable("t", {{"text", adVarWChar, 20}, {"at", adDBTimeStamp}});
  const std::vector<AnyObject> records{type.New(), type.New()};
  Set(records[0], "at", DateTime());
  Set(records[1], "at", DateTime(0));
  const AnyObject text = Text(kOrders);
  ASSERT_TRUE(dm_o_object_pointer_set(FieldOf(records[1], "text"), text.get()));
  InsertRecords(connection_, "t", records);
  EXPECT_EQ(Count("t WHERE text IS NULL AND at IS NULL"), 1);
  const auto read = ReadAll("t", type);
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(dm_o_object_pointer_get(FieldOf(read[0], "text")), nullptr);
  EXPECT_EQ(Get<DateTime>(read[0], "at"), DateTime());
  EXPECT_STREQ(
      dm_o_string_text(dm_o_object_pointer_get(FieldOf(read[1], "text"))),
      kOrders);
}

TEST_P(Records, AFieldWithoutRoomForNullOrForTheValueIsRefused) {
  MakeTable("t", {{"n", adInteger}, {"big", adBigInt}});
  const AnyObject record =
      RecordType({{"n", dm_o_int32_metadata()}, {"big", dm_o_int16_metadata()}})
          .New();
  Execute("INSERT INTO t VALUES (NULL, 1), (1, 70000)");
  Recordset rows;
  rows.OpenTable(connection_, "t");
  for (const char* const reason : {"'n' does not fit", "'big' does not fit"}) {
    EXPECT_THAT(FailureOf([&] { rows.Fill(record.get()); }), HasSubstr(reason));
    rows.MoveNext();
  }
}

TEST_P(Records, ABatchOfManyBlocksArrivesWhole) {
  const RecordType type({{kOrders, dm_o_int32_metadata()},
                         {"text", dm_o_ansi_string_metadata()}});
  MakeTable("many", {{"TEXT", adLongVarWChar}, {kOrders, adInteger}});
  // Now and then a block has to make more room.
  const auto text_of = [](int i) {
    return std::string(i % 600 == 599 ? 9000 : i % 40, 'x');
  };
  std::vector<AnyObject> records;
  for (int i = 0; i < 1777; ++i) {
    records.push_back(type.New());
    Set(records.back(), kOrders, i);
    Set(records.back(), "text", text_of(i));
  }
  InsertRecords(connection_, "many", records);
  std::set<int> seen;
  for (const AnyObject& record : ReadAll("many", type)) {
    const auto i = Get<std::int32_t>(record, kOrders);
    ASSERT_EQ(TextIn(record, "text"), text_of(i)) << i;
    seen.insert(i);
  }
  EXPECT_EQ(seen.size(), records.size());
}

TEST_P(Records, ABatchIsAllOrNothing) {
  Execute("CREATE TABLE t (n integer PRIMARY KEY)");
  RecordType type({{"n", dm_o_int32_metadata()}});
  const auto insert = [&](const std::vector<int>& values) {
    std::vector<AnyObject> records;
    for (const int value : values) {
      records.push_back(type.New());
      Set(records.back(), "n", value);
    }
    return InsertFailure("t", records);
  };
  EXPECT_EQ(insert({1, 2}), "");
  EXPECT_NE(insert({3, 4, 2, 5}), "");
  EXPECT_FALSE(connection_->IsInTransaction());
  EXPECT_EQ(Count("t"), 2);
  // What came before in the caller's own transaction stays.
  connection_->BeginTrans();
  EXPECT_EQ(insert({6}), "");
  std::vector<int> blocks(60);
  std::iota(blocks.begin(), blocks.end(), 100);
  blocks.push_back(1);
  EXPECT_NE(insert(blocks), "");
  EXPECT_TRUE(connection_->IsInTransaction());
  EXPECT_EQ(insert({8}), "");
  connection_->CommitTrans();
  EXPECT_EQ(Count("t"), 4);
}

TEST_P(Records, WhatCannotBeInsertedIsNamed) {
  MakeTable("t", {{"n", adInteger}, {"text", adVarWChar, 9}});
  const AnyObject other = RecordType({{"m", dm_o_int32_metadata()}}).New();
  const AnyObject with_nul =
      RecordType({{"text", dm_o_ansi_string_metadata()}}).New();
  Set(with_nul, "text", std::string("a\0b", 3));
  const std::tuple<const char*, std::vector<AnyObject>, const char*> rows[] = {
      {"t", {other}, "no column 'm'"},
      {"x", {other}, "no table 'x'"},
      {"t", {with_nul, other}, "not of one type"},
      {"t", {with_nul}, "NUL"},
      {"t", {Whole(1)}, "no struct"},
      {"t", {RecordType({}).New()}, "no fields"}};
  for (const auto& [table, records, reason] : rows)
    EXPECT_THAT(InsertFailure(table, records), HasSubstr(reason));
  EXPECT_EQ(InsertFailure("t", {}), "");
  EXPECT_EQ(Count("t"), 0);
}

TEST_P(Records, ParametersAreValuesAndNeverStatement) {
  MakeTable("t", {{"n", adInteger}, {"text", adVarWChar, 50}});
  const std::string hostile = "x'); DROP TABLE t; --";
  const std::string insert = "INSERT INTO t VALUES (?, ?)";
  EXPECT_EQ(Execute(insert, {Whole(1), Text(hostile)}), 1);
  EXPECT_EQ(Execute(insert, {Whole(2), AnyObject()}), 1);
  const auto rows =
      OpenQuery(*connection_,
                "SELECT text, n AS v2, n AS " + std::string(kOrders) +
                    " FROM t WHERE text = ? -- end",
                {Text(hostile)});
  EXPECT_EQ(rows->Info(1).name, "v2");
  EXPECT_EQ(rows->Info(2).name, kOrders);
  ASSERT_TRUE(rows->Next());
  EXPECT_STREQ(dm_o_string_text(ObjectOf(*rows, 0).get()), hostile.c_str());
  EXPECT_FALSE(rows->Next());
  EXPECT_EQ(Execute("UPDATE t SET n = n + ?", {Whole(10)}), 2);
  EXPECT_NE(FailureOf([&] {
              OpenQuery(*connection_, "DELETE FROM t WHERE n = ?", {Whole(99)});
            }),
            "");
}

KIV_ON_EVERY_DATABASE(Records);

class SqliteRows : public DatabaseTest {
 protected:
  VARIANT First(const std::string& query) {
    const auto rows = OpenQuery(*connection_, query, {});
    EXPECT_TRUE(rows->Next());
    return rows->Value(0);
  }
};

// Its columns hold values of any kind; none may be turned into another one.
TEST_P(SqliteRows, AValueThatIsNotOfItsColumnsTypeIsNotChanged) {
  MakeTable("t",
            {{"n", adInteger}, {"flag", adBoolean}, {"at", adDBTimeStamp}});
  Execute("INSERT INTO t VALUES ('abc', 'maybe', 'noon')");
  Execute("INSERT INTO t VALUES (1099511627776, 2, '2004-01-02')");
  Recordset rows;
  rows.OpenTable(connection_, "t");
  for (long i = 0; i < 3; ++i) {
    VARIANT value = rows.Value(i);
    EXPECT_EQ(value.vt, VT_BSTR);
    VariantClear(&value);
  }
  rows.MoveNext();
  EXPECT_EQ(rows.Value(0).llVal, 1099511627776);
  EXPECT_EQ(rows.Value(1).boolVal, VARIANT_TRUE);
  EXPECT_EQ(rows.Value(2).vt, VT_DATE);
  EXPECT_EQ(
      First("SELECT 1.0 / 3 AS x, 'text' UNION ALL SELECT 2.5, ''").dblVal,
      1.0 / 3);
  EXPECT_EQ(First("SELECT 7 * 6").lVal, 42);
}

// The driver gives no rows of such a statement; it must not have run by then.
TEST_P(SqliteRows, AQueryThatChangesSomethingIsRefusedBeforeItDoes) {
  MakeTable("t", {{"n", adInteger}});
  const auto failure = [&](const char* query) {
    return FailureOf([&] { OpenQuery(*connection_, query, {}); });
  };
  EXPECT_THAT(failure("INSERT INTO t VALUES (1) RETURNING n"),
              HasSubstr("gives no rows"));
  EXPECT_EQ(First("SELECT count(*) FROM t").lVal, 0);
  EXPECT_EQ(First("PRAGMA user_version").lVal, 0);
  // What is wrong with it comes first.
  EXPECT_THAT(failure("SELCT n FROM t"), HasSubstr("syntax error"));
}

// Together, or even alone, they are more values than a statement takes.
TEST_P(SqliteRows, ABatchForManyColumnsArrivesWhole) {
  for (const int count : {150, 1200}) {
    const RecordType type({});
    const std::string table = "t" + std::to_string(count);
    std::string columns;
    for (int i = 0; i < count; ++i) {
      const std::string name = "c" + std::to_string(i);
      dm_o_struct_metadata_append(type.metadata(), name.c_str(),
                                  dm_o_int32_metadata());
      columns += (i == 0 ? "(" : ", ") + name + " integer";
    }
    Execute("CREATE TABLE " + table + columns + ")");
    std::vector<AnyObject> records;
    for (int row = 0; row < 50; ++row) {
      records.push_back(type.New());
      Set(records.back(), ("c" + std::to_string(count - 1)).c_str(), row);
    }
    InsertRecords(connection_, table, records);
    Recordset rows;
    rows.OpenTable(connection_, table);
    for (int row = 0; row < 50; ++row, rows.MoveNext())
      ASSERT_EQ(rows.Value(count - 1).lVal, row);
    EXPECT_TRUE(rows.IsEof());
  }
}

INSTANTIATE_TEST_SUITE_P(Database, SqliteRows, ::testing::Values(kDatabases[0]),
                         [](const auto& database) {
                           return database.param.name;
                         });

TEST(RowValues, AreNumbersOfOneSignAndDatesWithOrWithoutSeconds) {
  EXPECT_EQ(IntegerOf(RowCursor::Form::IntegerText, " +5 "), 5);
  EXPECT_EQ(IntegerOf(RowCursor::Form::IntegerText, "+-5"), std::nullopt);
  EXPECT_EQ(TicksOf(RowCursor::Form::DateText, " 2004-01-31 09:05 "),
            DateTime(2004, 1, 31, 9, 5, 0, 0).Ticks());
}

}  // namespace
}  // namespace kiv::store::ado
