#include "store/ado/records.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

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
void SetText(const AnyObject& record, const char* name,
             const std::string& text) {
  ASSERT_TRUE(dm_o_copy_from(FieldOf(record, name), &text));
}
void SetBytes(const AnyObject& record, const char* name,
              const std::string& bytes) {
  ASSERT_TRUE(dm_o_vector_append_values(FieldOf(record, name), bytes.data(),
                                        bytes.size()));
}

std::string GetText(const AnyObject& record, const char* name) {
  const void* const field = FieldOf(record, name);
  return {dm_o_string_text(field), dm_o_string_size(field)};
}
std::string GetBytes(const AnyObject& record, const char* name) {
  const void* const field = FieldOf(record, name);
  const std::size_t count = dm_o_vector_count(field);
  return count == 0
             ? std::string()
             : std::string(static_cast<const char*>(dm_o_vector_at(field, 0)),
                           count);
}

AnyObject Whole(std::int32_t value) {
  AnyObject object =
      AnyObject::Take(dm_o_new(DM_SIGN_DEFAULT + DM_INT32, nullptr));
  EXPECT_TRUE(object.object().Write(value));
  return object;
}
AnyObject Text(const std::string& value) {
  AnyObject object =
      AnyObject::Take(dm_o_new(DM_SIGN_DEFAULT + DM_STRING, nullptr));
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
  long long Count(const std::string& table) {
    const auto rows =
        OpenQuery(*connection_, "SELECT count(*) FROM " + table, {});
    EXPECT_TRUE(rows->Next());
    const VARIANT count = rows->Value(0);
    return count.vt == VT_I8 ? count.llVal : count.lVal;
  }
  // What it says against the insertion; empty when there is nothing.
  std::string InsertFailure(const std::string& table,
                            const std::vector<AnyObject>& records) {
    return FailureOf([&] { InsertRecords(connection_, table, records); });
  }
};

// --- Every type at its extremes ----------------------------------------------

template <typename T>
std::string BitsOf(T value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

class Extremes : public Records {
 protected:
  // Writes a record of each value and reads it back.
  template <typename T>
  void RoundTrip(DataType column, void* field_type,
                 const std::vector<T>& values) {
    RecordType type({{"n", dm_o_int32_metadata()}, {"v", field_type}});
    MakeTable("extremes", {{"n", adInteger}, {"v", column}});
    std::vector<AnyObject> records;
    for (std::size_t i = 0; i < values.size(); ++i) {
      records.push_back(type.New());
      Set(records.back(), "n", static_cast<std::int32_t>(i));
      Set(records.back(), "v", values[i]);
    }
    InsertRecords(connection_, "extremes", records);
    const auto read = ReadAll("extremes", type);
    ASSERT_EQ(read.size(), values.size());
    for (std::size_t i = 0; i < values.size(); ++i)
      EXPECT_EQ(BitsOf(Get<T>(read[i], "v")), BitsOf(values[i])) << i;
    Catalog(connection_).DeleteTable("extremes");
  }
};

TEST_P(Extremes, OfWholeNumbersBoolsGuidsAndDates) {
  RoundTrip<bool>(adBoolean, dm_o_bool_metadata(), {false, true});
  RoundTrip<std::uint8_t>(adUnsignedTinyInt, dm_o_byte_metadata(),
                          {0, 1, 127, 128, 255});
  RoundTrip<std::int16_t>(adSmallInt, dm_o_int16_metadata(),
                          {-32768, -1, 0, 32767});
  RoundTrip<std::int32_t>(adInteger, dm_o_int32_metadata(),
                          {std::numeric_limits<std::int32_t>::min(), -1, 0,
                           std::numeric_limits<std::int32_t>::max()});
  RoundTrip<std::int64_t>(adBigInt, dm_o_int64_metadata(),
                          {std::numeric_limits<std::int64_t>::min(), -1, 0,
                           std::numeric_limits<std::int64_t>::max()});
  RoundTrip<GUID>(
      adGUID, dm_o_guid_metadata(),
      {{0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}},
       {0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}},
       {0xFFFFFFFF, 0xFFFF, 0xFFFF, {255, 255, 255, 255, 255, 255, 255, 255}}});
  RoundTrip<DateTime>(
      adDBTimeStamp, dm_o_datetime_metadata(),
      {DateTime(0), DateTime(10), DateTime(1899, 12, 29, 23, 59, 59, 999),
       DateTime(1899, 12, 30, 0, 0, 0, 0), DateTime(1970, 1, 1, 0, 0, 0, 0),
       DateTime(2004, 2, 29, 12, 30, 15, 250),
       DateTime(DateTime::MaxValue / 10 * 10)});
}

