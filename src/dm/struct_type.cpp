#include <cstdlib>
#include <cstring>

#include "dm/field_table.h"
#include "dm/last_release.h"
#include "dm/life.h"
#include "dm/type_functions.h"
#include "dm/value_vector.h"
#include "dm/values.h"
#include "dm/vector_words.h"

namespace dm {
namespace {

constexpr std::size_t kDataOffset = kHeaderOffset + sizeof(void*);
// So few structs within structs fit on any stack.
constexpr unsigned kFewLevels = 10;

// Null: a struct without fields.
void* MetadataOf(const void* object) { return Load<void*>(HeaderOf(object)); }

const FieldTable* TableOfInstance(const void* object) {
  const void* const metadata = MetadataOf(object);
  return metadata == nullptr ? nullptr : &TableOf(metadata);
}

bool CanCopyFields(const FieldTable* table, const void* data,
                   const void* source);

// Whether CopyField will succeed as far as types go.
bool CanCopyField(const void* object, const void* source) {
  const dm_type_info_t* const info = InfoOf(object);
  if (info == nullptr || info != InfoOf(source)) return false;
  if (info->type_id == DM_STRUCT) {
    return MetadataOf(source) == MetadataOf(object) &&
           CanCopyFields(TableOfInstance(object), DataOf(object),
                         DataOf(source));
  }
  if (info->type_id == DM_VALUE_VECTOR) {
    const dm_type_info_t* const type = ElementTypeOf(object);
    return type == ElementTypeOf(source) ||
           (type == nullptr && VectorOf(object).used() == 0) ||
           ElementTypeOf(source) == nullptr;
  }
  return info->copy != nullptr || info->header_info == dm_value_header_info;
}

bool CanCopyFields(const FieldTable* table, const void* data,
                   const void* source) {
  if (table == nullptr) return true;
  for (const Field& field : table->fields()) {
    if (!CanCopyField(At(data, field.offset), At(source, field.offset))) {
      return false;
    }
  }
  return true;
}

bool CopyFields(const FieldTable* table, void* data, const void* source);

// What CanCopyField has looked at, all levels of it.
bool CopyField(void* object, const void* source) {
  if (IsA(object, DM_STRUCT)) {
    return CopyFields(TableOfInstance(object), DataOf(object), DataOf(source));
  }
  if (IsA(object, DM_VALUE_VECTOR)) {
    // A field is made without an element type; the copy gets the source's.
    if (ElementTypeOf(source) == nullptr) {
      return value_vector::Resize(object, 0);
    }
    dm_o_value_vector_set_element_type(object, ElementTypeOf(source));
  }
  return dm_o_copy_from(object, DataOf(source));
}

bool CopyFields(const FieldTable* table, void* data, const void* source) {
  if (table == nullptr) return true;
  for (const Field& field : table->fields()) {
    if (!CopyField(At(data, field.offset), At(source, field.offset))) {
      return false;
    }
  }
  return true;
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
  if (!table.plan().Construct(DataOf(object), table.fields())) return false;
  AddReference(metadata);
  return true;
}

void Destroy(void* object) {
  void* const metadata = MetadataOf(object);
  if (metadata == nullptr) return;
  TableOf(metadata).plan().Destroy(At(object, kDataOffset));
  ReleaseReference(metadata);
}

bool DestroyAlone(void* object) {
  void* const metadata = MetadataOf(object);
  if (metadata == nullptr) return true;
  const FieldTable& table = TableOf(metadata);
  const InstancePlan& plan = table.plan();
  if (plan.owns_references() || table.depth() > kFewLevels) return false;
  plan.Destroy(At(object, kDataOffset));
  ReleaseReference(metadata);
  return true;
}

bool Copy(void* object, const void* source) {
  const FieldTable* const table = TableOfInstance(object);
  void* const data = DataOf(object);
  if (table == nullptr || source == data) return true;
  if (source == nullptr) return false;
  return CanCopyFields(table, data, source) && CopyFields(table, data, source);
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
  if (table == nullptr || index >= table->count()) return nullptr;
  return const_cast<void*>(At(object, kDataOffset + table->offset(index)));
}

void* New(void* metadata) {
  FieldTable& table = TableOf(metadata);
  void* const object = std::malloc(kDataOffset + table.total_size());
  if (object == nullptr) return nullptr;
  WriteWords(object, DM_SIGN_DEFAULT + DM_STRUCT);
  Store<void*>(HeaderOf(object), metadata);
  table.Seal();
  if (table.plan().Construct(At(object, kDataOffset), table.fields())) {
    AddReference(metadata);
    return object;
  }
  std::free(object);
  return nullptr;
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
