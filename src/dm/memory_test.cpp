#include "dm/memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

void* released = nullptr;

void Record(void* block) {
  released = block;
  std::free(block);
}

TEST(MemoryBlock, HandsItsHiddenWordToItsReleaseFunctionIfAny) {
  released = nullptr;
  auto* block = static_cast<char*>(dm_open_memory(10, Record));
  ASSERT_NE(block, nullptr);
  std::memset(block, 0x5A, 10);
  dm_close_memory(block);
  EXPECT_EQ(released, block - sizeof(void*));

  block = static_cast<char*>(dm_open_memory(4, nullptr));
  std::memcpy(block, "abc", 4);
  dm_close_memory(block);
  EXPECT_STREQ(block, "abc");
  std::free(block - sizeof(void*));
}

TEST(MemoryBlock, ArraysHoldAllElementsAndFreeThem) {
  void** const slots = dm_open_dynamic_array_memory(3, true);
  ASSERT_NE(slots, nullptr);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(slots[i], nullptr);
  slots[0] = std::malloc(8);
  slots[2] = std::malloc(8);
  dm_close_memory(slots);  // the leak check sees what stays

  void** const open = dm_open_dynamic_array_memory(2, false);
  open[0] = std::malloc(1);
  open[1] = nullptr;
  dm_close_memory(open);
  dm_close_memory(dm_open_dynamic_array_memory(0, true));

  auto* const block = static_cast<char*>(dm_open_fixed_array_memory(7, 1000));
  std::memset(block, 1, 7000);
  dm_close_memory(block);
  dm_close_memory(dm_open_fixed_array_memory(0, 0));
  dm_close_memory(dm_open_raw_memory(0));
}

TEST(MemoryBlock, RefusesSizesThatDoNotFit) {
  EXPECT_EQ(dm_open_memory(SIZE_MAX, Record), nullptr);
  EXPECT_EQ(dm_open_memory(SIZE_MAX - sizeof(void*) + 1, Record), nullptr);
  EXPECT_EQ(dm_open_raw_memory(SIZE_MAX - 3), nullptr);
  EXPECT_EQ(dm_open_fixed_array_memory(SIZE_MAX / 2, 3), nullptr);
  EXPECT_EQ(dm_open_fixed_array_memory(SIZE_MAX / 8 + 1, 8), nullptr);
  EXPECT_EQ(dm_open_dynamic_array_memory(SIZE_MAX / 8 + 1, true), nullptr);
  EXPECT_EQ(dm_open_dynamic_array_memory(SIZE_MAX / 8, true), nullptr);
}

TEST(MemoryBlock, CopyIsAPlainBlock) {
  EXPECT_EQ(dm_malloc_copy("abc", 0), nullptr);
  void* const copy = dm_malloc_copy("abc", 4);
  EXPECT_STREQ(static_cast<char*>(copy), "abc");
  std::free(copy);
  void* const room = dm_malloc_copy(nullptr, 16);
  ASSERT_NE(room, nullptr);
  std::memset(room, 0, 16);
  std::free(room);
}

}  // namespace
