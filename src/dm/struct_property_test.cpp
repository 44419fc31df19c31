// What must hold for every struct type. KIV_STRUCT_SEEDS=1000000 in the
// environment tries as many types instead of some thousand, KIV_STRUCT_FIRST
// begins at that seed.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "dm/struct_testing.h"

namespace dm {
namespace {

constexpr std::initializer_list<unsigned> kSchemaTypes = {
    DM_INT32, DM_INT16,  DM_INT64,  DM_BYTE,      DM_BOOLEAN,
    DM_FLOAT, DM_DOUBLE, DM_STRING, DM_DATE_TIME, DM_BINARY};
constexpr std::initializer_list<unsigned> kOtherTypes = {
    DM_VALUE_VECTOR, DM_OBJECT_VECTOR, DM_OBJECT_POINTER, DM_GUID};

unsigned Below(std::mt19937& random, unsigned limit) {
  return static_cast<unsigned>(random() % limit);
}

unsigned OneOf(std::mt19937& random, std::initializer_list<unsigned> ids) {
  return ids.begin()[Below(random, static_cast<unsigned>(ids.size()))];
}

std::string RandomBytes(std::mt19937& random, std::size_t size) {
  std::string bytes(size, ' ');
  for (char& c : bytes) c = static_cast<char>(random());
  return bytes;
}

std::string RandomText(std::mt19937& random, unsigned max_size) {
  std::string text = RandomBytes(random, Below(random, max_size + 1));
  for (char& c : text) c = c == '\0' ? 'x' : c;
  return text;
}

std::string Quoted(const std::string& text) { return "'" + text + "'"; }

void* MetadataOf(unsigned type_id) {
  return dm_o_metadata(NewObject(type_id).get());
}

std::size_t ElementSize(const void* vector) {
  return dm_o_instance_data_size(dm_o_vector_element_metadata(vector));
}

}  // namespace

StructPtr RandomStructType(std::mt19937& random,
                           const RandomTypeLimits& limits) {
  StructPtr type = NewStructType();
  // Mostly a few fields; now and then as many as allowed.
  const unsigned most = Below(random, 8) == 0
                            ? limits.max_fields
                            : std::min(12u, limits.max_fields);
  const unsigned fields = 1 + Below(random, most);
  for (unsigned i = 0; i < fields; ++i) {
    const unsigned kind = Below(random, 16);
    unsigned id = OneOf(random, kSchemaTypes);
    if (!limits.only_schema_types && kind < 4) id = OneOf(random, kOtherTypes);
    if (limits.data_pointers && kind == 4) id = DM_DATA_POINTER;
    StructPtr nested;
    if (kind == 0 && limits.max_depth > 1) {
      RandomTypeLimits inner = limits;
      --inner.max_depth;
      inner.max_fields = 1 + limits.max_fields / 8;
      nested = RandomStructType(random, inner);
    }
    EXPECT_TRUE(dm_o_struct_metadata_append(
        type.get(), ("f" + std::to_string(i)).c_str(),
        nested ? nested.get() : MetadataOf(id)));
  }
  return type;
}

std::string FillAtRandom(std::mt19937& random, void* object) {
  const unsigned id = Object(object).GetTypeId();
  std::string expected;
  switch (id) {
    case DM_STRUCT:
      for (std::size_t i = 0; i < dm_o_struct_field_count(object); ++i) {
        expected += FillAtRandom(random, dm_o_struct_field_at(object, i));
      }
      return "{" + expected + "}";
    case DM_STRING:
      expected = RandomText(random, 40);
      EXPECT_TRUE(dm_o_string_assign(object, expected.c_str()));
      return Quoted(expected);
    case DM_VALUE_VECTOR:
      EXPECT_TRUE(dm_o_value_vector_set_element_type(
          object,
          dm_o_type_info_from_id(static_cast<dm_type_id_e>(Below(random, 7)))));
      [[fallthrough]];
    case DM_BINARY: {
      const std::size_t count = Below(random, 20), size = ElementSize(object);
      const std::string bytes = RandomBytes(random, count * size);
      EXPECT_TRUE(dm_o_vector_append_values(object, bytes.data(), count));
      return "[" + std::to_string(size) + " " + bytes + "]";
    }
    case DM_OBJECT_VECTOR:
      for (unsigned count = Below(random, 5); count > 0; --count) {
        const std::string text = RandomText(random, 8);
        EXPECT_TRUE(dm_o_vector_append(object, NewText(text).get()));
        expected += Quoted(text);
      }
      return "<" + expected + ">";
    case DM_OBJECT_POINTER:
      expected = RandomText(random, 8);
      EXPECT_TRUE(dm_o_object_pointer_set(object, NewText(expected).get()));
      return "->" + Quoted(expected);
    case DM_DATA_POINTER: {
      const auto companion = static_cast<std::uintptr_t>(random());
      EXPECT_TRUE(dm_o_data_pointer_set(object, &random, companion));
      return "*" + std::to_string(companion);
    }
    default:
      expected =
          RandomBytes(random, dm_o_type_info(object)->data_size(nullptr));
      EXPECT_TRUE(dm_o_copy_from(object, expected.data()));
      return std::to_string(id) + ":" + expected;
  }
}

std::string Shown(const void* object) {
  if (object == nullptr) return "null";
  const unsigned id = Object(const_cast<void*>(object)).GetTypeId();
  std::string text;
  switch (id) {
    case DM_STRUCT:
      for (std::size_t i = 0; i < dm_o_struct_field_count(object); ++i) {
        text += Shown(dm_o_struct_field_at(object, i));
      }
      return "{" + text + "}";
    case DM_STRING:
      return Quoted({dm_o_string_text(object), dm_o_string_size(object)});
    case DM_BINARY:
    case DM_VALUE_VECTOR:
      for (std::size_t i = 0; i < dm_o_vector_count(object); ++i) {
        text.append(static_cast<const char*>(dm_o_vector_at(object, i)),
                    ElementSize(object));
      }
      return "[" + std::to_string(ElementSize(object)) + " " + text + "]";
    case DM_OBJECT_VECTOR:
      for (std::size_t i = 0; i < dm_o_vector_count(object); ++i) {
        text += Shown(Any::Take(dm_o_vector_get(object, i)).get());
      }
      return "<" + text + ">";
    case DM_OBJECT_POINTER:
      return "->" + Shown(dm_o_object_pointer_get(object));
    case DM_DATA_POINTER: {
      std::uintptr_t companion = 0;
      EXPECT_TRUE(dm_o_data_pointer_get(object, nullptr, &companion));
      return "*" + std::to_string(companion);
    }
    default:
      text.resize(dm_o_type_info(object)->data_size(nullptr));
      EXPECT_TRUE(dm_o_read_value(object, text.data(), text.size()));
      return std::to_string(id) + ":" + text;
  }
}

unsigned FromEnvironment(const char* name, unsigned otherwise) {
  const char* const text = std::getenv(name);
  return text == nullptr
             ? otherwise
             : static_cast<unsigned>(std::strtoul(text, nullptr, 10));
}

std::string ShownType(const void* metadata) {
  std::string text;
  const std::size_t count = dm_o_struct_metadata_field_count(metadata);
  for (std::size_t i = 0; i < count; ++i) {
    void* const field = dm_o_struct_metadata_field_metadata(metadata, i);
    text += dm_o_struct_metadata_field_name(metadata, i);
    text += "@" +
            std::to_string(dm_o_struct_metadata_field_offset(metadata, i)) +
            "+" + std::to_string(dm_o_struct_metadata_field_size(metadata, i));
    text += dm_o_is_struct_type_from_metadata(field)
                ? "{" + ShownType(field) + "}"
                : std::string(" ") + dm_o_type_name_from_metadata(field);
    text += ";";
  }
  return text;
}

namespace {

using StructProperty = DataTest;

TEST_F(StructProperty, EveryFieldIsReadAsWrittenAndCopied) {
  const unsigned first = FromEnvironment("KIV_STRUCT_FIRST", 0);
  const unsigned seeds = FromEnvironment("KIV_STRUCT_SEEDS", 4000);
  for (unsigned seed = first; seed - first < seeds; ++seed) {
    std::mt19937 random(seed);
    RandomTypeLimits limits;
    limits.data_pointers = seed % 4 == 0;
    const StructPtr type = RandomStructType(random, limits);

    Any original = NewInstance(type);
    const Any copy = NewInstance(type);
    ASSERT_TRUE(original && copy) << seed;
    // Only Guids differ from instance to instance.
    const std::string untouched = Shown(copy.get());
    const std::string filled = FillAtRandom(random, original.get());
    ASSERT_EQ(Shown(original.get()), filled) << seed;

    const bool has_pointer =
        ShownType(type.get()).find("DataPointer") != std::string::npos;
    ASSERT_EQ(dm_o_copy_from(copy.get(), dm_o_data(original.get())),
              !has_pointer)
        << seed;
    original = nullptr;
    ASSERT_EQ(Shown(copy.get()), has_pointer ? untouched : filled) << seed;
    ASSERT_EQ(dm_o_get_ref(type.get()), 2) << seed;
  }
}

}  // namespace
}  // namespace dm
