#ifndef RMT_MEMORY_H_
#define RMT_MEMORY_H_

/* Strings and arrays that come back from calls, and who releases them. Compiles
 * as C. Each kind has its own rmt_delete_ function, which ignores null. */

#include <stddef.h>

#include "kiv/export.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* A raw block, not cleared. Null when it cannot be had. */
KIV_API void* rmt_new_memory(size_t size);
KIV_API void rmt_delete_memory(void* block);

/* An array of so many texts, all null at first. Each slot holds a block of the
 * runtime's malloc, or null, and is freed with the array. */
KIV_API char** rmt_new_string_array(size_t count);
KIV_API void rmt_delete_string_array(char** array);
KIV_API size_t rmt_string_array_count(char* const* array);
/* Borrowed: lives as long as its slot. Null behind the end. */
KIV_API const char* rmt_string_array_item(char* const* array, size_t index);
/* Copies the text; null empties the slot. False behind the end. */
KIV_API bool rmt_string_array_set(char** array, size_t index, const char* text);

/* One returned string: a call replaces what was in it. */
typedef struct RemoteStringValue {
  char* text;  /* of the runtime's malloc; null: empty */
  size_t size; /* in bytes, without the NUL */
} RemoteStringValue;

/* New, both words zero. */
KIV_API RemoteStringValue* rmt_new_string_value(void);
KIV_API void rmt_delete_string_value(RemoteStringValue* value);
/* Borrowed: until the value is filled again or deleted. Never null. */
KIV_API const char* rmt_string_value_text(const RemoteStringValue* value);
KIV_API size_t rmt_string_value_size(const RemoteStringValue* value);

#ifdef __cplusplus
}
#endif

#endif /* RMT_MEMORY_H_ */
