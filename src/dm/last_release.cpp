#include "dm/last_release.h"

#include <cstdlib>

#include "dm/field_table.h"
#include "dm/type_functions.h"

namespace dm {
namespace {

// What may be on the stack at once, counted in structs within structs: one of
// them takes a few frames. A release on top of another takes more than that.
constexpr unsigned kMaxLevels = FieldTable::kMaxDepth;
constexpr unsigned kLevelsOfRelease = 10;

struct Waiting {
  void* object;
  Waiting* next;
};

// Trivial, so that it serves to the last moment of a thread.
struct Releases {
  unsigned levels;
  Waiting* waiting;
};

thread_local constinit Releases releases{};

// Whether its end may be the end of others, and so on.
bool OwnsReferences(unsigned type_id) {
  return type_id == DM_OBJECT_VECTOR || type_id == DM_OBJECT_POINTER ||
         type_id == DM_STRUCT || type_id == DM_STRUCT_METADATA;
}

// A struct ends its fields on the stack, and they theirs.
unsigned LevelsOf(const void* object) {
  const void* const metadata =
      IsA(object, DM_STRUCT) ? struct_type::Metadata(object) : nullptr;
  return kLevelsOfRelease +
         (metadata == nullptr ? 0 : TableOf(metadata).depth());
}

void End(void* object, const dm_type_info_t* info) {
  if (info != nullptr && info->destroy != nullptr) info->destroy(object);
  GiveBack(object);
}

// False when memory is short: then the stack has to do.
bool Wait(Releases& mine, void* object) {
  auto* const entry = static_cast<Waiting*>(std::malloc(sizeof(Waiting)));
  if (entry == nullptr) return false;
  *entry = {object, mine.waiting};
  mine.waiting = entry;
  return true;
}

}  // namespace

void AfterLastRelease(void* object) {
  if (IsA(object, DM_STRUCT) && struct_type::DestroyAlone(object)) {
    GiveBack(object);
    return;
  }
  const dm_type_info_t* const info = InfoOf(object);
  if (info == nullptr || !OwnsReferences(info->type_id)) {
    End(object, info);
    return;
  }
  Releases& mine = releases;
  const unsigned below = mine.levels;
  const unsigned levels = LevelsOf(object);
  if (below > 0 && below + levels > kMaxLevels && Wait(mine, object)) return;
  mine.levels = below + levels;
  End(object, info);
  while (below == 0 && mine.waiting != nullptr) {
    Waiting* const entry = mine.waiting;
    mine.waiting = entry->next;
    void* const next = entry->object;
    std::free(entry);
    mine.levels = LevelsOf(next);
    End(next, InfoOf(next));
  }
  mine.levels = below;
}

}  // namespace dm
