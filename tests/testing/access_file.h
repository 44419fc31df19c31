#ifndef TESTING_ACCESS_FILE_H_
#define TESTING_ACCESS_FILE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "port/test_folder.h"

namespace kiv::testing {

// Writes an Access file (Jet 4) with tables and rows, as far as readers need
// one: no indexes, no relations, one data page a table.
//
// A file is pages of 4 KiB. Page 0 says what it is, page 1 holds which pages
// are whose, page 2 defines the table of all tables; every other table has a
// page that defines it and one with its rows.
class AccessFile {
 public:
  enum class Type : std::uint8_t {
    Bool = 1,
    Int16 = 3,
    Int32 = 4,
    Double = 7,
    Date = 8,  // days since 1899-12-30
    Text = 10,
    Ole = 11,
    Memo = 12
  };
  struct Column {
    std::u16string name;
    Type type;
  };
  // Bytes as the file holds them; missing: NULL, or false.
  struct Value {
    bool is_there = false;
    std::string bytes;
  };

  template <class Number>
  static Value Of(Number number) {
    return {true, Bytes(number)};
  }
  static Value Text(std::u16string_view text) {
    return {true, std::string(reinterpret_cast<const char*>(text.data()),
                              2 * text.size())};
  }
  static Value True() { return {true, ""}; }
  static Value Null() { return {}; }

  void AddTable(const std::u16string& name, const std::vector<Column>& columns,
                const std::vector<std::vector<Value>>& rows) {
    tables_.push_back({name, columns, rows});
  }

  void Write(const std::filesystem::path& file) {
    pages_.assign(3, std::string(kPage, '\0'));
    WriteHead();
    const std::vector<Column> catalog{{u"Id", Type::Int32},
                                      {u"Name", Type::Text},
                                      {u"Type", Type::Int16},
                                      {u"Flags", Type::Int32},
                                      {u"LvProp", Type::Ole}};
    std::vector<std::vector<Value>> entries;
    for (const Table& table : tables_) {
      const std::size_t definition = NewPage();
      AddDefinition(definition, table.columns, table.rows);
      entries.push_back({Of(static_cast<std::int32_t>(definition)),
                         Text(table.name), Of(std::int16_t{1}),
                         Of(std::int32_t{0}), Null()});
    }
    AddDefinition(kCatalog, catalog, entries);
    pages_[1] = DataPage(0, maps_);
    std::string bytes;
    for (const std::string& page : pages_) bytes += page;
    WriteTestFile(file, bytes);
  }

 private:
  static constexpr std::size_t kPage = 4096;
  static constexpr std::size_t kCatalog = 2;

  struct Table {
    std::u16string name;
    std::vector<Column> columns;
    std::vector<std::vector<Value>> rows;
  };

  template <class Number>
  static std::string Bytes(Number number) {
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
  }
  template <class Number>
  static void Put(std::string& page, std::size_t at, Number number) {
    page.replace(at, sizeof number, Bytes(number));
  }
  static std::uint16_t Short(std::size_t number) {
    return static_cast<std::uint16_t>(number);
  }

  static std::size_t FixedSize(Type type) {
    switch (type) {
      case Type::Int16:
        return 2;
      case Type::Int32:
        return 4;
      case Type::Double:
      case Type::Date:
        return 8;
      default:
        return 0;
    }
  }
  static bool IsVariable(Type type) {
    return type == Type::Text || type == Type::Memo || type == Type::Ole;
  }

  std::size_t NewPage() {
    pages_.emplace_back(kPage, '\0');
    return pages_.size() - 1;
  }

  // From 0x18 on the page is covered by a key stream that is the same in every
  // file; what is below it is all zero here, a file without a password.
  void WriteHead() {
    std::string& page = pages_[0];
    page.replace(0, 4, std::string("\0\1\0\0", 4));
    page.replace(4, 15, "Standard Jet DB");
    page[0x14] = 1;
    std::array<std::uint8_t, 256> state;
    for (std::size_t i = 0; i < 256; ++i)
      state[i] = static_cast<std::uint8_t>(i);
    const std::uint8_t key[] = {0xC7, 0xDA, 0x39, 0x6B};
    for (std::size_t i = 0, j = 0; i < 256; ++i) {
      j = (j + state[i] + key[i % 4]) % 256;
      std::swap(state[i], state[j]);
    }
    for (std::size_t n = 0, i = 0, j = 0; n < 128; ++n) {
      i = (i + 1) % 256;
      j = (j + state[i]) % 256;
      std::swap(state[i], state[j]);
      page[0x18 + n] = static_cast<char>(state[(state[i] + state[j]) % 256]);
    }
  }

