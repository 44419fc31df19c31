#include <cstdlib>

#include "dm/life.h"
#include "dm/type_functions.h"
#include "dm/type_registry.h"
#include "dm/value_vector.h"
#include "dm/values.h"
#include "dm/vector_words.h"

namespace dm {

bool Reserve(VectorWords& words, std::size_t bytes) {
  if (bytes <= words.room()) return true;
  const std::size_t used = words.used();
  void* const grown = words.begin == nullptr ? std::malloc(bytes)
                                             : std::realloc(words.begin, bytes);
  auto* const buffer = static_cast<char*>(grown);
  if (buffer == nullptr) return false;
  words.begin = buffer;
  words.end = buffer + used;
  words.capacity = buffer + bytes;
  return true;
}

bool ReserveToGrow(VectorWords& words, std::size_t bytes) {
  if (bytes <= words.room()) return true;
  constexpr std::size_t kFirst = 64;
  std::size_t target = bytes < kFirst ? kFirst : bytes;
  if (words.room() < SIZE_MAX / 2 && target < 2 * words.room()) {
    target = 2 * words.room();
  }
  return Reserve(words, target) || Reserve(words, bytes);
}

bool CanBeElement(const dm_type_info_t* type) {
  // Of values that are no plain bytes, Binary owns memory and a metadata object
  // is not made without saying for what.
  return type != nullptr && type->header_info == dm_value_header_info &&
         type->destroy == nullptr && type->type_id != DM_STD_METADATA;
}

const dm_type_info_t* ElementTypeOf(const void* object) {
  return IsA(object, DM_BINARY) ? InfoFromId(DM_BYTE)
                                : Load<const dm_type_info_t*>(HeaderOf(object));
}

namespace {

// A pointer that is no record of the table is not looked into.
bool IsTypeRecord(const dm_type_info_t* type) {
  for (unsigned id = 0; id < kTypeIds; ++id) {
    if (type == InfoFromId(id)) return true;
  }
  return false;
}

std::size_t ElementSize(const dm_type_info_t* type) {
  return type->data_size(nullptr);
}

// Behind the last element; values must not lie in the buffer.
bool Append(void* object, const void* values, std::size_t bytes) {
  VectorWords words = VectorOf(object);
  if (bytes > SIZE_MAX / 2 - words.used()) return false;
  if (!ReserveToGrow(words, words.used() + bytes)) return false;
  std::memcpy(words.end, values, bytes);
  words.end += bytes;
  StoreVector(object, words);
  return true;
}

}  // namespace

bool IsValueVector(const void* object) {
  return IsA(object, DM_VALUE_VECTOR) || IsA(object, DM_BINARY);
}

bool AppendValue(void* object, const void* value) {
  const dm_type_info_t* const info = InfoOf(value);
  return info != nullptr && info == ElementTypeOf(object) &&
         Append(object, DataOf(value), ElementSize(info));
}

namespace value_vector {

bool Construct(void* object, const void*) {
  const dm_type_info_t* const type = ElementTypeOf(object);
  VectorWords words{};
  if (type != nullptr) {
    if (!IsTypeRecord(type) || !CanBeElement(type)) return false;
    words.element_size = ElementSize(type);
  }
  StoreVector(object, words);
  return true;
}

void Destroy(void* object) {
  void* const data = DataOf(object);
  void* const buffer = Load<void*>(data);
  if (buffer == nullptr) return;
  std::free(buffer);
  // Begin, end and capacity.
  std::memset(data, 0, 3 * sizeof(void*));
}

bool Copy(void* object, const void* source) {
  if (source == nullptr) return false;
  VectorWords words = VectorOf(object);
  const VectorWords from = VectorAt(source);
  if (from.element_size != words.element_size) return false;
  if (from.begin == words.begin) return true;
  if (!Reserve(words, from.used())) return false;
  if (from.used() > 0) std::memcpy(words.begin, from.begin, from.used());
  words.end = words.begin + from.used();
  StoreVector(object, words);
  return true;
}

void* ElementMetadata(const void* object) {
  const dm_type_info_t* const type = ElementTypeOf(object);
  return type == nullptr ? nullptr : StandardMetadataOf(type->type_id);
}

bool Resize(void* object, std::size_t count) {
  VectorWords words = VectorOf(object);
  std::size_t bytes;
  if (words.element_size == 0) return count == 0;
  if (!Multiply(count, words.element_size, bytes) || bytes > SIZE_MAX / 2) {
    return false;
  }
  if (!Reserve(words, bytes)) return false;
  const std::size_t used = words.used();
  if (bytes > used) std::memset(words.end, 0, bytes - used);
  words.end = words.begin + bytes;
  StoreVector(object, words);
  return true;
}

std::size_t Count(const void* object) { return VectorOf(object).count(); }

void* ElementAt(const void* object, std::size_t index) {
  // Most reads of a vector come this way: no division as in count().
  const VectorWords words = VectorOf(object);
  const std::size_t used = words.used();
  if (index >= used || std::uint64_t{index} * words.element_size >= used) {
    return nullptr;
  }
  return words.begin + index * words.element_size;
}

void* GetElement(const void* object, std::size_t index) {
  const void* const value = ElementAt(object, index);
  if (value == nullptr) return nullptr;
  const dm_type_info_t* const type = ElementTypeOf(object);
  void* const element = dm_o_raw_new(DM_SIGN_DEFAULT + type->type_id, nullptr);
  if (element != nullptr) {
    std::memcpy(DataOf(element), value, ElementSize(type));
  }
  return element;
}

bool SetElement(void* object, std::size_t index, void* value, bool) {
  void* const slot = ElementAt(object, index);
  const dm_type_info_t* const type = InfoOf(value);
  if (slot == nullptr || type == nullptr || type != ElementTypeOf(object)) {
    return false;
  }
  std::memcpy(slot, DataOf(value), ElementSize(type));
  return true;
}

bool EraseElement(void* object, std::size_t index) {
  VectorWords words = VectorOf(object);
  char* const slot = words.at(index);
  if (slot == nullptr) return false;
  char* const next = slot + words.element_size;
  std::memmove(slot, next, static_cast<std::size_t>(words.end - next));
  words.end -= words.element_size;
  StoreVector(object, words);
  return true;
}

}  // namespace value_vector
}  // namespace dm

bool dm_o_vector_append_values(void* object, const void* values, size_t count) {
  if (!dm::IsValueVector(object)) return false;
  const std::size_t element_size = dm::VectorOf(object).element_size;
  if (count == 0) return true;
  std::size_t bytes;
  return values != nullptr && element_size > 0 &&
         dm::Multiply(count, element_size, bytes) &&
         dm::Append(object, values, bytes);
}

bool dm_o_value_vector_set_element_type(void* object,
                                        const dm_type_info_t* element_type) {
  if (!dm::IsA(object, DM_VALUE_VECTOR) || dm::VectorOf(object).used() > 0 ||
      !dm::IsTypeRecord(element_type) || !dm::CanBeElement(element_type)) {
    return false;
  }
  dm::VectorWords words = dm::VectorOf(object);
  words.element_size = dm::ElementSize(element_type);
  dm::Store<const dm_type_info_t*>(dm::HeaderOf(object), element_type);
  dm::StoreVector(object, words);
  return true;
}
