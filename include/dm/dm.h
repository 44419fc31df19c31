#ifndef DM_DM_H_
#define DM_DM_H_

/* The data model: values that say what type they are and count their owners.
 * Compiles as C.
 *
 *   dm/type_info.h  the built-in types, signs, deletors
 *   dm/life.h       objects: made, counted, copied, released; the words new,
 *                   borrowed and consumed
 *   dm/values.h     strings, vectors, pointers, structs and their types
 *   dm/registry.h   names of types
 *   dm/schema.h     types from XML Schema, and back
 *   dm/memory.h     memory blocks
 *   dm/guid.h       GUIDs
 *   dm/object.h     the handles for C++ (not included here)
 *
 * Call kiv::GlobalInit first. */

/* IWYU pragma: begin_exports */
#include "dm/guid.h"
#include "dm/life.h"
#include "dm/memory.h"
#include "dm/registry.h"
#include "dm/schema.h"
#include "dm/type_info.h"
#include "dm/values.h"
/* IWYU pragma: end_exports */

#endif /* DM_DM_H_ */
