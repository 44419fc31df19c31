#include "dm/field_table.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "dm/life.h"

namespace dm {
namespace {

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
      name_(std::move(other.name_)),
      metadata_(std::exchange(other.metadata_, nullptr)) {}

Field& Field::operator=(Field other) noexcept {
  offset = other.offset;
  size = other.size;
  sign = other.sign;
  info = other.info;
  header_info = other.header_info;
  name_.swap(other.name_);
  std::swap(metadata_, other.metadata_);
  return *this;
}

Field::~Field() { dm_o_inner_release(metadata_); }

void Field::WriteHead(void* object) const {
  WriteWords(object, sign);
  if (header_info == nullptr || header_info->initialise == nullptr) return;
  // A struct comes with its metadata in a word, all others with nothing.
  header_info->initialise(HeaderOf(object), IsA(metadata_, DM_STRUCT_METADATA)
                                                ? &metadata_
                                                : nullptr);
}

bool FieldTable::Append(std::string name, void* metadata) {
  if (is_sealed()) return false;
  if (offsets_.size() == offsets_.capacity()) {
    offsets_.reserve(2 * offsets_.size() + 8);
  }
  fields_.emplace_back(std::move(name), metadata);
  try {
    if (LayOutLast()) return true;
  } catch (...) {
    fields_.pop_back();
    throw;
  }
  fields_.pop_back();
  return false;
}

bool FieldTable::CopyFrom(const FieldTable& other) {
  if (&other == this) return true;
  if (is_sealed()) return false;
  FieldTable copy;
  for (const Field& field : other.fields_) {
    if (!copy.Append(field.name(), field.metadata())) return false;
  }
  fields_.swap(copy.fields_);
  offsets_.swap(copy.offsets_);
  std::swap(plan_, copy.plan_);
  total_size_ = copy.total_size_;
  depth_ = copy.depth_;
  return true;
}

bool FieldTable::LayOutLast() {
  // Leaves room for an instance's own words and header.
  constexpr std::uint64_t kMaxTotal =
      std::numeric_limits<std::uint32_t>::max() - 64;
  Field& field = fields_.back();
  const void* const metadata = field.metadata();
  const dm_type_info_t* const describing = InfoOf(metadata);
  if (field.name().empty() || describing == nullptr ||
      describing->instance_sign == nullptr) {
    return false;
  }
  field.sign = DM_SIGN_PLACED;
  if (!describing->instance_sign(metadata, &field.sign)) return false;
  field.info = InfoFromId(TypeIdOf(field.sign));
  // A metadata is kept by counting it, which keeps no field; and a StdMetadata
  // that is not told of what it is one cannot even be constructed.
  if (field.info->type_id == DM_STD_METADATA ||
      field.info->type_id == DM_STRUCT_METADATA) {
    return false;
  }
  field.header_info = describing->instance_header_info(metadata);
  const std::uint64_t size =
      kHeaderOffset + std::uint64_t{dm_o_instance_header_size(metadata)} +
      dm_o_instance_data_size(metadata);
  const unsigned depth = DepthOf(metadata) + 1;
  if (total_size_ + size > kMaxTotal || depth > kMaxDepth) return false;
  field.offset = total_size_;
  field.size = static_cast<std::uint32_t>(size);

  plan_.Add(field, field.offset + field.size);
  offsets_.push_back(field.offset);
  total_size_ = field.offset + field.size;
  depth_ = std::max(depth_, depth);
  // The size of the field's type is part of this layout now.
  SealLayout(metadata);
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
