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

void Append(const StructPtr& type, const char* name, void* metadata) {
  ASSERT_TRUE(dm_o_struct_metadata_append(type.get(), name, metadata)) << name;
}

Any NewInstance(const StructPtr& type) {
  return Any::Take(dm_o_instance_from_metadata(type.get()));
}

// A field that is a Guid cannot be constructed then.
Any NewInstanceWithoutRandomBytes(const StructPtr& type) {
  const kiv::testing::NoRandomBytes none;
  return NewInstance(type);
}

void* FieldOf(const Any& object, const char* name) {
  return dm_o_struct_field_at(
      object.get(),
      static_cast<std::size_t>(dm_o_struct_field_index(object.get(), name)));
}

TEST_F(Struct, FieldsLiePackedInOrder) {
  const StructPtr inner = NewStructType();
  Append(inner, "flag", dm_o_bool_metadata());
  const StructPtr type = NewStructType();
  Append(type, "a", dm_o_byte_metadata());
  Append(type, "b", dm_o_double_metadata());
  Append(type, "c", inner.get());
  Append(type, "d", dm_o_ansi_string_metadata());

  const std::uint32_t sizes[] = {9, 16, 8 + kWord + 9, 8 + sizeof(std::string)};
  std::uint32_t offset = 0;
  ASSERT_EQ(dm_o_struct_metadata_field_count(type.get()), 4u);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(dm_o_struct_metadata_field_offset(type.get(), i), offset);
    EXPECT_EQ(dm_o_struct_metadata_field_size(type.get(), i), sizes[i]);
    offset += sizes[i];
  }
  EXPECT_EQ(dm_o_instance_data_size(type.get()), offset);
  EXPECT_EQ(dm_o_instance_header_size(type.get()), kWord);
  EXPECT_STREQ(dm_o_struct_metadata_field_name(type.get(), 2), "c");
  EXPECT_EQ(dm_o_struct_metadata_field_metadata(type.get(), 2), inner.get());
  EXPECT_EQ(dm_o_struct_metadata_field_name(type.get(), 4), nullptr);
  EXPECT_EQ(dm_o_struct_metadata_field_index(type.get(), "d"), 3);

  const Any object = NewInstance(type);
  EXPECT_EQ(dm_o_metadata(object.get()), type.get());
  EXPECT_EQ(Load<void*>(object.object().Header()), type.get());
  EXPECT_EQ(dm_o_sizeof_from_object(object.get()), 8 + kWord + offset);
  for (std::size_t i = 0; i < 4; ++i) {
    void* const field = dm_o_struct_field_at(object.get(), i);
    EXPECT_EQ(field, static_cast<char*>(dm_o_data(object.get())) +
                         dm_o_struct_metadata_field_offset(type.get(), i));
    EXPECT_EQ(dm_o_get_ref(field), 1);
    EXPECT_EQ(Load<dm_sign>(field) & 0xFFFFFF00, 0x1100u);
    EXPECT_EQ(dm_o_metadata(field),
              dm_o_struct_metadata_field_metadata(type.get(), i));
  }
  EXPECT_EQ(dm_o_struct_field_at(object.get(), 4), nullptr);
}

TEST_F(Struct, FirstFieldOfANameIsFound) {
  const StructPtr type = NewStructType();
  Append(type, "x", dm_o_int32_metadata());
  Append(type, "X", dm_o_int32_metadata());
  Append(type, "x", dm_o_double_metadata());
  const Any object = NewInstance(type);
  EXPECT_EQ(dm_o_struct_field_index(object.get(), "x"), 0);
  EXPECT_EQ(dm_o_struct_field_index(object.get(), "X"), 1);
  EXPECT_EQ(dm_o_struct_field_index(object.get(), "y"), -1);
  EXPECT_EQ(dm_o_struct_field_index(object.get(), ""), -1);
  EXPECT_EQ(dm_o_struct_field_index(object.get(), nullptr), -1);
  EXPECT_EQ(dm_o_struct_field_count(object.get()), 3u);
}

