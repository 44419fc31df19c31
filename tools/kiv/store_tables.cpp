// kiv store: ping, tables, columns and create.
#include <chrono>
#include <iomanip>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "dm/dm.h"
#include "dm/schema_check.h"
#include "store_command.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using kiv::store::AdoConnection;
using kiv::store::DbXmlConnection;

bool TableNames(kiv::store::Connection& connection,
                std::vector<std::string>& names) {
  if (auto* const database = dynamic_cast<AdoConnection*>(&connection))
    return database->TableNames(names);
  if (auto* const documents = dynamic_cast<DbXmlConnection*>(&connection))
    return documents->GetManager().GetContainerNames(names);
  return false;
}

std::string TypeText(const kiv::store::Column& column) {
  const auto type = column.GetType();
  return type ? dm_o_type_name_from_metadata(type.get()) : "unknown";
}

// Declares the types of the files, in order; says what was refused.
bool Declare(const StorePlace& place, const std::vector<std::string>& files) {
  bool done = true;
  for (const std::string& file : files) {
    std::string local;
    if (!place.LocalText(file, local)) return false;
    for (const dm::SchemaFinding& finding : dm::CheckSchema(local.c_str())) {
      if (finding.outcome == dm::SchemaFinding::Outcome::Declared) continue;
      place.Fault(file +
                  (finding.line > 0 ? ":" + std::to_string(finding.line) : "") +
                  ": " + Utf8(finding.name) + ": " + Utf8(finding.text));
      done = false;
    }
  }
  return done;
}

// As Table::CreateColumns does, with a length for texts.
bool CreateColumns(kiv::store::Table& table,
                   const dm::ObjectPtr<dm::StructType>& type,
                   long text_length) {
  if (text_length == 0) return table.CreateColumns(type);
  const std::size_t count = dm_o_struct_metadata_field_count(type.get());
  for (std::size_t i = 0; i < count; ++i) {
    const dm::ObjectPtr<int*> field(
        dm_o_struct_metadata_field_metadata(type.get(), i));
    const bool is_text =
        dm_o_type_info_from_metadata(field.get())->type_id == DM_STRING;
    if (!table.CreateColumn(dm_o_struct_metadata_field_name(type.get(), i),
                            field, is_text ? text_length : 0))
      return false;
  }
  return true;
}

}  // namespace

int StorePing(StorePlace& place, const StoreOptions&) {
  const auto start = std::chrono::steady_clock::now();
  const auto connection = place.Open();
  if (!connection) return 1;
  std::vector<std::string> names;
  if (!TableNames(*connection, names))
    return place.LibraryFault("the store is open, but cannot be read");
  const std::chrono::duration<double, std::milli> took =
      std::chrono::steady_clock::now() - start;
  std::cout << "open, " << Counted(names.size(), "table") << ", " << std::fixed
            << std::setprecision(1) << took.count() << " ms\n";
  return 0;
}

int StoreTables(StorePlace& place, const StoreOptions&) {
  const auto connection = place.Open();
  if (!connection) return 1;
  std::vector<std::string> names;
  if (!TableNames(*connection, names))
    return place.LibraryFault("the tables cannot be listed");
  for (const std::string& name : names)
    std::cout << Printable(Utf8(name)) << '\n';
  return 0;
}

int StoreColumns(StorePlace& place, const StoreOptions& options) {
  const auto database = place.OpenDatabase();
  if (!database) return 1;
  const auto table = place.OpenTable(*database, options.table);
  if (!table) return 1;
  std::vector<std::vector<Cell>> rows;
  const long count = table->GetColumnCount();
  for (long i = 0; i < count; ++i) {
    const auto column = table->GetColumn(i);
    if (!column)
      return place.LibraryFault("column " + std::to_string(i) +
                                " cannot be read");
    const long size = column->GetDefinedSize();
    const bool may_be_null =
        (column->GetAttributes() & kiv::store::Column::ATTRIBUTE_NULLABLE) != 0;
    rows.push_back({{Printable(Utf8(column->GetName()))},
                    {TypeText(*column)},
                    {size > 0 ? std::to_string(size) : "", Color::Plain, true},
                    {may_be_null ? "null" : "not null"}});
  }
  std::cout << Table({"name", "type", "size", "null"}, rows);
  return 0;
}

int StoreCreate(StorePlace& place, const StoreOptions& options) {
  std::string name;
  std::string type_name;
  if (!place.LocalText(options.table, name) ||
      !place.LocalText(options.type.empty() ? options.table : options.type,
                       type_name) ||
      !Declare(place, options.schemas))
    return 1;
  const dm::ObjectPtr<dm::StructType> type(
      dm_o_get_metadata(type_name.c_str()));
  if (!type || !dm_o_is_struct_type_from_metadata(type.get()))
    return place.Fault("no record type is named '" + Utf8(type_name) +
                       "'; kiv schema list FILE shows all names");
  const auto connection = place.Open(options.may_create);
  if (!connection) return 1;
  if (connection->IsExistTable(name))
    return place.Fault("there is a table '" + options.table + "' already");
  auto table = connection->CreateTable(name);
  // A container is there as soon as it has a name.
  const bool is_database =
      std::dynamic_pointer_cast<AdoConnection>(connection) != nullptr;
  if (table && CreateColumns(*table, type, options.text_length) &&
      (!is_database || table->CompleteCreate())) {
    place.TellWarnings();
    return 0;
  }
  if (table && !is_database) {
    table.reset();
    connection->DeleteTable(name);
  }
  return place.LibraryFault("'" + options.table + "' is not made");
}

}  // namespace kiv_tool