TEST_P(Extremes, OfRealNumbers) {
  using D = std::numeric_limits<double>;
  using F = std::numeric_limits<float>;
  const double special[] = {0,
                            0.1,
                            1.0 / 3,
                            D::max(),
                            D::lowest(),
                            D::min(),
                            D::denorm_min(),
                            -D::denorm_min(),
                            D::infinity(),
                            -D::infinity(),
                            123456789.123456789,
                            9007199254740993.0,
                            1e15,
                            1e22};
  std::vector<double> doubles(std::begin(special), std::end(special));
  std::mt19937_64 random(7);
  for (int i = 0; i < 500; ++i) {
    double value;
    const std::uint64_t bits = random();
    std::memcpy(&value, &bits, sizeof value);
    if (std::isfinite(value)) doubles.push_back(value);
  }
  RoundTrip<double>(adDouble, dm_o_double_metadata(), doubles);
  RoundTrip<float>(
      adSingle, dm_o_float_metadata(),
      {0, 0.1F, 1.0F / 3, F::max(), F::lowest(), F::min(), F::denorm_min(),
       F::infinity(), -F::infinity(), 16777217.0F});
}

// What SQLite keeps of them: no sign of a zero, and NULL for NaN, which comes
// back as one.
TEST_P(Extremes, OfZerosAndNumbersThatAreNone) {
  RecordType type(
      {{"v", dm_o_double_metadata()}, {"f", dm_o_float_metadata()}});
  MakeTable("t", {{"v", adDouble}, {"f", adSingle}});
  std::vector<AnyObject> records{type.New(), type.New()};
  Set(records[0], "v", -0.0);
  Set(records[0], "f", -0.0F);
  Set(records[1], "v", std::nan(""));
  Set(records[1], "f", std::nanf(""));
  InsertRecords(connection_, "t", records);
  const auto read = ReadAll("t", type);
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(Get<double>(read[0], "v"), 0.0);
  EXPECT_EQ(std::signbit(Get<double>(read[0], "v")), !IsSqlite());
  EXPECT_TRUE(std::isnan(Get<double>(read[1], "v")));
  EXPECT_TRUE(std::isnan(Get<float>(read[1], "f")));
}

// PostgreSQL keeps microseconds, SQLite every tick.
TEST_P(Extremes, OfTicksAreKeptOrCutAndCounted) {
  RecordType type({{"v", dm_o_datetime_metadata()}});
  MakeTable("t", {{"v", adDBTimeStamp}});
  const std::vector<long long> ticks{1, DateTime::MaxValue, 632000000000000017,
                                     632000000000000020};
  std::vector<AnyObject> records;
  for (const long long value : ticks) {
    records.push_back(type.New());
    Set(records.back(), "v", DateTime(value));
  }
  const InsertReport report = InsertRecords(connection_, "t", records);
  EXPECT_EQ(report.cut_dates, IsSqlite() ? 0U : 3U);
  std::size_t cut = 0;
  OpenQuery(*connection_, "SELECT v FROM t WHERE v = ?",
            {AnyObject(FieldOf(records[0], "v"))}, &cut);
  EXPECT_EQ(cut, IsSqlite() ? 0U : 1U);
  const auto read = ReadAll("t", type);
  ASSERT_EQ(read.size(), ticks.size());
  for (std::size_t i = 0; i < ticks.size(); ++i)
    EXPECT_EQ(Get<DateTime>(read[i], "v").Ticks(),
              IsSqlite() ? ticks[i] : ticks[i] / 10 * 10);
}

