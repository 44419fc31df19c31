#include <cstdlib>

#include "dm/life.h"
#include "dm/type_functions.h"
#include "dm/value_vector.h"
#include "dm/vector_words.h"

// A slot is emptied or filled anew before what it held is released: the release
// may be the last of something that leads back to this vector.
namespace dm {
namespace {

constexpr std::size_t kSlot = sizeof(void*);

// Takes the last elements off until `count` are left.
void Shrink(void* object, std::size_t count) {
  for (VectorWords words = VectorOf(object); words.count() > count;
       words = VectorOf(object)) {
    words.end -= kSlot;
    StoreVector(object, words);
    dm_o_inner_release(Load<void*>(words.end));
  }
}

}  // namespace

bool AppendReference(void* object, void* value) {
  VectorWords words = VectorOf(object);
  if (words.used() > SIZE_MAX / 2) return false;
  if (!ReserveToGrow(words, words.used() + kSlot)) return false;
  Store<void*>(words.end, dm_o_add_ref(value));
  words.end += kSlot;
  StoreVector(object, words);
  return true;
}

namespace object_vector {

bool Construct(void* object, const void*) {
  StoreVector(object, {nullptr, nullptr, nullptr, kSlot});
  return true;
}

void Destroy(void* object) {
  const VectorWords words = VectorOf(object);
  StoreVector(object, {nullptr, nullptr, nullptr, kSlot});
  for (char* slot = words.begin; slot != words.end; slot += kSlot) {
    dm_o_inner_release(Load<void*>(slot));
  }
  std::free(words.begin);
}

bool Copy(void* object, const void* source) {
  if (source == nullptr) return false;
  const VectorWords from = VectorAt(source);
  const VectorWords old = VectorOf(object);
  if (from.begin == old.begin) return true;
  VectorWords words{nullptr, nullptr, nullptr, kSlot};
  if (!Reserve(words, from.used())) return false;
  for (const char* slot = from.begin; slot != from.end; slot += kSlot) {
    Store<void*>(words.end, dm_o_add_ref(Load<void*>(slot)));
    words.end += kSlot;
  }
  StoreVector(object, words);
  for (char* slot = old.begin; slot != old.end; slot += kSlot) {
    dm_o_inner_release(Load<void*>(slot));
  }
  std::free(old.begin);
  return true;
}

void* ElementMetadata(const void* object) {
  return Load<void*>(HeaderOf(object));
}

bool Resize(void* object, std::size_t count) {
  std::size_t bytes;
  if (!Multiply(count, kSlot, bytes) || bytes > SIZE_MAX / 2) return false;
  Shrink(object, count);
  VectorWords words = VectorOf(object);
  if (!Reserve(words, bytes)) return false;
  if (bytes > words.used()) std::memset(words.end, 0, bytes - words.used());
  words.end = words.begin + bytes;
  StoreVector(object, words);
  return true;
}

std::size_t Count(const void* object) { return VectorOf(object).count(); }

void* GetElement(const void* object, std::size_t index) {
  const char* const slot = VectorOf(object).at(index);
  return slot == nullptr ? nullptr : dm_o_add_ref(Load<void*>(slot));
}

bool SetElement(void* object, std::size_t index, void* value, bool add_ref) {
  char* const slot = VectorOf(object).at(index);
  if (slot == nullptr) return false;
  void* const old = Load<void*>(slot);
  if (add_ref && old == value) return true;
  Store<void*>(slot, add_ref ? dm_o_add_ref(value) : value);
  if (add_ref) dm_o_inner_release(old);
  return true;
}

bool EraseElement(void* object, std::size_t index) {
  VectorWords words = VectorOf(object);
  char* const slot = words.at(index);
  if (slot == nullptr) return false;
  void* const old = Load<void*>(slot);
  std::memmove(slot, slot + kSlot,
               static_cast<std::size_t>(words.end - slot) - kSlot);
  words.end -= kSlot;
  StoreVector(object, words);
  dm_o_inner_release(old);
  return true;
}

}  // namespace object_vector

}  // namespace dm
