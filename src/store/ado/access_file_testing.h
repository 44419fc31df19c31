#ifndef STORE_ADO_ACCESS_FILE_TESTING_H_
#define STORE_ADO_ACCESS_FILE_TESTING_H_

#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// Writes small files in the format of Access 2000 (Jet 4), as much of it as a
// reader needs: the definition page, the catalog at page 2, tables of one data
// page each without indexes. Numbers are little-endian, texts UTF-16.
namespace kiv::store::ado {

class AccessFile {
 public:
  enum Type : std::uint8_t {
    Bool = 1,
    Byte = 2,
    Int16 = 3,
    Int32 = 4,
    Single = 6,
    Double = 7,
    Date = 8,  // days since 1899-12-30, as a double
    Text = 10,
    Ole = 11,
    Memo = 12
  };
  struct Column {
    std::u16string name;
    Type type;
  };
  // The bytes of a value; nothing for a missing one. Of a Bool, nothing is
  // false.
  using Value = std::optional<std::string>;
  using Row = std::vector<Value>;

  template <typename T>
  static std::string Number(T value) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
  }
  static std::string Utf16(const std::u16string& text) {
    return {reinterpret_cast<const char*>(text.data()), 2 * text.size()};
  }
  // Whole in its row.
  static std::string MemoText(const std::u16string& text) {
    const std::string bytes = Utf16(text);
    return Number(static_cast<std::uint32_t>(bytes.size()) | 0x80000000U) +
           std::string(8, '\0') + bytes;
  }

  void AddTable(std::u16string name, std::vector<Column> columns,
                std::vector<Row> rows) {
    tables_.push_back({std::move(name), std::move(columns), std::move(rows)});
  }

  std::string Bytes() {
    const std::vector<Column> catalog_columns{
        {u"Id", Int32},   {u"ParentId", Int32}, {u"Name", Text},
        {u"Type", Int16}, {u"Flags", Int32},    {u"LvProp", Ole}};
    std::vector<Row> catalog;
    std::uint32_t page = kFirstTable;
    for (const Table& table : tables_) {
      catalog.push_back({Number(page), Number(std::uint32_t{0}),
                         Utf16(table.name), Number(std::uint16_t{1}),
                         Number(std::uint32_t{0}), std::nullopt});
      page += 2;
    }
    std::vector<std::string> maps{UsageMap(kCatalogData)};
    std::string pages = DefinitionPage() + std::string(kPage, '\0') +
                        TablePage(catalog_columns, 0, catalog.size());
    std::string rest = DataPage(kCatalog, catalog_columns, catalog);
    page = kFirstTable;
    for (const Table& table : tables_) {
      rest += TablePage(table.columns, maps.size(), table.rows.size());
      rest += DataPage(page, table.columns, table.rows);
      maps.push_back(UsageMap(page + 1));
      page += 2;
    }
    return pages + PageOf(0, maps) + rest;
  }

 private:
  static constexpr std::size_t kPage = 4096;
  static constexpr std::uint32_t kCatalog = 2;
  static constexpr std::uint32_t kMaps = 3;
  static constexpr std::uint32_t kCatalogData = 4;
  static constexpr std::uint32_t kFirstTable = 5;

  struct Table {
    std::u16string name;
    std::vector<Column> columns;
    std::vector<Row> rows;
  };

  static bool IsFixed(Type type) {
    return type != Text && type != Ole && type != Memo;
  }
  static std::uint16_t SizeOf(Type type) {
    static const std::map<Type, std::uint16_t> sizes{
        {Bool, 0},   {Byte, 1}, {Int16, 2},  {Int32, 4}, {Single, 4},
        {Double, 8}, {Date, 8}, {Text, 510}, {Ole, 0},   {Memo, 0}};
    return sizes.at(type);
  }

  static void Put(std::string& page, std::size_t at, const std::string& bytes) {
    page.replace(at, bytes.size(), bytes);
  }

  // What hides the settings of a file, a password among them.
  static void Rc4(std::string& bytes) {
    const unsigned char key[] = {0xC7, 0xDA, 0x39, 0x6B};
    std::array<unsigned char, 256> state;
    std::iota(state.begin(), state.end(), static_cast<unsigned char>(0));
    unsigned j = 0;
    for (unsigned i = 0; i < 256; ++i) {
      j = (j + state[i] + key[i % 4]) % 256;
      std::swap(state[i], state[j]);
    }
    unsigned a = 0, b = 0;
    for (char& byte : bytes) {
      a = (a + 1) % 256;
      b = (b + state[a]) % 256;
      std::swap(state[a], state[b]);
      byte = static_cast<char>(static_cast<unsigned char>(byte) ^
                               state[(state[a] + state[b]) % 256]);
    }
  }

