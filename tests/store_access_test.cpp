// Access files as stores: they are read and left alone.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "kiv/startup.h"
#include "kiv/store/store.h"
#include "testing/test_log.h"

namespace kiv::testing {
namespace {

// Writes an Access file (Jet 4) with tables and rows, as far as readers need
// one: no indexes, no relations, one data page a table.
//
// A file is pages of 4 KiB. Page 0 says what it is, page 1 holds which pages
// are whose, page 2 defines the table of all tables; every other table has a
// page that defines it and one with its rows.
class AccessFile {
 public:
  // A date is days since 1899-12-30.
  using Type = char;
  static constexpr Type kBool = 1, kInt16 = 3, kInt32 = 4, kDouble = 7,
                        kDate = 8, kText = 10, kOle = 11, kMemo = 12;
  struct Column {
    std::u16string name;
    Type type;
  };
  // Bytes as the file holds them, none for true; missing: NULL, or false.
  using Value = std::optional<std::string>;
  using Rows = std::vector<std::vector<Value>>;

  template <class Number>
  static std::string Of(Number number) {
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
  }
  static std::string Text(std::u16string_view text) {
    return {reinterpret_cast<const char*>(text.data()), 2 * text.size()};
  }

  void AddTable(const std::u16string& name, const std::vector<Column>& columns,
                const Rows& rows) {
    const std::size_t definition = NewPage();
    AddDefinition(definition, columns, rows);
    entries_.push_back({Long(definition), Text(name), Short(1), Long(0), {}});
  }

  void Write(const std::filesystem::path& file) {
    std::string& head = pages_[0];
    head.replace(0, 21, std::string("\0\1\0\0Standard Jet DB\0\1", 21));
    // No key and no password, under the stream that covers them in every file.
    head.replace(0x3E, 4, "\xFB\x8A\xBC\x4E");
    AddDefinition(2,
                  {{u"Id", kInt32},
                   {u"Name", kText},
                   {u"Type", kInt16},
                   {u"Flags", kInt32},
                   {u"LvProp", kOle}},
                  entries_);
    pages_[1] = DataPage(0, maps_);
    std::string bytes;
    for (const std::string& page : pages_) bytes += page;
    WriteTestFile(file, bytes);
  }

 private:
  static constexpr std::size_t kPage = 4096;

  static std::string Short(std::size_t number) {
    return Of(static_cast<std::uint16_t>(number));
  }
  static std::string Long(std::size_t number) {
    return Of(static_cast<std::uint32_t>(number));
  }
  static std::size_t FixedSize(Type type) {
    constexpr std::size_t kSizes[] = {0, 0, 0, 2, 4, 0, 0, 8, 8, 0, 0, 0, 0};
    return kSizes[static_cast<std::size_t>(type)];
  }
  static bool IsVariable(Type type) { return type >= kText; }

  std::size_t NewPage() {
    pages_.emplace_back(kPage, '\0');
    return pages_.size() - 1;
  }

  // Rows from the end of the page, their places in front.
  static std::string DataPage(std::size_t owner,
                              const std::vector<std::string>& rows) {
    std::string page = "\1\1" + std::string(2, '\0') + Long(owner) + Long(0) +
                       Short(rows.size());
    std::string content;
    for (const std::string& row : rows) {
      content.insert(0, row);
      page += Short(kPage - content.size());
    }
    page.resize(kPage - content.size());
    return page + content;
  }

  // Number of columns, fixed values, variable ones, where those end and begin,
  // how many there are, and a bit for each value that is there.
  static std::string Row(const std::vector<Column>& columns,
                         const std::vector<Value>& values) {
    std::string row = Short(columns.size());
    std::string there((columns.size() + 7) / 8, '\0');
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (values[i])
        there[i / 8] = static_cast<char>(there[i / 8] | 1 << i % 8);
      std::string bytes = values[i].value_or("");
      bytes.resize(FixedSize(columns[i].type));
      row += bytes;
    }
    std::string places;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (!IsVariable(columns[i].type)) continue;
      places.insert(0, Short(row.size()));
      // The value itself, behind its length and a sign that it is here.
      if (columns[i].type == kMemo && values[i])
        row += Long(values[i]->size() | 0x80000000u) + std::string(8, '\0');
      row += values[i].value_or("");
    }
    if (!places.empty())
      row += Short(row.size()) + places + Short(places.size() / 2);
    return row + there;
  }

  // A map of the pages of a table, as a row of page 1: where it is.
  std::string AddMap(std::size_t page) {
    std::string map(69, '\0');
    map[5 + page / 8] = static_cast<char>(1 << page % 8);
    maps_.push_back(map);
    return Long(0x100 + maps_.size() - 1);
  }

  void AddDefinition(std::size_t definition, const std::vector<Column>& columns,
                     const Rows& rows) {
    std::vector<std::string> bytes;
    for (const auto& row : rows) bytes.push_back(Row(columns, row));
    const std::size_t place = NewPage();
    pages_[place] = DataPage(definition, bytes);

    std::string page(63, '\0');
    const auto put = [&page](std::size_t at, const std::string& number) {
      page.replace(at, number.size(), number);
    };
    put(0, "\2\1");
    put(16, Long(rows.size()));
    put(40, "\x4E");  // a user's table
    put(41, Short(columns.size()));
    put(45, Short(columns.size()));
    put(55, AddMap(place));
    put(59, AddMap(place));
    std::size_t variables = 0;
    std::size_t offset = 0;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const Type type = columns[i].type;
      const std::size_t size = FixedSize(type);
      // Its flags: may be NULL, fixed.
      page += Of(type) + Long(0) + Short(i) + Short(variables) + Short(i) +
              Long(0) + (IsVariable(type) ? "\2" : "\3") +
              std::string(5, '\0') + Short(offset) +
              Short(type == kText ? 510 : size);
      variables += IsVariable(type) ? 1 : 0;
      offset += size;
    }
    put(43, Short(variables));
    for (const Column& column : columns)
      page += Short(2 * column.name.size()) + Text(column.name);
    put(8, Long(page.size() - 8));
    page += "\xFF\xFF";
    page.resize(kPage);
    pages_[definition] = page;
  }

  std::vector<std::string> pages_ = {3, std::string(kPage, '\0')};
  std::vector<std::string> maps_;
  Rows entries_;  // of the table of all tables
};

