#ifndef DM_FIELD_TABLE_H_
#define DM_FIELD_TABLE_H_

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "dm/instance_plan.h"
#include "dm/layout.h"

namespace dm {

// A field of a struct type: a name, and a metadata it holds a reference to. The
// layout fills in the rest, so a copy takes name and metadata alone.
class Field {
 public:
  Field(std::string name, void* metadata);
  Field(const Field& other);
  Field(Field&& other) noexcept;
  Field& operator=(Field other) noexcept;
  ~Field();

  const std::string& name() const { return name_; }
  void* metadata() const { return metadata_; }

  std::uint32_t offset = 0;
  std::uint32_t size = 0;
  // Of the embedded objects.
  dm_sign sign = 0;
  const dm_type_info_t* info = nullptr;
  const dm_header_info_t* header_info = nullptr;

  // The words and the header of the field's object.
  void WriteHead(void* object) const;

 private:
  std::string name_;
  void* metadata_;
};

// What the data of a struct metadata object point to. The fields lie packed, in
// order, each a complete object right behind the one before.
class FieldTable {
 public:
  static constexpr unsigned kMaxDepth = 1000;

  // False when the type is in use or the layout fails; it is then as before.
  bool Append(std::string name, void* metadata);
  // Takes over the fields of another type.
  bool CopyFrom(const FieldTable& other);

  const std::vector<Field>& fields() const { return fields_; }
  // Null past the end.
  const Field* at(std::size_t index) const {
    return index < fields_.size() ? &fields_[index] : nullptr;
  }
  // Of field `index`, which is below count(). Kept apart from the fields, whose
  // size makes them slow to index.
  std::size_t count() const { return offsets_.size(); }
  std::uint32_t offset(std::size_t index) const { return offsets_[index]; }
  // -1 when there is none, or for a null name.
  int IndexOf(const char* name) const;
  // Of the data of an instance.
  std::uint32_t total_size() const { return total_size_; }
  const InstancePlan& plan() const { return plan_; }
  // Levels of structs, this one included.
  unsigned depth() const { return depth_; }

  // Instances have this layout from now on. From any thread.
  void Seal() {
    if (!is_sealed_.load(std::memory_order_relaxed)) {
      is_sealed_.store(true, std::memory_order_relaxed);
    }
  }
  bool is_sealed() const { return is_sealed_.load(std::memory_order_relaxed); }

 private:
  // Puts the last field behind those before. False for an empty name, no
  // metadata, a type that no field can have, or no room.
  bool LayOutLast();

  std::vector<Field> fields_;
  std::vector<std::uint32_t> offsets_;
  InstancePlan plan_;
  std::uint32_t total_size_ = 0;
  unsigned depth_ = 1;
  std::atomic<bool> is_sealed_ = false;
};

// Of a struct metadata object.
inline FieldTable& TableOf(const void* metadata) {
  return *Load<FieldTable*>(At(metadata, kHeaderOffset));
}

// Fixes the layout of a struct metadata; nothing for other objects.
inline void SealLayout(const void* metadata) {
  if (IsA(metadata, DM_STRUCT_METADATA)) TableOf(metadata).Seal();
}

}  // namespace dm

#endif  // DM_FIELD_TABLE_H_
