#ifndef DM_TYPE_INFO_H_
#define DM_TYPE_INFO_H_

/* The built-in types: one constant record each. Compiles as C.
 *
 * Every object begins with two 32-bit words, the type word (its sign) and the
 * reference count; then comes a header of 0 bytes or one pointer, then the
 * data. An object may lie at any address: fields of a struct are packed without
 * padding. Read and write what is inside with memcpy or the functions here.
 *
 * The tables are constant: read them from any thread, at any time. */

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

#include "dm/guid.h"

#ifdef __cplusplus
/* Any 32-bit number may be asked about, not only those that have a name. */
#define DM_ENUM_BASE : unsigned
extern "C" {
#else
#define DM_ENUM_BASE
#endif

/* The type word of an object: bits 0-7 the type id, 8-11 the deletor id, 12-15
 * the value 1, 16-31 zero. */
typedef uint32_t dm_sign;

/* Plus a type id: the sign of an object on the heap. */
#define DM_SIGN_DEFAULT ((dm_sign)0x1000)
/* Plus a type id: the sign of an object in memory that the caller owns. */
#define DM_SIGN_PLACED ((dm_sign)0x1100)
/* The sign of a standard metadata object. */
#define DM_SIGN_STD_METADATA ((dm_sign)0x120D)

/* Sizes of the data; P is the size of a pointer. */
enum dm_type_id_e DM_ENUM_BASE {
  DM_INT32 = 0,            /* 4 */
  DM_INT16 = 1,            /* 2 */
  DM_INT64 = 2,            /* 8 */
  DM_BYTE = 3,             /* 1, unsigned */
  DM_BOOLEAN = 4,          /* 1, 0 is false */
  DM_FLOAT = 5,            /* 4 */
  DM_DOUBLE = 6,           /* 8 */
  DM_VALUE_VECTOR = 7,     /* 4 P */
  DM_OBJECT_VECTOR = 8,    /* 4 P */
  DM_DATA_POINTER = 9,     /* 2 P */
  DM_OBJECT_POINTER = 10,  /* P */
  DM_STRING = 11,          /* that of a std::string */
  DM_STD_METADATA = 13,    /* P */
  DM_STRUCT_METADATA = 14, /* P */
  DM_STRUCT = 15,          /* what its metadata says */
  DM_GUID = 16,            /* 16; a fresh GUID after construction */
  DM_DATE_TIME = 17,       /* 8, the ticks of a kiv::DateTime */
  DM_BINARY = 18           /* 4 P */
};
typedef enum dm_type_id_e dm_type_id_e;

enum dm_align_id_e DM_ENUM_BASE {
  DM_ALIGN_DEFAULT = 0, /* 4 */
  DM_ALIGN_1 = 1,
  DM_ALIGN_2 = 2,
  DM_ALIGN_4 = 3,
  DM_ALIGN_8 = 4,
  DM_ALIGN_16 = 5,
  DM_ALIGN_32 = 6
};
typedef enum dm_align_id_e dm_align_id_e;

enum dm_deletor_id_e DM_ENUM_BASE {
  DM_DELETOR_DEFAULT = 0, /* heap */
  DM_DELETOR_PLACED = 1,  /* the caller's memory: never freed here */
  DM_DELETOR_PLAIN = 2    /* heap */
};
typedef enum dm_deletor_id_e dm_deletor_id_e;

/* Told apart by address. initialise gets the construction argument; null when
 * there is no header. */
typedef struct dm_header_info_t {
  size_t header_size;
  void (*initialise)(void* header, const void* arg);
} dm_header_info_t;

/* Null functions mean: not offered. release takes the object's address. */
typedef struct dm_deletor_info_t {
  void* (*allocate)(size_t size);
  void (*release)(void* object);
} dm_deletor_info_t;

/* A null function means that the type has no such operation. Call the dm_o_
 * functions instead where one exists: they check what these rely on, namely an
 * object of this very type. What each one does is said there. */
typedef struct dm_type_info_t {
  dm_type_id_e type_id;
  const char* type_name;   /* "System.Int32" */
  const char* schema_name; /* "int"; empty where there is none */
  const dm_header_info_t* (*header_info)(void);
  void* (*element_metadata)(const void* object);
  size_t (*data_size)(const void* metadata);
  bool (*construct)(void* object, const void* arg);
  void (*destroy)(void* object);
  bool (*copy)(void* object, const void* source);
  void* (*metadata)(const void* object);
  /* String. */
  const char* (*text)(const void* object);
  bool (*assign_wide)(void* object, const char16_t* text);
  /* Vectors and Binary. */
  bool (*resize)(void* object, size_t count);
  size_t (*count)(const void* object);
  void* (*element_at)(const void* object, size_t index);
  void* (*get_element)(const void* object, size_t index);
  bool (*set_element)(void* object, size_t index, void* value, bool add_ref);
  bool (*erase_element)(void* object, size_t index);
  /* Struct. */
  size_t (*field_count)(const void* object);
  int (*field_index)(const void* object, const char* name);
  void* (*field_at)(const void* object, size_t index);
  /* Metadata types: about the instances they describe. */
  bool (*instance_sign)(const void* metadata, dm_sign* sign);
  const dm_header_info_t* (*instance_header_info)(const void* metadata);
  size_t (*instance_data_size)(const void* metadata);
} dm_type_info_t;

/* Null for an unknown id, of which 12 is one. */
KIV_API const dm_type_info_t* dm_o_type_info_from_id(dm_type_id_e id);
/* The record of the object's own type. */
KIV_API const dm_type_info_t* dm_o_type_info(const void* object);

/* 0 for an unknown id. */
KIV_API unsigned dm_o_align_bytes_from_id(dm_align_id_e id);

/* Null for an unknown id. */
KIV_API const dm_deletor_info_t* dm_o_deletor_info_from_id(dm_deletor_id_e id);
KIV_API const dm_deletor_info_t* dm_o_deletor_info(const void* object);

/* Plain values, whose data may be copied bytewise. Binary counts as one though
 * it owns its bytes: copy it with dm_o_copy_from. */
KIV_API const dm_header_info_t* dm_value_header_info(void);
/* Values that own memory: String. */
KIV_API const dm_header_info_t* dm_big_value_header_info(void);
KIV_API const dm_header_info_t* dm_struct_header_info(void);

#ifdef __cplusplus
}
#endif

#endif /* DM_TYPE_INFO_H_ */
