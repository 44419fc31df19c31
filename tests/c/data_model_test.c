/* The data model's headers and functions from C. */
#include <stdio.h>
#include <string.h>

#include "dm/dm.h"

#define CHECK(condition)                                      \
  do {                                                        \
    if (!(condition)) {                                       \
      fprintf(stderr, "line %d: %s\n", __LINE__, #condition); \
      return 1;                                               \
    }                                                         \
  } while (0)

/* No header of ours for C starts the library, and objects need no start. */
int main(void) {
  int32_t value = 7, read = 0;
  void* const number = dm_o_new(DM_SIGN_DEFAULT + DM_INT32, NULL);
  CHECK(number != NULL);
  CHECK(dm_o_copy_from(number, &value));
  CHECK(dm_o_read_value(number, &read, sizeof read) && read == 7);

  void* const vector = dm_o_new(DM_SIGN_DEFAULT + DM_VALUE_VECTOR,
                                dm_o_type_info_from_id(DM_INT32));
  CHECK(dm_o_vector_append(vector, number));
  CHECK(dm_o_vector_count(vector) == 1);

  void* const text = dm_o_new(DM_SIGN_DEFAULT + DM_STRING, NULL);
  CHECK(dm_o_string_assign_wide(text, u"wide"));
  CHECK(strcmp(dm_o_string_text(text), "wide") == 0);

  void* const type = dm_o_struct_metadata_new();
  CHECK(dm_o_struct_metadata_field_count(type) == 0);
  CHECK(dm_o_get_metadata("int") == NULL);

  CHECK(dm_o_inner_release(type) == 0);
  CHECK(dm_o_inner_release(text) == 0);
  CHECK(dm_o_inner_release(vector) == 0);
  CHECK(dm_o_inner_release(number) == 0);
  return 0;
}
