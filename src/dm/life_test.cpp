#include "dm/life.h"

#include <pthread.h>

#include <cstring>
#include <memory>

#include "dm/data_test_fixture.h"
#include "dm/words.h"
#include "kiv/date_time.h"

namespace dm {
namespace {

using Life = DataTest;

TEST_F(Life, NewObjectsHaveTheirFirstValueAndCountOne) {
  void* const object = dm_o_new(0x1000, nullptr);
  ASSERT_NE(object, nullptr);
  const std::uint32_t expected[] = {0x1000, 1, 0};
  EXPECT_EQ(std::memcmp(object, expected, sizeof expected), 0);
  EXPECT_EQ(dm_o_inner_release(dm_o_add_ref(object)), 1);
  EXPECT_EQ(dm_o_inner_release(object), 0);

  // A raw one is ended, and then given back unended.
  void* const text = dm_o_raw_new(0x100B, nullptr);
  ASSERT_TRUE(dm_o_construct(text, nullptr));
  ASSERT_TRUE(dm_o_string_assign(text, std::string(100, 'x').c_str()));
  dm_o_destroy(text);
  dm_o_raw_delete(text);

  // Guids are fresh, dates missing.
  const GUID first = ValueOf<GUID>(NewObject(DM_GUID).get());
  const GUID second = ValueOf<GUID>(NewObject(DM_GUID).get());
  EXPECT_NE(std::memcmp(&first, &second, sizeof first), 0);
  EXPECT_EQ(ValueOf<kiv::DateTime>(NewObject(DM_DATE_TIME).get()),
            kiv::DateTime());
}

TEST_F(Life, UnknownDeletorsAndArgumentsGiveNothing) {
  for (const dm_sign sign : {0x1300u, 0x1100u}) {  // 0x1100 has no memory
    EXPECT_EQ(dm_o_raw_new(sign, nullptr), nullptr) << std::hex << sign;
    EXPECT_EQ(dm_o_new(sign, nullptr), nullptr) << std::hex << sign;
  }
  // Metadata of what?
  int no_record = 0;
  EXPECT_EQ(dm_o_new(0x120D, &no_record), nullptr);
  // A struct of something that is no struct metadata.
  const Any number = NewObject(DM_INT32);
  void* word = number.get();
  EXPECT_EQ(dm_o_new(0x100F, &word), nullptr);
  EXPECT_EQ(dm_o_sizeof(dm_o_type_info_from_id(DM_STRUCT), 0x100F, &word), 0u);
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
      void* const object = dm_o_placement_new(sign, arg, memory.get() + offset);
      ASSERT_EQ(object, memory.get() + offset);
      EXPECT_EQ(dm_o_sizeof_from_object(object), size);
      EXPECT_EQ(dm_o_string_assign(object, std::string(100, 'x').c_str()),
                id == DM_STRING);
      const bool is_vector = dm_o_vector_resize(object, 3);
      EXPECT_EQ(dm_o_vector_count(object), is_vector ? 3u : 0u);
      EXPECT_EQ(dm_o_inner_release(dm_o_add_ref(object)), 1);
      EXPECT_EQ(dm_o_inner_release(object), 0);
    }
  }
}

TEST_F(Life, AssignKeepsCountsInBalance) {
  const Any a = NewObject(DM_INT32), b = NewObject(DM_INT32);
  EXPECT_EQ(dm_o_assign(nullptr, a.get()), a.get());
  EXPECT_EQ(dm_o_assign(a.get(), a.get()), a.get());
  EXPECT_EQ(dm_o_assign(a.get(), b.get()), b.get());
  EXPECT_EQ(dm_o_get_ref(a.get()), 1);
  EXPECT_EQ(dm_o_get_ref(b.get()), 2);
  EXPECT_EQ(dm_o_assign(b.get(), nullptr), nullptr);
  EXPECT_EQ(dm_o_get_ref(b.get()), 1);
}

