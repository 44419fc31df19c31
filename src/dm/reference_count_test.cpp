#include "dm/reference_count.h"

#include <functional>
#include <latch>
#include <thread>
#include <vector>

#include "dm/data_test_fixture.h"

namespace dm {
namespace {

constexpr unsigned kThreads = 8;

// With the number of the thread; all at once, or the first is done before the
// last begins.
void OnEveryThread(const std::function<void(unsigned)>& work) {
  std::latch start(kThreads);
  std::vector<std::jthread> threads;
  for (unsigned i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      work(i);
    });
  }
}

// A text and a byte for every thread.
StructPtr WideType() {
  StructPtr type = NewStructType();
  for (unsigned i = 0; i < kThreads; ++i) {
    dm_o_struct_metadata_append(type.get(), "text",
                                dm_o_ansi_string_metadata());
    dm_o_struct_metadata_append(type.get(), "odd", dm_o_byte_metadata());
  }
  return type;
}

using ReferenceCount = DataTest;

TEST_F(ReferenceCount, HoldsAtEveryAddressUnderEightThreads) {
  // Two cache lines, so that some counts lie across the border.
  alignas(64) static char memory[128 + 16];
  for (unsigned offset = 56; offset < 72; ++offset) {
    void* const object =
        dm_o_placement_new(DM_SIGN_PLACED + DM_INT32, nullptr, memory + offset);
    OnEveryThread([object](unsigned) {
      for (int i = 0; i < 2000; ++i) {
        dm_o_add_ref(object);
        if (i % 16 == 0) dm_o_get_ref(object);
        dm_o_inner_release(object);
      }
      for (int i = 0; i < 500; ++i) dm_o_add_ref(object);
    });
    EXPECT_EQ(dm_o_get_ref(object), 1 + int{kThreads} * 500) << offset;
    dm_o_set_ref(object, 1);
    EXPECT_EQ(dm_o_inner_release(object), 0);
  }
}

// Neighbouring fields, each counted by another thread: their counts share words
// of memory, but never a byte.
TEST_F(ReferenceCount, NeighboursDoNotDisturbEachOther) {
  const Any object = NewInstance(WideType());
  OnEveryThread([&](unsigned thread) {
    void* const field = dm_o_struct_field_at(object.get(), 2 * thread + 1);
    for (unsigned char i = 0; i < 200; ++i) {
      const Any counted(field);
      EXPECT_TRUE(Object(field).Write(i));
    }
  });
  for (std::size_t i = 0; i < kThreads; ++i) {
    void* const field = dm_o_struct_field_at(object.get(), 2 * i + 1);
    EXPECT_EQ(dm_o_get_ref(field), 1);
    EXPECT_EQ(ValueOf<unsigned char>(field), 199);
  }
}

// The last release, whoever makes it, sees what every other owner wrote.
TEST_F(ReferenceCount, LastReleaseIsMadeOnceAndSeesEveryWrite) {
  const StructPtr type = WideType();
  for (int round = 0; round < 200; ++round) {
    void* const object = dm_o_instance_from_metadata(type.get());
    dm_o_set_ref(object, kThreads);
    OnEveryThread([&](unsigned thread) {
      dm_o_string_assign(dm_o_struct_field_at(object, 2 * thread),
                         "a text that needs memory of its own");
      dm_o_inner_release(object);
    });
    EXPECT_EQ(dm_o_get_ref(type.get()), 1);
  }
}

TEST_F(ReferenceCount, SharedTypesAreInstantiatedFromEveryThread) {
  const StructPtr type = WideType();
  ASSERT_TRUE(dm_o_typedef(type.get(), "Record", false));
  OnEveryThread([](unsigned) {
    for (int i = 0; i < 500; ++i) {
      const Any object = Any::Take(dm_o_create_instance("Record"));
      dm_o_string_assign(dm_o_struct_field_at(object.get(), 2), "text");
      EXPECT_TRUE(Any::Take(dm_o_create_instance("string")));
    }
  });
  EXPECT_EQ(dm_o_get_ref(type.get()), 2);
}

}  // namespace
}  // namespace dm
