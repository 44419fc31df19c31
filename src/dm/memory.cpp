#include "dm/memory.h"

#include <cstdlib>
#include <cstring>

#include "dm/words.h"

namespace {

constexpr std::size_t kWord = sizeof(void*);
static_assert(sizeof(dm_release_f) == kWord);

void FreeArray(void* hidden_word) {
  char* const block = static_cast<char*>(hidden_word) - kWord;
  const auto count = dm::Load<std::size_t>(block);
  auto* const slots = reinterpret_cast<void**>(block + 2 * kWord);
  for (std::size_t i = 0; i < count; ++i) std::free(slots[i]);
  std::free(block);
}

// Room for the hidden words in front of `size` bytes.
void* AllocateBehind(std::size_t words, std::size_t size) {
  if (size > static_cast<std::size_t>(-1) - words * kWord) return nullptr;
  return std::malloc(size + words * kWord);
}

}  // namespace

void* dm_open_memory(size_t size, dm_release_f release) {
  void* const block = AllocateBehind(1, size);
  if (block == nullptr) return nullptr;
  dm::Store<dm_release_f>(block, release);
  return dm::At(block, kWord);
}

void* dm_open_raw_memory(size_t size) { return dm_open_memory(size, &free); }

void* dm_open_fixed_array_memory(size_t count, size_t element_size) {
  std::size_t size;
  if (!dm::Multiply(count, element_size, size)) return nullptr;
  return dm_open_memory(size, &free);
}

void** dm_open_dynamic_array_memory(size_t count, bool zero) {
  std::size_t size;
  if (!dm::Multiply(count, kWord, size)) return nullptr;
  void* const block = AllocateBehind(2, size);
  if (block == nullptr) return nullptr;
  dm::Store<std::size_t>(block, count);
  dm::Store<dm_release_f>(dm::At(block, kWord), &FreeArray);
  void* const slots = dm::At(block, 2 * kWord);
  if (zero) std::memset(slots, 0, size);
  return static_cast<void**>(slots);
}

void dm_close_memory(void* memory) {
  if (memory == nullptr) return;
  void* const hidden_word = static_cast<char*>(memory) - kWord;
  const auto release = dm::Load<dm_release_f>(hidden_word);
  if (release != nullptr) release(hidden_word);
}

void* dm_malloc_copy(const void* source, size_t size) {
  if (size == 0) return nullptr;
  void* const block = std::malloc(size);
  if (block != nullptr && source != nullptr) std::memcpy(block, source, size);
  return block;
}
