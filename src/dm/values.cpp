#include "dm/values.h"

#include "dm/layout.h"
#include "dm/life.h"
#include "dm/type_functions.h"
#include "dm/value_vector.h"

namespace dm {

namespace object_pointer {

void Destroy(void* object) { dm_o_object_pointer_set(object, nullptr); }

bool Copy(void* object, const void* source) {
  return source != nullptr &&
         dm_o_object_pointer_set(object, Load<void*>(source));
}

}  // namespace object_pointer
}  // namespace dm

size_t dm_o_vector_count(const void* object) {
  const dm_type_info_t* const info = dm::InfoOf(object);
  return info != nullptr && info->count != nullptr ? info->count(object) : 0;
}

bool dm_o_vector_resize(void* object, size_t count) {
  const dm_type_info_t* const info = dm::InfoOf(object);
  return info != nullptr && info->resize != nullptr &&
         info->resize(object, count);
}

void* dm_o_vector_at(const void* object, size_t index) {
  return dm::IsValueVector(object) ? dm::value_vector::ElementAt(object, index)
                                   : nullptr;
}

void* dm_o_vector_get(const void* object, size_t index) {
  const dm_type_info_t* const info = dm::InfoOf(object);
  return info != nullptr && info->get_element != nullptr
             ? info->get_element(object, index)
             : nullptr;
}

bool dm_o_vector_set(void* object, size_t index, void* value, bool add_ref) {
  const dm_type_info_t* const info = dm::InfoOf(object);
  return info != nullptr && info->set_element != nullptr &&
         info->set_element(object, index, value, add_ref);
}

bool dm_o_vector_erase(void* object, size_t index) {
  const dm_type_info_t* const info = dm::InfoOf(object);
  return info != nullptr && info->erase_element != nullptr &&
         info->erase_element(object, index);
}

bool dm_o_vector_append(void* object, void* value) {
  return dm::IsA(object, DM_OBJECT_VECTOR)
             ? dm::AppendReference(object, value)
             : dm::IsValueVector(object) && dm::AppendValue(object, value);
}

void* dm_o_vector_element_metadata(const void* object) {
  const dm_type_info_t* const info = dm::InfoOf(object);
  return info != nullptr && info->element_metadata != nullptr
             ? info->element_metadata(object)
             : nullptr;
}

void* dm_o_object_pointer_get(const void* object) {
  return dm::IsA(object, DM_OBJECT_POINTER)
             ? dm::Load<void*>(dm::DataOf(object))
             : nullptr;
}

bool dm_o_object_pointer_set(void* object, void* value) {
  if (!dm::IsA(object, DM_OBJECT_POINTER)) return false;
  void* const slot = dm::DataOf(object);
  void* const old = dm::Load<void*>(slot);
  if (old == value) return true;
  dm::Store<void*>(slot, dm_o_add_ref(value));
  dm_o_inner_release(old);
  return true;
}

bool dm_o_data_pointer_get(const void* object, void** pointer,
                           uintptr_t* companion) {
  if (!dm::IsA(object, DM_DATA_POINTER)) return false;
  const void* const data = dm::DataOf(object);
  if (pointer != nullptr) *pointer = dm::Load<void*>(data);
  if (companion != nullptr) {
    *companion = dm::Load<uintptr_t>(dm::At(data, sizeof(void*)));
  }
  return true;
}

bool dm_o_data_pointer_set(void* object, void* pointer, uintptr_t companion) {
  if (!dm::IsA(object, DM_DATA_POINTER)) return false;
  void* const data = dm::DataOf(object);
  dm::Store<void*>(data, pointer);
  dm::Store<uintptr_t>(dm::At(data, sizeof(void*)), companion);
  return true;
}