TEST_P(Extremes, OfTextsAndBytes) {
  RecordType type({{"n", dm_o_int32_metadata()},
                   {"name", dm_o_ansi_string_metadata()},
                   {"memo", dm_o_ansi_string_metadata()},
                   {"bytes", dm_o_binary_metadata()}});
  MakeTable("t", {{"n", adInteger},
                  {"name", adVarWChar, 50},
                  {"memo", adLongVarWChar},
                  {"bytes", adLongVarBinary}});
  std::string every_byte;
  for (int i = 0; i < 256; ++i) every_byte += static_cast<char>(i);
  std::string fifty, long_text;
  for (int i = 0; i < 50; ++i) fifty += "\xB6\xA9";
  for (int i = 0; i < 100000; ++i) long_text += i % 2 == 0 ? "\xB5\xA5" : "'\"";
  const std::vector<std::array<std::string, 3>> values{
      {"", "", ""},
      {fifty, fifty, every_byte},
      {"'; --", long_text, std::string(300000, '\0')},
      // 乗 and €: a "\" as second byte, and one byte for a character.
      {"\x81\x5C\x80", "line\r\nfeed\ttab", std::string(1, '\0')},
      {" blanks ", " ", "x"}};
  std::vector<AnyObject> records;
  for (std::size_t i = 0; i < values.size(); ++i) {
    records.push_back(type.New());
    Set(records.back(), "n", static_cast<std::int32_t>(i));
    SetText(records.back(), "name", values[i][0]);
    SetText(records.back(), "memo", values[i][1]);
    SetBytes(records.back(), "bytes", values[i][2]);
  }
  InsertRecords(connection_, "t", records);
  const auto read = ReadAll("t", type);
  ASSERT_EQ(read.size(), values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_EQ(GetText(read[i], "name"), values[i][0]);
    EXPECT_TRUE(GetText(read[i], "memo") == values[i][1]) << i;
    EXPECT_TRUE(GetBytes(read[i], "bytes") == values[i][2]) << i;
  }
}

KIV_ON_EVERY_DATABASE(Extremes);

// --- Records -----------------------------------------------------------------

TEST_P(Records, MissingValuesAreNullBothWays) {
  RecordType type({{"n", dm_o_object_pointer_metadata()},
                   {"text", dm_o_object_pointer_metadata()},
                   {"at", dm_o_datetime_metadata()}});
  MakeTable(
      "t", {{"n", adInteger}, {"text", adVarWChar, 20}, {"at", adDBTimeStamp}});
  std::vector<AnyObject> records{type.New(), type.New()};
  ASSERT_TRUE(
      dm_o_object_pointer_set(FieldOf(records[1], "n"), Whole(7).get()));
  ASSERT_TRUE(dm_o_object_pointer_set(FieldOf(records[1], "text"),
                                      Text(kOrders).get()));
  Set(records[1], "at", DateTime(2004, 1, 2, 3, 4, 5, 6));
  Set(records[0], "at", DateTime());
  InsertRecords(connection_, "t", records);
  const auto nulls = OpenQuery(
      *connection_,
      "SELECT n FROM t WHERE n IS NULL AND text IS NULL AND at IS NULL", {});
  EXPECT_TRUE(nulls->Next());
  EXPECT_FALSE(nulls->Next());
  const auto read = ReadAll("t", type);
  ASSERT_EQ(read.size(), 2U);
  EXPECT_EQ(dm_o_object_pointer_get(FieldOf(read[0], "n")), nullptr);
  EXPECT_EQ(dm_o_object_pointer_get(FieldOf(read[0], "text")), nullptr);
  EXPECT_EQ(Get<DateTime>(read[0], "at"), DateTime());
  std::int32_t number = 0;
  EXPECT_TRUE(
      dm::Object(dm_o_object_pointer_get(FieldOf(read[1], "n"))).Read(number));
  EXPECT_EQ(number, 7);
  EXPECT_STREQ(
      dm_o_string_text(dm_o_object_pointer_get(FieldOf(read[1], "text"))),
      kOrders);
}

TEST_P(Records, AFieldWithoutRoomForNullOrForTheValueIsRefused) {
  MakeTable("t", {{"n", adInteger}, {"big", adBigInt}});
  RecordType type(
      {{"n", dm_o_int32_metadata()}, {"big", dm_o_int16_metadata()}});
  Execute("INSERT INTO t VALUES (NULL, 1)");
  Execute("INSERT INTO t VALUES (1, 70000)");
  Recordset rows;
  rows.OpenTable(connection_, "t");
  EXPECT_THAT(FailureOf([&] { rows.Fill(type.New().get()); }),
              HasSubstr("'n' does not fit"));
  rows.MoveNext();
  EXPECT_THAT(FailureOf([&] { rows.Fill(type.New().get()); }),
              HasSubstr("'big' does not fit"));
}

