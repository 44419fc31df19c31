#include "dm/values.h"

#include <cstring>
#include <vector>

#include "dm/data_test_fixture.h"
#include "dm/words.h"

namespace dm {
namespace {

using String = DataTest;
using ValueVector = DataTest;
using ObjectVector = DataTest;
using ObjectPointer = DataTest;

const dm_type_info_t* Record(dm_type_id_e id) {
  return dm_o_type_info_from_id(id);
}

Any NewVectorOf(dm_type_id_e element) {
  return NewObject(DM_VALUE_VECTOR, Record(element));
}

TEST_F(String, TakesWideTextIntoTheLocalEncoding) {
  const Any text = NewObject(DM_STRING);
  EXPECT_EQ(TextOf(text.get()), "");
  ASSERT_TRUE(dm_o_string_assign_wide(text.get(), u"\u9519\u8BEF\U0001F600!"));
  EXPECT_EQ(TextOf(text.get()), "\xB4\xED\xCE\xF3?!");  // 错误
  EXPECT_EQ(dm_o_string_size(text.get()), 6u);
  ASSERT_TRUE(dm_o_string_assign_wide(text.get(), nullptr));
  EXPECT_EQ(TextOf(text.get()), "");
  ASSERT_TRUE(dm_o_string_assign(text.get(), "narrow"));
  ASSERT_TRUE(dm_o_string_assign_wide(text.get(), u""));
  EXPECT_EQ(TextOf(text.get()), "");
  ASSERT_TRUE(dm_o_string_assign(text.get(), "narrow"));
  ASSERT_TRUE(dm_o_string_assign(text.get(), nullptr));
  EXPECT_EQ(dm_o_string_size(text.get()), 0u);
}

TEST_F(ValueVector, GrowsAndShrinks) {
  const Any vector = NewVectorOf(DM_INT32);
  EXPECT_EQ(dm_o_vector_at(vector.get(), 0), nullptr);
  for (std::int32_t i = 0; i < 1000; ++i) {
    ASSERT_TRUE(dm_o_vector_append(vector.get(),
                                   NewValue<std::int32_t>(DM_INT32, i).get()));
  }
  EXPECT_EQ(dm_o_vector_count(vector.get()), 1000u);
  const Any last = Any::Take(dm_o_vector_get(vector.get(), 999));
  EXPECT_EQ(ValueOf<std::int32_t>(last.get()), 999);
  EXPECT_EQ(dm_o_vector_at(vector.get(), 1000), nullptr);
  EXPECT_EQ(dm_o_vector_at(vector.get(), SIZE_MAX / 4 + 1), nullptr);
  ASSERT_TRUE(dm_o_vector_resize(vector.get(), 2));
  ASSERT_TRUE(dm_o_vector_resize(vector.get(), 4));
  std::int32_t values[4];
  std::memcpy(values, dm_o_vector_at(vector.get(), 0), sizeof values);
  EXPECT_EQ(values[1], 1);
  EXPECT_EQ(values[3], 0);  // not what was cut off before

  const Any guids = NewVectorOf(DM_GUID);
  ASSERT_TRUE(dm_o_vector_resize(guids.get(), 1));
  for (const std::size_t count : {SIZE_MAX, SIZE_MAX / 16, SIZE_MAX / 16 + 2}) {
    EXPECT_FALSE(dm_o_vector_resize(guids.get(), count)) << count;
    EXPECT_FALSE(dm_o_vector_append_values(guids.get(), &count, count));
  }
  EXPECT_EQ(dm_o_vector_count(guids.get()), 1u);
}

TEST_F(ValueVector, TakesExactlyItsElementType) {
  const Any vector = NewVectorOf(DM_INT32);
  EXPECT_EQ(dm_o_vector_element_metadata(vector.get()), dm_o_int32_metadata());
  ASSERT_TRUE(dm_o_vector_resize(vector.get(), 2));
  const Any number = NewValue<std::int32_t>(DM_INT32, 7);
  EXPECT_TRUE(dm_o_vector_set(vector.get(), 1, number.get(), true));
  EXPECT_FALSE(dm_o_vector_set(vector.get(), 2, number.get(), true));
  // The same size is not the same type.
  const Any real = NewValue<float>(DM_FLOAT, 1);
  EXPECT_FALSE(dm_o_vector_set(vector.get(), 0, real.get(), true));
  EXPECT_FALSE(dm_o_vector_append(vector.get(), real.get()));
  EXPECT_FALSE(dm_o_vector_set(vector.get(), 0, nullptr, true));
  EXPECT_EQ(dm_o_get_ref(number.get()), 1);

  ASSERT_TRUE(dm_o_vector_erase(vector.get(), 0));
  EXPECT_EQ(dm_o_vector_count(vector.get()), 1u);
  EXPECT_EQ(Load<std::int32_t>(dm_o_vector_at(vector.get(), 0)), 7);
  EXPECT_FALSE(dm_o_vector_erase(vector.get(), 1));
}

TEST_F(ValueVector, HoldsPlainValuesOfATypeThatIsSetOnce) {
  for (unsigned id = 0; id <= DM_BINARY; ++id) {
    const auto* const record = Record(static_cast<dm_type_id_e>(id));
    if (record == nullptr) continue;
    const bool is_plain =
        id <= DM_DOUBLE || id == DM_GUID || id == DM_DATE_TIME;
    EXPECT_EQ(bool(NewObject(DM_VALUE_VECTOR, record)), is_plain) << id;
  }
  const dm_type_info_t forged = *Record(DM_INT32);
  EXPECT_FALSE(NewObject(DM_VALUE_VECTOR, &forged));

  const Any vector = NewObject(DM_VALUE_VECTOR);
  EXPECT_TRUE(dm_o_vector_resize(vector.get(), 0));
  EXPECT_FALSE(dm_o_vector_resize(vector.get(), 1));
  const double value = 1;
  EXPECT_FALSE(dm_o_vector_append_values(vector.get(), &value, 1));
  EXPECT_EQ(dm_o_vector_element_metadata(vector.get()), nullptr);

  EXPECT_FALSE(
      dm_o_value_vector_set_element_type(vector.get(), Record(DM_STRING)));
  ASSERT_TRUE(
      dm_o_value_vector_set_element_type(vector.get(), Record(DM_DOUBLE)));
  EXPECT_TRUE(dm_o_vector_append_values(vector.get(), &value, 1));
  EXPECT_FALSE(
      dm_o_value_vector_set_element_type(vector.get(), Record(DM_BYTE)));
}

TEST_F(ValueVector, CopiesToItselfAndVectorsOfItsTypeOnly) {
  // One of bytes.
  const Any binary = NewObject(DM_BINARY), copy = NewObject(DM_BINARY);
  constexpr unsigned char kBytes[] = {0, 0xFF, 'a'};
  ASSERT_TRUE(dm_o_vector_append_values(binary.get(), kBytes, 3));
  const Any byte = Any::Take(dm_o_vector_get(binary.get(), 1));
  EXPECT_EQ(byte.object().GetTypeId(), DM_BYTE);
  EXPECT_EQ(ValueOf<unsigned char>(byte.get()), 0xFF);
  ASSERT_TRUE(dm_o_vector_resize(copy.get(), 9));
  ASSERT_TRUE(dm_o_copy_from(copy.get(), dm_o_data(binary.get())));
  ASSERT_TRUE(dm_o_copy_from(copy.get(), dm_o_data(copy.get())));
  ASSERT_TRUE(dm_o_vector_erase(binary.get(), 0));
  EXPECT_EQ(std::memcmp(dm_o_vector_at(binary.get(), 0), kBytes + 1, 2), 0);
  ASSERT_EQ(dm_o_vector_count(copy.get()), 3u);
  EXPECT_EQ(std::memcmp(dm_o_vector_at(copy.get(), 0), kBytes, 3), 0);
  EXPECT_FALSE(dm_o_copy_from(NewVectorOf(DM_INT32).get(),
                              dm_o_data(NewVectorOf(DM_INT64).get())));
}

TEST_F(ObjectVector, HoldsAReferenceAnElement) {
  const Any text = NewText("held");
  {
    const Any vector = NewObject(DM_OBJECT_VECTOR, dm_o_int32_metadata());
    EXPECT_EQ(dm_o_vector_element_metadata(vector.get()),
              dm_o_int32_metadata());
    ASSERT_TRUE(dm_o_vector_resize(vector.get(), 2));
    EXPECT_EQ(dm_o_vector_get(vector.get(), 0), nullptr);
    ASSERT_TRUE(dm_o_vector_set(vector.get(), 0, text.get(), true));
    ASSERT_TRUE(dm_o_vector_set(vector.get(), 1, text.get(), true));
    ASSERT_TRUE(dm_o_vector_set(vector.get(), 1, text.get(), true));
    ASSERT_TRUE(dm_o_vector_append(vector.get(), text.get()));
    EXPECT_EQ(dm_o_get_ref(text.get()), 4);
    EXPECT_FALSE(dm_o_vector_set(vector.get(), 3, text.get(), true));
    EXPECT_EQ(dm_o_vector_at(vector.get(), 0), nullptr);  // no bare values

    const Any copy = NewObject(DM_OBJECT_VECTOR);
    ASSERT_TRUE(dm_o_copy_from(copy.get(), dm_o_data(vector.get())));
    ASSERT_TRUE(dm_o_copy_from(copy.get(), dm_o_data(copy.get())));
    EXPECT_EQ(dm_o_get_ref(text.get()), 7);

    ASSERT_TRUE(dm_o_vector_erase(vector.get(), 0));
    EXPECT_EQ(dm_o_get_ref(text.get()), 6);
    ASSERT_TRUE(dm_o_vector_resize(vector.get(), 1));
    EXPECT_EQ(dm_o_get_ref(text.get()), 5);
    ASSERT_TRUE(dm_o_vector_set(vector.get(), 0, nullptr, true));
    EXPECT_EQ(dm_o_get_ref(text.get()), 4);
    EXPECT_FALSE(dm_o_vector_resize(vector.get(), SIZE_MAX / 8 + 1));
    EXPECT_EQ(dm_o_vector_count(vector.get()), 1u);
  }
  EXPECT_EQ(dm_o_get_ref(text.get()), 1);

  const Any vector = NewObject(DM_OBJECT_VECTOR);
  ASSERT_TRUE(dm_o_vector_resize(vector.get(), 1));
  const Any first = NewText("1");
  ASSERT_TRUE(dm_o_vector_set(vector.get(), 0, first.get(), true));
  void* const second = NewText("2").Release();
  ASSERT_TRUE(dm_o_vector_set(vector.get(), 0, second, false));
  EXPECT_EQ(dm_o_get_ref(second), 1);
  // The one before was not released: this reference is the caller's again.
  EXPECT_EQ(dm_o_get_ref(first.get()), 2);
  dm_o_inner_release(first.get());
}

TEST_F(ObjectPointer, OwnsWhatItPointsTo) {
  const Any text = NewText("target");
  Any pointer = NewObject(DM_OBJECT_POINTER);
  EXPECT_EQ(dm_o_object_pointer_get(pointer.get()), nullptr);
  ASSERT_TRUE(dm_o_object_pointer_set(pointer.get(), text.get()));
  ASSERT_TRUE(dm_o_object_pointer_set(pointer.get(), text.get()));
  const Any copy = NewObject(DM_OBJECT_POINTER);
  ASSERT_TRUE(dm_o_copy_from(copy.get(), dm_o_data(pointer.get())));
  EXPECT_EQ(dm_o_object_pointer_get(copy.get()), text.get());
  EXPECT_EQ(dm_o_get_ref(text.get()), 3);
  pointer = nullptr;
  ASSERT_TRUE(dm_o_object_pointer_set(copy.get(), nullptr));
  EXPECT_EQ(dm_o_get_ref(text.get()), 1);
}

}  // namespace
}  // namespace dm
