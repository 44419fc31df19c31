#include <cstring>

#include "dm/field_table.h"
#include "dm/life.h"
#include "dm/type_functions.h"
#include "dm/value_vector.h"
#include "dm/values.h"
#include "dm/vector_words.h"

namespace dm {
namespace {

// Null: a struct without fields.
void* MetadataOf(const void* object) { return Load<void*>(HeaderOf(object)); }

const FieldTable* TableOfInstance(const void* object) {
  const void* const metadata = MetadataOf(object);
  return metadata == nullptr ? nullptr : &TableOf(metadata);
}

bool ConstructField(void* object, const Field& field) {
  WriteWords(object, field.sign);
  if (field.is_zero_constructed) return true;
  const void* const argument = field.argument();
  if (field.header_info != nullptr &&
      field.header_info->initialise != nullptr) {
    field.header_info->initialise(HeaderOf(object), argument);
  }
  return field.info->construct(object, argument);
}

// As dm_o_inner_release does, for a field whose struct is at its end: nobody
// else may be counting it, and its memory is the struct's.
void ReleaseField(void* object, const Field& field) {
  void* const count = At(object, kCountOffset);
  if (Load<std::int32_t>(count) != 1) {
    dm_o_inner_release(object);
    return;
  }
  Store<std::int32_t>(count, 0);
  if (field.info->destroy != nullptr) field.info->destroy(object);
}

// Whether CopyField will succeed as far as types go.
bool CanCopyField(const void* object, const void* source) {
  const dm_type_info_t* const info = InfoOf(object);
  if (info == nullptr || info != InfoOf(source)) return false;
  if (info->type_id == DM_STRUCT) {
    const FieldTable* const table = TableOfInstance(object);
    if (MetadataOf(source) != MetadataOf(object)) return false;
    if (table == nullptr) return true;
    for (const Field& field : table->fields()) {
      if (!CanCopyField(At(DataOf(object), field.offset),
                        At(DataOf(source), field.offset))) {
        return false;
      }
    }
    return true;
  }
  if (info->type_id == DM_VALUE_VECTOR) {
    const dm_type_info_t* const type = ElementTypeOf(object);
    return type == ElementTypeOf(source) ||
           (type == nullptr && VectorOf(object).used() == 0) ||
           ElementTypeOf(source) == nullptr;
  }
  return info->copy != nullptr || info->header_info == dm_value_header_info;
}

bool CopyField(void* object, const void* source) {
  if (IsA(object, DM_VALUE_VECTOR)) {
    // A field is made without an element type; the copy gets the source's.
    if (ElementTypeOf(source) == nullptr) {
      return value_vector::Resize(object, 0);
    }
    dm_o_value_vector_set_element_type(object, ElementTypeOf(source));
  }
  return dm_o_copy_from(object, DataOf(source));
}

}  // namespace

namespace struct_type {

void InitialiseHeader(void* header, const void* arg) {
  const void* const metadata =
      arg == nullptr ? nullptr : Load<const void*>(arg);
  Store<const void*>(header, metadata);
  SealLayout(metadata);
}

std::size_t DataSize(const void* metadata) {
  return IsA(metadata, DM_STRUCT_METADATA) ? TableOf(metadata).total_size() : 0;
}

// An instance holds a reference to its metadata: a name that is removed or
// replaced must not take the layout of living objects with it.
bool Construct(void* object, const void*) {
  void* const metadata = MetadataOf(object);
  if (metadata == nullptr) return true;
  const FieldTable& table = TableOf(metadata);
  void* const data = DataOf(object);
  std::memset(data, 0, table.total_size());
  for (const Field& field : table.fields()) {
    if (ConstructField(At(data, field.offset), field)) continue;
    for (const Field* done = &table.fields().front(); done != &field; ++done) {
      ReleaseField(At(data, done->offset), *done);
    }
    return false;
  }
  dm_o_add_ref(metadata);
  return true;
}

void Destroy(void* object) {
  void* const metadata = MetadataOf(object);
  if (metadata == nullptr) return;
  void* const data = DataOf(object);
  for (const Field& field : TableOf(metadata).fields()) {
    ReleaseField(At(data, field.offset), field);
  }
  dm_o_inner_release(metadata);
}

bool Copy(void* object, const void* source) {
  const FieldTable* const table = TableOfInstance(object);
  void* const data = DataOf(object);
  if (table == nullptr || source == data) return true;
  if (source == nullptr) return false;
  for (const Field& field : table->fields()) {
    if (!CanCopyField(At(data, field.offset), At(source, field.offset))) {
      return false;
    }
  }
  for (const Field& field : table->fields()) {
    if (!CopyField(At(data, field.offset), At(source, field.offset))) {
      return false;
    }
  }
  return true;
}

void* Metadata(const void* object) { return MetadataOf(object); }

std::size_t FieldCount(const void* object) {
  const FieldTable* const table = TableOfInstance(object);
  return table == nullptr ? 0 : table->fields().size();
}

int FieldIndex(const void* object, const char* name) {
  const FieldTable* const table = TableOfInstance(object);
  return table == nullptr ? -1 : table->IndexOf(name);
}

void* FieldAt(const void* object, std::size_t index) {
  const FieldTable* const table = TableOfInstance(object);
  const Field* const field = table == nullptr ? nullptr : table->at(index);
  return field == nullptr
             ? nullptr
             : const_cast<void*>(At(DataOf(object), field->offset));
}

}  // namespace struct_type
}  // namespace dm

size_t dm_o_struct_field_count(const void* object) {
  return dm::IsA(object, DM_STRUCT) ? dm::struct_type::FieldCount(object) : 0;
}

int dm_o_struct_field_index(const void* object, const char* name) {
  return dm::IsA(object, DM_STRUCT) ? dm::struct_type::FieldIndex(object, name)
                                    : -1;
}

void* dm_o_struct_field_at(const void* object, size_t index) {
  return dm::IsA(object, DM_STRUCT) ? dm::struct_type::FieldAt(object, index)
                                    : nullptr;
}
