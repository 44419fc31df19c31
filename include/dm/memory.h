#ifndef DM_MEMORY_H_
#define DM_MEMORY_H_

/* Memory blocks that know how to release themselves. Compiles as C.
 *
 * One hidden pointer-sized word in front of every opened block holds its
 * release function, so a block is aligned to the pointer size, not to 16.
 * A size that does not fit in memory, counts times sizes included, gives null.
 * Safe from any thread. */

#include <stddef.h>

#include "dm/guid.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Called with the address of the hidden word, where the memory begins. */
typedef void (*dm_release_f)(void* block);

/* Null as release function: dm_close_memory leaves the block alone. */
KIV_API void* dm_open_memory(size_t size, dm_release_f release);
KIV_API void* dm_open_raw_memory(size_t size);
KIV_API void* dm_open_fixed_array_memory(size_t count, size_t element_size);

/* An array of pointers to blocks of the runtime's malloc: closing it frees each
 * of them. Slots that were not zeroed must be set before that. */
KIV_API void** dm_open_dynamic_array_memory(size_t count, bool zero);

/* For what a dm_open function gave. Null is ignored. */
KIV_API void dm_close_memory(void* memory);

/* A plain block, freed with the runtime's free and not with dm_close_memory.
 * Null for size 0; not filled when source is null. */
KIV_API void* dm_malloc_copy(const void* source, size_t size);

#ifdef __cplusplus
}
#endif

#endif /* DM_MEMORY_H_ */