TEST_P(Records, ABatchOfManyBlocksArrivesWhole) {
  RecordType type({{kOrders, dm_o_int32_metadata()},
                   {"text", dm_o_ansi_string_metadata()}});
  MakeTable("many", {{"TEXT", adLongVarWChar}, {kOrders, adInteger}});
  constexpr int kCount = 1777;
  std::vector<AnyObject> records;
  for (int i = 0; i < kCount; ++i) {
    records.push_back(type.New());
    Set(records.back(), kOrders, i);
    // Now and then a block has to make more room.
    SetText(records.back(), "text",
            std::string(i % 600 == 599 ? 9000 : i % 40, 'x'));
  }
  InsertRecords(connection_, "many", records);
  const auto rows = OpenQuery(
      *connection_,
      "SELECT * FROM many ORDER BY \"" + std::string(kOrders) + "\"", {});
  const RecordFiller filler(*rows, type.metadata());
  std::vector<AnyObject> read;
  while (rows->Next()) {
    read.push_back(type.New());
    filler.Fill(read.back().get());
  }
  ASSERT_EQ(read.size(), records.size());
  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(Get<std::int32_t>(read[i], kOrders), i);
    ASSERT_EQ(GetText(read[i], "text").size(),
              i % 600 == 599 ? 9000U : i % 40U);
  }
}

TEST_P(Records, ABatchIsAllOrNothing) {
  Execute("CREATE TABLE t (n integer PRIMARY KEY)");
  RecordType type({{"n", dm_o_int32_metadata()}});
  const auto insert = [&](std::initializer_list<int> values) {
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
  EXPECT_NE(insert({7, 1}), "");
  EXPECT_TRUE(connection_->IsInTransaction());
  EXPECT_EQ(insert({8}), "");
  connection_->CommitTrans();
  EXPECT_EQ(Count("t"), 4);
}

TEST_P(Records, WhatCannotBeInsertedIsNamed) {
  MakeTable("t", {{"n", adInteger}, {"text", adVarWChar, 9}});
  const RecordType other({{"m", dm_o_int32_metadata()}});
  const RecordType type({{"text", dm_o_ansi_string_metadata()}});
  const AnyObject with_nul = type.New();
  SetText(with_nul, "text", std::string("a\0b", 3));
  EXPECT_THAT(InsertFailure("t", {other.New()}), HasSubstr("no column 'm'"));
  EXPECT_THAT(InsertFailure("x", {other.New()}), HasSubstr("no table 'x'"));
  EXPECT_THAT(InsertFailure("t", {type.New(), other.New()}),
              HasSubstr("not of one type"));
  EXPECT_THAT(InsertFailure("t", {with_nul}), HasSubstr("NUL"));
  EXPECT_THAT(InsertFailure("t", {Whole(1)}), HasSubstr("no struct"));
  EXPECT_THAT(InsertFailure("t", {RecordType({}).New()}),
              HasSubstr("no fields"));
  EXPECT_EQ(InsertFailure("t", {}), "");
  EXPECT_EQ(Count("t"), 0);
}

// --- Statements with parameters ----------------------------------------------

TEST_P(Records, ParametersAreValuesAndNeverStatement) {
  MakeTable("t", {{"n", adInteger}, {"text", adVarWChar, 50}});
  const std::string hostile = "x'); DROP TABLE t; --";
  const std::string insert = "INSERT INTO t VALUES (?, ?)";
  EXPECT_EQ(Execute(insert, {Whole(1), Text(hostile)}), 1);
  EXPECT_EQ(Execute(insert, {Whole(2), AnyObject()}), 1);
  const auto rows = OpenQuery(
      *connection_, "SELECT n, text FROM t WHERE text = ?", {Text(hostile)});
  ASSERT_TRUE(rows->Next());
  EXPECT_STREQ(dm_o_string_text(ObjectOf(*rows, 1).get()), hostile.c_str());
  EXPECT_FALSE(rows->Next());
  EXPECT_EQ(Execute("UPDATE t SET n = n + ?", {Whole(10)}), 2);
  EXPECT_EQ(Execute("DELETE FROM t WHERE n = ?", {Whole(99)}), 0);
  EXPECT_NE(FailureOf([&] {
              OpenQuery(*connection_, "DELETE FROM t WHERE n = ?", {Whole(99)});
            }),
            "");
}

TEST_P(Records, AQueryKeepsOrderNamesAndEveryDigit) {
  MakeTable("t",
            {{"n", adInteger}, {"v", adDouble}, {kOrders, adVarWChar, 10}});
  Execute(
      "INSERT INTO t VALUES (1, 0.1, 'a'), (2, 0.3333333333333333, 'b'), "
      "(3, 1.7976931348623157e308, 'c')");
  const auto rows =
      OpenQuery(*connection_,
                "SELECT v, n AS v2, v AS twice, " + std::string(kOrders) +
                    " FROM t WHERE n > ? ORDER BY n DESC -- end",
                {Whole(0)});
  EXPECT_EQ(rows->Info(1).name, "v2");
  EXPECT_EQ(rows->Info(3).name, kOrders);
  const double expected[] = {1.7976931348623157e308, 0.3333333333333333, 0.1};
  for (const double value : expected) {
    ASSERT_TRUE(rows->Next());
    double read = 0;
    ASSERT_TRUE(ObjectOf(*rows, 0).object().Read(read));
    EXPECT_EQ(read, value);
    ASSERT_TRUE(ObjectOf(*rows, 2).object().Read(read));
    EXPECT_EQ(read, value);
  }
  EXPECT_FALSE(rows->Next());
}

KIV_ON_EVERY_DATABASE(Records);

// --- SQLite alone ------------------------------------------------------------

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
  VARIANT value = rows.Value(0);
  EXPECT_EQ(value.vt, VT_I8);
  EXPECT_EQ(value.llVal, 1099511627776);
  EXPECT_EQ(rows.Value(1).boolVal, VARIANT_TRUE);
  EXPECT_EQ(rows.Value(2).vt, VT_DATE);
}

