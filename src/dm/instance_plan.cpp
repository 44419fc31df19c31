#include "dm/instance_plan.h"

#include <cstdlib>
#include <cstring>

#include "dm/field_table.h"
#include "dm/reference_count.h"
#include "dm/string_data.h"

namespace dm {
namespace {

constexpr std::size_t kMaxImage = std::size_t{64} * 1024;

// Whether the constructed object is the same bytes at any address and any time.
bool IsInert(unsigned type_id) {
  return IsNumber(type_id) || type_id == DM_DATA_POINTER ||
         type_id == DM_OBJECT_POINTER || type_id == DM_DATE_TIME ||
         type_id == DM_BINARY || type_id == DM_VALUE_VECTOR ||
         type_id == DM_OBJECT_VECTOR;
}

bool LeadsToObjects(const Field& field) {
  const unsigned id = TypeIdOf(field.sign);
  return id == DM_OBJECT_POINTER || id == DM_OBJECT_VECTOR ||
         (IsA(field.metadata(), DM_STRUCT_METADATA) &&
          TableOf(field.metadata()).plan().owns_references());
}

// What dm_o_inner_release begins with, for a field whose struct is at its end:
// nobody else may be counting it any more. True when the field is to end.
bool WasLastReference(void* object) {
  void* const count = At(object, kCountOffset);
  if (Load<std::int32_t>(count) != 1) return DecrementCount(count) == 0;
  Store<std::int32_t>(count, 0);
  return true;
}

// Its memory is the struct's.
void ReleaseField(void* object, void (*destroy)(void*)) {
  if (WasLastReference(object) && destroy != nullptr) destroy(object);
}

// The list is then grown without a failure.
template <typename Step>
void MakeRoomForOne(std::vector<Step>& list) {
  if (list.size() == list.capacity()) list.reserve(2 * list.size() + 4);
}

}  // namespace

void InstancePlan::Add(const Field& field, std::uint32_t total_size) {
  MakeRoomForOne(strings_);
  MakeRoomForOne(vectors_);
  MakeRoomForOne(makings_);
  MakeRoomForOne(endings_);
  if (total_size <= kMaxImage) {
    image_.resize(total_size);
    field.WriteHead(&image_[field.offset]);
  } else {
    has_image_ = false;
    std::vector<char>().swap(image_);
  }
  const unsigned type_id = field.info->type_id;
  if (IsInert(type_id)) {
    if (has_image_) field.info->construct(&image_[field.offset], nullptr);
  } else if (type_id != DM_STRING) {
    makings_.push_back({field.offset, field.info->construct});
  }
  AddEnding(field);
  owns_references_ = owns_references_ || LeadsToObjects(field);
}

void InstancePlan::AddEnding(const Field& field) {
  const unsigned type_id = field.info->type_id;
  if (type_id == DM_STRING) {
    strings_.push_back(field.offset);
  } else if (type_id == DM_VALUE_VECTOR || type_id == DM_BINARY) {
    vectors_.push_back(
        {field.offset, static_cast<std::uint32_t>(field.offset + kHeaderOffset +
                                                  HeaderSizeOf(type_id))});
  } else if (field.info->destroy != nullptr) {
    endings_.push_back({field.offset, field.info->destroy});
  }
}

bool InstancePlan::Construct(void* data,
                             const std::vector<Field>& fields) const {
  if (!has_image_) return ConstructWithoutImage(data, fields);
  if (!image_.empty()) std::memcpy(data, image_.data(), image_.size());
  for (const std::uint32_t offset : strings_) {
    ConstructStringAtZeros(At(data, offset + kHeaderOffset));
  }
  return makings_.empty() || ConstructOneByOne(data);
}

bool InstancePlan::ConstructOneByOne(void* data) const {
  for (std::size_t i = 0; i < makings_.size(); ++i) {
    if (makings_[i].construct(At(data, makings_[i].offset), nullptr)) continue;
    while (i-- > 0) {
      void* const made = At(data, makings_[i].offset);
      ReleaseField(made, InfoOf(made)->destroy);
    }
    // Empty strings and vectors have nothing to end.
    return false;
  }
  return true;
}

bool InstancePlan::ConstructWithoutImage(
    void* data, const std::vector<Field>& fields) const {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    void* const object = At(data, fields[i].offset);
    fields[i].WriteHead(object);
    if (fields[i].info->construct(object, nullptr)) continue;
    while (i-- > 0) {
      ReleaseField(At(data, fields[i].offset), fields[i].info->destroy);
    }
    return false;
  }
  return true;
}

void InstancePlan::Destroy(void* data) const {
  for (const std::uint32_t offset : strings_) {
    void* const object = At(data, offset);
    if (WasLastReference(object)) DestroyStringAt(At(object, kHeaderOffset));
  }
  for (const Vector& vector : vectors_) {
    if (!WasLastReference(At(data, vector.offset))) continue;
    void* const buffer = Load<void*>(At(data, vector.data_offset));
    if (buffer != nullptr) std::free(buffer);
  }
  for (const Ending& ending : endings_) {
    ReleaseField(At(data, ending.offset), ending.destroy);
  }
}

}  // namespace dm