using store::Factory;
using Any = dm::ObjectPtr<int*>;

constexpr char kText[] =
    "ado::Provider=Microsoft.Jet.OLEDB.4.0;Data Source=old.mdb";
// 订单
constexpr char kOrders[] = "\xB6\xA9\xB5\xA5";
// 客户
constexpr char kCustomer[] = "\xBF\xCD\xBB\xA7";
// 京·镕17
constexpr char kPlate[] =
    "\xBE\xA9\xA1\xA4\xE9\x46"
    "17";

class StoreAccess : public ::testing::Test {
 protected:
  void SetUp() override {
    GlobalInit();
    // As in a program that sets none.
    ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
    AccessFile file;
    file.AddTable(
        u"\u8BA2\u5355",
        {{u"id", AccessFile::kInt32},
         {u"\u5BA2\u6237", AccessFile::kText},
         {u"tons", AccessFile::kDouble},
         {u"due", AccessFile::kDate},
         {u"paid", AccessFile::kBool},
         {u"note", AccessFile::kMemo}},
        {{AccessFile::Of(std::int32_t{-7}),
          AccessFile::Text(u"\u4EAC\u00B7\u955517"), AccessFile::Of(0.25),
          AccessFile::Of(38017.25), "", AccessFile::Text(note_)},
         std::vector<AccessFile::Value>(6)});
    file.AddTable(u"a_b", {{u"id", AccessFile::kInt32}}, {});
    file.Write("old.mdb");
    before_ = ReadTestFile("old.mdb");
    store_ = Factory().CreateConnection(kText);
    ASSERT_TRUE(store_->Open("", "")) << log_.Text();
  }
  void TearDown() override {
    store_.reset();
    std::setlocale(LC_ALL, "C");
    GlobalUninit();
    EXPECT_TRUE(ReadTestFile("old.mdb") == before_);
  }

  const TestFolder folder_;
  const TestLog log_{folder_.path()};
  const std::u16string note_ = std::u16string(700, u'\u957F');
  std::string before_;
  std::shared_ptr<store::Connection> store_;
};

TEST_F(StoreAccess, RowsAreRead) {
  EXPECT_TRUE(store_->IsExistTable(kOrders));
  EXPECT_FALSE(store_->IsExistTable("axb"));
  EXPECT_FALSE(store_->IsExistTable("MSysObjects"));
  const auto table = store_->GetTable(kOrders);
  ASSERT_NE(table, nullptr) << log_.Text();
  EXPECT_EQ(table->GetColumnCount(), 6);
  const auto rows = table->OpenRecordset();
  ASSERT_NE(rows, nullptr) << log_.Text();
  const auto fields = rows->GetFields();
  EXPECT_EQ(fields->Item("id")->Value().lVal, -7);
  EXPECT_EQ(fields->Item("tons")->Value().dblVal, 0.25);
  EXPECT_EQ(fields->Item("due")->Value().date, 38017.25);
  EXPECT_EQ(fields->Item("paid")->Value().boolVal, VARIANT_TRUE);
  EXPECT_EQ(fields->Item("note")->Value().bstrVal, note_);

  const auto type = Any::Take(dm_o_struct_metadata_new());
  ASSERT_TRUE(dm_o_struct_metadata_append(type.get(), kCustomer,
                                          dm_o_object_pointer_metadata()));
  const auto record = Any::Take(dm_o_instance_from_metadata(type.get()));
  void* const customer = dm_o_struct_field_at(record.get(), 0);
  ASSERT_TRUE(FillRecord(*rows, record)) << log_.Text();
  EXPECT_STREQ(dm_o_string_text(dm_o_object_pointer_get(customer)), kPlate);
  EXPECT_TRUE(rows->MoveNext());
  EXPECT_EQ(fields->Item("tons")->Value().vt, VT_NULL);
  ASSERT_TRUE(FillRecord(*rows, record));
  EXPECT_EQ(dm_o_object_pointer_get(customer), nullptr);
  EXPECT_TRUE(rows->MoveNext());
  EXPECT_TRUE(rows->IsEOF());
}

TEST_F(StoreAccess, NothingIsWritten) {
  const Any number(dm_o_int32_metadata());
  const auto made = store_->CreateTable("new");
  EXPECT_TRUE(made->CreateColumn("id", number, 0));
  EXPECT_FALSE(made->CompleteCreate());
  EXPECT_FALSE(store_->DeleteTable("a_b"));
  const auto table = store_->GetTable("a_b");
  ASSERT_NE(table, nullptr);
  EXPECT_FALSE(table->CreateColumn("more", number, 0));
  EXPECT_FALSE(table->DeleteColumn("id"));
  EXPECT_EQ(store::Rows::On(store_)->Execute("delete from a_b"), -1);
  EXPECT_FALSE(Factory().CreateConnection(kText)->Create("", ""));
  for (const char* const text : {"AdoTable::CompleteCreate Failed: ",
                                 "AdoConnection::DeleteTable Failed: ",
                                 "AccessAdoTable::CreateColumn Failed: "})
    EXPECT_TRUE(log_.Has(text)) << text;
}

}  // namespace
}  // namespace kiv::testing
