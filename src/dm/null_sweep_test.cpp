// Every function of the data model that takes a pointer, called with null, with
// ids that nobody knows, and with objects of another type than it is for; those
// on schemas stand in schema_import_test.cpp. The test data_model_null_sweep
// compares with what the library exports.
#include <gmock/gmock.h>

#include <cstring>

#include "dm/data_test_fixture.h"
#include "xml/xml_testing.h"

namespace dm {
namespace {

using kiv::ExpectAllFalse;
using Sweep = DataTest;

// What a function that takes one object answers.
void ExpectNothing(void* object) {
  char memory[64];
  ExpectAllFalse(
      dm_o_string_assign(object, "x"), dm_o_string_assign_wide(object, u"x"),
      dm_o_vector_resize(object, 1), dm_o_vector_set(object, 0, object, false),
      dm_o_vector_erase(object, 0), dm_o_vector_append(object, object),
      dm_o_vector_append_values(object, "x", 1),
      dm_o_value_vector_set_element_type(object,
                                         dm_o_type_info_from_id(DM_BYTE)),
      dm_o_object_pointer_set(object, nullptr),
      dm_o_data_pointer_get(object, nullptr, nullptr),
      dm_o_data_pointer_set(object, nullptr, 0),
      dm_o_struct_metadata_append(object, "x", dm_o_int32_metadata()),
      dm_o_is_value_type_from_metadata(object),
      dm_o_is_big_value_type_from_metadata(object),
      dm_o_is_struct_type_from_metadata(object),
      dm_o_add_metadata("swept", object, true),
      dm_o_typedef(object, "swept", true), dm_o_is_metadata(object),
      dm_o_string_size(object), dm_o_vector_count(object),
      dm_o_struct_field_count(object), dm_o_struct_metadata_field_count(object),
      dm_o_struct_metadata_field_offset(object, 0),
      dm_o_struct_metadata_field_size(object, 0),
      dm_o_instance_header_size(object), dm_o_instance_data_size(object),
      dm_o_vector_at(object, 0), dm_o_vector_get(object, 0),
      dm_o_vector_element_metadata(object), dm_o_object_pointer_get(object),
      dm_o_struct_field_at(object, 0),
      dm_o_struct_metadata_field_name(object, 0),
      dm_o_struct_metadata_field_metadata(object, 0),
      dm_o_type_info_from_metadata(object),
      dm_o_type_name_from_metadata(object), dm_o_instance_from_metadata(object),
      dm_o_placement_instance_from_metadata(object, memory),
      dm_o_instance_header_info(object));
  EXPECT_STREQ(dm_o_string_text(object), "");
  EXPECT_EQ(dm_o_struct_field_index(object, "x"), -1);
  EXPECT_EQ(dm_o_struct_metadata_field_index(object, "x"), -1);
}

// Functions for any object, given none or one of a type that nobody knows.
void ExpectNoLife(void* object) {
  dm_o_destroy(object);
  int value = 0;
  ExpectAllFalse(dm_o_construct(object, nullptr),
                 dm_o_copy_from(object, nullptr),
                 dm_o_read_value(object, &value, sizeof value),
                 dm_o_is_value_type_from_object(object),
                 dm_o_is_big_value_type_from_object(object),
                 dm_o_is_struct_type_from_object(object),
                 dm_o_type_info(object), dm_o_sizeof_from_object(object),
                 dm_o_data(object), dm_o_metadata(object));
  ExpectNothing(object);
}

TEST_F(Sweep, NullGivesNothing) {
  ExpectNoLife(nullptr);
  dm_o_raw_delete(nullptr);
  dm_o_set_ref(nullptr, 5);
  dm_o_del_metadata(nullptr);
  dm_close_memory(nullptr);
  void* const int32 = dm_o_int32_metadata();
  GUID guid{};
  char text[37] = "01234567-89ab-cdef-1032-547698badcfe";
  ExpectAllFalse(
      dm_o_deletor_info(nullptr), dm_o_add_ref(nullptr),
      dm_o_assign(nullptr, nullptr),
      dm_o_raw_placement_new(0x1100, nullptr, nullptr),
      dm_o_placement_new(0x1100, nullptr, nullptr),
      dm_o_placement_instance_from_metadata(int32, nullptr),
      dm_o_get_metadata(nullptr), dm_o_create_instance(nullptr),
      dm_o_create_instance("nobody"), dm_o_metadata_to_xsd(nullptr, 0),
      dm_o_metadata_to_xsd_as(nullptr, nullptr), dm_malloc_copy(nullptr, 0),
      dm_o_inner_release(nullptr), dm_o_get_ref(nullptr),
      dm_o_sizeof(nullptr, 0x1000, nullptr),
      dm_o_add_metadata(nullptr, int32, true),
      dm_o_typedef(int32, nullptr, true),
      dm_o_add_std_metadata(DM_INT32, nullptr, true),
      dm_o_visit_metadata(nullptr, nullptr),
      dm_o_metadata_to_xsd_file(nullptr, nullptr, nullptr),
      dm_generate_guid(nullptr), dm_guid_to_string(nullptr, text, sizeof text),
      dm_guid_to_string(&guid, nullptr, sizeof text),
      dm_string_to_guid(nullptr, &guid), dm_string_to_guid(text, nullptr),
      dm_o_read_value(NewObject(DM_INT32).get(), nullptr, 4),
      dm_o_value_vector_set_element_type(NewObject(DM_VALUE_VECTOR).get(),
                                         nullptr));
  EXPECT_TRUE(dm_o_data_pointer_get(NewObject(DM_DATA_POINTER).get(), nullptr,
                                    nullptr));
}

TEST_F(Sweep, UnknownTypesGiveNothing) {
  for (const unsigned id : {12u, 19u, 255u}) {
    // As large as any object, were it taken for one.
    alignas(8) char memory[64] = {};
    const dm_sign sign = DM_SIGN_PLACED + id;
    std::memcpy(memory, &sign, sizeof sign);
    ExpectNoLife(memory);
    EXPECT_EQ(dm_o_placement_new(sign, nullptr, memory), nullptr);
    EXPECT_EQ(dm_o_raw_new(DM_SIGN_DEFAULT + id, nullptr), nullptr);
    EXPECT_EQ(dm_o_new(DM_SIGN_DEFAULT + id, nullptr), nullptr);
    // It can be counted all the same, to nobody's harm.
    dm_o_set_ref(memory, 1);
    EXPECT_EQ(dm_o_inner_release(memory), 0);
    dm_o_raw_delete(memory);
  }
  for (const unsigned id : {19u, 0xFFFFFFFFu}) {
    EXPECT_EQ(dm_o_type_info_from_id(static_cast<dm_type_id_e>(id)), nullptr);
    EXPECT_FALSE(dm_o_deletor_info_from_id(static_cast<dm_deletor_id_e>(id)));
    EXPECT_EQ(dm_o_align_bytes_from_id(static_cast<dm_align_id_e>(id)), 0u);
  }
  dm_sign sign[16] = {0x1300};
  EXPECT_EQ(dm_o_raw_placement_new(sign[0], nullptr, sign), nullptr);
  EXPECT_EQ(dm_o_deletor_info(sign), nullptr);
  dm_o_raw_delete(sign);
}

TEST_F(Sweep, AnotherTypeGivesNothing) {
  // Has none of the families' operations.
  ExpectNothing(NewObject(DM_DOUBLE).get());
  // Of the families, each is nothing to the others.
  for (const unsigned id :
       {DM_STRING, DM_OBJECT_VECTOR, DM_OBJECT_POINTER, DM_STRUCT}) {
    const Any object = NewObject(id);
    EXPECT_EQ(dm_o_string_assign(object.get(), "text"), id == DM_STRING);
    EXPECT_EQ(dm_o_vector_resize(object.get(), 0), id == DM_OBJECT_VECTOR);
    EXPECT_EQ(dm_o_object_pointer_set(object.get(), nullptr),
              id == DM_OBJECT_POINTER);
  }
  // A built-in type's metadata is no struct type.
  void* const metadata = dm_o_int32_metadata();
  EXPECT_FALSE(dm_o_struct_metadata_append(metadata, "x", metadata));
  EXPECT_EQ(dm_o_struct_field_count(NewStructType().get()), 0u);
}

}  // namespace
}  // namespace dm
