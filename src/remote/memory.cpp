#include "rmt/memory.h"

#include <cstdlib>
#include <cstring>

#include "dm/memory.h"

namespace {

static_assert(sizeof(RemoteStringValue) == 2 * sizeof(void*));

// In front of the slots lie their number and the release function.
std::size_t CountOf(char* const* array) {
  std::size_t count;
  std::memcpy(&count, reinterpret_cast<const char*>(array) - 2 * sizeof(void*),
              sizeof count);
  return count;
}

void ReleaseStringValue(void* hidden_word) {
  RemoteStringValue value;
  std::memcpy(&value, static_cast<char*>(hidden_word) + sizeof(void*),
              sizeof value);
  std::free(value.text);
  std::free(hidden_word);
}

}  // namespace

void* rmt_new_memory(size_t size) { return dm_open_raw_memory(size); }

void rmt_delete_memory(void* block) { dm_close_memory(block); }

char** rmt_new_string_array(size_t count) {
  return reinterpret_cast<char**>(dm_open_dynamic_array_memory(count, true));
}

void rmt_delete_string_array(char** array) { dm_close_memory(array); }

size_t rmt_string_array_count(char* const* array) {
  return array == nullptr ? 0 : CountOf(array);
}

const char* rmt_string_array_item(char* const* array, size_t index) {
  return index < rmt_string_array_count(array) ? array[index] : nullptr;
}

bool rmt_string_array_set(char** array, size_t index, const char* text) {
  if (index >= rmt_string_array_count(array)) return false;
  char* copy = nullptr;
  if (text != nullptr) {
    copy = ::strdup(text);
    if (copy == nullptr) return false;
  }
  std::free(array[index]);
  array[index] = copy;
  return true;
}

RemoteStringValue* rmt_new_string_value(void) {
  void* const block =
      dm_open_memory(sizeof(RemoteStringValue), &ReleaseStringValue);
  if (block != nullptr) std::memset(block, 0, sizeof(RemoteStringValue));
  return static_cast<RemoteStringValue*>(block);
}

void rmt_delete_string_value(RemoteStringValue* value) {
  dm_close_memory(value);
}

const char* rmt_string_value_text(const RemoteStringValue* value) {
  return value == nullptr || value->text == nullptr ? "" : value->text;
}

size_t rmt_string_value_size(const RemoteStringValue* value) {
  return value == nullptr ? 0 : value->size;
}
