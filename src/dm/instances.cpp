#include "dm/layout.h"
#include "dm/life.h"
#include "dm/registry.h"
#include "dm/type_functions.h"

namespace dm {
namespace {

// The record of a metadata object itself; null for what is none.
const dm_type_info_t* MetadataInfo(const void* metadata) {
  const dm_type_info_t* const info = InfoOf(metadata);
  return info != nullptr && info->instance_sign != nullptr ? info : nullptr;
}

struct Instance {
  dm_sign sign = DM_SIGN_DEFAULT;
  std::size_t size = 0;
  const void* argument = nullptr;
};

// What instances of a metadata are made with. `holder` is the word that the
// argument of a struct points to.
bool Describe(void* const& holder, dm_sign sign, Instance& instance) {
  const dm_type_info_t* const info = MetadataInfo(holder);
  if (info == nullptr) return false;
  instance.sign = sign;
  if (!info->instance_sign(holder, &instance.sign)) return false;
  const dm_header_info_t* const header = info->instance_header_info(holder);
  instance.size = kHeaderOffset +
                  (header == nullptr ? 0 : header->header_size) +
                  info->instance_data_size(holder);
  instance.argument = info->type_id == DM_STRUCT_METADATA ? &holder : nullptr;
  return true;
}

}  // namespace
}  // namespace dm

size_t dm_o_instance_header_size(const void* metadata) {
  const dm_header_info_t* const header = dm_o_instance_header_info(metadata);
  return header == nullptr ? 0 : header->header_size;
}

size_t dm_o_instance_data_size(const void* metadata) {
  const dm_type_info_t* const info = dm::MetadataInfo(metadata);
  return info == nullptr ? 0 : info->instance_data_size(metadata);
}

const dm_header_info_t* dm_o_instance_header_info(const void* metadata) {
  const dm_type_info_t* const info = dm::MetadataInfo(metadata);
  return info == nullptr ? nullptr : info->instance_header_info(metadata);
}

const dm_type_info_t* dm_o_type_info_from_metadata(const void* metadata) {
  const dm_type_info_t* const info = dm::MetadataInfo(metadata);
  dm_sign sign = DM_SIGN_DEFAULT;
  return info != nullptr && info->instance_sign(metadata, &sign)
             ? dm::InfoFromId(dm::TypeIdOf(sign))
             : nullptr;
}

const char* dm_o_type_name_from_metadata(const void* metadata) {
  const dm_type_info_t* const info = dm_o_type_info_from_metadata(metadata);
  return info == nullptr ? nullptr : info->type_name;
}

bool dm_o_is_value_type_from_metadata(const void* metadata) {
  return dm_o_instance_header_info(metadata) == dm_value_header_info();
}

bool dm_o_is_big_value_type_from_metadata(const void* metadata) {
  return dm_o_instance_header_info(metadata) == dm_big_value_header_info();
}

bool dm_o_is_struct_type_from_metadata(const void* metadata) {
  const dm_type_info_t* const info = dm_o_type_info_from_metadata(metadata);
  return info != nullptr && info->type_id == DM_STRUCT;
}

bool dm_o_is_value_type_from_object(const void* object) {
  return dm_o_is_value_type_from_metadata(dm_o_metadata(object));
}

bool dm_o_is_big_value_type_from_object(const void* object) {
  return dm_o_is_big_value_type_from_metadata(dm_o_metadata(object));
}

bool dm_o_is_struct_type_from_object(const void* object) {
  return dm_o_is_struct_type_from_metadata(dm_o_metadata(object));
}

void* dm_o_instance_from_metadata(void* metadata) {
  // What records are made with, so the shorter way: the answers below are
  // known.
  if (dm::IsA(metadata, DM_STRUCT_METADATA)) {
    return dm::struct_type::New(metadata);
  }
  dm::Instance instance;
  if (!dm::Describe(metadata, DM_SIGN_DEFAULT, instance)) return nullptr;
  const dm_deletor_info_t* const heap =
      dm_o_deletor_info_from_id(DM_DELETOR_DEFAULT);
  void* const memory = heap->allocate(instance.size);
  void* const object =
      dm_o_placement_new(instance.sign, instance.argument, memory);
  if (object == nullptr) heap->release(memory);
  return object;
}

void* dm_o_placement_instance_from_metadata(void* metadata, void* memory) {
  dm::Instance instance;
  return dm::Describe(metadata, DM_SIGN_PLACED, instance)
             ? dm_o_placement_new(instance.sign, instance.argument, memory)
             : nullptr;
}

void* dm_o_create_instance(const char* name) {
  return dm_o_instance_from_metadata(dm_o_get_metadata(name));
}
