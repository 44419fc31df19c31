#include "dm/type_registry.h"

#include <cstring>

#include "dm/field_table.h"
#include "dm/life.h"

namespace {

constexpr std::size_t kFirstSlots = 64;

// By slot number of the standard registration: the name the metadata is made
// under, and the further names of the same object.
struct StandardName {
  dm_type_id_e type_id;
  const char* name;
  const char* aliases[3];
};

constexpr StandardName kStandardNames[] = {
    {DM_INT32, "int", {"System.Int32"}},
    {DM_INT16, "short", {"System.Int16"}},
    {DM_INT64, "long", {"System.Int64"}},
    {DM_BYTE, "byte", {"System.Byte"}},
    {DM_BOOLEAN, "boolean", {"System.Boolean"}},
    {DM_FLOAT, "float", {"System.Float"}},
    {DM_DOUBLE, "double", {"System.Double"}},
    {DM_STRING, "string", {"System.String"}},
    {DM_DATA_POINTER, "data_pointer", {}},
    {DM_OBJECT_POINTER, "object_pointer", {}},
    {DM_VALUE_VECTOR, "value_vector", {}},
    {DM_OBJECT_VECTOR, "object_vector", {}},
    {DM_GUID, "System.Guid", {}},
    // "Date" with a capital, "time" without: so are the names in use.
    {DM_DATE_TIME, "System.DateTime", {"dateTime", "Date", "time"}},
    // Not under its schema name, on purpose.
    {DM_BINARY, "System.Binary", {}}};

std::uint64_t Word(const char* bytes) { return dm::Load<std::uint64_t>(bytes); }

std::uint64_t Mix(std::uint64_t hash) {
  hash *= 0x9E3779B97F4A7C15u;
  return hash ^ hash >> 32;
}

}  // namespace

std::uint64_t dm_registry_t::HashOf(std::string_view name) {
  const char* bytes = name.data();
  std::size_t left = name.size();
  std::uint64_t hash = left;
  if (left >= 8) {
    for (; left > 8; left -= 8, bytes += 8) hash = Mix(hash ^ Word(bytes));
    // The last eight bytes, some of them perhaps for the second time.
    return Mix(hash ^ Word(bytes + left - 8));
  }
  if (left >= 4) {
    const std::uint64_t first = dm::Load<std::uint32_t>(bytes);
    const std::uint64_t last = dm::Load<std::uint32_t>(bytes + left - 4);
    return Mix(Mix(hash ^ (first << 32 | last)));
  }
  for (; left > 0; --left) {
    hash = hash << 8 | static_cast<unsigned char>(*bytes++);
  }
  return Mix(Mix(hash));
}

const dm_registry_t::Slot* dm_registry_t::FindSlot(std::string_view name,
                                                   std::uint64_t hash) const {
  if (slots_.empty()) return nullptr;
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t place = hash & mask;; place = (place + 1) & mask) {
    const Slot& slot = slots_[place];
    if (slot.entry == nullptr) return nullptr;
    if (slot.hash == hash && slot.entry->first == name) return &slot;
  }
}

void dm_registry_t::Insert(std::uint64_t hash, Entry* entry) {
  const std::size_t mask = slots_.size() - 1;
  std::size_t place = hash & mask;
  while (slots_[place].entry != nullptr) place = (place + 1) & mask;
  slots_[place] = {hash, entry};
}

// Keeps the table at most half full with one more name in it.
void dm_registry_t::Grow() {
  if (2 * (entries_.size() + 1) <= slots_.size()) return;
  std::vector<Slot> old(slots_.empty() ? kFirstSlots : 2 * slots_.size());
  old.swap(slots_);
  for (const Slot& slot : old) {
    if (slot.entry != nullptr) Insert(slot.hash, slot.entry);
  }
}

bool dm_registry_t::Add(std::string_view name, void* metadata, bool replace) {
  if (name.empty() || !dm_o_is_metadata(metadata)) return false;
  const std::uint64_t hash = HashOf(name);
  if (const Slot* const slot = FindSlot(name, hash)) {
    if (!replace) return false;
    void* const old = slot->entry->second;
    slot->entry->second = metadata;
    dm::SealLayout(metadata);
    dm_o_inner_release(old);
    return true;
  }
  Grow();
  Insert(hash, &*entries_.emplace(name, metadata).first);
  dm::SealLayout(metadata);
  return true;
}

bool dm_registry_t::Alias(void* metadata, std::string_view name, bool replace) {
  if (!dm_o_is_metadata(metadata)) return false;
  // Counted first: the name may hold the only reference to this very object.
  dm_o_add_ref(metadata);
  bool added = false;
  try {
    added = Add(name, metadata, replace);
  } catch (...) {
    dm_o_inner_release(metadata);
    throw;
  }
  if (!added) dm_o_inner_release(metadata);
  return added;
}

bool dm_registry_t::AddStandard(dm_type_id_e type_id, std::string_view name,
                                bool replace) {
  if (name.empty() || (!replace && Find(name) != nullptr)) return false;
  void* const metadata =
      dm_o_new(DM_SIGN_STD_METADATA, dm_o_type_info_from_id(type_id));
  const bool added = metadata != nullptr && Alias(metadata, name, replace);
  dm_o_inner_release(metadata);
  return added;
}

void dm_registry_t::Remove(std::string_view name) {
  const Slot* const slot = FindSlot(name, HashOf(name));
  if (slot == nullptr) return;
  void* const metadata = slot->entry->second;
  EraseSlot(static_cast<std::size_t>(slot - slots_.data()));
  entries_.erase(entries_.find(name));
  dm_o_inner_release(metadata);
}

// Moves back whatever would no longer be found behind an empty place.
void dm_registry_t::EraseSlot(std::size_t place) {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t next = (place + 1) & mask; slots_[next].entry != nullptr;
       next = (next + 1) & mask) {
    const std::size_t home = slots_[next].hash & mask;
    if (((next - home) & mask) >= ((next - place) & mask)) {
      slots_[place] = slots_[next];
      place = next;
    }
  }
  slots_[place] = {};
}

void dm_registry_t::Clear() {
  Entries entries;
  entries.swap(entries_);
  slots_.clear();
  for (const Entry& entry : entries) dm_o_inner_release(entry.second);
  for (void*& standard : standard_) {
    standard = dm_o_assign(standard, nullptr);
  }
}

bool dm_registry_t::Reset() {
  Clear();
  for (const StandardName& row : kStandardNames) {
    if (!AddStandard(row.type_id, row.name, false)) return false;
    void*& slot = standard_[row.type_id];
    slot = dm_o_assign(slot, Find(row.name));
    for (const char* const alias : row.aliases) {
      if (alias != nullptr && !Alias(slot, alias, false)) return false;
    }
  }
  return true;
}