  static std::string DefinitionPage() {
    std::string page(kPage, '\0');
    Put(page, 0, std::string("\0\1\0\0Standard Jet DB\0", 20));
    Put(page, 0x14, Number(std::uint32_t{1}));
    std::string hidden(128, '\0');
    Put(hidden, 0x3C - 0x18, Number(std::uint16_t{936}));
    Rc4(hidden);
    Put(page, 0x18, hidden);
    return page;
  }

  static std::string TablePage(const std::vector<Column>& columns,
                               std::size_t map, std::size_t rows) {
    std::string page(kPage, '\0');
    Put(page, 0, Number(std::uint16_t{0x0102}));
    Put(page, 16, Number(static_cast<std::uint32_t>(rows)));
    page[40] = 'N';
    std::uint16_t variable = 0, fixed = 0, offset = 0;
    std::string entries, names;
    for (const Column& column : columns) {
      std::string entry(25, '\0');
      entry[0] = static_cast<char>(column.type);
      const auto number = static_cast<std::uint16_t>(fixed + variable);
      Put(entry, 5, Number(number));
      Put(entry, 7, Number(variable));
      Put(entry, 9, Number(number));
      entry[15] = IsFixed(column.type) ? 3 : 2;
      Put(entry, 21, Number(IsFixed(column.type) ? offset : std::uint16_t{0}));
      Put(entry, 23, Number(SizeOf(column.type)));
      if (IsFixed(column.type)) {
        offset = static_cast<std::uint16_t>(offset + SizeOf(column.type));
        ++fixed;
      } else {
        ++variable;
      }
      entries += entry;
      names += Number(static_cast<std::uint16_t>(2 * column.name.size())) +
               Utf16(column.name);
    }
    const auto count = static_cast<std::uint16_t>(columns.size());
    Put(page, 41, Number(count));
    Put(page, 43, Number(variable));
    Put(page, 45, Number(count));
    const auto reference =
        static_cast<std::uint32_t>(kMaps << 8 | static_cast<unsigned>(map));
    Put(page, 55, Number(reference));
    Put(page, 59, Number(reference));
    Put(page, 63, entries + names);
    return page;
  }

  static std::string UsageMap(std::uint32_t data_page) {
    std::string map(69, '\0');
    map[5 + data_page / 8] = static_cast<char>(1 << data_page % 8);
    return map;
  }

  // Rows lie from the end of the page to its beginning.
  static std::string PageOf(std::uint32_t owner,
                            const std::vector<std::string>& rows) {
    std::string page(kPage, '\0');
    Put(page, 0, Number(std::uint16_t{0x0101}));
    Put(page, 4, Number(owner));
    Put(page, 12, Number(static_cast<std::uint16_t>(rows.size())));
    std::size_t end = kPage;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      end -= rows[i].size();
      Put(page, end, rows[i]);
      Put(page, 14 + 2 * i, Number(static_cast<std::uint16_t>(end)));
    }
    Put(page, 2,
        Number(static_cast<std::uint16_t>(end - 14 - 2 * rows.size())));
    return page;
  }

  static std::string DataPage(std::uint32_t table,
                              const std::vector<Column>& columns,
                              const std::vector<Row>& rows) {
    std::vector<std::string> bytes;
    for (const Row& row : rows) bytes.push_back(RowBytes(columns, row));
    return PageOf(table, bytes);
  }

  static std::string RowBytes(const std::vector<Column>& columns,
                              const Row& row) {
    std::string bytes = Number(static_cast<std::uint16_t>(columns.size()));
    std::string present((columns.size() + 7) / 8, '\0');
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (row[i])
        present[i / 8] = static_cast<char>(present[i / 8] | 1 << i % 8);
      if (IsFixed(columns[i].type) && columns[i].type != Bool)
        bytes += row[i].value_or(std::string(SizeOf(columns[i].type), '\0'));
    }
    std::vector<std::uint16_t> offsets;
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (IsFixed(columns[i].type)) continue;
      offsets.push_back(static_cast<std::uint16_t>(bytes.size()));
      bytes += row[i].value_or("");
    }
    const auto variable = static_cast<std::uint16_t>(offsets.size());
    offsets.push_back(static_cast<std::uint16_t>(bytes.size()));
    for (auto offset = offsets.rbegin(); offset != offsets.rend(); ++offset)
      bytes += Number(*offset);
    return bytes + Number(variable) + present;
  }

  std::vector<Table> tables_;
};

}  // namespace kiv::store::ado

#endif  // STORE_ADO_ACCESS_FILE_TESTING_H_
