#include "dm/object.h"

#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "dm/data_test_fixture.h"

namespace dm {
namespace {

using Handle = DataTest;

TEST_F(Handle, ObjectLooksWithoutOwning) {
  const Any number = NewValue<std::int32_t>(DM_INT32, 3);
  const Object a(number);
  Object b = a;
  b = Object(number.get());
  EXPECT_EQ(dm_o_get_ref(number.get()), 1);
  EXPECT_EQ(b.Data(), dm_o_data(number.get()));
  EXPECT_EQ(b.Header(), static_cast<char*>(number.get()) + 8);
  EXPECT_EQ(b.GetTypeInfo(), dm_o_type_info_from_id(DM_INT32));
  EXPECT_EQ(b.GetObjectSize(), 12u);
  EXPECT_EQ(b.GetType(), dm_o_int32_metadata());
  EXPECT_FALSE(b.IsType());
  EXPECT_TRUE(Object(b.GetType()).IsType());
}

TEST_F(Handle, EmptyObjectAnswersNothing) {
  const Object empty;
  EXPECT_EQ(empty.Data(), nullptr);
  EXPECT_EQ(empty.Header(), nullptr);
  EXPECT_EQ(empty.GetDeletorInfo(), nullptr);
  EXPECT_EQ(empty.GetTypeId(), 0u);
  EXPECT_EQ(empty.GetTypeInfo(), nullptr);
  EXPECT_EQ(empty.GetObjectSize(), 0u);
  EXPECT_EQ(empty.GetType(), nullptr);
  EXPECT_FALSE(empty.IsType());
  int value = 4;
  EXPECT_FALSE(empty.Read(value));
  EXPECT_FALSE(empty.Write(value));
}

TEST_F(Handle, PointerHoldsExactlyOneReference) {
  Any a = NewText("a");
  void* const first = a.get();
  {
    Any b = a;
    EXPECT_EQ(dm_o_get_ref(first), 2);
    b.Share(b.get());
    EXPECT_EQ(dm_o_get_ref(first), 2);
    const Any c = std::move(b);
    EXPECT_FALSE(b);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(dm_o_get_ref(first), 2);
    b = NewText("b");
    const Any watched = b;
    Any& same = b;
    b = std::move(same);
    EXPECT_EQ(b, watched);
    EXPECT_EQ(dm_o_get_ref(watched.get()), 2);
    b = Any(c);  // releases the old object at once
    EXPECT_EQ(dm_o_get_ref(watched.get()), 1);
    EXPECT_EQ(dm_o_get_ref(first), 3);
    EXPECT_EQ(b, c);
    std::vector<Any> row(5, c);
    EXPECT_EQ(dm_o_get_ref(first), 8);
  }
  EXPECT_EQ(dm_o_get_ref(first), 1);
  void* const taken = a.Release();
  EXPECT_EQ(a, nullptr);
  EXPECT_EQ(dm_o_get_ref(taken), 1);
  a = Any::Take(taken);
  EXPECT_EQ(dm_o_get_ref(taken), 1);
  const StructPtr type = NewStructType();
  const Any general(type);
  EXPECT_EQ(dm_o_get_ref(type.get()), 2);
}

// It would not say whether the reference is new, and a new one would leak.
static_assert(!std::is_assignable_v<Any&, void*>);
static_assert(!std::is_assignable_v<StructPtr&, void*>);
static_assert(std::is_assignable_v<Any&, std::nullptr_t>);

// A list is cut at its second link, which only the first one holds.
TEST_F(Handle, AssignsFromWhatItsOwnObjectHolds) {
  const Any last = NewText("last");
  Any head = NewObject(DM_OBJECT_POINTER);
  ASSERT_TRUE(dm_o_object_pointer_set(head.get(), last.get()));
  head.Share(dm_o_object_pointer_get(head.get()));
  EXPECT_EQ(head, last);
  EXPECT_EQ(dm_o_get_ref(last.get()), 2);
}

TEST_F(Handle, ReferenceFromNothingThrows) {
  const Any number = NewObject(DM_INT32);
  EXPECT_EQ(*number, 0x1000);
  EXPECT_EQ(&ReferenceFrom(number), number.get());
  int value = 1;
  EXPECT_EQ(&ReferenceFrom(&value), &value);
  const auto text_of = [](auto&& call) -> std::string {
    try {
      call();
    } catch (const std::logic_error& error) {
      EXPECT_NE(dynamic_cast<const ObjectException*>(&error), nullptr);
      return error.what();
    }
    return "";
  };
  constexpr char kText[] = "dm::ReferenceFrom Error: Empty pointer.";
  EXPECT_EQ(text_of([] { *Any(); }), kText);
  EXPECT_EQ(text_of([] { ReferenceFrom(StructPtr()); }), kText);
  EXPECT_EQ(text_of([] { ReferenceFrom(static_cast<int*>(nullptr)); }), kText);
}

}  // namespace
}  // namespace dm