  // Rows from the end of the page, their places in front.
  static std::string DataPage(std::size_t owner,
                              const std::vector<std::string>& rows) {
    std::string page(kPage, '\0');
    page[0] = 1;
    page[1] = 1;
    Put(page, 4, static_cast<std::uint32_t>(owner));
    Put(page, 12, Short(rows.size()));
    std::size_t end = kPage;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      end -= rows[i].size();
      page.replace(end, rows[i].size(), rows[i]);
      Put(page, 14 + 2 * i, Short(end));
    }
    return page;
  }

  // Number of columns, fixed values, variable ones, where those end and begin,
  // how many there are, and a bit for each value that is there.
  static std::string Row(const std::vector<Column>& columns,
                         const std::vector<Value>& values) {
    std::string row = Bytes(Short(columns.size()));
    std::string there((columns.size() + 7) / 8, '\0');
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (values[i].is_there)
        there[i / 8] = static_cast<char>(there[i / 8] | 1 << i % 8);
      if (IsVariable(columns[i].type)) continue;
      std::string bytes = values[i].bytes;
      bytes.resize(FixedSize(columns[i].type));
      row += bytes;
    }
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (!IsVariable(columns[i].type)) continue;
      places.push_back(row.size());
      // The value itself, behind its length and a sign that it is here.
      if (columns[i].type == Type::Memo && values[i].is_there)
        row += Bytes(static_cast<std::uint32_t>(values[i].bytes.size()) |
                     0x80000000u) +
               std::string(8, '\0');
      row += values[i].bytes;
    }
    if (!places.empty()) {
      row += Bytes(Short(row.size()));
      for (auto place = places.rbegin(); place != places.rend(); ++place)
        row += Bytes(Short(*place));
      row += Bytes(Short(places.size()));
    }
    return row + there;
  }

  // A map of the pages of a table, as a row of page 1: where it is.
  std::uint32_t AddMap(std::size_t page) {
    std::string map(69, '\0');
    map[5 + page / 8] = static_cast<char>(1 << page % 8);
    maps_.push_back(map);
    return static_cast<std::uint32_t>(0x100 + maps_.size() - 1);
  }

  void AddDefinition(std::size_t definition, const std::vector<Column>& columns,
                     const std::vector<std::vector<Value>>& rows) {
    std::vector<std::string> bytes;
    for (const auto& row : rows) bytes.push_back(Row(columns, row));
    const std::size_t place = NewPage();
    pages_[place] = DataPage(definition, bytes);

    std::string page(63, '\0');
    page[0] = 2;
    page[1] = 1;
    Put(page, 16, static_cast<std::uint32_t>(rows.size()));
    page[40] = 0x4E;  // a user's table
    Put(page, 41, Short(columns.size()));
    Put(page, 45, Short(columns.size()));
    Put(page, 55, AddMap(place));
    Put(page, 59, AddMap(place));
    std::size_t variable = 0;
    std::size_t offset = 0;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      const Type type = columns[i].type;
      std::string column(25, '\0');
      column[0] = static_cast<char>(type);
      Put(column, 5, Short(i));
      Put(column, 7, Short(variable));
      Put(column, 9, Short(i));
      column[15] = IsVariable(type) ? 2 : 3;  // may be NULL, fixed
      Put(column, 21, Short(offset));
      Put(column, 23, Short(type == Type::Text ? 510 : FixedSize(type)));
      page += column;
      if (IsVariable(type))
        ++variable;
      else
        offset += FixedSize(type);
    }
    Put(page, 43, Short(variable));
    for (const Column& column : columns)
      page += Bytes(Short(2 * column.name.size())) + Text(column.name).bytes;
    Put(page, 8, static_cast<std::uint32_t>(page.size() - 8));
    page += "\xFF\xFF";
    page.resize(kPage);
    pages_[definition] = page;
  }

  std::vector<Table> tables_;
  std::vector<std::string> pages_;
  std::vector<std::string> maps_;
};

}  // namespace kiv::testing

#endif  // TESTING_ACCESS_FILE_H_
