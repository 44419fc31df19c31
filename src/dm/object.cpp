#include "dm/object.h"

#include "dm/layout.h"

namespace dm {

// Here, so that the class has one home among the libraries.
ObjectException::~ObjectException() = default;

void RequireObject(const void* object) {
  if (object == nullptr) {
    throw ObjectException("dm::ReferenceFrom Error: Empty pointer.");
  }
}

void* Object::Data() const { return dm_o_data(object_); }

void* Object::Header() const {
  return object_ == nullptr ? nullptr : HeaderOf(object_);
}

const dm_deletor_info_t* Object::GetDeletorInfo() const {
  return dm_o_deletor_info(object_);
}

dm_type_id_e Object::GetTypeId() const {
  return object_ == nullptr ? dm_type_id_e{} : TypeIdFromSign(SignOf(object_));
}

const dm_type_info_t* Object::GetTypeInfo() const {
  return dm_o_type_info(object_);
}

std::size_t Object::GetObjectSize() const {
  return dm_o_sizeof_from_object(object_);
}

void* Object::GetType() const { return dm_o_metadata(object_); }

bool Object::IsType() const { return dm_o_is_metadata(object_); }

bool Object::ReadValue(dm_type_id_e type, void* value) const {
  if (!IsA(object_, type)) return false;
  CopyPlain(value, At(object_, kHeaderOffset), PlainSize(type));
  return true;
}

bool Object::WriteValue(dm_type_id_e type, const void* value) const {
  if (!IsA(object_, type)) return false;
  CopyPlain(At(object_, kHeaderOffset), value, PlainSize(type));
  return true;
}

const dm_deletor_info_t* Object::DeletorInfoFromId(dm_deletor_id_e id) {
  return dm_o_deletor_info_from_id(id);
}

unsigned Object::AlignBytesFromId(dm_align_id_e id) {
  return dm_o_align_bytes_from_id(id);
}

dm_type_id_e Object::TypeIdFromSign(dm_sign sign) {
  return static_cast<dm_type_id_e>(TypeIdOf(sign));
}

const dm_type_info_t* Object::TypeInfoFromId(dm_type_id_e id) {
  return dm_o_type_info_from_id(id);
}

template class ObjectPtr<int*>;
template class ObjectPtr<StructType>;

}  // namespace dm
