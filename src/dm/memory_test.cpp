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
  auto* block = static_cast<char*>(dm_open_memory(10, Record));
  ASSERT_NE(block, nullptr);
  std::memset(block, 0x5A, 10);
  dm_close_memory(block);
  EXPECT_EQ(released, block - sizeof(void*));

  block = static_cast<char*>(dm_open_memory(4, nullptr));
  dm_close_memory(block);
  std::free(block - sizeof(void*));
}

// The address check sees what is too short, and what stays.
TEST(MemoryBlock, ArraysHoldAllElementsAndFreeThem) {
  void** const slots = dm_open_dynamic_array_memory(3, true);
  ASSERT_NE(slots, nullptr);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(slots[i], nullptr);
  slots[0] = std::malloc(8);
  slots[2] = std::malloc(8);
  dm_close_memory(slots);
  dm_close_memory(dm_open_dynamic_array_memory(0, false));

  auto* const block = static_cast<char*>(dm_open_fixed_array_memory(7, 1000));
  std::memset(block, 1, 7000);
  dm_close_memory(block);
}

TEST(MemoryBlock, RefusesSizesThatDoNotFit) {
  EXPECT_EQ(dm_open_memory(SIZE_MAX - sizeof(void*) + 1, Record), nullptr);
  EXPECT_EQ(dm_open_fixed_array_memory(SIZE_MAX / 8 + 1, 8), nullptr);
  EXPECT_EQ(dm_open_dynamic_array_memory(SIZE_MAX / 8, true), nullptr);
}

TEST(MemoryBlock, CopyIsAPlainBlock) {
  EXPECT_EQ(dm_malloc_copy("abc", 0), nullptr);
  void* const copy = dm_malloc_copy("abc", 4);
  EXPECT_STREQ(static_cast<char*>(copy), "abc");
  std::free(copy);
  std::free(dm_malloc_copy(nullptr, 16));
}

}  // namespace
