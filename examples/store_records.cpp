// The record store: a record type from an XML Schema becomes a table of a new
// SQLite database; records go in together and come out one by one.
//
//   example_store_records [CONNECTION]
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "dm/dm.h"
#include "kiv/date_time.h"
#include "kiv/startup.h"
#include "kiv/store/store.h"

namespace {

using Any = dm::ObjectPtr<int*>;

constexpr char kFile[] = "store_records.db";
constexpr char kTable[] = "weighing";

constexpr char kSchema[] =
    "<xsd:schema xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">"
    "  <xsd:complexType name=\"Weighing\">"
    "    <xsd:sequence>"
    "      <xsd:element name=\"ticket\" type=\"xsd:int\"/>"
    "      <xsd:element name=\"time\" type=\"xsd:dateTime\"/>"
    "      <xsd:element name=\"tons\" type=\"xsd:double\"/>"
    "      <xsd:element name=\"plate\" type=\"xsd:string\"/>"
    "    </xsd:sequence>"
    "  </xsd:complexType>"
    "</xsd:schema>";

dm::Object Field(const Any& record, const char* name) {
  const int index = dm_o_struct_field_index(record.get(), name);
  return dm::Object(
      dm_o_struct_field_at(record.get(), static_cast<std::size_t>(index)));
}

Any NewWeighing(std::int32_t ticket, double tons, const char* plate) {
  auto record = Any::Take(dm_o_create_instance("Weighing"));
  const bool done = Field(record, "ticket").Write(ticket) &&
                    Field(record, "time")
                        .Write(kiv::DateTime(2004, 1, 31, 9, ticket, 0, 0)) &&
                    Field(record, "tons").Write(tons) &&
                    dm_o_string_assign(Field(record, "plate").get(), plate);
  return done ? record : Any();
}

bool MakeTable(kiv::store::Connection& store) {
  const auto table = store.CreateTable(kTable);
  const dm::ObjectPtr<dm::StructType> type(dm_o_get_metadata("Weighing"));
  return table && table->CreateColumns(type) && table->CompleteCreate();
}

// All of them or none.
bool Insert(const std::shared_ptr<kiv::store::Connection>& store) {
  const auto rows = kiv::store::Rows::On(store);
  const auto transaction = store->BeginTransaction();
  if (!rows || !transaction) return false;
  const std::vector<Any> records{NewWeighing(1, 23.45, "A-12345"),
                                 NewWeighing(2, 18.2, "B-90077"),
                                 NewWeighing(3, 40.12, "A-12345")};
  return rows->Insert(kTable, records) &&
         rows->Execute("update weighing set tons = tons - 1 where plate = ?",
                       {Any(Field(records[1], "plate").get())}) == 1 &&
         transaction->Commit();
}

// Every row of the table, into one record after the other.
double SumOfAll(kiv::store::Connection& store) {
  const auto table = store.GetTable(kTable);
  const auto recordset = table ? table->OpenRecordset() : nullptr;
  if (!recordset) return -1;
  double sum = 0;
  for (; !recordset->IsEOF(); recordset->MoveNext()) {
    const auto record = Any::Take(dm_o_create_instance("Weighing"));
    double tons = 0;
    if (!kiv::store::FillRecord(*recordset, record) ||
        !Field(record, "tons").Read(tons)) {
      return -1;
    }
    std::cout << dm_o_string_text(Field(record, "plate").get()) << ": " << tons
              << '\n';
    sum += tons;
  }
  return sum;
}

// A query with a value, which never becomes part of the statement's text.
double SumOf(const std::shared_ptr<kiv::store::Connection>& store,
             const char* plate) {
  const auto wanted = Any::Take(dm_o_new(DM_SIGN_DEFAULT + DM_STRING, nullptr));
  dm_o_string_assign(wanted.get(), plate);
  const auto rows = kiv::store::Rows::On(store);
  const auto found = rows ? rows->Query(
                                "select sum(tons) from weighing where "
                                "plate = ?",
                                {wanted})
                          : nullptr;
  double sum = -1;
  if (found && found->Next() && !found->Value(0).object().Read(sum)) return -1;
  return sum;
}

bool IsClose(double a, double b) { return a - b < 1e-9 && b - a < 1e-9; }

bool Run(const std::string& connection) {
  if (!dm_o_declare_from_mem(kSchema, sizeof kSchema - 1, 0, false)) {
    return false;
  }
  const auto store = kiv::store::Factory().CreateConnection(connection);
  if (!store || !store->OpenOrCreate("", "") || !MakeTable(*store) ||
      !Insert(store)) {
    return false;
  }
  const double all = SumOfAll(*store);
  const double one = SumOf(store, "A-12345");
  std::cout << "all: " << all << ", A-12345: " << one << '\n';
  return IsClose(all, 80.77) && IsClose(one, 63.57);
}

}  // namespace

int main(int argc, char** argv) {
  std::error_code ignored;
  if (argc < 2) std::filesystem::remove(kFile, ignored);
  kiv::GlobalInit();
  const bool done =
      Run(argc > 1 ? argv[1]
                   : std::string("ado:ado:Driver=SQLite3;Database=") + kFile);
  kiv::GlobalUninit();
  if (argc < 2) std::filesystem::remove(kFile, ignored);
  if (!done) std::cout << "failed; the log says why\n";
  return done ? 0 : 1;
}
