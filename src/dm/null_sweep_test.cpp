// Every function of the data model that takes a pointer, called with null, with
// ids that nobody knows, and with objects of another type than it is for; those
// on schemas stand in schema_import_test.cpp. The test data_model_null_sweep
// compares with what the library exports.
#include <cstdint>
#include <cstring>
#include <string>

#include "dm/data_test_fixture.h"

namespace dm {
namespace {

using Sweep = DataTest;

// What a function that takes one object answers.
void ExpectNothing(void* object, const char* what) {
  SCOPED_TRACE(what);
  EXPECT_EQ(dm_o_string_size(object), 0u);
  EXPECT_STREQ(dm_o_string_text(object), "");
  EXPECT_FALSE(dm_o_string_assign(object, "x"));
  EXPECT_FALSE(dm_o_string_assign_wide(object, u"x"));

  EXPECT_EQ(dm_o_vector_count(object), 0u);
  EXPECT_FALSE(dm_o_vector_resize(object, 0));
  EXPECT_FALSE(dm_o_vector_resize(object, 1));
  EXPECT_EQ(dm_o_vector_at(object, 0), nullptr);
  EXPECT_EQ(dm_o_vector_get(object, 0), nullptr);
  EXPECT_FALSE(dm_o_vector_set(object, 0, nullptr, true));
  EXPECT_FALSE(dm_o_vector_set(object, 0, object, false));
  EXPECT_FALSE(dm_o_vector_erase(object, 0));
  EXPECT_FALSE(dm_o_vector_append(object, object));
  EXPECT_FALSE(dm_o_vector_append(object, nullptr));
  EXPECT_FALSE(dm_o_vector_append_values(object, "x", 1));
  EXPECT_FALSE(dm_o_vector_append_values(object, nullptr, 0));
  EXPECT_EQ(dm_o_vector_element_metadata(object), nullptr);
  EXPECT_FALSE(dm_o_value_vector_set_element_type(
      object, dm_o_type_info_from_id(DM_BYTE)));

  EXPECT_EQ(dm_o_object_pointer_get(object), nullptr);
  EXPECT_FALSE(dm_o_object_pointer_set(object, object));
  EXPECT_FALSE(dm_o_object_pointer_set(object, nullptr));
  int untouched = 0;
  void* pointer = &untouched;
  std::uintptr_t companion = 77;
  EXPECT_FALSE(dm_o_data_pointer_get(object, &pointer, &companion));
  EXPECT_EQ(pointer, &untouched);
  EXPECT_EQ(companion, 77u);
  EXPECT_FALSE(dm_o_data_pointer_set(object, nullptr, 0));

  EXPECT_EQ(dm_o_struct_field_count(object), 0u);
  EXPECT_EQ(dm_o_struct_field_index(object, "x"), -1);
  EXPECT_EQ(dm_o_struct_field_index(object, nullptr), -1);
  EXPECT_EQ(dm_o_struct_field_at(object, 0), nullptr);

  EXPECT_FALSE(dm_o_struct_metadata_append(object, "x", dm_o_int32_metadata()));
  EXPECT_EQ(dm_o_struct_metadata_field_count(object), 0u);
  EXPECT_EQ(dm_o_struct_metadata_field_index(object, "x"), -1);
  EXPECT_EQ(dm_o_struct_metadata_field_name(object, 0), nullptr);
  EXPECT_EQ(dm_o_struct_metadata_field_metadata(object, 0), nullptr);
  EXPECT_EQ(dm_o_struct_metadata_field_offset(object, 0), 0u);
  EXPECT_EQ(dm_o_struct_metadata_field_size(object, 0), 0u);

  EXPECT_EQ(dm_o_instance_header_size(object), 0u);
  EXPECT_EQ(dm_o_instance_data_size(object), 0u);
  EXPECT_EQ(dm_o_instance_header_info(object), nullptr);
  EXPECT_EQ(dm_o_type_info_from_metadata(object), nullptr);
  EXPECT_EQ(dm_o_type_name_from_metadata(object), nullptr);
  EXPECT_FALSE(dm_o_is_value_type_from_metadata(object));
  EXPECT_FALSE(dm_o_is_big_value_type_from_metadata(object));
  EXPECT_FALSE(dm_o_is_struct_type_from_metadata(object));
  EXPECT_EQ(dm_o_instance_from_metadata(object), nullptr);
  char memory[64];
  EXPECT_EQ(dm_o_placement_instance_from_metadata(object, memory), nullptr);
  EXPECT_FALSE(dm_o_add_metadata("swept", object, true));
  EXPECT_FALSE(dm_o_typedef(object, "swept", true));
  EXPECT_FALSE(dm_o_is_metadata(object));
}

// Functions for any object, given none or one of a type that nobody knows.
void ExpectNoLife(void* object, const char* what) {
  SCOPED_TRACE(what);
  EXPECT_EQ(dm_o_type_info(object), nullptr);
  EXPECT_EQ(dm_o_sizeof_from_object(object), 0u);
  EXPECT_FALSE(dm_o_construct(object, nullptr));
  dm_o_destroy(object);
  int value = 0;
  EXPECT_FALSE(dm_o_copy_from(object, nullptr));
  EXPECT_FALSE(dm_o_copy_from(object, &value));
  EXPECT_EQ(dm_o_data(object), nullptr);
  EXPECT_FALSE(dm_o_read_value(object, &value, sizeof value));
  EXPECT_EQ(dm_o_metadata(object), nullptr);
  EXPECT_FALSE(dm_o_is_value_type_from_object(object));
  EXPECT_FALSE(dm_o_is_big_value_type_from_object(object));
  EXPECT_FALSE(dm_o_is_struct_type_from_object(object));
  ExpectNothing(object, what);
}

TEST_F(Sweep, NullGivesNothing) {
  ExpectNoLife(nullptr, "null");
  EXPECT_EQ(dm_o_deletor_info(nullptr), nullptr);
  dm_o_raw_delete(nullptr);
  EXPECT_EQ(dm_o_add_ref(nullptr), nullptr);
  EXPECT_EQ(dm_o_inner_release(nullptr), 0);
  EXPECT_EQ(dm_o_get_ref(nullptr), 0);
  dm_o_set_ref(nullptr, 5);
  EXPECT_EQ(dm_o_assign(nullptr, nullptr), nullptr);
  EXPECT_EQ(dm_o_sizeof(nullptr, 0x1000, nullptr), 0u);
  EXPECT_EQ(dm_o_raw_placement_new(0x1100, nullptr, nullptr), nullptr);
  EXPECT_EQ(dm_o_placement_new(0x1100, nullptr, nullptr), nullptr);
  EXPECT_FALSE(
      dm_o_placement_instance_from_metadata(dm_o_int32_metadata(), nullptr));

  EXPECT_EQ(dm_o_get_metadata(nullptr), nullptr);
  EXPECT_FALSE(dm_o_add_metadata(nullptr, nullptr, true));
  EXPECT_FALSE(dm_o_typedef(dm_o_int32_metadata(), nullptr, true));
  EXPECT_FALSE(dm_o_add_std_metadata(DM_INT32, nullptr, true));
  EXPECT_FALSE(dm_o_add_std_metadata(DM_INT32, "", true));
  dm_o_del_metadata(nullptr);
  dm_o_del_metadata("");
  EXPECT_EQ(dm_o_create_instance(nullptr), nullptr);
  EXPECT_EQ(dm_o_create_instance("nobody"), nullptr);
  EXPECT_FALSE(dm_o_visit_metadata(nullptr, nullptr));

  EXPECT_EQ(dm_o_metadata_to_xsd(nullptr, 0), nullptr);
  EXPECT_EQ(dm_o_metadata_to_xsd_as(nullptr, nullptr), nullptr);
  EXPECT_FALSE(dm_o_metadata_to_xsd_file(nullptr, nullptr, nullptr));
  dm_close_memory(nullptr);
  EXPECT_EQ(dm_malloc_copy(nullptr, 0), nullptr);
  GUID guid;
  char text[37];
  EXPECT_FALSE(dm_generate_guid(nullptr));
  EXPECT_FALSE(dm_guid_to_string(nullptr, text, sizeof text));
  EXPECT_FALSE(dm_guid_to_string(&guid, nullptr, sizeof text));
  EXPECT_FALSE(dm_string_to_guid(nullptr, &guid));
  EXPECT_FALSE(dm_string_to_guid("", &guid));
  EXPECT_FALSE(
      dm_string_to_guid("01234567-89ab-cdef-1032-547698badcfe", nullptr));

  const Any number = NewObject(DM_INT32);
  EXPECT_FALSE(dm_o_read_value(number.get(), nullptr, 4));
  EXPECT_FALSE(dm_o_data_pointer_get(number.get(), nullptr, nullptr));
  EXPECT_TRUE(dm_o_data_pointer_get(NewObject(DM_DATA_POINTER).get(), nullptr,
                                    nullptr));
  EXPECT_FALSE(dm_o_value_vector_set_element_type(
      NewObject(DM_VALUE_VECTOR).get(), nullptr));
}

TEST_F(Sweep, UnknownTypesGiveNothing) {
  for (const unsigned id : {12u, 19u, 127u, 255u}) {
    // As large as any object, were it taken for one.
    alignas(8) char memory[64] = {};
    const dm_sign sign = DM_SIGN_PLACED + id;
    std::memcpy(memory, &sign, sizeof sign);
    ExpectNoLife(memory, std::to_string(id).c_str());
    EXPECT_EQ(dm_o_raw_placement_new(sign, nullptr, memory), nullptr);
    EXPECT_EQ(dm_o_placement_new(sign, nullptr, memory), nullptr);
    EXPECT_EQ(dm_o_raw_new(DM_SIGN_DEFAULT + id, nullptr), nullptr);
    EXPECT_EQ(dm_o_new(DM_SIGN_DEFAULT + id, nullptr), nullptr);
    // It can be counted all the same, to nobody's harm.
    dm_o_set_ref(memory, 1);
    EXPECT_EQ(dm_o_inner_release(dm_o_add_ref(memory)), 1);
    EXPECT_EQ(dm_o_inner_release(memory), 0);
    dm_o_raw_delete(memory);
  }
  for (const unsigned id : {12u, 19u, 255u, 0xFFFFFFFFu}) {
    EXPECT_EQ(dm_o_type_info_from_id(static_cast<dm_type_id_e>(id)), nullptr);
    EXPECT_FALSE(dm_o_deletor_info_from_id(static_cast<dm_deletor_id_e>(id)));
    EXPECT_EQ(dm_o_align_bytes_from_id(static_cast<dm_align_id_e>(id)), 0u);
  }
  for (const unsigned deletor : {3u, 15u}) {
    alignas(8) char memory[64] = {};
    const dm_sign sign = 0x1000 + deletor * 0x100;
    EXPECT_EQ(dm_o_raw_placement_new(sign, nullptr, memory), nullptr);
    std::memcpy(memory, &sign, sizeof sign);
    EXPECT_EQ(dm_o_deletor_info(memory), nullptr);
    dm_o_raw_delete(memory);
  }
}

TEST_F(Sweep, AnotherTypeGivesNothing) {
  // Has none of the families' operations.
  ExpectNothing(NewObject(DM_DOUBLE).get(), "Double");
  // Of the families, each is nothing to the others.
  const Any text = NewText("text"), vector = NewObject(DM_OBJECT_VECTOR),
            pointer = NewObject(DM_OBJECT_POINTER),
            record = NewObject(DM_STRUCT);
  for (const Any* object : {&vector, &pointer, &record}) {
    EXPECT_FALSE(dm_o_string_assign(object->get(), "x"));
    EXPECT_STREQ(dm_o_string_text(object->get()), "");
    EXPECT_EQ(dm_o_struct_field_at(object->get(), 0), nullptr);
  }
  for (const Any* object : {&text, &pointer, &record}) {
    EXPECT_FALSE(dm_o_vector_resize(object->get(), 1));
    EXPECT_EQ(dm_o_vector_count(object->get()), 0u);
  }
  for (const Any* object : {&text, &vector, &record}) {
    EXPECT_FALSE(dm_o_object_pointer_set(object->get(), text.get()));
  }
  // A built-in type's metadata is no struct type.
  void* const metadata = dm_o_int32_metadata();
  EXPECT_FALSE(dm_o_struct_metadata_append(metadata, "x", metadata));
  EXPECT_EQ(dm_o_struct_metadata_field_count(metadata), 0u);
  EXPECT_EQ(dm_o_struct_field_count(NewStructType().get()), 0u);
  EXPECT_EQ(TextOf(text.get()), "text");
  EXPECT_EQ(dm_o_get_ref(text.get()), 1);
}

}  // namespace
}  // namespace dm