TEST_F(Struct, RefusesFieldsThatCannotBe) {
  const StructPtr type = NewStructType();
  const Any number = NewObject(DM_INT32);
  EXPECT_FALSE(
      dm_o_struct_metadata_append(type.get(), "", dm_o_int32_metadata()));
  EXPECT_FALSE(
      dm_o_struct_metadata_append(type.get(), nullptr, dm_o_int32_metadata()));
  EXPECT_FALSE(dm_o_struct_metadata_append(type.get(), "f", nullptr));
  EXPECT_FALSE(dm_o_struct_metadata_append(type.get(), "f", number.get()));
  EXPECT_FALSE(dm_o_struct_metadata_append(type.get(), "f", type.get()));
  // What holds a reference to its type would outlive a type that is a field.
  for (const dm_type_id_e id : {DM_STD_METADATA, DM_STRUCT_METADATA}) {
    ASSERT_TRUE(dm_o_add_std_metadata(id, "metadata", true));
    EXPECT_FALSE(dm_o_struct_metadata_append(type.get(), "f",
                                             dm_o_get_metadata("metadata")));
  }
  EXPECT_EQ(dm_o_struct_metadata_field_count(type.get()), 0u);
  EXPECT_EQ(dm_o_instance_data_size(type.get()), 0u);
  EXPECT_EQ(dm_o_get_ref(type.get()), 1);
}

TEST_F(Struct, GrowsUntilItsFirstUse) {
  const StructPtr instantiated = NewStructType();
  const StructPtr embedded = NewStructType();
  const StructPtr registered = NewStructType();
  const StructPtr outer = NewStructType();
  const Any object = NewInstance(instantiated);
  Append(outer, "inner", embedded.get());
  ASSERT_TRUE(dm_o_typedef(registered.get(), "Record", false));
  for (const StructPtr* type : {&instantiated, &embedded, &registered}) {
    EXPECT_FALSE(dm_o_struct_metadata_append(type->get(), "late",
                                             dm_o_int32_metadata()));
    EXPECT_FALSE(dm_o_copy_from(type->get(), dm_o_data(outer.get())));
  }
  Append(outer, "more", dm_o_int32_metadata());
  EXPECT_FALSE(
      dm_o_struct_metadata_append(embedded.get(), "round", outer.get()));
}

TEST_F(Struct, TypeCanStartAsACopyOfAnother) {
  const StructPtr base = NewStructType(), derived = NewStructType();
  Append(base, "id", dm_o_int64_metadata());
  Append(base, "name", dm_o_ansi_string_metadata());
  ASSERT_TRUE(dm_o_copy_from(derived.get(), dm_o_data(base.get())));
  Append(derived, "more", dm_o_byte_metadata());
  EXPECT_EQ(dm_o_struct_metadata_field_count(base.get()), 2u);
  EXPECT_EQ(dm_o_struct_metadata_field_offset(derived.get(), 2),
            dm_o_instance_data_size(base.get()));
}

TEST_F(Struct, NeverExceedsFourGibibytesOrAThousandLevels) {
  // Doubles its size with every level.
  StructPtr large = NewStructType();
  Append(large, "text", dm_o_ansi_string_metadata());
  int levels = 0;
  for (; levels < 40; ++levels) {
    const StructPtr outer = NewStructType();
    Append(outer, "first", large.get());
    const auto before = dm_o_instance_data_size(outer.get());
    if (!dm_o_struct_metadata_append(outer.get(), "second", large.get())) {
      EXPECT_EQ(dm_o_instance_data_size(outer.get()), before);
      EXPECT_EQ(dm_o_struct_metadata_field_count(outer.get()), 1u);
      break;
    }
    large = outer;
  }
  EXPECT_GT(levels, 20);
  EXPECT_LT(levels, 28);

  StructPtr deep = NewStructType();
  Append(deep, "leaf", dm_o_ansi_string_metadata());
  for (int level = 1; level < 1000; ++level) {
    const StructPtr outer = NewStructType();
    Append(outer, "inner", deep.get());
    deep = outer;
  }
  EXPECT_FALSE(
      dm_o_struct_metadata_append(NewStructType().get(), "inner", deep.get()));
  const Any object = NewInstance(deep), copy = NewInstance(deep);
  ASSERT_TRUE(object);
  EXPECT_TRUE(dm_o_copy_from(copy.get(), dm_o_data(object.get())));
}

