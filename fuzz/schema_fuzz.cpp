// Any bytes as a schema: declared once and once more in place of itself; every
// record type that came of it is laid out without a gap, has an instance, and
// comes back equal when it is exported.
#include <cstring>
#include <vector>

#include "dm/object.h"
#include "dm/schema.h"
#include "input_of_fuzz.h"
#include "kiv/dom.h"

namespace kiv::fuzz {

using ::dm::ObjectPtr;

// Larger instances are laid out but not made, larger types not written.
constexpr std::size_t kLargestInstance = 1 << 17;

// Whether the fields, nested ones too, follow each other without a gap.
void ExpectPacked(const void* metadata) {
  std::size_t total = 0;
  const std::size_t count = dm_o_struct_metadata_field_count(metadata);
  for (std::size_t i = 0; i < count; ++i) {
    const void* const field = dm_o_struct_metadata_field_metadata(metadata, i);
    const std::size_t size =
        8 + dm_o_instance_header_size(field) + dm_o_instance_data_size(field);
    Expect(dm_o_struct_metadata_field_offset(metadata, i) == total);
    Expect(dm_o_struct_metadata_field_size(metadata, i) == size);
    Expect(*dm_o_struct_metadata_field_name(metadata, i) != '\0');
    total += size;
    if (size < kLargestInstance) ExpectPacked(field);
  }
  Expect(dm_o_instance_data_size(metadata) == total ||
         !dm_o_is_struct_type_from_metadata(metadata));
}

void ExpectEqual(const void* a, const void* b) {
  const bool is_struct = dm_o_is_struct_type_from_metadata(a);
  Expect(is_struct == dm_o_is_struct_type_from_metadata(b));
  if (!is_struct)
    return Expect(dm_o_type_info_from_metadata(a) ==
                  dm_o_type_info_from_metadata(b));
  const std::size_t count = dm_o_struct_metadata_field_count(a);
  Expect(count == dm_o_struct_metadata_field_count(b));
  for (std::size_t i = 0; i < count; ++i) {
    Expect(std::strcmp(dm_o_struct_metadata_field_name(a, i),
                       dm_o_struct_metadata_field_name(b, i)) == 0);
    ExpectEqual(dm_o_struct_metadata_field_metadata(a, i),
                dm_o_struct_metadata_field_metadata(b, i));
  }
}

ObjectPtr<::dm::StructType> Built(const char* text, std::size_t size) {
  return ObjectPtr<::dm::StructType>::Take(
      dm_o_struct_metadata_from_mem(text, static_cast<unsigned>(size), 0));
}

void Use(void* metadata) {
  Expect(dm_o_is_metadata(metadata));
  if (!dm_o_is_struct_type_from_metadata(metadata)) return;
  ExpectPacked(metadata);
  if (dm_o_instance_data_size(metadata) >= kLargestInstance) return;
  Expect(static_cast<bool>(
      ObjectPtr<int*>::Take(dm_o_instance_from_metadata(metadata))));
  const auto text = ObjectPtr<int*>::Take(dm_o_metadata_to_xsd(metadata, 0));
  // A field of a type without a schema name, or too many fields.
  if (!text) return;
  const auto again =
      Built(dm_o_string_text(text.get()), dm_o_string_size(text.get()));
  Expect(static_cast<bool>(again));
  ExpectEqual(metadata, again.get());
}

std::vector<void*> RegisteredTypes() {
  std::vector<void*> types;
  dm_o_visit_metadata(
      [](const char*, void* metadata, void* context) {
        static_cast<std::vector<void*>*>(context)->push_back(metadata);
        return true;
      },
      &types);
  return types;
}

void Run(std::string_view input) {
  Session::Next();
  // A schema that asks for more writes more than a test may take.
  DomParser::SetMaxBytes(kLargestInstance);
  Expect(dm_o_reset_registry());
  const auto declare = [&](bool replaces) {
    return dm_o_declare_from_mem(
        input.data(), static_cast<unsigned>(input.size()), 0, replaces);
  };
  const bool done = declare(false);
  const std::size_t names = RegisteredTypes().size();
  if (done) {
    // In place of what is there, the same again. Not of the built-in types,
    // which others refer to.
    declare(true);
    Expect(RegisteredTypes().size() <= names);
  }
  for (void* const type : RegisteredTypes()) Use(type);
  if (const auto built = Built(input.data(), input.size())) Use(built.get());
}

}  // namespace kiv::fuzz
