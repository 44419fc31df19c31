// kiv store import: a CSV file into a table.
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "csv_reader.h"
#include "dm/dm.h"
#include "local_text.h"
#include "progress.h"
#include "standard_streams.h"
#include "store_command.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using Any = dm::ObjectPtr<int*>;
using StructPtr = dm::ObjectPtr<dm::StructType>;

constexpr std::size_t kBatch = 1000;

// Takes the rows of a file in batches; all of it is one transaction.
class Import {
 public:
  Import(const StorePlace& place,
         std::shared_ptr<kiv::store::AdoConnection> database,
         const std::string& table_utf8)
      : place_(place),
        database_(std::move(database)),
        table_utf8_(table_utf8) {}

  // 0 or, when it is said what is wrong, 1.
  int Run(std::istream& in) {
    const auto table = place_.OpenTable(*database_, table_utf8_);
    if (!table) return 1;
    table_ = table->GetName();
    rows_ = kiv::store::Rows::On(database_);
    CsvReader reader(in);
    std::vector<StoreCell> header;
    if (!reader.Next(header))
      return place_.Fault(reader.Reason().empty() ? "the file is empty"
                                                  : reader.Reason());
    if (!MakeType(*table, header)) return 1;
    const auto transaction = database_->BeginTransaction();
    if (!rows_ || !transaction) return place_.LibraryFault("nothing imported");
    if (!AddAll(reader)) {
      transaction->Rollback();
      return 1;
    }
    if (!transaction->Commit()) return place_.LibraryFault("nothing imported");
    std::cerr << Counted(added_, "row") << " imported\n";
    return 0;
  }

 private:
  // Of ADO data type numbers: currency, decimal and numeric.
  static bool IsNumeric(int type) {
    return type == 6 || type == 14 || type == 131;
  }

  bool Fail(const std::string& what) {
    progress_.Clear();
    place_.LibraryFault(what + "; nothing imported");
    return false;
  }

  // A field for each name of the header, of which any may be NULL.
  bool MakeType(kiv::store::Table& table,
                const std::vector<StoreCell>& header) {
    for (const StoreCell& name : header) {
      std::string local;
      if (!place_.LocalText(name.text, local)) return false;
      const auto column = table.GetColumn(local);
      const auto type = column ? column->GetType() : Any();
      if (!type)
        return Fail("'" + table_utf8_ + "' has no column '" + name.text +
                    "' of a known type");
      if (dm_o_struct_metadata_field_index(type_.get(), local.c_str()) >= 0 ||
          !dm_o_struct_metadata_append(type_.get(), local.c_str(),
                                       dm_o_object_pointer_metadata()))
        return Fail("column '" + name.text + "' stands in the header twice");
      types_.push_back(dm_o_type_info_from_metadata(type.get())->type_id);
      const auto* const ado =
          dynamic_cast<kiv::store::AdoColumn*>(column.get());
      is_numeric_.push_back(ado != nullptr && IsNumeric(ado->Type()));
    }
    return true;
  }

  bool AddAll(CsvReader& reader) {
    std::vector<StoreCell> row;
    while (reader.Next(row)) {
      const std::string where = "line " + std::to_string(reader.Line()) + ": ";
      if (row.size() != types_.size())
        return Fail(where + std::to_string(row.size()) + " values for " +
                    std::to_string(types_.size()) + " columns");
      std::string reason;
      if (!AddRow(row, reason)) return Fail(where + reason);
      if (records_.size() == kBatch && !Flush()) return false;
    }
    if (!reader.Reason().empty())
      return Fail("line " + std::to_string(reader.Line()) + ": " +
                  reader.Reason());
    const bool is_whole = Flush();
    progress_.Clear();
    return is_whole;
  }

  bool AddRow(const std::vector<StoreCell>& row, std::string& reason) {
    auto record = Any::Take(dm_o_instance_from_metadata(type_.get()));
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (row[i].is_null) continue;
      Any value = ValueOf(row[i].text, types_[i], reason);
      // A Double would lose digits of it.
      if (value && is_numeric_[i])
        value = ValueOf(row[i].text, DM_STRING, reason);
      if (!value) return false;
      dm_o_object_pointer_set(dm_o_struct_field_at(record.get(), i),
                              value.get());
    }
    records_.push_back(std::move(record));
    return true;
  }

  bool Flush() {
    if (!records_.empty() && !rows_->Insert(table_, records_))
      return Fail("rows " + std::to_string(added_ + 1) + " to " +
                  std::to_string(added_ + records_.size()) + " are refused");
    added_ += records_.size();
    records_.clear();
    progress_.Show(added_);
    return true;
  }

  const StorePlace& place_;
  const std::shared_ptr<kiv::store::AdoConnection> database_;
  const std::string table_utf8_;
  std::string table_;
  std::shared_ptr<kiv::store::Rows> rows_;
  StructPtr type_ = StructPtr::Take(dm_o_struct_metadata_new());
  std::vector<dm_type_id_e> types_;
  std::vector<bool> is_numeric_;
  std::vector<Any> records_;
  unsigned long long added_ = 0;
  Progress progress_{"rows imported"};
};

}  // namespace

int StoreImport(StorePlace& place, const StoreOptions& options) {
  std::ifstream file;
  if (options.input != "-") {
    file.open(options.input, std::ios::binary);
    if (!file) return place.Fault(options.input + " cannot be read");
  } else if (!HasStandardInput()) {
    return place.Fault("standard input is closed");
  }
  const auto database = place.OpenDatabase();
  if (!database) return 1;
  return Import(place, database, options.table)
      .Run(options.input == "-" ? std::cin : file);
}

}  // namespace kiv_tool
