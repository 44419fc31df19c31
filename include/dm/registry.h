#ifndef DM_REGISTRY_H_
#define DM_REGISTRY_H_

/* The names of types, one table for the process. Compiles as C.
 *
 * kiv::GlobalInit makes it and fills in the standard names; kiv::GlobalUninit
 * empties and destroys it. Outside of that every function answers null or
 * false. Names are narrow text; case counts.
 *
 * No lock: register at start-up, from one thread. While no name is added or
 * removed, any number of threads may look names up. */

#include "dm/type_info.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The table itself, for functions that are handed one. */
typedef struct dm_registry_t dm_registry_t;

/* Borrowed until shut-down; null outside of start-up and shut-down. */
KIV_API dm_registry_t* dm_o_registry(void);
/* Empties the table, then registers the standard names. */
KIV_API bool dm_o_reset_registry(void);

/* Borrowed: good until the name is removed or replaced. */
KIV_API void* dm_o_get_metadata(const char* name);

/* Consumed, but only when the answer is true. A name that exists is taken over
 * with replace and refused without. */
KIV_API bool dm_o_add_metadata(const char* name, void* metadata, bool replace);
/* Borrowed: the name holds a reference of its own. Mind the order of the
 * arguments. */
KIV_API bool dm_o_typedef(void* metadata, const char* name, bool replace);
/* A new metadata object for a built-in type. On failure the table is as it
 * was. */
KIV_API bool dm_o_add_std_metadata(dm_type_id_e type_id, const char* name,
                                   bool replace);
KIV_API void dm_o_del_metadata(const char* name);

/* New, of the type of that name. */
KIV_API void* dm_o_create_instance(const char* name);

/* Calls visit for every name, in the order of their bytes, until it answers
 * false; name and metadata are borrowed for the call, which must not change the
 * table. False when stopped, or when there is no table. */
KIV_API bool dm_o_visit_metadata(bool (*visit)(const char* name, void* metadata,
                                               void* context),
                                 void* context);

/* The standard metadata of the built-in types. Borrowed until shut-down or the
 * next reset, even when a name of theirs is replaced. */
KIV_API void* dm_o_int32_metadata(void);
KIV_API void* dm_o_int16_metadata(void);
KIV_API void* dm_o_int64_metadata(void);
KIV_API void* dm_o_byte_metadata(void);
KIV_API void* dm_o_bool_metadata(void);
KIV_API void* dm_o_float_metadata(void);
KIV_API void* dm_o_double_metadata(void);
KIV_API void* dm_o_ansi_string_metadata(void);
KIV_API void* dm_o_data_pointer_metadata(void);
KIV_API void* dm_o_object_pointer_metadata(void);
KIV_API void* dm_o_value_vector_metadata(void);
KIV_API void* dm_o_object_vector_metadata(void);
KIV_API void* dm_o_guid_metadata(void);
KIV_API void* dm_o_datetime_metadata(void);
KIV_API void* dm_o_binary_metadata(void);

#ifdef __cplusplus
}
#endif

#endif /* DM_REGISTRY_H_ */
