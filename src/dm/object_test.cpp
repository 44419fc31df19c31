#include "dm/object.h"

#include <string>
#include <type_traits>
#include <utility>

#include "dm/data_test_fixture.h"

namespace dm {
namespace {

using Handle = DataTest;

TEST_F(Handle, ObjectLooksWithoutOwning) {
  const Any number = NewValue<std::int32_t>(DM_INT32, 3);
  const Object object(number);
  EXPECT_EQ(dm_o_get_ref(number.get()), 1);
  EXPECT_EQ(object.Header(), static_cast<char*>(number.get()) + 8);
  EXPECT_EQ(object.GetDeletorInfo(),
            dm_o_deletor_info_from_id(DM_DELETOR_DEFAULT));
  EXPECT_FALSE(object.IsType());
  EXPECT_TRUE(Object(object.GetType()).IsType());

  const Object empty;
  EXPECT_EQ(empty.Data(), nullptr);
  EXPECT_EQ(empty.Header(), nullptr);
  EXPECT_EQ(empty.GetTypeId(), 0u);
  EXPECT_FALSE(empty.Write(4));
}

TEST_F(Handle, PointerHoldsExactlyOneReference) {
  Any a = NewText("a");
  void* const first = a.get();
  {
    Any b = a;
    b.Share(b.get());
    EXPECT_EQ(dm_o_get_ref(first), 2);
    const Any c = std::move(b);
    EXPECT_FALSE(b);  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(dm_o_get_ref(first), 2);
    const Any watched = NewText("b");
    b = watched;
    Any& same = b;
    b = std::move(same);
    EXPECT_EQ(dm_o_get_ref(watched.get()), 2);
    b = Any(c);  // releases the old object at once
    EXPECT_EQ(dm_o_get_ref(watched.get()), 1);
    EXPECT_EQ(dm_o_get_ref(first), 3);
  }
  a = Any::Take(a.Release());
  EXPECT_EQ(dm_o_get_ref(first), 1);
}

// It would not say whether the reference is new, and a new one would leak.
static_assert(!std::is_assignable_v<Any&, void*>);

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
  try {
    *Any();
    FAIL();
  } catch (const ObjectException& error) {
    EXPECT_STREQ(error.what(), "dm::ReferenceFrom Error: Empty pointer.");
  }
}

}  // namespace
}  // namespace dm
