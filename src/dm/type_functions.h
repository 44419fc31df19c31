#ifndef DM_TYPE_FUNCTIONS_H_
#define DM_TYPE_FUNCTIONS_H_

#include "dm/type_info.h"

// What the type table dispatches to: each gets an object of its own type, never
// null.
namespace dm {

const dm_header_info_t* VectorHeaderInfo();

namespace string_type {
bool Construct(void* object, const void* arg);
void Destroy(void* object);
bool Copy(void* object, const void* source);
const char* Text(const void* object);
bool AssignWide(void* object, const char16_t* text);
}  // namespace string_type

// Binary is a value vector without a header whose elements are bytes.
namespace value_vector {
bool Construct(void* object, const void* arg);
void Destroy(void* object);
bool Copy(void* object, const void* source);
void* ElementMetadata(const void* object);
bool Resize(void* object, std::size_t count);
std::size_t Count(const void* object);
void* ElementAt(const void* object, std::size_t index);
void* GetElement(const void* object, std::size_t index);
bool SetElement(void* object, std::size_t index, void* value, bool add_ref);
bool EraseElement(void* object, std::size_t index);
}  // namespace value_vector

namespace object_vector {
bool Construct(void* object, const void* arg);
void Destroy(void* object);
bool Copy(void* object, const void* source);
void* ElementMetadata(const void* object);
bool Resize(void* object, std::size_t count);
std::size_t Count(const void* object);
void* GetElement(const void* object, std::size_t index);
bool SetElement(void* object, std::size_t index, void* value, bool add_ref);
bool EraseElement(void* object, std::size_t index);
}  // namespace object_vector

namespace object_pointer {
void Destroy(void* object);
bool Copy(void* object, const void* source);
}  // namespace object_pointer

namespace struct_type {
bool Construct(void* object, const void* arg);
void Destroy(void* object);
bool Copy(void* object, const void* source);
void* Metadata(const void* object);
std::size_t FieldCount(const void* object);
int FieldIndex(const void* object, const char* name);
void* FieldAt(const void* object, std::size_t index);
// What dm_o_new and dm_o_instance_from_metadata come to for a struct metadata.
void* New(void* metadata);
// Destroys a struct that is not nested deep and whose end cannot be the end of
// further objects; false, with nothing done, for any other.
bool DestroyAlone(void* object);
// Of an instance; null metadata: a struct without fields.
std::size_t DataSize(const void* metadata);
void InitialiseHeader(void* header, const void* arg);
}  // namespace struct_type

namespace std_metadata {
bool Construct(void* object, const void* arg);
void* Metadata(const void* object);
bool InstanceSign(const void* metadata, dm_sign* sign);
const dm_header_info_t* InstanceHeaderInfo(const void* metadata);
std::size_t InstanceDataSize(const void* metadata);
}  // namespace std_metadata

namespace struct_metadata {
bool Construct(void* object, const void* arg);
void Destroy(void* object);
bool Copy(void* object, const void* source);
void* Metadata(const void* object);
bool InstanceSign(const void* metadata, dm_sign* sign);
const dm_header_info_t* InstanceHeaderInfo(const void* metadata);
std::size_t InstanceDataSize(const void* metadata);
}  // namespace struct_metadata

}  // namespace dm

#endif  // DM_TYPE_FUNCTIONS_H_
