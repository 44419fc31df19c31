#include <cstring>
#include <memory>
#include <string>

#include "dm/data_test_fixture.h"
#include "dm/words.h"
#include "kiv/date_time.h"
#include "testing/no_random_bytes.h"
#include "testing/scarce_memory.h"

namespace dm {
namespace {

using Struct = DataTest;

constexpr std::size_t kWord = sizeof(void*);

bool Append(const StructPtr& type, const char* name, void* metadata) {
  return dm_o_struct_metadata_append(type.get(), name, metadata);
}

// A field that is a Guid cannot be constructed then.
Any NewInstanceWithoutRandomBytes(const StructPtr& type) {
  const kiv::testing::NoRandomBytes none;
  return NewInstance(type);
}

// A text at an address that does not suit a std::string.
StructPtr OddTextType() {
  return NewStructType(
      {{"odd", dm_o_byte_metadata()}, {"text", dm_o_ansi_string_metadata()}});
}

void* FieldOf(const Any& object, const char* name) {
  const int index = dm_o_struct_field_index(object.get(), name);
  return dm_o_struct_field_at(object.get(), static_cast<std::size_t>(index));
}

// That they lie packed, in any type, stands in struct_property_test.cpp.
TEST_F(Struct, FieldsArePlacedObjectsOfTheirTypes) {
  const StructPtr inner = NewStructType({{"flag", dm_o_bool_metadata()}});
  const StructPtr type =
      NewStructType({{"c", inner.get()}, {"d", dm_o_ansi_string_metadata()}});
  EXPECT_EQ(dm_o_struct_metadata_field_size(type.get(), 0), 8 + kWord + 9);
  EXPECT_EQ(dm_o_instance_header_size(type.get()), kWord);
  EXPECT_STREQ(dm_o_struct_metadata_field_name(type.get(), 1), "d");
  EXPECT_EQ(dm_o_struct_metadata_field_metadata(type.get(), 0), inner.get());
  EXPECT_EQ(dm_o_struct_metadata_field_name(type.get(), 2), nullptr);
  EXPECT_EQ(dm_o_struct_metadata_field_index(type.get(), "d"), 1);

  const Any object = NewInstance(type);
  EXPECT_EQ(dm_o_metadata(object.get()), type.get());
  EXPECT_EQ(Load<void*>(object.object().Header()), type.get());
  EXPECT_EQ(dm_o_sizeof_from_object(object.get()),
            8 + kWord + dm_o_instance_data_size(type.get()));
  for (std::size_t i = 0; i < 2; ++i) {
    void* const field = dm_o_struct_field_at(object.get(), i);
    EXPECT_EQ(field, static_cast<char*>(dm_o_data(object.get())) +
                         dm_o_struct_metadata_field_offset(type.get(), i));
    EXPECT_EQ(dm_o_get_ref(field), 1);
    EXPECT_EQ(Load<dm_sign>(field) & 0xFFFFFF00, 0x1100u);
    EXPECT_EQ(dm_o_metadata(field),
              dm_o_struct_metadata_field_metadata(type.get(), i));
  }
  EXPECT_EQ(dm_o_struct_field_at(object.get(), 2), nullptr);
}

TEST_F(Struct, FirstFieldOfANameIsFoundAndNoneInNothing) {
  const StructPtr type = NewStructType({{"x", dm_o_int32_metadata()},
                                        {"X", dm_o_int32_metadata()},
                                        {"x", dm_o_double_metadata()}});
  const Any object = NewInstance(type);
  EXPECT_EQ(dm_o_struct_field_index(object.get(), "x"), 0);
  EXPECT_EQ(dm_o_struct_field_index(object.get(), "X"), 1);
  for (const char* const none : {"y", "", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(dm_o_struct_field_index(object.get(), none), -1);
  }
  EXPECT_EQ(dm_o_struct_field_count(object.get()), 3u);

  const Any empty = NewObject(DM_STRUCT);
  ASSERT_TRUE(empty);
  EXPECT_EQ(dm_o_struct_field_count(empty.get()), 0u);
  EXPECT_EQ(dm_o_struct_field_index(empty.get(), "x"), -1);
  EXPECT_EQ(dm_o_metadata(empty.get()), nullptr);
  EXPECT_EQ(dm_o_sizeof_from_object(empty.get()), 8 + kWord);
}

TEST_F(Struct, RefusesFieldsThatCannotBe) {
  const StructPtr type = NewStructType();
  const Any number = NewObject(DM_INT32);
  EXPECT_FALSE(Append(type, "", dm_o_int32_metadata()));
  EXPECT_FALSE(Append(type, nullptr, dm_o_int32_metadata()));
  EXPECT_FALSE(Append(type, "f", nullptr));
  EXPECT_FALSE(Append(type, "f", number.get()));
  EXPECT_FALSE(Append(type, "f", type.get()));
  // What holds a reference to its type would outlive a type that is a field.
  for (const dm_type_id_e id : {DM_STD_METADATA, DM_STRUCT_METADATA}) {
    ASSERT_TRUE(dm_o_add_std_metadata(id, "metadata", true));
    EXPECT_FALSE(Append(type, "f", dm_o_get_metadata("metadata")));
  }
  EXPECT_EQ(dm_o_struct_metadata_field_count(type.get()), 0u);
  EXPECT_EQ(dm_o_instance_data_size(type.get()), 0u);
  EXPECT_EQ(dm_o_get_ref(type.get()), 1);
}

TEST_F(Struct, GrowsUntilItsFirstUseEvenFromACopy) {
  const StructPtr instantiated = NewStructType(), embedded = NewStructType(),
                  registered = NewStructType();
  const StructPtr outer = NewStructType({{"inner", embedded.get()}});
  const Any object = NewInstance(instantiated);
  ASSERT_TRUE(dm_o_typedef(registered.get(), "Record", false));
  for (const StructPtr* type : {&instantiated, &embedded, &registered}) {
    EXPECT_FALSE(Append(*type, "late", dm_o_int32_metadata()));
    EXPECT_FALSE(dm_o_copy_from(type->get(), dm_o_data(outer.get())));
  }
  EXPECT_TRUE(Append(outer, "more", dm_o_int32_metadata()));
  EXPECT_FALSE(Append(embedded, "round", outer.get()));

  const StructPtr base = OddTextType(), derived = NewStructType();
  ASSERT_TRUE(dm_o_copy_from(derived.get(), dm_o_data(base.get())));
  EXPECT_TRUE(Append(derived, "more", dm_o_byte_metadata()));
  EXPECT_EQ(dm_o_struct_metadata_field_count(base.get()), 2u);
  EXPECT_EQ(dm_o_struct_metadata_field_offset(derived.get(), 2),
            dm_o_instance_data_size(base.get()));
}

TEST_F(Struct, NeverExceedsFourGibibytesOrAThousandLevels) {
  // Doubles its size with every level.
  StructPtr large = NewStructType({{"text", dm_o_ansi_string_metadata()}});
  int levels = 0;
  for (; levels < 40; ++levels) {
    const StructPtr outer = NewStructType({{"first", large.get()}});
    const auto before = dm_o_instance_data_size(outer.get());
    if (!Append(outer, "second", large.get())) {
      EXPECT_EQ(dm_o_instance_data_size(outer.get()), before);
      EXPECT_EQ(dm_o_struct_metadata_field_count(outer.get()), 1u);
      break;
    }
    large = outer;
  }
  EXPECT_GT(levels, 20);
  EXPECT_LT(levels, 28);

  StructPtr deep = NewStructType({{"leaf", dm_o_ansi_string_metadata()}});
  for (int level = 1; level < 1000; ++level) {
    deep = NewStructType({{"inner", deep.get()}});
  }
  EXPECT_FALSE(Append(NewStructType(), "inner", deep.get()));
  const Any object = NewInstance(deep), copy = NewInstance(deep);
  ASSERT_TRUE(object);
  EXPECT_TRUE(dm_o_copy_from(copy.get(), dm_o_data(object.get())));
}

// Such a type keeps no image of its instances.
TEST_F(Struct, LargeInstancesAreMadeFieldByField) {
  StructPtr large = NewStructType({{"odd", dm_o_byte_metadata()},
                                   {"text", dm_o_ansi_string_metadata()},
                                   {"time", dm_o_datetime_metadata()},
                                   {"bytes", dm_o_binary_metadata()}});
  for (int level = 0; level < 11; ++level) {
    large = NewStructType({{"first", large.get()}, {"second", large.get()}});
  }
  ASSERT_GT(dm_o_instance_data_size(large.get()), 128u * 1024);
  const Any object = NewInstance(large), copy = NewInstance(large);
  void* record = object.get();
  while (dm_o_struct_field_count(record) == 2) {
    record = dm_o_struct_field_at(record, 1);
  }
  EXPECT_EQ(ValueOf<kiv::DateTime>(dm_o_struct_field_at(record, 2)),
            kiv::DateTime());
  ASSERT_TRUE(
      dm_o_string_assign(dm_o_struct_field_at(record, 1), "in the last"));
  ASSERT_TRUE(
      dm_o_vector_append_values(dm_o_struct_field_at(record, 3), "b", 1));
  ASSERT_TRUE(dm_o_copy_from(copy.get(), dm_o_data(object.get())));

  const StructPtr outer =
      NewStructType({{"large", large.get()}, {"guid", dm_o_guid_metadata()}});
  EXPECT_FALSE(NewInstanceWithoutRandomBytes(outer));
  EXPECT_EQ(dm_o_get_ref(outer.get()), 1);
  EXPECT_TRUE(NewInstance(outer));
}

TEST_F(Struct, ConstructionThatFailsMidwayUndoesItself) {
  const StructPtr inner =
      NewStructType({{"text", dm_o_ansi_string_metadata()}});
  const StructPtr type = NewStructType({{"odd", dm_o_byte_metadata()},
                                        {"inner", inner.get()},
                                        {"guid", dm_o_guid_metadata()},
                                        {"never", dm_o_binary_metadata()}});
  EXPECT_FALSE(NewInstanceWithoutRandomBytes(type));
  void* const word = type.get();
  void* object;
  {
    const kiv::testing::NoRandomBytes none;
    object = dm_o_new(0x100F, &word);
  }
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(dm_o_get_ref(type.get()), 1);
  EXPECT_EQ(dm_o_get_ref(inner.get()), 2);
  EXPECT_TRUE(NewInstance(type));
}

TEST_F(Struct, TypeStaysAsItWasWithoutMemory) {
  const StructPtr type = NewStructType(), other = OddTextType();
  void* made;
  bool is_grown, is_copied;
  {
    const kiv::testing::ScarceMemory none(1);
    made = dm_o_struct_metadata_new();
    is_grown = Append(type, "a", dm_o_byte_metadata());
    is_copied = dm_o_copy_from(type.get(), dm_o_data(other.get()));
  }
  EXPECT_EQ(made, nullptr);
  EXPECT_FALSE(is_grown);
  EXPECT_FALSE(is_copied);
  EXPECT_EQ(dm_o_struct_metadata_field_count(type.get()), 0u);
  EXPECT_TRUE(Append(type, "a", dm_o_byte_metadata()));
}

TEST_F(Struct, OutlivesItsNameAndTheRegistryAndACountedField) {
  ASSERT_TRUE(dm_o_add_metadata("Record", OddTextType().Release(), false));
  const Any object = Any::Take(dm_o_create_instance("Record"));
  dm_o_del_metadata("Record");
  kiv::StopData();
  ASSERT_TRUE(dm_o_string_assign(FieldOf(object, "text"), "still here"));
  EXPECT_EQ(TextOf(FieldOf(object, "text")), "still here");
  EXPECT_EQ(dm_o_metadata(FieldOf(object, "text")), nullptr);

  // Counting a field up and down while its struct lives changes nothing else.
  {
    const Any field(FieldOf(object, "text"));
    EXPECT_EQ(dm_o_get_ref(field.get()), 2);
  }
  EXPECT_EQ(TextOf(FieldOf(object, "text")), "still here");
}

TEST_F(Struct, CopyTakesAllFieldsOrNone) {
  const StructPtr type = OddTextType();
  ASSERT_TRUE(Append(type, "values", dm_o_value_vector_metadata()));
  const Any from = NewInstance(type), to = NewInstance(type);
  ASSERT_TRUE(dm_o_string_assign(FieldOf(from, "text"), "copied"));
  ASSERT_TRUE(dm_o_value_vector_set_element_type(
      FieldOf(from, "values"), dm_o_type_info_from_id(DM_BYTE)));
  ASSERT_TRUE(dm_o_vector_append_values(FieldOf(from, "values"), "ab", 2));
  ASSERT_TRUE(dm_o_copy_from(to.get(), dm_o_data(from.get())));
  EXPECT_EQ(TextOf(FieldOf(to, "text")), "copied");
  EXPECT_EQ(dm_o_vector_count(FieldOf(to, "values")), 2u);
  EXPECT_FALSE(dm_o_copy_from(to.get(), nullptr));

  // Now the vectors hold different types.
  const Any other = NewInstance(type);
  ASSERT_TRUE(dm_o_value_vector_set_element_type(
      FieldOf(other, "values"), dm_o_type_info_from_id(DM_INT32)));
  ASSERT_TRUE(dm_o_vector_resize(FieldOf(other, "values"), 1));
  EXPECT_FALSE(dm_o_copy_from(other.get(), dm_o_data(from.get())));
  EXPECT_EQ(TextOf(FieldOf(other, "text")), "");
  // Without elements, it takes over type and all.
  ASSERT_TRUE(dm_o_copy_from(to.get(), dm_o_data(NewInstance(type).get())));
  EXPECT_EQ(dm_o_vector_count(FieldOf(to, "values")), 0u);
}

// A field's text lies elsewhere when its address does not suit a std::string.
TEST_F(Struct, TextsMoveBetweenFieldsOfAnyAddress) {
  const StructPtr type = NewStructType({{"even", dm_o_ansi_string_metadata()},
                                        {"between", dm_o_byte_metadata()},
                                        {"odd", dm_o_ansi_string_metadata()}});
  const Any object = NewInstance(type);
  void* const even = FieldOf(object, "even");
  void* const odd = FieldOf(object, "odd");
  // On both sides of what fits inside such data.
  for (std::size_t size = 28; size < 34; ++size) {
    const std::string around(size, 'a');
    ASSERT_TRUE(dm_o_string_assign(odd, around.c_str()));
    ASSERT_TRUE(dm_o_copy_from(odd, dm_o_data(odd)));
    EXPECT_EQ(TextOf(odd), around);
    ASSERT_TRUE(dm_o_string_assign(odd, dm_o_string_text(odd) + 1));
    EXPECT_EQ(TextOf(odd), around.substr(1));
  }
  const std::string text(50, 't');
  ASSERT_TRUE(dm_o_string_assign(even, text.c_str()));
  ASSERT_TRUE(dm_o_copy_from(odd, dm_o_data(even)));
  ASSERT_TRUE(dm_o_string_assign(even, ""));
  EXPECT_EQ(TextOf(odd), text);
  ASSERT_TRUE(dm_o_copy_from(even, dm_o_data(odd)));
  ASSERT_TRUE(dm_o_copy_from(odd, nullptr));
  EXPECT_EQ(TextOf(even), text);
  EXPECT_EQ(TextOf(odd), "");
  ASSERT_TRUE(dm_o_string_assign_wide(odd, u"wide"));
  EXPECT_EQ(dm_o_string_size(odd), 4u);
}

}  // namespace
}  // namespace dm