TEST_P(SqliteRows, ComputedNumbersKeepEveryDigit) {
  VARIANT value = First("SELECT 1.0 / 3 AS x, 'text' UNION ALL SELECT 2.5, ''");
  EXPECT_EQ(value.vt, VT_R8);
  EXPECT_EQ(value.dblVal, 1.0 / 3);
  EXPECT_EQ(First("SELECT 7 * 6").lVal, 42);
}

// The driver gives no rows of such a statement; it must not have run by then.
TEST_P(SqliteRows, AQueryThatChangesSomethingIsRefusedBeforeItDoes) {
  MakeTable("t", {{"n", adInteger}, {"v", adDouble}});
  EXPECT_THAT(FailureOf([&] {
                OpenQuery(*connection_,
                          "INSERT INTO t VALUES (1, 0.5) RETURNING v", {});
              }),
              HasSubstr("gives no rows"));
  // What is wrong with it comes first.
  EXPECT_THAT(FailureOf([&] {
                OpenQuery(*connection_, "SELCT v FROM t WHERE n = ?",
                          {AnyObject()});
              }),
              HasSubstr("syntax error"));
  EXPECT_EQ(First("SELECT count(*) FROM t").lVal, 0);
  EXPECT_EQ(First("PRAGMA user_version").lVal, 0);
}

// Together they are more values than a statement takes.
TEST_P(SqliteRows, ABatchForManyColumnsArrivesWhole) {
  constexpr int kRecords = 7;
  for (const int count : {150, 1200}) {
    SCOPED_TRACE(count);
    const RecordType type({});
    const std::string table = "t" + std::to_string(count);
    std::string columns;
    for (int i = 0; i < count; ++i) {
      const std::string name = "c" + std::to_string(i);
      dm_o_struct_metadata_append(type.metadata(), name.c_str(),
                                  dm_o_int32_metadata());
      columns += (i == 0 ? "" : ", ") + name + " integer";
    }
    Execute("CREATE TABLE " + table + "(" + columns + ")");
    std::vector<AnyObject> records;
    for (int row = 0; row < kRecords; ++row) {
      records.push_back(type.New());
      for (int i = 0; i < count; ++i)
        ASSERT_TRUE(dm::Object(dm_o_struct_field_at(records.back().get(), i))
                        .Write(row * count + i));
    }
    InsertRecords(connection_, table, records);
    Recordset rows;
    rows.OpenTable(connection_, table);
    int value = 0;
    for (; !rows.IsEof(); rows.MoveNext())
      for (int i = 0; i < count; ++i) ASSERT_EQ(rows.Value(i).lVal, value++);
    EXPECT_EQ(value, kRecords * count);
  }
}

INSTANTIATE_TEST_SUITE_P(Database, SqliteRows, ::testing::Values(kDatabases[0]),
                         [](const auto& database) {
                           return database.param.name;
                         });

TEST(RowValues, AreNoNumbersWithTwoSigns) {
  EXPECT_EQ(IntegerOf(RowCursor::Form::IntegerText, " +5 "), 5);
  EXPECT_EQ(IntegerOf(RowCursor::Form::IntegerText, "+-5"), std::nullopt);
}

TEST(RowValues, AreDatesWithoutSecondsToo) {
  const auto ticks = TicksOf(RowCursor::Form::DateText, " 2004-01-31 09:05 ");
  ASSERT_TRUE(ticks);
  EXPECT_EQ(*ticks, DateTime(2004, 1, 31, 9, 5, 0, 0).Ticks());
}

}  // namespace
}  // namespace kiv::store::ado
