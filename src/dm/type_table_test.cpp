#include <memory>
#include <string>

#include "dm/data_test_fixture.h"
#include "dm/layout.h"

namespace dm {
namespace {

constexpr std::size_t kWord = sizeof(void*);

enum class Kind { Value, BigValue, Vector, Struct, Other };
using enum Kind;

struct TypeCase {
  unsigned id;
  const char* type_name;
  const char* schema_name;
  std::size_t data_size;
  Kind kind;
  bool owns;  // destroys and copies in its own way
};

constexpr TypeCase kTypes[] = {
    {0, "System.Int32", "int", 4, Value, false},
    {1, "System.Int16", "short", 2, Value, false},
    {2, "System.Int64", "long", 8, Value, false},
    {3, "System.Byte", "byte", 1, Value, false},
    {4, "System.Boolean", "boolean", 1, Value, false},
    {5, "System.Float", "float", 4, Value, false},
    {6, "System.Double", "double", 8, Value, false},
    {7, "System.ValueVector", "", 4 * kWord, Vector, true},
    {8, "System.ObjectVector", "", 4 * kWord, Vector, true},
    {9, "System.DataPointer", "", 2 * kWord, Other, false},
    {10, "System.ObjectPointer", "", kWord, Other, true},
    {11, "System.String", "string", sizeof(std::string), BigValue, true},
    {13, "System.StdMetadata", "", kWord, Value, false},
    {14, "System.StructMetadata", "", kWord, Other, true},
    {15, "System.Struct", "", 0, Kind::Struct, true},
    {16, "System.Guid", "", 16, Value, false},
    {17, "System.DateTime", "dateTime", 8, Value, false},
    {18, "System.Binary", "hexBinary", 4 * kWord, Value, true}};

TEST(TypeTable, SaysWhatEveryTypeIs) {
  for (const TypeCase& row : kTypes) {
    SCOPED_TRACE(row.type_name);
    const auto* const info =
        dm_o_type_info_from_id(static_cast<dm_type_id_e>(row.id));
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info, Object::TypeInfoFromId(info->type_id));
    EXPECT_EQ(info->type_id, row.id);
    EXPECT_STREQ(info->type_name, row.type_name);
    EXPECT_STREQ(info->schema_name, row.schema_name);
    EXPECT_EQ(info->data_size(nullptr), row.data_size);
    EXPECT_EQ(info->destroy != nullptr, row.owns);
    EXPECT_EQ(info->copy != nullptr, row.owns);

    const auto* const header =
        info->header_info == nullptr ? nullptr : info->header_info();
    EXPECT_EQ(header == dm_value_header_info(), row.kind == Value);
    EXPECT_EQ(header == dm_big_value_header_info(), row.kind == BigValue);
    EXPECT_EQ(header == dm_struct_header_info(), row.kind == Kind::Struct);
    EXPECT_EQ(header == nullptr, row.kind == Other);
    const std::size_t header_size =
        row.kind == Vector || row.kind == Kind::Struct ? kWord : 0;
    EXPECT_EQ(header == nullptr ? 0 : header->header_size, header_size);
    EXPECT_EQ(dm_o_sizeof(info, DM_SIGN_DEFAULT + row.id, nullptr),
              8 + header_size + row.data_size);
  }
}

TEST(TypeTable, HeadersAreFourRecordsAndAlignmentsEight) {
  const auto* const vector =
      dm_o_type_info_from_id(DM_OBJECT_VECTOR)->header_info();
  EXPECT_EQ(vector, dm_o_type_info_from_id(DM_VALUE_VECTOR)->header_info());
  EXPECT_NE(dm_value_header_info(), dm_big_value_header_info());
  EXPECT_NE(vector, dm_struct_header_info());
  const unsigned bytes[] = {4, 1, 2, 4, 8, 16, 32, 0};
  for (unsigned i = 0; i < 8; ++i) {
    const auto id = static_cast<dm_align_id_e>(i);
    EXPECT_EQ(dm_o_align_bytes_from_id(id), bytes[i]);
    EXPECT_EQ(Object::AlignBytesFromId(id), bytes[i]);
  }
}

TEST(DeletorTable, OnlyThePlacedOneHasNoMemory) {
  for (const dm_deletor_id_e id : {DM_DELETOR_DEFAULT, DM_DELETOR_PLAIN}) {
    const auto* const deletor = dm_o_deletor_info_from_id(id);
    void* const memory = deletor->allocate(24);
    ASSERT_NE(memory, nullptr);
    deletor->release(memory);
    deletor->release(nullptr);
  }
  const auto* const placed = Object::DeletorInfoFromId(DM_DELETOR_PLACED);
  EXPECT_EQ(placed->allocate, nullptr);
  EXPECT_EQ(placed->release, nullptr);
  EXPECT_EQ(Object::TypeIdFromSign(0xABCD1210), DM_GUID);
  const Any object = Any::Take(dm_o_new(0x1200, nullptr));
  EXPECT_EQ(dm_o_deletor_info(object.get()),
            dm_o_deletor_info_from_id(DM_DELETOR_PLAIN));
  EXPECT_EQ(object.object().GetDeletorInfo(), dm_o_deletor_info(object.get()));
}

// What the short ways through an object's life say without asking the tables.
TEST(Layout, SaysWhatTheTablesSay) {
  for (unsigned id = 0; id < kTypeIds; ++id) {
    const dm_type_info_t* const info = InfoFromId(id);
    if (info == nullptr) {
      EXPECT_EQ(kPlainSizes[id], 0) << id;
      EXPECT_EQ(HeaderSizeOf(id), 0u) << id;
      EXPECT_FALSE(IsNumber(id)) << id;
      continue;
    }
    const auto* const header =
        info->header_info == nullptr ? nullptr : info->header_info();
    EXPECT_EQ(HeaderSizeOf(id), header == nullptr ? 0 : header->header_size)
        << id;
    // A value that owns nothing and whose bytes are all there is to it; a type
    // record's address is not for everybody to change.
    const bool is_plain = header == dm_value_header_info() &&
                          info->destroy == nullptr && info->copy == nullptr &&
                          id != DM_STD_METADATA;
    EXPECT_EQ(kPlainSizes[id], is_plain ? info->data_size(nullptr) : 0) << id;
    if (!IsNumber(id)) continue;
    EXPECT_TRUE(is_plain) << id;
    const Any number = NewObject(id);
    const std::string zeros(kPlainSizes[id], '\0');
    EXPECT_EQ(std::string(static_cast<const char*>(dm_o_data(number.get())),
                          kPlainSizes[id]),
              zeros)
        << id;
  }
  for (unsigned id = 0; id < 16; ++id) {
    const auto* const deletor =
        dm_o_deletor_info_from_id(static_cast<dm_deletor_id_e>(id));
    const dm_sign sign = 0x1000 + (id << 8);
    EXPECT_EQ(DeletorFromSign(sign), deletor) << id;
    EXPECT_EQ(IsHeap(sign), deletor != nullptr && deletor->allocate != nullptr)
        << id;
  }
}

}  // namespace
}  // namespace dm
