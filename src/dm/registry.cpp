#include "dm/registry.h"

#include <exception>
#include <memory>

#include "dm/type_registry.h"

namespace dm {
namespace {

// One for the process. Made at start-up and only read until shut-down.
dm_registry_t* registry = nullptr;

// Memory may run short while a name is added.
template <typename Change>
bool ChangeNames(Change change) try {
  return registry != nullptr && change(*registry);
} catch (const std::exception&) {
  return false;
}

}  // namespace

void* StandardMetadataOf(dm_type_id_e type_id) {
  return registry == nullptr ? nullptr : registry->standard(type_id);
}

bool StartRegistry() try {
  if (registry == nullptr) registry = new dm_registry_t;
  return registry->Reset();
} catch (const std::exception&) {
  return false;
}

void StopRegistry() {
  // Gone for everybody before the last references go.
  const std::unique_ptr<dm_registry_t> ending(registry);
  registry = nullptr;
}

}  // namespace dm

dm_registry_t* dm_o_registry() { return dm::registry; }

bool dm_o_reset_registry() {
  return dm::ChangeNames([](dm_registry_t& names) { return names.Reset(); });
}

void* dm_o_get_metadata(const char* name) {
  return dm::registry == nullptr || name == nullptr ? nullptr
                                                    : dm::registry->Find(name);
}

bool dm_o_add_metadata(const char* name, void* metadata, bool replace) {
  return name != nullptr && dm::ChangeNames([&](dm_registry_t& names) {
           return names.Add(name, metadata, replace);
         });
}

bool dm_o_typedef(void* metadata, const char* name, bool replace) {
  return name != nullptr && dm::ChangeNames([&](dm_registry_t& names) {
           return names.Alias(metadata, name, replace);
         });
}

bool dm_o_add_std_metadata(dm_type_id_e type_id, const char* name,
                           bool replace) {
  return name != nullptr && dm::ChangeNames([&](dm_registry_t& names) {
           return names.AddStandard(type_id, name, replace);
         });
}

void dm_o_del_metadata(const char* name) {
  if (dm::registry != nullptr && name != nullptr) dm::registry->Remove(name);
}

bool dm_o_visit_metadata(bool (*visit)(const char* name, void* metadata,
                                       void* context),
                         void* context) {
  if (dm::registry == nullptr || visit == nullptr) return false;
  for (const auto& [name, metadata] : dm::registry->entries()) {
    if (!visit(name.c_str(), metadata, context)) return false;
  }
  return true;
}

void* dm_o_int32_metadata() { return dm::StandardMetadataOf(DM_INT32); }
void* dm_o_int16_metadata() { return dm::StandardMetadataOf(DM_INT16); }
void* dm_o_int64_metadata() { return dm::StandardMetadataOf(DM_INT64); }
void* dm_o_byte_metadata() { return dm::StandardMetadataOf(DM_BYTE); }
void* dm_o_bool_metadata() { return dm::StandardMetadataOf(DM_BOOLEAN); }
void* dm_o_float_metadata() { return dm::StandardMetadataOf(DM_FLOAT); }
void* dm_o_double_metadata() { return dm::StandardMetadataOf(DM_DOUBLE); }
void* dm_o_ansi_string_metadata() { return dm::StandardMetadataOf(DM_STRING); }
void* dm_o_data_pointer_metadata() {
  return dm::StandardMetadataOf(DM_DATA_POINTER);
}
void* dm_o_object_pointer_metadata() {
  return dm::StandardMetadataOf(DM_OBJECT_POINTER);
}
void* dm_o_value_vector_metadata() {
  return dm::StandardMetadataOf(DM_VALUE_VECTOR);
}
void* dm_o_object_vector_metadata() {
  return dm::StandardMetadataOf(DM_OBJECT_VECTOR);
}
void* dm_o_guid_metadata() { return dm::StandardMetadataOf(DM_GUID); }
void* dm_o_datetime_metadata() { return dm::StandardMetadataOf(DM_DATE_TIME); }
void* dm_o_binary_metadata() { return dm::StandardMetadataOf(DM_BINARY); }
