#include "dm/registry.h"

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "dm/data_test_fixture.h"
#include "dm/words.h"

namespace dm {
namespace {

using Registry = DataTest;

struct StandardCase {
  const char* name;
  void* (*slot)();
  unsigned type_id;
  std::vector<const char*> names;
};

const StandardCase kStandard[] = {
    {"Int32", dm_o_int32_metadata, 0, {"int", "System.Int32"}},
    {"Int16", dm_o_int16_metadata, 1, {"short", "System.Int16"}},
    {"Int64", dm_o_int64_metadata, 2, {"long", "System.Int64"}},
    {"Byte", dm_o_byte_metadata, 3, {"byte", "System.Byte"}},
    {"Boolean", dm_o_bool_metadata, 4, {"boolean", "System.Boolean"}},
    {"Float", dm_o_float_metadata, 5, {"float", "System.Float"}},
    {"Double", dm_o_double_metadata, 6, {"double", "System.Double"}},
    {"String", dm_o_ansi_string_metadata, 11, {"string", "System.String"}},
    {"DataPointer", dm_o_data_pointer_metadata, 9, {"data_pointer"}},
    {"ObjectPointer", dm_o_object_pointer_metadata, 10, {"object_pointer"}},
    {"ValueVector", dm_o_value_vector_metadata, 7, {"value_vector"}},
    {"ObjectVector", dm_o_object_vector_metadata, 8, {"object_vector"}},
    {"Guid", dm_o_guid_metadata, 16, {"System.Guid"}},
    {"DateTime", dm_o_datetime_metadata, 17, {"System.DateTime", "dateTime"}},
    {"Date", dm_o_datetime_metadata, 17, {"Date", "time"}},
    {"Binary", dm_o_binary_metadata, 18, {"System.Binary"}}};

TEST_F(Registry, StartsWithTheStandardNamesAndNoOthers) {
  std::size_t names = 0;
  for (const StandardCase& row : kStandard) {
    void* const metadata = row.slot();
    ASSERT_NE(metadata, nullptr) << row.name;
    EXPECT_EQ(dm_o_type_info_from_metadata(metadata)->type_id, row.type_id);
    for (const char* name : row.names) {
      EXPECT_EQ(dm_o_get_metadata(name), metadata) << name;
      ++names;
    }
  }
  std::vector<std::string> visited;
  EXPECT_TRUE(dm_o_visit_metadata(
      [](const char* name, void*, void* context) {
        static_cast<std::vector<std::string>*>(context)->push_back(name);
        return true;
      },
      &visited));
  EXPECT_EQ(visited.size(), names);
  EXPECT_TRUE(std::is_sorted(visited.begin(), visited.end()));
  for (const char* name :
       {"hexBinary", "INT", "date", "Time", "System.StdMetadata",
        "System.ValueVector", "in", "intt", ""}) {
    EXPECT_EQ(dm_o_get_metadata(name), nullptr) << name;
  }
}

TEST_F(Registry, ExistingNameIsKeptUnlessReplacedByAKnownType) {
  void* const before = dm_o_get_metadata("int");
  for (const unsigned id : {12u, 19u, 0xFFFFu}) {
    const auto type_id = static_cast<dm_type_id_e>(id);
    EXPECT_FALSE(dm_o_add_std_metadata(type_id, "new", false));
    EXPECT_FALSE(dm_o_add_std_metadata(type_id, "int", true));
  }
  EXPECT_EQ(dm_o_get_metadata("new"), nullptr);
  const StructPtr type = NewStructType();
  EXPECT_FALSE(dm_o_add_metadata("int", type.get(), false));
  EXPECT_FALSE(dm_o_typedef(type.get(), "int", false));
  EXPECT_FALSE(dm_o_add_std_metadata(DM_DOUBLE, "int", false));
  EXPECT_EQ(dm_o_get_metadata("int"), before);
  EXPECT_EQ(dm_o_get_ref(type.get()), 1);

  EXPECT_TRUE(dm_o_typedef(type.get(), "int", true));
  EXPECT_EQ(dm_o_get_metadata("int"), type.get());
  EXPECT_EQ(dm_o_get_ref(type.get()), 2);
  EXPECT_EQ(dm_o_get_metadata("System.Int32"), before);
  EXPECT_EQ(dm_o_int32_metadata(), before);
  EXPECT_TRUE(dm_o_add_std_metadata(DM_DOUBLE, "int", true));
  EXPECT_EQ(dm_o_get_ref(type.get()), 1);
  EXPECT_EQ(Load<dm_sign>(dm_o_get_metadata("int")), 0x120Du);
  EXPECT_NE(dm_o_get_metadata("int"), dm_o_double_metadata());
}

TEST_F(Registry, TakesReferencesOnlyWhenItAnswersTrueAndResetGivesThemBack) {
  void* const type = dm_o_struct_metadata_new();
  EXPECT_FALSE(dm_o_add_metadata("", type, false));
  EXPECT_FALSE(dm_o_add_metadata(nullptr, type, false));
  EXPECT_FALSE(dm_o_add_metadata("Record", nullptr, false));
  const Any number = NewObject(DM_INT32);
  EXPECT_FALSE(dm_o_add_metadata("Record", number.get(), false));
  EXPECT_TRUE(dm_o_add_metadata("Record", type, false));
  EXPECT_EQ(dm_o_get_ref(type), 1);
  // The name holds the only reference to what it is replaced with.
  EXPECT_TRUE(dm_o_typedef(type, "Record", true));
  EXPECT_EQ(dm_o_get_ref(type), 1);
  dm_o_del_metadata("Record");
  EXPECT_EQ(dm_o_get_metadata("Record"), nullptr);
  dm_o_del_metadata("Record");

  const StructPtr kept = NewStructType();
  ASSERT_TRUE(dm_o_typedef(kept.get(), "Record", false));
  ASSERT_TRUE(dm_o_typedef(kept.get(), "int", true));
  ASSERT_TRUE(dm_o_reset_registry());
  EXPECT_EQ(dm_o_get_ref(kept.get()), 1);
  EXPECT_EQ(dm_o_get_metadata("Record"), nullptr);
  EXPECT_EQ(dm_o_get_metadata("int"), dm_o_int32_metadata());
}

TEST(RegistryStopped, AnswersNothing) {
  ASSERT_EQ(dm_o_registry(), nullptr);
  const StructPtr type = NewStructType();
  EXPECT_EQ(dm_o_get_metadata("int"), nullptr);
  EXPECT_FALSE(dm_o_add_metadata("Record", type.get(), true));
  EXPECT_FALSE(dm_o_typedef(type.get(), "Record", true));
  EXPECT_FALSE(dm_o_add_std_metadata(DM_INT32, "Record", true));
  EXPECT_FALSE(dm_o_reset_registry());
  dm_o_del_metadata("int");
  for (const StandardCase& row : kStandard) EXPECT_EQ(row.slot(), nullptr);
  EXPECT_FALSE(dm_o_visit_metadata(
      [](const char*, void*, void*) { return true; }, nullptr));
  // Objects can be made, they just have no metadata.
  EXPECT_EQ(dm_o_metadata(NewObject(DM_INT32).get()), nullptr);
}

// Against a map that is known to work, with names whose hashes share places.
TEST_F(Registry, AgreesWithAMapThroughAddsAndRemovals) {
  std::mt19937 random(62);
  std::map<std::string, void*> expected;
  std::vector<StructPtr> types;
  for (int i = 0; i < 10; ++i) types.push_back(NewStructType());
  for (int step = 0; step < 60000; ++step) {
    std::string name = "T" + std::to_string(random() % 1500);
    name.append(random() % 3 * 4, 'x');
    void* const type = types[random() % types.size()].get();
    const bool replace = random() % 2 == 0;
    const bool known = expected.count(name) > 0;
    if (random() % 3 == 0) {
      dm_o_del_metadata(name.c_str());
      expected.erase(name);
    } else {
      ASSERT_EQ(dm_o_typedef(type, name.c_str(), replace), replace || !known);
      if (replace || !known) expected[name] = type;
    }
    const std::string other = "T" + std::to_string(random() % 1500);
    const auto found = expected.find(other);
    ASSERT_EQ(dm_o_get_metadata(other.c_str()),
              found == expected.end() ? nullptr : found->second)
        << other;
  }
  for (const auto& [name, type] : expected) {
    EXPECT_EQ(dm_o_get_metadata(name.c_str()), type);
  }
}

}  // namespace
}  // namespace dm
