#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "dm/layout.h"
#include "dm/type_functions.h"
#include "dm/type_registry.h"
#include "kiv/date_time.h"

namespace dm {
namespace {

constexpr std::size_t kWord = sizeof(void*);

void StoreArgument(void* header, const void* arg) {
  Store<const void*>(header, arg);
}

constexpr dm_header_info_t kValueHeader{0, nullptr};
constexpr dm_header_info_t kBigValueHeader{0, nullptr};
constexpr dm_header_info_t kVectorHeader{kWord, StoreArgument};
constexpr dm_header_info_t kStructHeader{kWord, struct_type::InitialiseHeader};

template <std::size_t Size>
std::size_t FixedSize(const void*) {
  return Size;
}

// For types without a header.
template <std::size_t Size>
bool ConstructZero(void* object, const void*) {
  std::memset(At(object, kHeaderOffset), 0, Size);
  return true;
}

bool ConstructGuid(void* object, const void*) {
  GUID guid;
  if (!dm_generate_guid(&guid)) return false;
  Store<GUID>(DataOf(object), guid);
  return true;
}

bool ConstructDateTime(void* object, const void*) {
  Store<std::int64_t>(DataOf(object), kiv::DateTime().Ticks());
  return true;
}

template <dm_type_id_e Id>
void* StandardMetadata(const void*) {
  return StandardMetadataOf(Id);
}

template <dm_type_id_e Id>
constexpr dm_type_info_t Type(const char* type_name, const char* schema_name) {
  dm_type_info_t info{};
  info.type_id = Id;
  info.type_name = type_name;
  info.schema_name = schema_name;
  info.metadata = StandardMetadata<Id>;
  return info;
}

template <dm_type_id_e Id, std::size_t Size>
constexpr dm_type_info_t PlainType(const char* type_name,
                                   const char* schema_name) {
  dm_type_info_t info = Type<Id>(type_name, schema_name);
  info.header_info = dm_value_header_info;
  info.data_size = FixedSize<Size>;
  info.construct = ConstructZero<Size>;
  return info;
}

constexpr dm_type_info_t GuidType() {
  dm_type_info_t info = PlainType<DM_GUID, sizeof(GUID)>("System.Guid", "");
  info.construct = ConstructGuid;
  return info;
}

constexpr dm_type_info_t DateTimeType() {
  dm_type_info_t info = PlainType<DM_DATE_TIME, sizeof(std::int64_t)>(
      "System.DateTime", "dateTime");
  info.construct = ConstructDateTime;
  return info;
}

// A pointer's data may not be copied bytewise, so these have no header info.
constexpr dm_type_info_t DataPointerType() {
  auto info = PlainType<DM_DATA_POINTER, 2 * kWord>("System.DataPointer", "");
  info.header_info = nullptr;
  return info;
}

constexpr dm_type_info_t ObjectPointerType() {
  auto info = PlainType<DM_OBJECT_POINTER, kWord>("System.ObjectPointer", "");
  info.header_info = nullptr;
  info.destroy = object_pointer::Destroy;
  info.copy = object_pointer::Copy;
  return info;
}

constexpr dm_type_info_t BinaryType() {
  auto info = PlainType<DM_BINARY, 4 * kWord>("System.Binary", "hexBinary");
  info.element_metadata = value_vector::ElementMetadata;
  info.construct = value_vector::Construct;
  info.destroy = value_vector::Destroy;
  info.copy = value_vector::Copy;
  info.resize = value_vector::Resize;
  info.count = value_vector::Count;
  info.element_at = value_vector::ElementAt;
  info.get_element = value_vector::GetElement;
  info.set_element = value_vector::SetElement;
  info.erase_element = value_vector::EraseElement;
  return info;
}

constexpr dm_type_info_t ValueVectorType() {
  dm_type_info_t info = BinaryType();
  info.type_id = DM_VALUE_VECTOR;
  info.type_name = "System.ValueVector";
  info.schema_name = "";
  info.header_info = VectorHeaderInfo;
  info.metadata = StandardMetadata<DM_VALUE_VECTOR>;
  return info;
}

constexpr dm_type_info_t ObjectVectorType() {
  dm_type_info_t info = Type<DM_OBJECT_VECTOR>("System.ObjectVector", "");
  info.header_info = VectorHeaderInfo;
  info.element_metadata = object_vector::ElementMetadata;
  info.data_size = FixedSize<4 * kWord>;
  info.construct = object_vector::Construct;
  info.destroy = object_vector::Destroy;
  info.copy = object_vector::Copy;
  info.resize = object_vector::Resize;
  info.count = object_vector::Count;
  info.get_element = object_vector::GetElement;
  info.set_element = object_vector::SetElement;
  info.erase_element = object_vector::EraseElement;
  return info;
}

constexpr dm_type_info_t StringType() {
  dm_type_info_t info = Type<DM_STRING>("System.String", "string");
  info.header_info = dm_big_value_header_info;
  info.data_size = FixedSize<sizeof(std::string)>;
  info.construct = string_type::Construct;
  info.destroy = string_type::Destroy;
  info.copy = string_type::Copy;
  info.text = string_type::Text;
  info.assign_wide = string_type::AssignWide;
  return info;
}

constexpr dm_type_info_t StdMetadataType() {
  dm_type_info_t info = Type<DM_STD_METADATA>("System.StdMetadata", "");
  info.header_info = dm_value_header_info;
  info.data_size = FixedSize<kWord>;
  info.construct = std_metadata::Construct;
  info.metadata = std_metadata::Metadata;
  info.instance_sign = std_metadata::InstanceSign;
  info.instance_header_info = std_metadata::InstanceHeaderInfo;
  info.instance_data_size = std_metadata::InstanceDataSize;
  return info;
}

constexpr dm_type_info_t StructMetadataType() {
  dm_type_info_t info = Type<DM_STRUCT_METADATA>("System.StructMetadata", "");
  info.data_size = FixedSize<kWord>;
  info.construct = struct_metadata::Construct;
  info.destroy = struct_metadata::Destroy;
  info.copy = struct_metadata::Copy;
  info.metadata = struct_metadata::Metadata;
  info.instance_sign = struct_metadata::InstanceSign;
  info.instance_header_info = struct_metadata::InstanceHeaderInfo;
  info.instance_data_size = struct_metadata::InstanceDataSize;
  return info;
}

constexpr dm_type_info_t StructType() {
  dm_type_info_t info = Type<DM_STRUCT>("System.Struct", "");
  info.header_info = dm_struct_header_info;
  info.data_size = struct_type::DataSize;
  info.construct = struct_type::Construct;
  info.destroy = struct_type::Destroy;
  info.copy = struct_type::Copy;
  info.metadata = struct_type::Metadata;
  info.field_count = struct_type::FieldCount;
  info.field_index = struct_type::FieldIndex;
  info.field_at = struct_type::FieldAt;
  return info;
}

void FreeObject(void* object) { std::free(object); }

}  // namespace

constinit const dm_deletor_info_t kDeletorTable[] = {
    {std::malloc, FreeObject}, {nullptr, nullptr}, {std::malloc, FreeObject}};

const dm_header_info_t* VectorHeaderInfo() { return &kVectorHeader; }

constinit const dm_type_info_t kTypeTable[kTypeIds] = {
    PlainType<DM_INT32, 4>("System.Int32", "int"),
    PlainType<DM_INT16, 2>("System.Int16", "short"),
    PlainType<DM_INT64, 8>("System.Int64", "long"),
    PlainType<DM_BYTE, 1>("System.Byte", "byte"),
    PlainType<DM_BOOLEAN, 1>("System.Boolean", "boolean"),
    PlainType<DM_FLOAT, 4>("System.Float", "float"),
    PlainType<DM_DOUBLE, 8>("System.Double", "double"),
    ValueVectorType(),
    ObjectVectorType(),
    DataPointerType(),
    ObjectPointerType(),
    StringType(),
    {},
    StdMetadataType(),
    StructMetadataType(),
    StructType(),
    GuidType(),
    DateTimeType(),
    BinaryType()};

}  // namespace dm

const dm_header_info_t* dm_value_header_info() { return &dm::kValueHeader; }

const dm_header_info_t* dm_big_value_header_info() {
  return &dm::kBigValueHeader;
}

const dm_header_info_t* dm_struct_header_info() { return &dm::kStructHeader; }

const dm_type_info_t* dm_o_type_info_from_id(dm_type_id_e id) {
  return dm::InfoFromId(id);
}

const dm_type_info_t* dm_o_type_info(const void* object) {
  return dm::InfoOf(object);
}

unsigned dm_o_align_bytes_from_id(dm_align_id_e id) {
  constexpr unsigned kBytes[] = {4, 1, 2, 4, 8, 16, 32};
  return id < std::size(kBytes) ? kBytes[id] : 0;
}

const dm_deletor_info_t* dm_o_deletor_info_from_id(dm_deletor_id_e id) {
  return id < std::size(dm::kDeletorTable) ? &dm::kDeletorTable[id] : nullptr;
}

const dm_deletor_info_t* dm_o_deletor_info(const void* object) {
  return object == nullptr ? nullptr : dm::DeletorFromSign(dm::SignOf(object));
}
