#include "dm/field_table.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "dm/life.h"

namespace dm {
namespace {

bool IsZeroConstructed(unsigned type_id) {
  return type_id <= DM_DOUBLE || type_id == DM_DATA_POINTER ||
         type_id == DM_OBJECT_POINTER;
}

unsigned DepthOf(const void* metadata) {
  return IsA(metadata, DM_STRUCT_METADATA) ? TableOf(metadata).depth() : 0;
}

}  // namespace

Field::Field(std::string name, void* metadata)
    : name_(std::move(name)), metadata_(dm_o_add_ref(metadata)) {}

Field::Field(const Field& other) : Field(other.name_, other.metadata_) {}

Field::Field(Field&& other) noexcept
    : offset(other.offset),
      size(other.size),
      sign(other.sign),
      info(other.info),
      header_info(other.header_info),
      is_zero_constructed(other.is_zero_constructed),
      name_(std::move(other.name_)),
      metadata_(std::exchange(other.metadata_, nullptr)) {}

Field& Field::operator=(Field other) noexcept {
  offset = other.offset;
  size = other.size;
  sign = other.sign;
  info = other.info;
  header_info = other.header_info;
  is_zero_constructed = other.is_zero_constructed;
  name_.swap(other.name_);
  std::swap(metadata_, other.metadata_);
  return *this;
}

Field::~Field() { dm_o_inner_release(metadata_); }

bool FieldTable::Append(std::string name, void* metadata) {
  if (is_sealed_.load(std::memory_order_relaxed)) return false;
  const std::size_t count = fields_.size();
  fields_.emplace_back(std::move(name), metadata);
  if (LayOut(count)) return true;
  fields_.pop_back();
  return false;
}

bool FieldTable::CopyFrom(const FieldTable& other) {
  if (&other == this) return true;
  if (is_sealed_.load(std::memory_order_relaxed)) return false;
  fields_ = other.fields_;
  total_size_ = 0;
  depth_ = 1;
  return LayOut(0);
}

bool FieldTable::LayOut(std::size_t first) {
  std::uint32_t total = total_size_;
  unsigned depth = depth_;
  for (std::size_t i = first; i < fields_.size(); ++i) {
    Field& field = fields_[i];
    if (!LayOutBehind(total, field)) return false;
    total += field.size;
    depth = std::max(depth, DepthOf(field.metadata()) + 1);
  }
  if (depth > kMaxDepth) return false;
  total_size_ = total;
  depth_ = depth;
  // The size of a field's type is part of this layout now.
  for (std::size_t i = first; i < fields_.size(); ++i) {
    SealLayout(fields_[i].metadata());
  }
  return true;
}

bool FieldTable::LayOutBehind(std::uint32_t offset, Field& field) {
  // Leaves room for an instance's own words and header.
  constexpr std::uint64_t kMaxTotal =
      std::numeric_limits<std::uint32_t>::max() - 64;
  const void* const metadata = field.metadata();
  if (field.name().empty() || metadata == nullptr) return false;
  const dm_type_info_t* const describing = InfoOf(metadata);
  if (describing == nullptr || describing->instance_sign == nullptr) {
    return false;
  }
  field.sign = DM_SIGN_PLACED;
  if (!describing->instance_sign(metadata, &field.sign)) return false;
  field.info = InfoFromId(TypeIdOf(field.sign));
  field.header_info = describing->instance_header_info(metadata);
  field.is_zero_constructed = IsZeroConstructed(TypeIdOf(field.sign));
  const std::uint64_t size =
      kHeaderOffset + std::uint64_t{dm_o_instance_header_size(metadata)} +
      dm_o_instance_data_size(metadata);
  if (offset + size > kMaxTotal) return false;
  field.offset = offset;
  field.size = static_cast<std::uint32_t>(size);
  return true;
}

int FieldTable::IndexOf(const char* name) const {
  if (name == nullptr) return -1;
  const auto found =
      std::find_if(fields_.begin(), fields_.end(),
                   [name](const Field& field) { return field.name() == name; });
  return found == fields_.end() ? -1
                                : static_cast<int>(found - fields_.begin());
}

}  // namespace dm
