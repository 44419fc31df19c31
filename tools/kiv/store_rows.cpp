// kiv store: dump and query.
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dm/dm.h"
#include "output_file.h"
#include "progress.h"
#include "store_command.h"
#include "store_writing.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using kiv::store::AdoField;
using kiv::store::Field;
using kiv::store::Recordset;
using Any = dm::ObjectPtr<int*>;

std::unique_ptr<RowWriter> WriterFor(const StoreOptions& options,
                                     std::ostream& out, bool may_be_table) {
  if (options.format == "xml") return MakeXmlWriter(out);
  if (options.format.empty() && may_be_table && options.output.empty() &&
      IsTerminal())
    return MakeTableWriter(out);
  return MakeCsvWriter(out);
}

// The rows of a table's recordset. Texts come as the database has them, with
// characters that the library's encoding lacks; dates by way of a record, which
// keeps all their digits.
class TableRows {
 public:
  explicit TableRows(std::shared_ptr<Recordset> recordset)
      : recordset_(std::move(recordset)) {}

  // False on failure.
  bool Begin(std::vector<std::string>& names) {
    const auto fields = recordset_->GetFields();
    if (!fields) return false;
    auto dates =
        dm::ObjectPtr<dm::StructType>::Take(dm_o_struct_metadata_new());
    for (long i = 0; i < fields->Count(); ++i) {
      auto field = fields->Item(i);
      const auto* const ado_field = dynamic_cast<AdoField*>(field.get());
      if (ado_field == nullptr) return false;
      const std::string name = field->Name();
      names.push_back(Utf8(name));
      const bool is_date = IsDate(ado_field->Type());
      date_.push_back(is_date ? static_cast<int>(date_count_++) : -1);
      if (is_date &&
          !dm_o_struct_metadata_append(dates.get(), name.c_str(),
                                       dm_o_object_pointer_metadata()))
        return false;
      is_guid_.push_back(ado_field->Type() == kGuid);
      fields_.push_back(std::move(field));
    }
    if (date_count_ > 0)
      record_ = Any::Take(dm_o_instance_from_metadata(dates.get()));
    return true;
  }

  bool IsAtEnd() const { return recordset_->IsEOF(); }
  bool Next() { return recordset_->MoveNext(); }
  bool Read(std::vector<StoreCell>& row) {
    if (record_ && !kiv::store::FillRecord(*recordset_, record_)) return false;
    row.clear();
    for (std::size_t i = 0; i < fields_.size(); ++i) {
      if (date_[i] >= 0) {
        row.push_back(CellOf(Any(dm_o_object_pointer_get(dm_o_struct_field_at(
            record_.get(), static_cast<std::size_t>(date_[i]))))));
        continue;
      }
      const kiv::store::Variant value = fields_[i]->Value();
      if (value.vt == VT_EMPTY) return false;
      StoreCell cell = CellOf(value);
      if (is_guid_[i] && cell.text.size() > 2)
        cell.text = cell.text.substr(1, cell.text.size() - 2);
      row.push_back(std::move(cell));
    }
    return true;
  }

 private:
  // ADO data type numbers.
  static constexpr int kGuid = 72;
  static bool IsDate(int type) {
    return type == 7 || type == 133 || type == 134 || type == 135;
  }

  const std::shared_ptr<Recordset> recordset_;
  std::vector<std::shared_ptr<Field>> fields_;
  std::vector<int> date_;  // the field of the record, -1: no date
  std::vector<bool> is_guid_;
  std::size_t date_count_ = 0;
  Any record_;
};

}  // namespace

int StoreDump(StorePlace& place, const StoreOptions& options) {
  const auto database = place.OpenDatabase();
  if (!database) return 1;
  const auto table = place.OpenTable(*database, options.table);
  if (!table) return 1;
  auto recordset = table->OpenRecordset();
  if (!recordset)
    return place.LibraryFault("'" + options.table + "' cannot be read");
  TableRows rows(std::move(recordset));
  std::vector<std::string> names;
  if (!rows.Begin(names))
    return place.LibraryFault("'" + options.table + "' cannot be read");
  OutputFile output(options.output);
  const auto writer = WriterFor(options, output.Stream(), false);
  writer->Begin(names);
  Progress progress("rows written");
  unsigned long long written = 0;
  std::vector<StoreCell> row;
  // A row that cannot be read ends the recordset as the last one does.
  bool is_read = true;
  while (is_read && !rows.IsAtEnd() && output.Stream()) {
    is_read = rows.Read(row);
    if (!is_read) break;
    writer->Add(row);
    progress.Show(++written);
    is_read = rows.Next();
  }
  progress.Clear();
  writer->End();
  if (!is_read)
    return place.LibraryFault("row " + std::to_string(written + 1) +
                              " cannot be read");
  std::string reason;
  if (!output.Finish(reason)) return place.Fault(reason);
  if (!options.output.empty())
    std::cerr << Counted(written, "row") << " written\n";
  return 0;
}

int StoreQuery(StorePlace& place, const StoreOptions& options) {
  std::string statement;
  kiv::store::Parameters parameters;
  if (!place.LocalText(options.statement, statement)) return 1;
  for (const std::string& text : options.parameters) {
    std::string reason;
    parameters.push_back(ValueOf(text, DM_STRING, reason));
    if (!parameters.back()) return place.Fault(reason);
  }
  const auto database = place.OpenDatabase();
  if (!database) return 1;
  const auto rows = kiv::store::Rows::On(database);
  if (!rows) return place.LibraryFault("the store cannot be asked");
  if (options.gives_no_rows) {
    const long long changed = rows->Execute(statement, parameters);
    if (changed < 0) return place.LibraryFault("the statement failed");
    std::cout << Counted(static_cast<unsigned long long>(changed), "row")
              << " changed\n";
    return 0;
  }
  const auto reader = rows->Query(statement, parameters);
  if (!reader) return place.LibraryFault("the statement failed");
  std::vector<std::string> names;
  for (const std::string& name : reader->ColumnNames())
    names.push_back(Utf8(name));
  OutputFile output(options.output);
  const auto writer = WriterFor(options, output.Stream(), true);
  writer->Begin(names);
  std::vector<StoreCell> row;
  while (output.Stream() && reader->Next()) {
    row.clear();
    for (std::size_t i = 0; i < names.size(); ++i)
      row.push_back(CellOf(reader->Value(i)));
    writer->Add(row);
  }
  writer->End();
  if (reader->HasFailed()) return place.LibraryFault("not all rows were read");
  std::string reason;
  return output.Finish(reason) ? 0 : place.Fault(reason);
}

}  // namespace kiv_tool