TEST_F(Life, OnlyPlainValuesCopyBytewiseAndStringsFromEitherKind) {
  const Any from = NewValue(DM_DOUBLE, 2.5), to = NewObject(DM_DOUBLE);
  EXPECT_TRUE(dm_o_copy_from(to.get(), dm_o_data(from.get())));
  EXPECT_EQ(ValueOf<double>(to.get()), 2.5);
  EXPECT_FALSE(dm_o_copy_from(to.get(), nullptr));
  void* const words[2] = {};
  EXPECT_FALSE(dm_o_copy_from(NewObject(DM_DATA_POINTER).get(), words));

  const Any text = NewText("before");
  const std::string standard = "a standard string";
  EXPECT_TRUE(dm_o_copy_from(text.get(), &standard));
  EXPECT_EQ(TextOf(text.get()), standard);
  EXPECT_TRUE(dm_o_copy_from(text.get(), dm_o_data(NewText("after").get())));
  EXPECT_EQ(TextOf(text.get()), "after");
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

TEST_F(Life, ReadsAndWritesOnlyTheRightTypeAndSize) {
  enum class Colour : std::uint16_t { Red, Blue };
  ExpectValueOf<bool>(DM_BOOLEAN, false, true);
  ExpectValueOf<std::uint8_t>(DM_BYTE, 1, 2);
  ExpectValueOf<Colour>(DM_INT16, Colour::Red, Colour::Blue);
  ExpectValueOf<std::uint32_t>(DM_INT32, 1, 2);
  ExpectValueOf<long long>(DM_INT64, 1, 2);
  ExpectValueOf<double>(DM_DOUBLE, 1, 2);
  ExpectValueOf<GUID>(DM_GUID, GUID{1, 2, 3, {}}, GUID{4, 5, 6, {}});
  ExpectValueOf<kiv::DateTime>(DM_DATE_TIME, {2004, 1, 31, 0, 0, 0, 0}, {});

  void* words[4] = {};
  EXPECT_FALSE(dm_o_read_value(NewObject(DM_INT32).get(), &words, 8));
  EXPECT_EQ(words[0], nullptr);
  const Any truth = NewObject(DM_BOOLEAN);
  ASSERT_TRUE(dm_o_copy_from(truth.get(), "\2"));
  bool value = false;
  EXPECT_TRUE(truth.object().Read(value));
  EXPECT_EQ(std::memcmp(&value, "\1", 1), 0);
  // Binary owns its bytes: no look inside.
  const Any binary = NewObject(DM_BINARY);
  EXPECT_FALSE(dm_o_read_value(binary.get(), &words, sizeof words));
}

// Empties the handle on a stack of 1 MiB.
void ForgetOnASmallStack(Any& head) {
  const auto forget = [](void* handle) -> void* {
    *static_cast<Any*>(handle) = nullptr;
    return nullptr;
  };
  pthread_attr_t attributes;
  ASSERT_EQ(::pthread_attr_init(&attributes), 0);
  ASSERT_EQ(::pthread_attr_setstacksize(&attributes, 1 << 20), 0);
  pthread_t thread;
  ASSERT_EQ(::pthread_create(&thread, &attributes, forget, &head), 0);
  ASSERT_EQ(::pthread_join(thread, nullptr), 0);
  ::pthread_attr_destroy(&attributes);
  EXPECT_EQ(head.get(), nullptr);
}

// Lists whose links each are the only owner of the next: small ones, deep
// structs, and small ones in front of a deep struct that ends no others.
TEST_F(Life, LongChainsDoNotExhaustTheStack) {
  constexpr unsigned kLevels = 1000;
  for (void* const leaf :
       {dm_o_object_pointer_metadata(), dm_o_ansi_string_metadata()}) {
    StructPtr type = NewStructType({{"a", leaf}});
    for (unsigned i = 1; i < kLevels; ++i) {
      type = NewStructType({{"a", type.get()}});
    }
    Any head = NewInstance(type);
    const auto put_before = [&](Any link, void* place) {
      ASSERT_TRUE(dm_o_object_pointer_set(place, head.get()) ||
                  dm_o_vector_append(place, head.get()));
      head = std::move(link);
    };
    for (int i = 0; i < 300 && leaf == dm_o_object_pointer_metadata(); ++i) {
      const Any link = NewInstance(type);
      void* place = link.get();
      for (unsigned level = 0; level < kLevels; ++level) {
        place = dm_o_struct_field_at(place, 0);
      }
      put_before(link, place);
    }
    for (int i = 0; i < 500000; ++i) {
      const Any link =
          NewObject(i % 2 == 0 ? DM_OBJECT_POINTER : DM_OBJECT_VECTOR);
      put_before(link, link.get());
    }
    type = nullptr;
    ForgetOnASmallStack(head);
  }
}

TEST_F(Life, InstancesAreWhatTheirMetadataSays) {
  for (const char* const name :
       {"int", "System.Binary", "string", "value_vector", "object_pointer"}) {
    SCOPED_TRACE(name);
    void* const metadata = dm_o_get_metadata(name);
    const Any object = Any::Take(dm_o_instance_from_metadata(metadata));
    ASSERT_TRUE(object);
    EXPECT_EQ(dm_o_metadata(object.get()), metadata);
    const unsigned id = object.object().GetTypeId();
    EXPECT_EQ(dm_o_is_value_type_from_object(object.get()),
              id == DM_INT32 || id == DM_BINARY);
    EXPECT_EQ(dm_o_is_big_value_type_from_object(object.get()),
              id == DM_STRING);
    const std::size_t size = dm_o_sizeof_from_object(object.get());
    EXPECT_EQ(size, 8 + dm_o_instance_header_size(metadata) +
                        dm_o_instance_data_size(metadata));
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
