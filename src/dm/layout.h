#ifndef DM_LAYOUT_H_
#define DM_LAYOUT_H_

#include <cstdint>

#include "dm/type_info.h"
#include "dm/words.h"

// Where the parts of an object lie, and the records its words lead to.
namespace dm {

inline constexpr std::size_t kCountOffset = sizeof(dm_sign);
inline constexpr std::size_t kHeaderOffset = 2 * sizeof(std::uint32_t);
inline constexpr unsigned kTypeIds = DM_BINARY + 1;

// By id; the row of the reserved id is empty and never handed out.
extern const dm_type_info_t kTypeTable[kTypeIds];

inline const dm_type_info_t* InfoFromId(unsigned id) {
  constexpr unsigned kReserved = 12;
  return id < kTypeIds && id != kReserved ? &kTypeTable[id] : nullptr;
}

inline unsigned TypeIdOf(dm_sign sign) { return sign & 0xFF; }
inline unsigned DeletorIdOf(dm_sign sign) { return sign >> 8 & 0xF; }

inline dm_sign SignOf(const void* object) { return Load<dm_sign>(object); }

inline unsigned TypeIdOfObject(const void* object) {
  return TypeIdOf(SignOf(object));
}

// Null for null and for an object of an unknown type.
inline const dm_type_info_t* InfoOf(const void* object) {
  return object == nullptr ? nullptr : InfoFromId(TypeIdOfObject(object));
}

inline bool IsA(const void* object, dm_type_id_e id) {
  return object != nullptr && TypeIdOfObject(object) == id;
}

inline const dm_deletor_info_t* DeletorFromSign(dm_sign sign) {
  return dm_o_deletor_info_from_id(
      static_cast<dm_deletor_id_e>(DeletorIdOf(sign)));
}

// What the header infos of the table say, without asking them.
inline std::size_t HeaderSizeOf(unsigned type_id) {
  return type_id == DM_VALUE_VECTOR || type_id == DM_OBJECT_VECTOR ||
                 type_id == DM_STRUCT
             ? sizeof(void*)
             : 0;
}

inline void* HeaderOf(void* object) { return At(object, kHeaderOffset); }
inline const void* HeaderOf(const void* object) {
  return At(object, kHeaderOffset);
}

inline std::size_t DataOffsetOf(const void* object) {
  return kHeaderOffset + HeaderSizeOf(TypeIdOfObject(object));
}
inline void* DataOf(void* object) { return At(object, DataOffsetOf(object)); }
inline const void* DataOf(const void* object) {
  return At(object, DataOffsetOf(object));
}

// The type word, and a count of one owner.
inline void WriteWords(void* object, dm_sign sign) {
  Store<dm_sign>(object, sign);
  Store<std::int32_t>(At(object, kCountOffset), 1);
}

}  // namespace dm

#endif  // DM_LAYOUT_H_
