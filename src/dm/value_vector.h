#ifndef DM_VALUE_VECTOR_H_
#define DM_VALUE_VECTOR_H_

#include "dm/type_info.h"

namespace dm {

// A ValueVector or a Binary; false for null.
bool IsValueVector(const void* object);

// Null: none yet.
const dm_type_info_t* ElementTypeOf(const void* value_vector);

// Copies the value of an object of exactly the element type behind the last.
bool AppendValue(void* value_vector, const void* value);

// Adds a reference.
bool AppendReference(void* object_vector, void* value);

}  // namespace dm

#endif  // DM_VALUE_VECTOR_H_
