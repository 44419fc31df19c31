#ifndef DM_LIFE_H_
#define DM_LIFE_H_

/* The life of an object: made, counted, copied, released. Compiles as C.
 *
 * new       the caller gets a reference and releases it
 * borrowed  no reference changes hands; the text says how long it is good for
 * consumed  the callee takes over the caller's reference
 *
 * Null, an unknown type and an object of the wrong type give 0, null or false
 * and change nothing; nothing is thrown. Counting is safe from any thread, at
 * any address. Everything else about one object is for one thread at a time. */

#include "dm/type_info.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What the construction argument is:
 *   ValueVector     the dm_type_info_t record of its elements, a plain value
 *                   type without memory of its own; null: none yet
 *   ObjectVector    any description of its elements, kept as it is given
 *   Struct          the address of a word that holds the struct metadata; null:
 *                   a struct without fields
 *   StdMetadata     the dm_type_info_t record of the type it describes
 *   all others      not looked at
 */

/* Size of an object of the type, its two words included. */
KIV_API size_t dm_o_sizeof(const dm_type_info_t* type_info, dm_sign sign,
                           const void* arg);
KIV_API size_t dm_o_sizeof_from_object(const void* object);

/* New, count 1, not constructed; end it with dm_o_raw_delete, or construct it.
 * Null also for the placed deletor, which has no memory to give. */
KIV_API void* dm_o_raw_new(dm_sign sign, const void* arg);
/* New, count 1. */
KIV_API void* dm_o_new(dm_sign sign, const void* arg);

/* The same in the caller's memory of at least dm_o_sizeof bytes, at any
 * address. Give a sign with the placed deletor, unless the memory is from the
 * heap and to be freed with the object. */
KIV_API void* dm_o_raw_placement_new(dm_sign sign, const void* arg,
                                     void* memory);
KIV_API void* dm_o_placement_new(dm_sign sign, const void* arg, void* memory);

KIV_API bool dm_o_construct(void* object, const void* arg);
/* Ends the value and leaves the memory. */
KIV_API void dm_o_destroy(void* object);
/* Gives the memory back and leaves the value unended. */
KIV_API void dm_o_raw_delete(void* object);

/* Copies from the data of an object of the same type, as dm_o_data gives it; a
 * String also from any std::string. Null empties a String and is refused by all
 * others. Object references are shared, not copied. A struct takes all fields
 * or none, unless memory runs short midway: it then has the first ones. Refused
 * by DataPointer, whose pointer has an owner elsewhere. */
KIV_API bool dm_o_copy_from(void* object, const void* source);

/* Borrowed: lives as long as the object. May lie at any address. */
KIV_API void* dm_o_data(const void* object);

/* Copies the data of a plain value out; in goes dm_o_copy_from. False unless
 * size is the data size. */
KIV_API bool dm_o_read_value(const void* object, void* value, size_t size);

/* Borrowed: a built-in type's until dm is shut down, a struct's as long as the
 * object. Null for built-in types while dm is not started. */
KIV_API void* dm_o_metadata(const void* object);
/* A metadata object is its own metadata. */
KIV_API bool dm_o_is_metadata(const void* object);

/* New: the object itself. */
KIV_API void* dm_o_add_ref(void* object);
/* Consumed. The new count; at 0 the object is gone. */
KIV_API int32_t dm_o_inner_release(void* object);
/* For inspection only: the answer may be old before it is read. */
KIV_API int32_t dm_o_get_ref(const void* object);
/* For an object that no other thread knows. */
KIV_API void dm_o_set_ref(void* object, int32_t count);

/* What a holder of target must now hold: target is consumed, source borrowed
 * and the result new. holder = dm_o_assign(holder, source). */
KIV_API void* dm_o_assign(void* target, void* source);

/* What a metadata object says of its instances. */
KIV_API size_t dm_o_instance_header_size(const void* metadata);
KIV_API size_t dm_o_instance_data_size(const void* metadata);
KIV_API const dm_header_info_t* dm_o_instance_header_info(const void* metadata);
KIV_API const dm_type_info_t* dm_o_type_info_from_metadata(
    const void* metadata);
/* Static text, as "System.Int32". */
KIV_API const char* dm_o_type_name_from_metadata(const void* metadata);

KIV_API bool dm_o_is_value_type_from_metadata(const void* metadata);
KIV_API bool dm_o_is_big_value_type_from_metadata(const void* metadata);
KIV_API bool dm_o_is_struct_type_from_metadata(const void* metadata);
/* The same of the object's metadata. */
KIV_API bool dm_o_is_value_type_from_object(const void* object);
KIV_API bool dm_o_is_big_value_type_from_object(const void* object);
KIV_API bool dm_o_is_struct_type_from_object(const void* object);

/* New, constructed with its defaults. */
KIV_API void* dm_o_instance_from_metadata(void* metadata);
/* In the caller's memory, with the placed deletor; its size is 8 + the header
 * size + the data size of the instances. */
KIV_API void* dm_o_placement_instance_from_metadata(void* metadata,
                                                    void* memory);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIFE_H_ */
