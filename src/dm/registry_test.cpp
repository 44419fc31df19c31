#include "dm/registry.h"

#include <map>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "dm/data_test_fixture.h"

namespace dm {
namespace {

using Registry = DataTest;

// Slot, type id, name of the type and further names of its metadata.
using Standard =
    std::tuple<void* (*)(), unsigned, std::string, std::vector<const char*>>;

const Standard kStandard[] = {
    {dm_o_int32_metadata, 0, "Int32", {"int"}},
    {dm_o_int16_metadata, 1, "Int16", {"short"}},
    {dm_o_int64_metadata, 2, "Int64", {"long"}},
    {dm_o_byte_metadata, 3, "Byte", {"byte"}},
    {dm_o_bool_metadata, 4, "Boolean", {"boolean"}},
    {dm_o_float_metadata, 5, "Float", {"float"}},
    {dm_o_double_metadata, 6, "Double", {"double"}},
    {dm_o_ansi_string_metadata, 11, "String", {"string"}},
    {dm_o_data_pointer_metadata, 9, "DataPointer", {"data_pointer"}},
    {dm_o_object_pointer_metadata, 10, "ObjectPointer", {"object_pointer"}},
    {dm_o_value_vector_metadata, 7, "ValueVector", {"value_vector"}},
    {dm_o_object_vector_metadata, 8, "ObjectVector", {"object_vector"}},
    {dm_o_guid_metadata, 16, "Guid", {}},
    {dm_o_datetime_metadata, 17, "DateTime", {"dateTime", "Date", "time"}},
    {dm_o_binary_metadata, 18, "Binary", {}}};

TEST_F(Registry, StartsWithTheStandardNamesAndNoOthers) {
  std::map<std::string, void*> expected, visited;
  for (const auto& [slot, type_id, type, names] : kStandard) {
    SCOPED_TRACE(type);
    const auto* const info = dm_o_type_info_from_metadata(slot());
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->type_id, type_id);
    EXPECT_EQ(info->type_name, "System." + type);
    for (const char* const name : names) expected[name] = slot();
    // Vectors and pointers have a name of their own alone.
    if (type_id < DM_VALUE_VECTOR || type_id > DM_OBJECT_POINTER) {
      expected["System." + type] = slot();
    }
  }
  EXPECT_TRUE(dm_o_visit_metadata(
      [](const char* name, void* metadata, void* context) {
        auto& names = *static_cast<std::map<std::string, void*>*>(context);
        EXPECT_TRUE(names.empty() || names.rbegin()->first < name);
        EXPECT_EQ(dm_o_get_metadata(name), names[name] = metadata);
        return true;
      },
      &visited));
  EXPECT_EQ(visited, expected);
}

TEST_F(Registry, ExistingNameIsKeptUnlessReplacedByAKnownType) {
  void* const before = dm_o_get_metadata("int");
  const auto unknown = static_cast<dm_type_id_e>(12);
  EXPECT_FALSE(dm_o_add_std_metadata(unknown, "new", false));
  EXPECT_FALSE(dm_o_add_std_metadata(unknown, "int", true));
  const StructPtr type = NewStructType();
  EXPECT_FALSE(dm_o_typedef(type.get(), "int", false));
  EXPECT_FALSE(dm_o_add_std_metadata(DM_DOUBLE, "int", false));
  EXPECT_EQ(dm_o_get_metadata("int"), before);
  EXPECT_EQ(dm_o_get_ref(type.get()), 1);
  EXPECT_TRUE(dm_o_typedef(type.get(), "int", true));
  EXPECT_EQ(dm_o_get_metadata("int"), type.get());
  EXPECT_EQ(dm_o_int32_metadata(), before);
  EXPECT_TRUE(dm_o_add_std_metadata(DM_DOUBLE, "int", true));
  EXPECT_EQ(dm_o_get_ref(type.get()), 1);
}

TEST_F(Registry, TakesReferencesOnlyWhenItAnswersTrueAndResetGivesThemBack) {
  void* const type = dm_o_struct_metadata_new();
  EXPECT_FALSE(dm_o_add_metadata("", type, false));
  EXPECT_FALSE(dm_o_add_metadata("Record", NewText("x").get(), false));
  EXPECT_TRUE(dm_o_add_metadata("Record", type, false));
  EXPECT_EQ(dm_o_get_ref(type), 1);
  // The name holds the only reference to what it is replaced with.
  EXPECT_TRUE(dm_o_typedef(type, "Record", true));
  EXPECT_EQ(dm_o_get_ref(type), 1);
  dm_o_del_metadata("Record");
  dm_o_del_metadata("Record");
  const StructPtr kept = NewStructType();
  ASSERT_TRUE(dm_o_typedef(kept.get(), "int", true));
  ASSERT_TRUE(dm_o_reset_registry());
  EXPECT_EQ(dm_o_get_ref(kept.get()), 1);
  EXPECT_EQ(dm_o_get_metadata("int"), dm_o_int32_metadata());
}

TEST(RegistryStopped, AnswersNothing) {
  ASSERT_EQ(dm_o_registry(), nullptr);
  EXPECT_EQ(dm_o_get_metadata("int"), nullptr);
  EXPECT_FALSE(dm_o_typedef(NewStructType().get(), "Record", true));
  EXPECT_FALSE(dm_o_reset_registry());
  dm_o_del_metadata("int");
  EXPECT_EQ(dm_o_int32_metadata(), nullptr);
  EXPECT_FALSE(dm_o_visit_metadata(
      [](const char*, void*, void*) { return true; }, nullptr));
  // Objects can be made, they just have no metadata.
  EXPECT_EQ(dm_o_metadata(NewObject(DM_INT32).get()), nullptr);
}

// Against a map that is known to work, with names whose hashes share places.
TEST_F(Registry, AgreesWithAMapThroughAddsAndRemovals) {
  std::mt19937 random(62);
  std::map<std::string, void*> expected;
  const StructPtr types[] = {NewStructType(), NewStructType()};
  for (int step = 0; step < 60000; ++step) {
    const std::string name = "T" + std::to_string(random() % 1500) +
                             std::string(random() % 3 * 4, 'x');
    void* const type = types[random() % 2].get();
    const bool replace = random() % 2 == 0;
    if (random() % 3 == 0) {
      dm_o_del_metadata(name.c_str());
      expected.erase(name);
    } else {
      const bool added = replace || expected.count(name) == 0;
      ASSERT_EQ(dm_o_typedef(type, name.c_str(), replace), added);
      if (added) expected[name] = type;
    }
    const std::string other = "T" + std::to_string(random() % 1500);
    ASSERT_EQ(dm_o_get_metadata(other.c_str()),
              expected.count(other) > 0 ? expected[other] : nullptr);
  }
}

}  // namespace
}  // namespace dm
