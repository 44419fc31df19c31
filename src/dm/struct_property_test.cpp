// What must hold for every struct type. KIV_STRUCT_SEEDS=1000000 in the
// environment tries as many types instead of some thousand, KIV_STRUCT_FIRST
// begins at that seed.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "dm/struct_testing.h"
#include "dm/words.h"

namespace dm {
namespace {

constexpr unsigned kSchemaTypes[] = {
    DM_INT32, DM_INT16,  DM_INT64,  DM_BYTE,      DM_BOOLEAN,
    DM_FLOAT, DM_DOUBLE, DM_STRING, DM_DATE_TIME, DM_BINARY};
constexpr unsigned kOtherTypes[] = {DM_VALUE_VECTOR, DM_OBJECT_VECTOR,
                                    DM_OBJECT_POINTER, DM_GUID};

unsigned Below(std::mt19937& random, unsigned limit) {
  return static_cast<unsigned>(random() % limit);
}

template <unsigned Count>
unsigned OneOf(std::mt19937& random, const unsigned (&ids)[Count]) {
  return ids[Below(random, Count)];
}

std::string RandomText(std::mt19937& random, unsigned max_size) {
  std::string text(Below(random, max_size + 1), ' ');
  for (char& c : text) c = static_cast<char>(1 + Below(random, 255));
  return text;
}

std::string Hex(const void* bytes, std::size_t count) {
  std::string text;
  for (std::size_t i = 0; i < count; ++i) {
    const auto byte = Load<unsigned char>(At(bytes, i));
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

std::string PlainShown(unsigned type_id, const void* bytes, std::size_t size) {
  return std::to_string(type_id) + ":" + Hex(bytes, size);
}

void* MetadataOf(unsigned type_id) {
  const Any sample = NewObject(type_id);
  return dm_o_metadata(sample.get());
}

std::string FillVector(std::mt19937& random, void* vector) {
  const bool is_binary = Object(vector).GetTypeId() == DM_BINARY;
  if (!is_binary) {
    EXPECT_TRUE(dm_o_value_vector_set_element_type(
        vector,
        dm_o_type_info_from_id(static_cast<dm_type_id_e>(Below(random, 7)))));
  }
  const std::size_t element_size =
      is_binary ? 1
                : dm_o_instance_data_size(dm_o_vector_element_metadata(vector));
  const unsigned count = Below(random, 20);
  const std::string bytes = [&] {
    std::string made(count * element_size, ' ');
    for (char& c : made) c = static_cast<char>(random());
    return made;
  }();
  EXPECT_TRUE(dm_o_vector_append_values(vector, bytes.data(), count));
  return "[" + std::to_string(element_size) + " " +
         Hex(bytes.data(), bytes.size()) + "]";
}

std::string ShownVector(const void* vector) {
  void* const metadata = dm_o_vector_element_metadata(vector);
  const std::size_t size = dm_o_instance_data_size(metadata);
  std::string text = "[" + std::to_string(size) + " ";
  for (std::size_t i = 0; i < dm_o_vector_count(vector); ++i) {
    text += Hex(dm_o_vector_at(vector, i), size);
  }
  return text + "]";
}

std::string FillReferences(std::mt19937& random, void* vector) {
  std::string expected = "<";
  for (unsigned count = Below(random, 5); count > 0; --count) {
    const std::string text = RandomText(random, 8);
    EXPECT_TRUE(dm_o_vector_append(vector, NewText(text).get()));
    expected += "'" + Hex(text.data(), text.size()) + "'";
  }
  return expected + ">";
}

std::string ShownReferences(const void* vector) {
  std::string text = "<";
  for (std::size_t i = 0; i < dm_o_vector_count(vector); ++i) {
    text += Shown(Any::Take(dm_o_vector_get(vector, i)).get());
  }
  return text + ">";
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
    const std::string name = "f" + std::to_string(i);
    const unsigned kind = Below(random, 16);
    bool added;
    if (kind == 0 && limits.max_depth > 1) {
      RandomTypeLimits inner = limits;
      --inner.max_depth;
      inner.max_fields = 1 + limits.max_fields / 8;
      const StructPtr nested = RandomStructType(random, inner);
      added =
          dm_o_struct_metadata_append(type.get(), name.c_str(), nested.get());
    } else {
      unsigned id = OneOf(random, kSchemaTypes);
      if (!limits.only_schema_types && kind < 4) {
        id = OneOf(random, kOtherTypes);
      }
      if (limits.data_pointers && kind == 4) id = DM_DATA_POINTER;
      added =
          dm_o_struct_metadata_append(type.get(), name.c_str(), MetadataOf(id));
    }
    EXPECT_TRUE(added) << name;
  }
  return type;
}

std::string FillAtRandom(std::mt19937& random, void* object) {
  const unsigned id = Object(object).GetTypeId();
  switch (id) {
    case DM_STRUCT: {
      std::string expected = "{";
      const std::size_t count = dm_o_struct_field_count(object);
      for (std::size_t i = 0; i < count; ++i) {
        expected += FillAtRandom(random, dm_o_struct_field_at(object, i));
      }
      return expected + "}";
    }
    case DM_STRING: {
      const std::string text = RandomText(random, 40);
      EXPECT_TRUE(dm_o_string_assign(object, text.c_str()));
      return "'" + Hex(text.data(), text.size()) + "'";
    }
    case DM_BINARY:
    case DM_VALUE_VECTOR:
      return FillVector(random, object);
    case DM_OBJECT_VECTOR:
      return FillReferences(random, object);
    case DM_OBJECT_POINTER: {
      const std::string text = RandomText(random, 8);
      EXPECT_TRUE(dm_o_object_pointer_set(object, NewText(text).get()));
      return "->'" + Hex(text.data(), text.size()) + "'";
    }
    case DM_DATA_POINTER: {
      const auto companion = static_cast<std::uintptr_t>(random());
      EXPECT_TRUE(dm_o_data_pointer_set(object, &random, companion));
      return "*" + std::to_string(companion);
    }
    default: {
      const std::size_t size = dm_o_type_info(object)->data_size(nullptr);
      unsigned char bytes[16];
      for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(random());
      }
      EXPECT_TRUE(dm_o_copy_from(object, bytes));
      return PlainShown(id, bytes, size);
    }
  }
}

std::string Shown(const void* object) {
  if (object == nullptr) return "null";
  const unsigned id = Object(const_cast<void*>(object)).GetTypeId();
  switch (id) {
    case DM_STRUCT: {
      std::string text = "{";
      const std::size_t count = dm_o_struct_field_count(object);
      for (std::size_t i = 0; i < count; ++i) {
        text += Shown(dm_o_struct_field_at(object, i));
      }
      return text + "}";
    }
    case DM_STRING:
      return "'" + Hex(dm_o_string_text(object), dm_o_string_size(object)) +
             "'";
    case DM_BINARY:
    case DM_VALUE_VECTOR:
      return ShownVector(object);
    case DM_OBJECT_VECTOR:
      return ShownReferences(object);
    case DM_OBJECT_POINTER:
      return "->" + Shown(dm_o_object_pointer_get(object));
    case DM_DATA_POINTER: {
      std::uintptr_t companion = 0;
      EXPECT_TRUE(dm_o_data_pointer_get(object, nullptr, &companion));
      return "*" + std::to_string(companion);
    }
    default: {
      const std::size_t size = dm_o_type_info(object)->data_size(nullptr);
      unsigned char bytes[16];
      EXPECT_TRUE(dm_o_read_value(object, bytes, size));
      return PlainShown(id, bytes, size);
    }
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

void ExpectPacked(const void* metadata) {
  std::size_t total = 0;
  const std::size_t count = dm_o_struct_metadata_field_count(metadata);
  for (std::size_t i = 0; i < count; ++i) {
    void* const field = dm_o_struct_metadata_field_metadata(metadata, i);
    ASSERT_EQ(dm_o_struct_metadata_field_offset(metadata, i), total);
    ASSERT_EQ(
        dm_o_struct_metadata_field_size(metadata, i),
        8 + dm_o_instance_header_size(field) + dm_o_instance_data_size(field));
    total += dm_o_struct_metadata_field_size(metadata, i);
  }
  ASSERT_EQ(dm_o_instance_data_size(metadata), total);
}

void ExpectHolds(unsigned seed) {
  std::mt19937 random(seed);
  RandomTypeLimits limits;
  limits.data_pointers = seed % 4 == 0;
  const StructPtr type = RandomStructType(random, limits);
  ExpectPacked(type.get());

  Any original = NewInstance(type);
  const Any copy = NewInstance(type);
  ASSERT_TRUE(original && copy);
  // Only Guids differ from instance to instance, so the copy is its own judge.
  const std::string untouched = Shown(copy.get());
  const std::string filled = FillAtRandom(random, original.get());
  ASSERT_EQ(Shown(original.get()), filled);

  const bool has_pointer =
      ShownType(type.get()).find("DataPointer") != std::string::npos;
  ASSERT_EQ(dm_o_copy_from(copy.get(), dm_o_data(original.get())),
            !has_pointer);
  ASSERT_EQ(Shown(copy.get()), has_pointer ? untouched : filled);
  original = nullptr;
  ASSERT_EQ(Shown(copy.get()), has_pointer ? untouched : filled);
  ASSERT_EQ(dm_o_get_ref(type.get()), 2);
}

TEST_F(StructProperty, EveryFieldIsReadAsWrittenAndCopied) {
  const unsigned first = FromEnvironment("KIV_STRUCT_FIRST", 0);
  const unsigned seeds = FromEnvironment("KIV_STRUCT_SEEDS", 4000);
  for (unsigned seed = first; seed - first < seeds; ++seed) {
    ExpectHolds(seed);
    if (HasFailure()) FAIL() << "seed " << seed;
  }
}

}  // namespace
}  // namespace dm
