#ifndef DM_LAYOUT_H_
#define DM_LAYOUT_H_

#include <cstdint>
#include <cstdlib>

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

extern const dm_deletor_info_t kDeletorTable[DM_DELETOR_PLAIN + 1];

inline const dm_deletor_info_t* DeletorFromSign(dm_sign sign) {
  const unsigned id = DeletorIdOf(sign);
  return id <= DM_DELETOR_PLAIN ? &kDeletorTable[id] : nullptr;
}

// Whether memory comes from malloc and goes to free.
inline bool IsHeap(dm_sign sign) {
  const unsigned id = DeletorIdOf(sign);
  return id == DM_DELETOR_DEFAULT || id == DM_DELETOR_PLAIN;
}

// The memory of an object, to where its deletor takes it.
inline void GiveBack(void* object) {
  if (IsHeap(SignOf(object))) std::free(object);
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

// Int32 to Double: the objects made most often, and the simplest. What the
// table says of them is said again here, for the shortest way through their
// life: no header, data of zeros, nothing to end.
constexpr bool IsNumber(unsigned type_id) { return type_id <= DM_DOUBLE; }

// Sizes of the data of plain values that own nothing; 0 for other types.
inline constexpr std::uint8_t kPlainSizes[kTypeIds] = {
    4, 2, 8, 1, 1, 4, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, sizeof(GUID), 8};

constexpr std::size_t PlainSize(unsigned type_id) {
  return type_id < kTypeIds ? kPlainSizes[type_id] : 0;
}

// Such data, without the call that a size known late would take.
inline void CopyPlain(void* to, const void* from, std::size_t size) {
  switch (size) {
    case 1:
      return Store<std::uint8_t>(to, Load<std::uint8_t>(from));
    case 2:
      return Store<std::uint16_t>(to, Load<std::uint16_t>(from));
    case 4:
      return Store<std::uint32_t>(to, Load<std::uint32_t>(from));
    case 8:
      return Store<std::uint64_t>(to, Load<std::uint64_t>(from));
    default:
      return Store<GUID>(to, Load<GUID>(from));
  }
}

// The type word, and a count of one owner.
inline void WriteWords(void* object, dm_sign sign) {
  Store<dm_sign>(object, sign);
  Store<std::int32_t>(At(object, kCountOffset), 1);
}

}  // namespace dm

#endif  // DM_LAYOUT_H_
