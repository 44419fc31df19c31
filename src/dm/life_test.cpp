#include "dm/life.h"

#include <pthread.h>

#include <cstring>
#include <memory>
#include <set>
#include <vector>

#include "dm/data_test_fixture.h"
#include "dm/words.h"
#include "kiv/date_time.h"

namespace dm {
namespace {

using Life = DataTest;

TEST_F(Life, NewObjectsHaveTheirFirstValueAndCountOne) {
  void* const object = dm_o_new(0x1000, nullptr);
  ASSERT_NE(object, nullptr);
  std::uint32_t words[3];
  std::memcpy(words, object, sizeof words);
  EXPECT_EQ(words[0], 0x1000u);
  EXPECT_EQ(words[1], 1u);
  EXPECT_EQ(words[2], 0u);
  EXPECT_EQ(dm_o_data(object), static_cast<char*>(object) + 8);
  EXPECT_EQ(dm_o_add_ref(object), object);
  EXPECT_EQ(dm_o_get_ref(object), 2);
  EXPECT_EQ(dm_o_inner_release(object), 1);
  EXPECT_EQ(dm_o_inner_release(object), 0);

  // Guids are fresh, dates missing.
  const GUID first = ValueOf<GUID>(NewObject(DM_GUID).get());
  const GUID second = ValueOf<GUID>(NewObject(DM_GUID).get());
  EXPECT_NE(std::memcmp(&first, &second, sizeof first), 0);
  EXPECT_EQ(ValueOf<kiv::DateTime>(NewObject(DM_DATE_TIME).get()),
            kiv::DateTime());
}

TEST_F(Life, UnknownDeletorsAndArgumentsGiveNothing) {
  for (const dm_sign sign : {0x1300u, 0x1F00u, 0x1100u}) {  // has no memory
    EXPECT_EQ(dm_o_raw_new(sign, nullptr), nullptr) << std::hex << sign;
    EXPECT_EQ(dm_o_new(sign, nullptr), nullptr) << std::hex << sign;
  }
  // Metadata of what?
  EXPECT_EQ(dm_o_new(0x120D, nullptr), nullptr);
  int no_record = 0;
  EXPECT_EQ(dm_o_new(0x120D, &no_record), nullptr);
  // A struct of something that is no struct metadata.
  const Any number = NewObject(DM_INT32);
  void* word = number.get();
  EXPECT_EQ(dm_o_new(0x100F, &word), nullptr);
  EXPECT_EQ(dm_o_sizeof(dm_o_type_info_from_id(DM_STRUCT), 0x100F, &word), 0u);
}

TEST_F(Life, RawObjectsAreGivenBackUnended) {
  void* const object = dm_o_raw_new(0x100B, nullptr);
  ASSERT_TRUE(dm_o_construct(object, nullptr));
  ASSERT_TRUE(dm_o_string_assign(object, std::string(100, 'x').c_str()));
  dm_o_destroy(object);
  dm_o_raw_delete(object);
}

// At every address of a cache line and a bit.
TEST_F(Life, EveryTypeLivesAtAnyAddress) {
  for (unsigned offset = 0; offset < 16; ++offset) {
    for (unsigned id = 0; id <= DM_BINARY; ++id) {
      const auto* const info =
          dm_o_type_info_from_id(static_cast<dm_type_id_e>(id));
      if (info == nullptr) continue;
      SCOPED_TRACE(info->type_name + (" at " + std::to_string(offset)));
      const void* const arg = id == DM_STD_METADATA || id == DM_VALUE_VECTOR
                                  ? dm_o_type_info_from_id(DM_INT16)
                                  : nullptr;
      const dm_sign sign = DM_SIGN_PLACED + id;
      const std::size_t size = dm_o_sizeof(info, sign, arg);
      // Exactly as large as needed, for the address check to see a byte too
      // far.
      const auto memory = std::make_unique<char[]>(offset + size);
      void* const place = memory.get() + offset;
      void* const object = dm_o_placement_new(sign, arg, place);
      ASSERT_EQ(object, place);
      EXPECT_EQ(dm_o_sizeof_from_object(object), size);
      EXPECT_EQ(dm_o_type_info(object), info);
      if (id == DM_STRING) {
        ASSERT_TRUE(dm_o_string_assign(object, std::string(100, 'x').c_str()));
        EXPECT_EQ(TextOf(object), std::string(100, 'x'));
      }
      if (id == DM_VALUE_VECTOR) {
        ASSERT_TRUE(dm_o_vector_resize(object, 3));
        EXPECT_EQ(dm_o_vector_count(object), 3u);
      }
      EXPECT_EQ(dm_o_inner_release(dm_o_add_ref(object)), 1);
      EXPECT_EQ(dm_o_inner_release(object), 0);
    }
  }
}

TEST_F(Life, AssignKeepsCountsInBalance) {
  void* const a = dm_o_new(0x1000, nullptr);
  void* const b = dm_o_new(0x1000, nullptr);
  EXPECT_EQ(dm_o_assign(a, a), a);
  EXPECT_EQ(dm_o_get_ref(a), 1);
  dm_o_add_ref(a);
  EXPECT_EQ(dm_o_assign(a, b), b);
  EXPECT_EQ(dm_o_get_ref(a), 1);
  EXPECT_EQ(dm_o_get_ref(b), 2);
  EXPECT_EQ(dm_o_assign(b, nullptr), nullptr);
  EXPECT_EQ(dm_o_get_ref(b), 1);
  EXPECT_EQ(dm_o_assign(nullptr, b), b);
  EXPECT_EQ(dm_o_get_ref(b), 2);
  dm_o_set_ref(b, 1);
  EXPECT_EQ(dm_o_inner_release(a), 0);
  EXPECT_EQ(dm_o_inner_release(b), 0);
}

TEST_F(Life, OnlyPlainValuesCopyBytewise) {
  const Any from = NewValue<double>(DM_DOUBLE, 2.5);
  const Any to = NewObject(DM_DOUBLE);
  EXPECT_TRUE(dm_o_copy_from(to.get(), dm_o_data(from.get())));
  EXPECT_EQ(ValueOf<double>(to.get()), 2.5);
  EXPECT_FALSE(dm_o_copy_from(to.get(), nullptr));

  const Any pointer = NewObject(DM_DATA_POINTER);
  const Any other = NewObject(DM_DATA_POINTER);
  int target = 0;
  ASSERT_TRUE(dm_o_data_pointer_set(pointer.get(), &target, 7));
  EXPECT_FALSE(dm_o_copy_from(other.get(), dm_o_data(pointer.get())));
  void* read = &target;
  std::uintptr_t companion = 1;
  ASSERT_TRUE(dm_o_data_pointer_get(other.get(), &read, &companion));
  EXPECT_EQ(read, nullptr);
  EXPECT_EQ(companion, 0u);
}

TEST_F(Life, StringCopiesFromAStringOfEitherKind) {
  const Any text = NewText("before");
  EXPECT_TRUE(dm_o_copy_from(text.get(), dm_o_data(NewText("after").get())));
  EXPECT_EQ(TextOf(text.get()), "after");
  const std::string standard = "a standard string";
  EXPECT_TRUE(dm_o_copy_from(text.get(), &standard));
  EXPECT_EQ(TextOf(text.get()), standard);
  EXPECT_TRUE(dm_o_copy_from(text.get(), dm_o_data(text.get())));
  EXPECT_EQ(TextOf(text.get()), standard);
  EXPECT_TRUE(dm_o_copy_from(text.get(), nullptr));
  EXPECT_EQ(TextOf(text.get()), "");
}

// A T goes into the objects of one type alone, and comes out of them.
template <typename T>
void ExpectValueOf(unsigned type_id, const T& value, const T& other) {
  for (unsigned id = 0; id <= DM_BINARY; ++id) {
    SCOPED_TRACE(id);
    const Any object = NewObject(id);
    if (!object) continue;
    T read = value;
    EXPECT_EQ(object.object().Write(other), id == type_id);
    EXPECT_EQ(object.object().Read(read), id == type_id);
    EXPECT_EQ(std::memcmp(&read, id == type_id ? &other : &value, sizeof read),
              0);
  }
}

TEST_F(Life, ReadsAndWritesOnlyTheRightType) {
  enum class Colour : std::uint16_t { Red, Blue };
  ExpectValueOf<bool>(DM_BOOLEAN, false, true);
  ExpectValueOf<std::uint8_t>(DM_BYTE, 1, 2);
  ExpectValueOf<std::int16_t>(DM_INT16, 1, 2);
  ExpectValueOf<Colour>(DM_INT16, Colour::Red, Colour::Blue);
  ExpectValueOf<std::int32_t>(DM_INT32, 1, 2);
  ExpectValueOf<std::uint32_t>(DM_INT32, 1, 2);
  ExpectValueOf<long>(DM_INT64, 1, 2);
  ExpectValueOf<long long>(DM_INT64, 1, 2);
  ExpectValueOf<float>(DM_FLOAT, 1, 2);
  ExpectValueOf<double>(DM_DOUBLE, 1, 2);
  ExpectValueOf<GUID>(DM_GUID, GUID{1, 2, 3, {}}, GUID{4, 5, 6, {}});
  ExpectValueOf<kiv::DateTime>(DM_DATE_TIME, {2004, 1, 31, 0, 0, 0, 0},
                               {2004, 2, 1, 0, 0, 0, 0});
}

TEST_F(Life, ReadsOnlyTheRightSizeAndAnyByteOfABooleanAsABool) {
  std::int64_t wide = 9;
  EXPECT_FALSE(dm_o_read_value(NewObject(DM_INT32).get(), &wide, sizeof wide));
  EXPECT_EQ(wide, 9);
  // Binary owns its bytes: no look inside.
  void* words[4];
  const Any binary = NewObject(DM_BINARY);
  EXPECT_FALSE(dm_o_read_value(binary.get(), &words, sizeof words));

  const Any byte = NewObject(DM_BOOLEAN);
  ASSERT_TRUE(dm_o_copy_from(byte.get(), "\2"));
  bool value = false;
  EXPECT_TRUE(byte.object().Read(value));
  unsigned char held;
  std::memcpy(&held, &value, sizeof held);
  EXPECT_EQ(held, 1);
}

// A thread with a stack of 1 MiB.
void OnASmallStack(void* (*run)(void*), void* argument) {
  pthread_attr_t attributes;
  ASSERT_EQ(::pthread_attr_init(&attributes), 0);
  ASSERT_EQ(::pthread_attr_setstacksize(&attributes, 1 << 20), 0);
  pthread_t thread;
  ASSERT_EQ(::pthread_create(&thread, &attributes, run, argument), 0);
  ASSERT_EQ(::pthread_join(thread, nullptr), 0);
  ::pthread_attr_destroy(&attributes);
}

void* Forget(void* head) {
  *static_cast<Any*>(head) = nullptr;
  return nullptr;
}

// A list of a million links, each the only owner of the next.
TEST_F(Life, LongChainsDoNotExhaustTheStack) {
  Any head;
  for (int i = 0; i < 1000000; ++i) {
    Any link = NewObject(DM_OBJECT_POINTER);
    ASSERT_TRUE(dm_o_object_pointer_set(link.get(), head.get()));
    head = std::move(link);
  }
  head = nullptr;

  for (int i = 0; i < 100000; ++i) {
    Any link = NewObject(DM_OBJECT_VECTOR);
    ASSERT_TRUE(dm_o_vector_append(link.get(), head.get()));
    head = std::move(link);
  }
  OnASmallStack(Forget, &head);
}

TEST_F(Life, LongChainsOfDeepStructsDoNotExhaustTheStack) {
  constexpr unsigned kLevels = 1000;
  for (void* const leaf :
       {dm_o_object_pointer_metadata(), dm_o_ansi_string_metadata()}) {
    StructPtr type = NewStructType({{"a", leaf}});
    for (unsigned i = 1; i < kLevels; ++i) {
      type = NewStructType({{"a", type.get()}});
    }
    Any head;
    const auto put_before = [&](Any link, void* pointer) {
      ASSERT_TRUE(dm_o_object_pointer_set(pointer, head.get()));
      head = std::move(link);
    };
    for (int i = 0; i < 300; ++i) {
      Any link = NewInstance(type);
      ASSERT_TRUE(link);
      void* pointer = link.get();
      for (unsigned level = 0; level < kLevels; ++level) {
        pointer = dm_o_struct_field_at(pointer, 0);
      }
      if (leaf == dm_o_object_pointer_metadata()) {
        put_before(std::move(link), pointer);
        continue;
      }
      // The end of one that ends no others, on top of many links.
      head = std::move(link);
      for (int j = 0; j < 300; ++j) {
        Any above = NewObject(DM_OBJECT_POINTER);
        void* const place = above.get();
        put_before(std::move(above), place);
      }
      break;
    }
    type = nullptr;
    OnASmallStack(Forget, &head);
    EXPECT_EQ(head.get(), nullptr);
  }
}

TEST_F(Life, InstancesAreWhatTheirMetadataSays) {
  void* const own = dm_o_int32_metadata();
  EXPECT_EQ(dm_o_metadata(own), own);
  EXPECT_TRUE(dm_o_is_metadata(own));
  EXPECT_TRUE(dm_o_is_metadata(NewStructType().get()));
  EXPECT_EQ(Load<dm_sign>(own), 0x120Du);
  constexpr struct {
    const char* name;
    bool is_value;
    bool is_big;
    const char* type_name;
  } kRows[] = {{"int", true, false, "System.Int32"},
               {"time", true, false, "System.DateTime"},
               {"System.Binary", true, false, "System.Binary"},
               {"string", false, true, "System.String"},
               {"value_vector", false, false, "System.ValueVector"},
               {"object_vector", false, false, "System.ObjectVector"},
               {"data_pointer", false, false, "System.DataPointer"},
               {"object_pointer", false, false, "System.ObjectPointer"}};
  for (const auto& [name, is_value, is_big, type_name] : kRows) {
    SCOPED_TRACE(name);
    void* const metadata = dm_o_get_metadata(name);
    EXPECT_EQ(dm_o_is_value_type_from_metadata(metadata), is_value);
    EXPECT_EQ(dm_o_is_big_value_type_from_metadata(metadata), is_big);
    EXPECT_FALSE(dm_o_is_struct_type_from_metadata(metadata));
    EXPECT_STREQ(dm_o_type_name_from_metadata(metadata), type_name);

    const Any object = Any::Take(dm_o_instance_from_metadata(metadata));
    ASSERT_TRUE(object);
    EXPECT_EQ(dm_o_get_ref(object.get()), 1);
    EXPECT_EQ(dm_o_metadata(object.get()), metadata);
    EXPECT_EQ(dm_o_is_value_type_from_object(object.get()), is_value);
    EXPECT_EQ(dm_o_is_big_value_type_from_object(object.get()), is_big);
    const std::size_t size = dm_o_sizeof_from_object(object.get());
    EXPECT_EQ(size, 8 + dm_o_instance_header_size(metadata) +
                        dm_o_instance_data_size(metadata));
    EXPECT_EQ(Load<dm_sign>(object.get()) & 0xFFFFFF00, 0x1000u);
    const auto placed = std::make_unique<char[]>(size + 1);
    void* const embedded =
        dm_o_placement_instance_from_metadata(metadata, placed.get() + 1);
    ASSERT_EQ(embedded, placed.get() + 1);
    EXPECT_EQ(Load<dm_sign>(embedded) & 0xFFFFFF00, 0x1100u);
    EXPECT_EQ(dm_o_inner_release(embedded), 0);
  }
}

}  // namespace
}  // namespace dm
