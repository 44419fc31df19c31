#include "dm/values.h"

#include <cstring>

#include "dm/data_test_fixture.h"
#include "dm/words.h"

namespace dm {
namespace {

using String = DataTest;
using ValueVector = DataTest;
using ObjectVector = DataTest;
using ObjectPointer = DataTest;

constexpr auto Record = dm_o_type_info_from_id;

Any NewVectorOf(dm_type_id_e element) {
  return NewObject(DM_VALUE_VECTOR, Record(element));
}

TEST_F(String, TakesWideTextIntoTheLocalEncoding) {
  const Any text = NewObject(DM_STRING);
  ASSERT_TRUE(dm_o_string_assign_wide(text.get(), u"\u9519\U0001F600!"));
  EXPECT_EQ(TextOf(text.get()), "\xB4\xED?!");  // 错
  EXPECT_EQ(dm_o_string_size(text.get()), 4u);
  ASSERT_TRUE(dm_o_string_assign_wide(text.get(), nullptr));
  EXPECT_EQ(TextOf(text.get()), "");
}

TEST_F(ValueVector, GrowsAndShrinks) {
  const Any vector = NewVectorOf(DM_INT32);
  void* const v = vector.get();
  for (std::int32_t i = 0; i < 1000; ++i) {
    ASSERT_TRUE(dm_o_vector_append(v, NewValue(DM_INT32, i).get()));
  }
  EXPECT_EQ(dm_o_vector_count(v), 1000u);
  EXPECT_EQ(ValueOf<int>(Any::Take(dm_o_vector_get(v, 999)).get()), 999);
  EXPECT_EQ(dm_o_vector_at(v, 1000), nullptr);
  EXPECT_EQ(dm_o_vector_at(v, SIZE_MAX / 4 + 1), nullptr);
  ASSERT_TRUE(dm_o_vector_resize(v, 2));
  ASSERT_TRUE(dm_o_vector_resize(v, 4));
  EXPECT_EQ(Load<int>(dm_o_vector_at(v, 1)), 1);
  EXPECT_EQ(Load<int>(dm_o_vector_at(v, 3)), 0);  // not what was cut off before

  const Any guids = NewVectorOf(DM_GUID);
  for (const std::size_t count : {SIZE_MAX, SIZE_MAX / 16, SIZE_MAX / 16 + 2}) {
    EXPECT_FALSE(dm_o_vector_resize(guids.get(), count)) << count;
    EXPECT_FALSE(dm_o_vector_append_values(guids.get(), &count, count));
  }
  EXPECT_EQ(dm_o_vector_count(guids.get()), 0u);
}

TEST_F(ValueVector, TakesExactlyItsElementType) {
  const Any vector = NewVectorOf(DM_INT32);
  void* const v = vector.get();
  EXPECT_EQ(dm_o_vector_element_metadata(v), dm_o_int32_metadata());
  ASSERT_TRUE(dm_o_vector_resize(v, 2));
  const Any number = NewValue(DM_INT32, 7);
  EXPECT_TRUE(dm_o_vector_set(v, 1, number.get(), true));
  EXPECT_FALSE(dm_o_vector_set(v, 2, number.get(), true));
  EXPECT_EQ(dm_o_get_ref(number.get()), 1);
  // The same size is not the same type.
  const Any real = NewValue(DM_FLOAT, 1.0f);
  EXPECT_FALSE(dm_o_vector_set(v, 0, real.get(), true));
  EXPECT_FALSE(dm_o_vector_append(v, real.get()));
  EXPECT_FALSE(dm_o_vector_set(v, 0, nullptr, true));
  ASSERT_TRUE(dm_o_vector_erase(v, 0));
  EXPECT_EQ(dm_o_vector_count(v), 1u);
  EXPECT_EQ(Load<std::int32_t>(dm_o_vector_at(v, 0)), 7);
  EXPECT_FALSE(dm_o_vector_erase(v, 1));
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
  void* const v = vector.get();
  const auto set_type = [&](dm_type_id_e id) {
    return dm_o_value_vector_set_element_type(v, Record(id));
  };
  const double value = 1;
  EXPECT_TRUE(dm_o_vector_resize(v, 0));
  EXPECT_FALSE(dm_o_vector_resize(v, 1));
  EXPECT_FALSE(dm_o_vector_append_values(v, &value, 1));
  EXPECT_FALSE(set_type(DM_STRING));
  ASSERT_TRUE(set_type(DM_DOUBLE));
  EXPECT_TRUE(dm_o_vector_append_values(v, &value, 1));
  EXPECT_FALSE(set_type(DM_BYTE));
}

TEST_F(ValueVector, CopiesToItselfAndVectorsOfItsTypeOnly) {
  // One of bytes.
  const Any binary = NewObject(DM_BINARY), copy = NewObject(DM_BINARY);
  constexpr unsigned char kBytes[] = {0, 0xFF, 'a'};
  ASSERT_TRUE(dm_o_vector_append_values(binary.get(), kBytes, 3));
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
  void* const t = text.get();
  {
    const Any vector = NewObject(DM_OBJECT_VECTOR, dm_o_int32_metadata());
    void* const v = vector.get();
    EXPECT_EQ(dm_o_vector_element_metadata(v), dm_o_int32_metadata());
    ASSERT_TRUE(dm_o_vector_resize(v, 2));
    EXPECT_EQ(dm_o_vector_get(v, 0), nullptr);
    ASSERT_TRUE(dm_o_vector_set(v, 0, t, true));
    ASSERT_TRUE(dm_o_vector_set(v, 1, t, true));
    ASSERT_TRUE(dm_o_vector_set(v, 1, t, true));
    ASSERT_TRUE(dm_o_vector_append(v, t));
    EXPECT_FALSE(dm_o_vector_set(v, 3, t, true));
    EXPECT_EQ(dm_o_vector_at(v, 0), nullptr);  // no bare values

    const Any copy = NewObject(DM_OBJECT_VECTOR);
    ASSERT_TRUE(dm_o_copy_from(copy.get(), dm_o_data(v)));
    ASSERT_TRUE(dm_o_copy_from(copy.get(), dm_o_data(copy.get())));
    EXPECT_EQ(dm_o_get_ref(t), 7);

    ASSERT_TRUE(dm_o_vector_erase(v, 0));
    EXPECT_EQ(dm_o_get_ref(t), 6);
    ASSERT_TRUE(dm_o_vector_resize(v, 1));
    EXPECT_EQ(dm_o_get_ref(t), 5);
    EXPECT_FALSE(dm_o_vector_resize(v, SIZE_MAX / 8 + 1));
    EXPECT_EQ(dm_o_vector_count(v), 1u);
    void* const other = NewText("other").Release();
    ASSERT_TRUE(dm_o_vector_set(v, 0, other, false));
    EXPECT_EQ(dm_o_get_ref(other), 1);
    // The one before was not released: this reference is the caller's again.
    EXPECT_EQ(dm_o_get_ref(t), 5);
    dm_o_inner_release(t);
    ASSERT_TRUE(dm_o_vector_set(v, 0, t, true));
  }
  EXPECT_EQ(dm_o_get_ref(t), 1);
}

TEST_F(ObjectPointer, OwnsWhatItPointsTo) {
  const Any text = NewText("target"), copy = NewObject(DM_OBJECT_POINTER);
  Any pointer = NewObject(DM_OBJECT_POINTER);
  void *const t = text.get(), *const p = pointer.get(), *const c = copy.get();
  EXPECT_EQ(dm_o_object_pointer_get(p), nullptr);
  ASSERT_TRUE(dm_o_object_pointer_set(p, t));
  ASSERT_TRUE(dm_o_object_pointer_set(p, t));
  ASSERT_TRUE(dm_o_copy_from(c, dm_o_data(p)));
  EXPECT_EQ(dm_o_object_pointer_get(c), t);
  EXPECT_EQ(dm_o_get_ref(t), 3);
  pointer = nullptr;
  ASSERT_TRUE(dm_o_object_pointer_set(c, nullptr));
  EXPECT_EQ(dm_o_get_ref(t), 1);
}

}  // namespace
}  // namespace dm
