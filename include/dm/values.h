#ifndef DM_VALUES_H_
#define DM_VALUES_H_

/* Strings, vectors, pointers and structs. Compiles as C.
 *
 * The words new, borrowed and consumed, the treatment of null and of wrong
 * types, and the threads are those of dm/life.h. */

#include "dm/type_info.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- String: narrow text in the local encoding ---------------------------- */

/* Borrowed until the object changes. Never null: empty text for null, too. */
KIV_API const char* dm_o_string_text(const void* object);
/* In bytes. */
KIV_API size_t dm_o_string_size(const void* object);
/* Null clears the text. */
KIV_API bool dm_o_string_assign(void* object, const char* text);
/* UTF-16 up to its NUL, as a BSTR has one. Null clears the text. */
KIV_API bool dm_o_string_assign_wide(void* object, const char16_t* text);

/* --- ValueVector, ObjectVector, Binary (a vector of bytes) ---------------- */

KIV_API size_t dm_o_vector_count(const void* object);
/* New elements are zero, or null. */
KIV_API bool dm_o_vector_resize(void* object, size_t count);
/* Values only. Borrowed until the vector changes; null past the end. */
KIV_API void* dm_o_vector_at(const void* object, size_t index);
/* New: the stored object, or a copy of the stored value in an object of its
 * own. */
KIV_API void* dm_o_vector_get(const void* object, size_t index);
/* Values: copied from an object of exactly the element type. Objects: borrowed
 * with add_ref; without, the slot takes value over as it is and what it held is
 * not released. */
KIV_API bool dm_o_vector_set(void* object, size_t index, void* value,
                             bool add_ref);
KIV_API bool dm_o_vector_erase(void* object, size_t index);
/* Behind the last one; value is borrowed. */
KIV_API bool dm_o_vector_append(void* object, void* value);
/* The same with `count` bare values in a row, which must not lie in the vector
 * itself. */
KIV_API bool dm_o_vector_append_values(void* object, const void* values,
                                       size_t count);

/* The metadata of the elements, borrowed: the standard one for values; for
 * objects what was given at construction. */
KIV_API void* dm_o_vector_element_metadata(const void* object);
/* Says what a ValueVector holds that was made without: a struct's field is.
 * Only while it is empty. */
KIV_API bool dm_o_value_vector_set_element_type(
    void* object, const dm_type_info_t* element_type);

/* --- ObjectPointer, DataPointer ------------------------------------------- */

/* Borrowed as long as it is stored. */
KIV_API void* dm_o_object_pointer_get(const void* object);
/* Value is borrowed; null empties the pointer. A ring of objects never dies. */
KIV_API bool dm_o_object_pointer_set(void* object, void* value);

/* Neither owned nor looked at. */
KIV_API bool dm_o_data_pointer_get(const void* object, void** pointer,
                                   uintptr_t* companion);
KIV_API bool dm_o_data_pointer_set(void* object, void* pointer,
                                   uintptr_t companion);

/* --- Struct --------------------------------------------------------------- */

/* A field is a complete object inside its struct and lives exactly as long.
 * Read it, write it, copy from it; counting it up and down again is allowed
 * while the struct lives, but no count keeps it alive beyond. Never store one
 * in an ObjectPointer or ObjectVector. */

KIV_API size_t dm_o_struct_field_count(const void* object);
/* The first of that name, case counts; -1 when there is none. */
KIV_API int dm_o_struct_field_index(const void* object, const char* name);
/* Borrowed; null past the end. */
KIV_API void* dm_o_struct_field_at(const void* object, size_t index);

/* --- Struct metadata ------------------------------------------------------ */

/* A struct type is built by one thread: made empty, appended to, then used. It
 * can grow until its first use, which is an instance, a place as the field of
 * another struct, or a name in the registry. From then on any thread may read
 * it. Its instances hold a reference to it. */

/* New, without fields. */
KIV_API void* dm_o_struct_metadata_new(void);
/* field_metadata is borrowed: the struct type adds its own reference. False,
 * with the struct type as it was, for an empty name, for what is no metadata,
 * for the metadata of StdMetadata and of StructMetadata (instances hold counted
 * references to their type, which no field can give), for the struct type
 * itself, beyond 1000 levels of structs in structs, when instances would exceed
 * 4 GiB, and when the struct type is in use. */
KIV_API bool dm_o_struct_metadata_append(void* metadata, const char* name,
                                         void* field_metadata);

KIV_API size_t dm_o_struct_metadata_field_count(const void* metadata);
KIV_API int dm_o_struct_metadata_field_index(const void* metadata,
                                             const char* name);
/* Borrowed: live as long as the struct type and until it grows. */
KIV_API const char* dm_o_struct_metadata_field_name(const void* metadata,
                                                    size_t index);
KIV_API void* dm_o_struct_metadata_field_metadata(const void* metadata,
                                                  size_t index);
/* Where the field's object starts in the data of an instance. */
KIV_API uint32_t dm_o_struct_metadata_field_offset(const void* metadata,
                                                   size_t index);
/* Of the field's whole object. */
KIV_API uint32_t dm_o_struct_metadata_field_size(const void* metadata,
                                                 size_t index);

#ifdef __cplusplus
}
#endif

#endif /* DM_VALUES_H_ */
