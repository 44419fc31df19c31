#ifndef DM_DATA_TEST_FIXTURE_H_
#define DM_DATA_TEST_FIXTURE_H_

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "dm/data_runtime.h"
#include "dm/object.h"

namespace dm {

// A data model that is started, and stopped behind the test.
class DataTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(kiv::StartData()); }
  void TearDown() override { kiv::StopData(); }
};

using Any = ObjectPtr<int*>;
using StructPtr = ObjectPtr<StructType>;

inline Any NewObject(unsigned type_id, const void* arg = nullptr) {
  return Any::Take(dm_o_new(DM_SIGN_DEFAULT + type_id, arg));
}

struct Field {
  const char* name;
  void* metadata;
};

inline StructPtr NewStructType(std::initializer_list<Field> fields = {}) {
  StructPtr type = StructPtr::Take(dm_o_struct_metadata_new());
  for (const auto& [name, metadata] : fields) {
    EXPECT_TRUE(dm_o_struct_metadata_append(type.get(), name, metadata))
        << name;
  }
  return type;
}

inline Any NewInstance(const StructPtr& type) {
  return Any::Take(dm_o_instance_from_metadata(type.get()));
}

inline Any NewText(const std::string& text) {
  Any object = NewObject(DM_STRING);
  dm_o_string_assign(object.get(), text.c_str());
  return object;
}

template <typename T>
Any NewValue(unsigned type_id, T value) {
  Any object = NewObject(type_id);
  EXPECT_TRUE(object.object().Write(value));
  return object;
}

// By value; of a plain type.
template <typename T>
T ValueOf(const void* object) {
  T value{};
  EXPECT_TRUE(dm_o_read_value(object, &value, sizeof value));
  return value;
}

inline std::string TextOf(const void* object) {
  return dm_o_string_text(object);
}

}  // namespace dm

#endif  // DM_DATA_TEST_FIXTURE_H_