// Such a type keeps no image of its instances.
TEST_F(Struct, LargeInstancesAreMadeFieldByField) {
  StructPtr large = NewStructType();
  Append(large, "odd", dm_o_byte_metadata());
  Append(large, "text", dm_o_ansi_string_metadata());
  Append(large, "time", dm_o_datetime_metadata());
  Append(large, "bytes", dm_o_binary_metadata());
  for (int level = 0; level < 11; ++level) {
    const StructPtr outer = NewStructType();
    Append(outer, "first", large.get());
    Append(outer, "second", large.get());
    large = outer;
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

  const StructPtr outer = NewStructType();
  Append(outer, "large", large.get());
  Append(outer, "guid", dm_o_guid_metadata());
  EXPECT_FALSE(NewInstanceWithoutRandomBytes(outer));
  EXPECT_EQ(dm_o_get_ref(outer.get()), 1);
  EXPECT_TRUE(NewInstance(outer));
}

TEST_F(Struct, ConstructionThatFailsMidwayUndoesItself) {
  const StructPtr inner = NewStructType(), type = NewStructType();
  Append(inner, "text", dm_o_ansi_string_metadata());
  Append(type, "odd", dm_o_byte_metadata());
  Append(type, "inner", inner.get());
  Append(type, "guid", dm_o_guid_metadata());
  Append(type, "never", dm_o_binary_metadata());
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
  const StructPtr type = NewStructType(), other = NewStructType();
  Append(other, "text", dm_o_ansi_string_metadata());
  void* made;
  bool is_grown, is_copied;
  {
    const kiv::testing::ScarceMemory none(1);
    made = dm_o_struct_metadata_new();
    is_grown =
        dm_o_struct_metadata_append(type.get(), "a", dm_o_byte_metadata());
    is_copied = dm_o_copy_from(type.get(), dm_o_data(other.get()));
  }
  EXPECT_EQ(made, nullptr);
  EXPECT_FALSE(is_grown);
  EXPECT_FALSE(is_copied);
  EXPECT_EQ(dm_o_struct_metadata_field_count(type.get()), 0u);
  Append(type, "a", dm_o_byte_metadata());
}

TEST_F(Struct, OutlivesItsNameAndTheRegistry) {
  StructPtr type = NewStructType();
  Append(type, "odd", dm_o_byte_metadata());
  Append(type, "text", dm_o_ansi_string_metadata());
  ASSERT_TRUE(dm_o_add_metadata("Record", type.Release(), false));
  const Any object = Any::Take(dm_o_create_instance("Record"));
  dm_o_del_metadata("Record");
  kiv::StopData();
  ASSERT_TRUE(dm_o_string_assign(FieldOf(object, "text"), "still here"));
  EXPECT_EQ(TextOf(FieldOf(object, "text")), "still here");
  EXPECT_EQ(dm_o_metadata(FieldOf(object, "text")), nullptr);
}

TEST_F(Struct, MadeOfNothingHasNoFields) {
  const Any object = NewObject(DM_STRUCT);
  ASSERT_TRUE(object);
  EXPECT_EQ(dm_o_struct_field_count(object.get()), 0u);
  EXPECT_EQ(dm_o_struct_field_index(object.get(), "x"), -1);
  EXPECT_EQ(dm_o_metadata(object.get()), nullptr);
  EXPECT_EQ(dm_o_sizeof_from_object(object.get()), 8 + kWord);
}

TEST_F(Struct, CopyTakesAllFieldsOrNone) {
  const StructPtr type = NewStructType();
  Append(type, "odd", dm_o_byte_metadata());
  Append(type, "text", dm_o_ansi_string_metadata());
  Append(type, "values", dm_o_value_vector_metadata());
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
  const StructPtr type = NewStructType();
  Append(type, "even", dm_o_ansi_string_metadata());
  Append(type, "between", dm_o_byte_metadata());
  Append(type, "odd", dm_o_ansi_string_metadata());
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

// Counting a field up and down while its struct lives changes nothing else.
TEST_F(Struct, FieldMayBeCountedWhileItsStructLives) {
  const StructPtr type = NewStructType();
  Append(type, "odd", dm_o_byte_metadata());
  Append(type, "text", dm_o_ansi_string_metadata());
  const Any object = NewInstance(type);
  ASSERT_TRUE(dm_o_string_assign(FieldOf(object, "text"), "kept"));
  {
    const Any field(FieldOf(object, "text"));
    EXPECT_EQ(dm_o_get_ref(field.get()), 2);
  }
  EXPECT_EQ(TextOf(FieldOf(object, "text")), "kept");
}

}  // namespace
}  // namespace dm
