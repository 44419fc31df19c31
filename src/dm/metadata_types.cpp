#include <exception>
#include <new>

#include "dm/field_table.h"
#include "dm/life.h"
#include "dm/type_functions.h"
#include "dm/values.h"

namespace dm {
namespace {

const dm_type_info_t& DescribedType(const void* std_metadata) {
  return *Load<const dm_type_info_t*>(DataOf(std_metadata));
}

const Field* FieldOf(const void* metadata, std::size_t index) {
  return IsA(metadata, DM_STRUCT_METADATA) ? TableOf(metadata).at(index)
                                           : nullptr;
}

// Keeps the deletor that is asked for.
dm_sign WithType(dm_sign sign, dm_type_id_e id) {
  return (sign & ~dm_sign{0xFF}) | id;
}

}  // namespace

namespace std_metadata {

bool Construct(void* object, const void* arg) {
  for (unsigned id = 0; id < kTypeIds; ++id) {
    const dm_type_info_t* const info = InfoFromId(id);
    if (info == nullptr || info != arg) continue;
    Store<const dm_type_info_t*>(DataOf(object), info);
    return true;
  }
  return false;
}

void* Metadata(const void* object) { return const_cast<void*>(object); }

bool InstanceSign(const void* metadata, dm_sign* sign) {
  *sign = WithType(*sign, DescribedType(metadata).type_id);
  return true;
}

const dm_header_info_t* InstanceHeaderInfo(const void* metadata) {
  const auto getter = DescribedType(metadata).header_info;
  return getter == nullptr ? nullptr : getter();
}

std::size_t InstanceDataSize(const void* metadata) {
  return DescribedType(metadata).data_size(nullptr);
}

}  // namespace std_metadata

namespace struct_metadata {

bool Construct(void* object, const void*) {
  auto* const table = new (std::nothrow) FieldTable;
  Store<FieldTable*>(DataOf(object), table);
  return table != nullptr;
}

void Destroy(void* object) { delete Load<FieldTable*>(DataOf(object)); }

// The fields of another struct type, to append to; not once it is in use.
bool Copy(void* object, const void* source) try {
  const auto* const from =
      source == nullptr ? nullptr : Load<const FieldTable*>(source);
  return from != nullptr && TableOf(object).CopyFrom(*from);
} catch (const std::exception&) {
  return false;
}

void* Metadata(const void* object) { return const_cast<void*>(object); }

bool InstanceSign(const void*, dm_sign* sign) {
  *sign = WithType(*sign, DM_STRUCT);
  return true;
}

const dm_header_info_t* InstanceHeaderInfo(const void*) {
  return dm_struct_header_info();
}

std::size_t InstanceDataSize(const void* metadata) {
  return TableOf(metadata).total_size();
}

}  // namespace struct_metadata
}  // namespace dm

void* dm_o_struct_metadata_new() {
  return dm_o_new(DM_SIGN_DEFAULT + DM_STRUCT_METADATA, nullptr);
}

bool dm_o_struct_metadata_append(void* metadata, const char* name,
                                 void* field_metadata) try {
  return dm::IsA(metadata, DM_STRUCT_METADATA) && name != nullptr &&
         field_metadata != metadata && dm_o_is_metadata(field_metadata) &&
         dm::TableOf(metadata).Append(name, field_metadata);
} catch (const std::exception&) {
  return false;
}

size_t dm_o_struct_metadata_field_count(const void* metadata) {
  return dm::IsA(metadata, DM_STRUCT_METADATA)
             ? dm::TableOf(metadata).fields().size()
             : 0;
}

int dm_o_struct_metadata_field_index(const void* metadata, const char* name) {
  return dm::IsA(metadata, DM_STRUCT_METADATA)
             ? dm::TableOf(metadata).IndexOf(name)
             : -1;
}

const char* dm_o_struct_metadata_field_name(const void* metadata,
                                            size_t index) {
  const dm::Field* const field = dm::FieldOf(metadata, index);
  return field == nullptr ? nullptr : field->name().c_str();
}

void* dm_o_struct_metadata_field_metadata(const void* metadata, size_t index) {
  const dm::Field* const field = dm::FieldOf(metadata, index);
  return field == nullptr ? nullptr : field->metadata();
}

uint32_t dm_o_struct_metadata_field_offset(const void* metadata, size_t index) {
  const dm::Field* const field = dm::FieldOf(metadata, index);
  return field == nullptr ? 0 : field->offset;
}

uint32_t dm_o_struct_metadata_field_size(const void* metadata, size_t index) {
  const dm::Field* const field = dm::FieldOf(metadata, index);
  return field == nullptr ? 0 : field->size;
}
