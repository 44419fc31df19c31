#include "dm/life.h"

#include <cstdlib>
#include <cstring>

#include "dm/last_release.h"
#include "dm/layout.h"
#include "dm/reference_count.h"

namespace dm {
namespace {

// What an object takes, or 0 when the argument does not suit the type. A struct
// comes with the address of a word that holds its metadata.
std::size_t SizeWithArgument(const dm_type_info_t* info, const void* arg) {
  const void* metadata = nullptr;
  if (info->type_id == DM_STRUCT && arg != nullptr) {
    metadata = Load<const void*>(arg);
    if (metadata != nullptr && !IsA(metadata, DM_STRUCT_METADATA)) return 0;
  }
  return kHeaderOffset + HeaderSizeOf(info->type_id) +
         info->data_size(metadata);
}

void* WriteHead(void* object, dm_sign sign, const dm_type_info_t* info,
                const void* arg) {
  WriteWords(object, sign);
  if (HeaderSizeOf(info->type_id) > 0) {
    info->header_info()->initialise(HeaderOf(object), arg);
  }
  return object;
}

bool ConstructWith(const dm_type_info_t* info, void* object, const void* arg) {
  return info->construct == nullptr || info->construct(object, arg);
}

void* CountOf(const void* object) {
  return const_cast<void*>(At(object, kCountOffset));
}

void* NewNumber(dm_sign sign) {
  const std::size_t size = kHeaderOffset + kPlainSizes[TypeIdOf(sign)];
  void* const object = std::malloc(size);
  if (object == nullptr) return nullptr;
  // Zeros that end with the object; where they begin in the words, those are
  // written over them.
  Store<std::uint64_t>(At(object, size - sizeof(std::uint64_t)), 0);
  WriteWords(object, sign);
  return object;
}

void* RawNew(dm_sign sign, const void* arg) {
  const dm_type_info_t* const info = InfoFromId(TypeIdOf(sign));
  const dm_deletor_info_t* const deletor = DeletorFromSign(sign);
  if (info == nullptr || deletor == nullptr || deletor->allocate == nullptr) {
    return nullptr;
  }
  const std::size_t size = SizeWithArgument(info, arg);
  void* const memory = size == 0 ? nullptr : deletor->allocate(size);
  return memory == nullptr ? nullptr : WriteHead(memory, sign, info, arg);
}

void* NewConstructed(dm_sign sign, const void* arg) {
  void* const object = RawNew(sign, arg);
  if (object == nullptr || ConstructWith(InfoOf(object), object, arg)) {
    return object;
  }
  GiveBack(object);
  return nullptr;
}

}  // namespace
}  // namespace dm

size_t dm_o_sizeof(const dm_type_info_t* type_info, dm_sign, const void* arg) {
  return type_info == nullptr ? 0 : dm::SizeWithArgument(type_info, arg);
}

size_t dm_o_sizeof_from_object(const void* object) {
  const dm_type_info_t* const info = dm::InfoOf(object);
  if (info == nullptr) return 0;
  return dm_o_sizeof(
      info, dm::SignOf(object),
      info->type_id == DM_STRUCT ? dm::HeaderOf(object) : nullptr);
}

void* dm_o_raw_new(dm_sign sign, const void* arg) {
  return dm::RawNew(sign, arg);
}

void* dm_o_new(dm_sign sign, const void* arg) {
  return dm::IsNumber(dm::TypeIdOf(sign)) && dm::IsHeap(sign)
             ? dm::NewNumber(sign)
             : dm::NewConstructed(sign, arg);
}

void* dm_o_raw_placement_new(dm_sign sign, const void* arg, void* memory) {
  const dm_type_info_t* const info = dm::InfoFromId(dm::TypeIdOf(sign));
  if (memory == nullptr || info == nullptr ||
      dm::DeletorFromSign(sign) == nullptr ||
      dm::SizeWithArgument(info, arg) == 0) {
    return nullptr;
  }
  return dm::WriteHead(memory, sign, info, arg);
}

void* dm_o_placement_new(dm_sign sign, const void* arg, void* memory) {
  void* const object = dm_o_raw_placement_new(sign, arg, memory);
  return dm_o_construct(object, arg) ? object : nullptr;
}

bool dm_o_construct(void* object, const void* arg) {
  const dm_type_info_t* const info = dm::InfoOf(object);
  return info != nullptr && dm::ConstructWith(info, object, arg);
}

void dm_o_destroy(void* object) {
  const dm_type_info_t* const info = dm::InfoOf(object);
  if (info != nullptr && info->destroy != nullptr) info->destroy(object);
}

void dm_o_raw_delete(void* object) {
  if (object != nullptr) dm::GiveBack(object);
}

bool dm_o_copy_from(void* object, const void* source) {
  if (object == nullptr) return false;
  const unsigned id = dm::TypeIdOfObject(object);
  if (const std::size_t size = dm::PlainSize(id)) {
    if (source == nullptr) return false;
    dm::CopyPlain(dm::At(object, dm::kHeaderOffset), source, size);
    return true;
  }
  const dm_type_info_t* const info = dm::InfoFromId(id);
  if (info == nullptr) return false;
  if (info->copy != nullptr) return info->copy(object, source);
  if (source == nullptr || info->header_info != dm_value_header_info) {
    return false;
  }
  std::memmove(dm::DataOf(object), source, info->data_size(nullptr));
  return true;
}

void* dm_o_data(const void* object) {
  return dm::InfoOf(object) == nullptr ? nullptr
                                       : const_cast<void*>(dm::DataOf(object));
}

bool dm_o_read_value(const void* object, void* value, size_t size) {
  if (object == nullptr || value == nullptr || size == 0 ||
      dm::PlainSize(dm::TypeIdOfObject(object)) != size) {
    return false;
  }
  dm::CopyPlain(value, dm::At(object, dm::kHeaderOffset), size);
  return true;
}

void* dm_o_metadata(const void* object) {
  const dm_type_info_t* const info = dm::InfoOf(object);
  return info == nullptr ? nullptr : info->metadata(object);
}

bool dm_o_is_metadata(const void* object) {
  return object != nullptr && dm_o_metadata(object) == object;
}

void* dm_o_add_ref(void* object) {
  if (object != nullptr) dm::IncrementCount(dm::CountOf(object));
  return object;
}

int32_t dm_o_inner_release(void* object) {
  if (object == nullptr) return 0;
  const std::int32_t count = dm::DecrementCount(dm::CountOf(object));
  if (count != 0) [[unlikely]] {
    return count;
  }
  const dm_sign sign = dm::SignOf(object);
  if (!dm::IsNumber(dm::TypeIdOf(sign))) [[unlikely]] {
    dm::AfterLastRelease(object);
  } else if (dm::IsHeap(sign)) [[likely]] {
    std::free(object);
  }
  return 0;
}

int32_t dm_o_get_ref(const void* object) {
  return object == nullptr ? 0 : dm::ReadCount(dm::CountOf(object));
}

void dm_o_set_ref(void* object, int32_t count) {
  if (object != nullptr) dm::WriteCount(dm::CountOf(object), count);
}

void* dm_o_assign(void* target, void* source) {
  if (target == source) return target;
  dm_o_add_ref(source);
  dm_o_inner_release(target);
  return source;
}
