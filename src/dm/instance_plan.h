#ifndef DM_INSTANCE_PLAN_H_
#define DM_INSTANCE_PLAN_H_

#include <cstdint>
#include <vector>

#include "dm/type_info.h"

namespace dm {

class Field;

// How the data of a struct are made and ended, worked out once for the type.
//
// Most of a new instance is the same bytes every time: words, headers, zeros.
// An image of them is copied, and only the fields that it cannot make are then
// constructed one by one. Types too large to keep a second copy of that size
// construct every field.
class InstancePlan {
 public:
  // For one field more, behind those before, of an instance of `total_size`.
  // Throws std::bad_alloc, with the plan as it was.
  void Add(const Field& field, std::uint32_t total_size);

  // `fields` are all that were added. False when one cannot be constructed;
  // those before it have then ended again.
  bool Construct(void* data, const std::vector<Field>& fields) const;
  // Ends the fields.
  void Destroy(void* data) const;

  // Whether the end of an instance may be the end of other objects.
  bool owns_references() const { return owns_references_; }

 private:
  struct Making {
    std::uint32_t offset;
    bool (*construct)(void* object, const void* arg);
  };
  struct Ending {
    std::uint32_t offset;
    void (*destroy)(void* object);
  };

  struct Vector {
    std::uint32_t offset;
    std::uint32_t data_offset;
  };

  bool ConstructOneByOne(void* data) const;
  bool ConstructWithoutImage(void* data,
                             const std::vector<Field>& fields) const;

  void AddEnding(const Field& field);

  bool has_image_ = true;
  bool owns_references_ = false;
  std::vector<char> image_;
  // The fields that most records have are known by kind: a String's bytes
  // depend on its address alone, and of a value vector only the buffer ends.
  std::vector<std::uint32_t> strings_;
  std::vector<Vector> vectors_;
  std::vector<Making> makings_;
  std::vector<Ending> endings_;
};

}  // namespace dm

#endif  // DM_INSTANCE_PLAN_H_
