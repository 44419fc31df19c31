// The data model: a record type built by calls, one declared by a schema with
// the first inside, an instance of it, filled and printed field by field.
#include <cstdint>
#include <iostream>
#include <string>

#include "dm/object.h"
#include "kiv/date_time.h"
#include "kiv/parser/parser.h"
#include "kiv/startup.h"

namespace {

using Any = dm::ObjectPtr<int*>;
using StructPtr = dm::ObjectPtr<dm::StructType>;

constexpr const char kWeighingSchema[] =
    "<xsd:schema xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">"
    "  <xsd:complexType name=\"Weighing\">"
    "    <xsd:sequence>"
    "      <xsd:element name=\"ticket\" type=\"xsd:int\"/>"
    "      <xsd:element name=\"time\" type=\"xsd:dateTime\"/>"
    "      <xsd:element name=\"gross\" type=\"xsd:double\"/>"
    "      <xsd:element name=\"vehicle\" type=\"Vehicle\"/>"
    "    </xsd:sequence>"
    "  </xsd:complexType>"
    "</xsd:schema>";

bool Add(const StructPtr& type, const char* name, void* field_type) {
  return dm_o_struct_metadata_append(type.get(), name, field_type);
}

// A type gets a name when all its fields are there: from then on it is fixed.
// The schema refers to types by their names.
bool DeclareTypes() {
  const auto vehicle = StructPtr::Take(dm_o_struct_metadata_new());
  return Add(vehicle, "plate", dm_o_get_metadata("string")) &&
         Add(vehicle, "axles", dm_o_get_metadata("byte")) &&
         dm_o_typedef(vehicle.get(), "Vehicle", false) &&
         dm_o_declare_from_mem(kWeighingSchema, sizeof kWeighingSchema - 1, 0,
                               false);
}

dm::Object Field(dm::Object record, const char* name) {
  const int index = dm_o_struct_field_index(record.get(), name);
  return dm::Object(index < 0
                        ? nullptr
                        : dm_o_struct_field_at(
                              record.get(), static_cast<std::size_t>(index)));
}

bool Fill(dm::Object weighing) {
  const dm::Object vehicle = Field(weighing, "vehicle");
  return Field(weighing, "ticket").Write(std::int32_t{4711}) &&
         Field(weighing, "time")
             .Write(kiv::DateTime(2004, 1, 31, 9, 5, 7, 0)) &&
         Field(weighing, "gross").Write(38.25) &&
         Field(vehicle, "axles").Write(std::uint8_t{5}) &&
         dm_o_string_assign(Field(vehicle, "plate").get(), "A-12345");
}

template <typename Number>
std::string NumberText(dm::Object value) {
  Number number;
  return value.Read(number) ? std::to_string(number) : "";
}

std::string Text(dm::Object value) {
  switch (value.GetTypeId()) {
    case DM_INT32:
      return NumberText<std::int32_t>(value);
    case DM_BYTE:
      return NumberText<std::uint8_t>(value);
    case DM_DOUBLE:
      return NumberText<double>(value);
    case DM_DATE_TIME: {
      kiv::DateTime time;
      std::string text;
      if (value.Read(time)) kiv::parser::Parser::DateTimeToRFC867(time, text);
      return text;
    }
    default:
      return dm_o_string_text(value.get());
  }
}

void Print(dm::Object record, const std::string& indent) {
  void* const type = record.GetType();
  for (std::size_t i = 0; i < dm_o_struct_field_count(record.get()); ++i) {
    const dm::Object field(dm_o_struct_field_at(record.get(), i));
    const bool is_record = dm_o_is_struct_type_from_object(field.get());
    std::cout << indent << dm_o_struct_metadata_field_name(type, i) << " ("
              << field.GetTypeInfo()->type_name << " at "
              << dm_o_struct_metadata_field_offset(type, i) << ")"
              << (is_record ? "" : " = " + Text(field)) << '\n';
    if (is_record) Print(field, indent + "  ");
  }
}

bool Run() {
  if (!DeclareTypes()) return false;
  const auto weighing = Any::Take(dm_o_create_instance("Weighing"));
  const auto copy = Any::Take(dm_o_create_instance("Weighing"));
  if (!weighing || !copy || !Fill(weighing.object())) return false;
  if (!dm_o_copy_from(copy.get(), dm_o_data(weighing.get()))) return false;
  std::cout << "Weighing, " << weighing.object().GetObjectSize() << " bytes\n";
  Print(copy.object(), "  ");
  return Text(Field(Field(copy.object(), "vehicle"), "plate")) == "A-12345";
}

}  // namespace

int main() {
  kiv::GlobalInit();
  const bool done = Run();
  kiv::GlobalUninit();
  return done ? 0 : 1;
}
