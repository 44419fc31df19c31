#ifndef DM_TYPE_REGISTRY_H_
#define DM_TYPE_REGISTRY_H_

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "dm/registry.h"

// The names of types in order, each with a reference to its metadata, and the
// standard metadata of the built-in types.
//
// Names are looked up through a flat hash table of pointers into the ordered
// map, at most half full, where a chain of equal places ends at the first empty
// one; removal closes the gap it would leave.
struct dm_registry_t {
 public:
  dm_registry_t() = default;
  dm_registry_t(const dm_registry_t&) = delete;
  dm_registry_t& operator=(const dm_registry_t&) = delete;
  ~dm_registry_t() { Clear(); }

  // Null when there is none.
  void* Find(std::string_view name) const {
    const Slot* const slot = FindSlot(name, HashOf(name));
    return slot == nullptr ? nullptr : slot->entry->second;
  }

  // The rules of dm_o_add_metadata and its kin. May throw std::bad_alloc, with
  // nothing changed.
  bool Add(std::string_view name, void* metadata, bool replace);
  bool Alias(void* metadata, std::string_view name, bool replace);
  bool AddStandard(dm_type_id_e type_id, std::string_view name, bool replace);
  void Remove(std::string_view name);

  // Empties it, then fills in the standard names.
  bool Reset();

  void* standard(dm_type_id_e type_id) const { return standard_[type_id]; }

  using Entries = std::map<std::string, void*, std::less<>>;
  const Entries& entries() const { return entries_; }

 private:
  using Entry = Entries::value_type;
  struct Slot {
    std::uint64_t hash = 0;
    Entry* entry = nullptr;  // null: empty
  };

  static std::uint64_t HashOf(std::string_view name);
  const Slot* FindSlot(std::string_view name, std::uint64_t hash) const;
  void Grow();
  void Insert(std::uint64_t hash, Entry* entry);
  void EraseSlot(std::size_t place);
  void Clear();

  Entries entries_;
  std::vector<Slot> slots_;  // a power of two of them
  void* standard_[DM_BINARY + 1] = {};
};

namespace dm {

// Of a built-in type. Null while there is no registry, and for types without.
void* StandardMetadataOf(dm_type_id_e type_id);

// Makes the registry unless there is one, and gives it the standard names.
bool StartRegistry();
void StopRegistry();

}  // namespace dm

#endif  // DM_TYPE_REGISTRY_H_
