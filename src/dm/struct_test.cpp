#include <cstring>
#include <string>

#include "dm/data_test_fixture.h"
#include "dm/words.h"
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

// That they lie packed stands in schema_import_test.cpp.
TEST_F(Struct, FieldsArePlacedObjectsOfTheirTypes) {
  const StructPtr type = OddTextType();
  const Any object = NewInstance(type);
  EXPECT_EQ(dm_o_metadata(object.get()), type.get());
  EXPECT_EQ(dm_o_sizeof_from_object(object.get()),
            8 + kWord + dm_o_instance_data_size(type.get()));
  for (std::size_t i = 0; i < 2; ++i) {
    void* const field = dm_o_struct_field_at(object.get(), i);
    EXPECT_EQ(field, static_cast<char*>(dm_o_data(object.get())) +
                         dm_o_struct_metadata_field_offset(type.get(), i));
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
  const Any object = NewInstance(type), empty = NewObject(DM_STRUCT);
  EXPECT_EQ(dm_o_struct_field_index(object.get(), "x"), 0);
  EXPECT_EQ(dm_o_struct_field_index(object.get(), "X"), 1);
  EXPECT_EQ(dm_o_struct_field_index(object.get(), nullptr), -1);
  ASSERT_TRUE(empty);
  EXPECT_EQ(dm_o_struct_field_index(empty.get(), "x"), -1);
  EXPECT_EQ(dm_o_metadata(empty.get()), nullptr);
  EXPECT_EQ(dm_o_sizeof_from_object(empty.get()), 8 + kWord);
}

TEST_F(Struct, RefusesFieldsThatCannotBe) {
  const StructPtr type = NewStructType();
  EXPECT_FALSE(Append(type, "", dm_o_int32_metadata()));
  EXPECT_FALSE(Append(type, nullptr, dm_o_int32_metadata()));
  EXPECT_FALSE(Append(type, "f", NewObject(DM_INT32).get()));
  EXPECT_FALSE(Append(type, "f", type.get()));
  // What holds a reference to its type would outlive a type that is a field.
  for (const dm_type_id_e id : {DM_STD_METADATA, DM_STRUCT_METADATA}) {
    ASSERT_TRUE(dm_o_add_std_metadata(id, "metadata", true));
    EXPECT_FALSE(Append(type, "f", dm_o_get_metadata("metadata")));
  }
  EXPECT_EQ(dm_o_struct_metadata_field_count(type.get()), 0u);
  EXPECT_EQ(dm_o_get_ref(type.get()), 1);
}

TEST_F(Struct, GrowsUntilItsFirstUseEvenFromACopy) {
  const StructPtr types[] = {NewStructType(), NewStructType(), NewStructType()};
  const StructPtr outer = NewStructType({{"inner", types[0].get()}});
  const Any object = NewInstance(types[1]);
  ASSERT_TRUE(dm_o_typedef(types[2].get(), "Record", false));
  for (const StructPtr& type : types) {
    EXPECT_FALSE(Append(type, "late", dm_o_int32_metadata()));
    EXPECT_FALSE(dm_o_copy_from(type.get(), dm_o_data(outer.get())));
  }
  EXPECT_TRUE(Append(outer, "more", dm_o_int32_metadata()));

  const StructPtr base = OddTextType(), derived = NewStructType();
  ASSERT_TRUE(dm_o_copy_from(derived.get(), dm_o_data(base.get())));
  EXPECT_TRUE(Append(derived, "more", dm_o_byte_metadata()));
  EXPECT_EQ(dm_o_struct_metadata_field_offset(derived.get(), 2),
            dm_o_instance_data_size(base.get()));
}

TEST_F(Struct, NeverExceedsFourGibibytesOrAThousandLevels) {
  // Doubles its size with every level.
  StructPtr inner, large = OddTextType();
  int levels = 0;
  do {
    inner = large;
    large = NewStructType({{"first", inner.get()}});
  } while (Append(large, "second", inner.get()) && ++levels < 40);
  EXPECT_EQ(levels, 25);
  EXPECT_EQ(dm_o_instance_data_size(large.get()),
            8 + kWord + dm_o_instance_data_size(inner.get()));
  EXPECT_EQ(dm_o_struct_metadata_field_count(large.get()), 1u);

  StructPtr deep = OddTextType();
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
  StructPtr large = OddTextType();
  for (int level = 0; level < 12; ++level) {
    large = NewStructType({{"first", large.get()}, {"second", large.get()}});
  }
  const Any object = NewInstance(large), copy = NewInstance(large);
  void* record = object.get();
  for (int level = 0; level < 12; ++level) {
    record = dm_o_struct_field_at(record, 1);
  }
  ASSERT_TRUE(dm_o_string_assign(dm_o_struct_field_at(record, 1), "last"));
  ASSERT_TRUE(dm_o_copy_from(copy.get(), dm_o_data(object.get())));

  const StructPtr outer =
      NewStructType({{"large", large.get()}, {"guid", dm_o_guid_metadata()}});
  EXPECT_FALSE(NewInstanceWithoutRandomBytes(outer));
  EXPECT_TRUE(NewInstance(outer));
}

TEST_F(Struct, ConstructionThatFailsMidwayUndoesItself) {
  const StructPtr inner = OddTextType();
  const StructPtr type = NewStructType({{"inner", inner.get()},
                                        {"guid", dm_o_guid_metadata()},
                                        {"never", dm_o_binary_metadata()}});
  EXPECT_FALSE(NewInstanceWithoutRandomBytes(type));
  EXPECT_EQ(dm_o_get_ref(type.get()), 1);
  EXPECT_EQ(dm_o_get_ref(inner.get()), 2);
  EXPECT_TRUE(NewInstance(type));
}

TEST_F(Struct, TypeStaysAsItWasWithoutMemory) {
  const StructPtr type = NewStructType(), other = OddTextType();
  bool is_made, is_grown, is_copied;
  {
    const kiv::testing::ScarceMemory none(1);
    is_made = dm_o_struct_metadata_new() != nullptr;
    is_grown = Append(type, "a", dm_o_byte_metadata());
    is_copied = dm_o_copy_from(type.get(), dm_o_data(other.get()));
  }
  EXPECT_FALSE(is_made || is_grown || is_copied);
  EXPECT_EQ(dm_o_struct_metadata_field_count(type.get()), 0u);
  EXPECT_TRUE(Append(type, "a", dm_o_byte_metadata()));
}

TEST_F(Struct, OutlivesItsNameAndTheRegistryAndACountedField) {
  ASSERT_TRUE(dm_o_add_metadata("Record", OddTextType().Release(), false));
  const Any object = Any::Take(dm_o_create_instance("Record"));
  dm_o_del_metadata("Record");
  kiv::StopData();
  void* const text = FieldOf(object, "text");
  ASSERT_TRUE(dm_o_string_assign(text, "still here"));
  EXPECT_EQ(dm_o_metadata(text), nullptr);
  // Counting a field up and down while its struct lives changes nothing else.
  EXPECT_EQ(dm_o_get_ref(Any(text).get()), 2);
  EXPECT_EQ(TextOf(text), "still here");
}

TEST_F(Struct, CopyTakesAllFieldsOrNone) {
  const StructPtr type = OddTextType();
  ASSERT_TRUE(Append(type, "values", dm_o_value_vector_metadata()));
  const auto filled = [&](const char* text, dm_type_id_e id) {
    const Any object = NewInstance(type);
    void* const values = FieldOf(object, "values");
    dm_o_string_assign(FieldOf(object, "text"), text);
    dm_o_value_vector_set_element_type(values, dm_o_type_info_from_id(id));
    EXPECT_TRUE(dm_o_vector_resize(values, 2));
    return object;
  };
  const Any bytes = filled("b", DM_BYTE), numbers = filled("n", DM_INT32);
  EXPECT_FALSE(dm_o_copy_from(numbers.get(), dm_o_data(bytes.get())));
  EXPECT_FALSE(dm_o_copy_from(numbers.get(), nullptr));
  EXPECT_EQ(TextOf(FieldOf(numbers, "text")), "n");
  // A vector without elements takes over type and all.
  const Any empty = NewInstance(type);
  ASSERT_TRUE(dm_o_copy_from(empty.get(), dm_o_data(bytes.get())));
  EXPECT_EQ(dm_o_vector_count(FieldOf(empty, "values")), 2u);
  ASSERT_TRUE(dm_o_copy_from(bytes.get(), dm_o_data(NewInstance(type).get())));
  EXPECT_EQ(dm_o_vector_count(FieldOf(bytes, "values")), 0u);
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
  for (std::size_t size = 28; size < 33; ++size) {
    const std::string around = 'b' + std::string(size, 'a');
    ASSERT_TRUE(dm_o_string_assign(odd, around.c_str()));
    ASSERT_TRUE(dm_o_copy_from(odd, dm_o_data(odd)));
    EXPECT_EQ(TextOf(odd), around);
    ASSERT_TRUE(dm_o_string_assign(odd, dm_o_string_text(odd) + 1));
    EXPECT_EQ(TextOf(odd), around.substr(1));
  }
  const std::string text(50, 't');
  ASSERT_TRUE(dm_o_string_assign(even, text.c_str()));
  ASSERT_TRUE(dm_o_copy_from(odd, dm_o_data(even)));
  ASSERT_TRUE(dm_o_copy_from(even, nullptr));
  EXPECT_EQ(TextOf(even), "");
  ASSERT_TRUE(dm_o_copy_from(even, dm_o_data(odd)));
  EXPECT_EQ(TextOf(even), text);
}

}  // namespace
}  // namespace dm
