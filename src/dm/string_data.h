#ifndef DM_STRING_DATA_H_
#define DM_STRING_DATA_H_

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "dm/words.h"

// The data of a String has the size of a std::string and, where its address
// suits one, is one. At any other address, as a packed field may have it, no
// std::string can live. There the first byte is the length of a short text,
// which lies behind it with its NUL; or it is kTextElsewhere, and a pointer to
// a std::string on the heap follows.
//
// Any address tells by itself which of the two it is, so that the data of a
// String and a caller's std::string can both be copied from.
namespace dm {

inline constexpr unsigned char kTextElsewhere = 0xFF;

inline bool SuitsString(const void* data) {
  return reinterpret_cast<std::uintptr_t>(data) % alignof(std::string) == 0;
}

// Makes an empty text of data that are zero, which at most addresses they are
// already.
inline void ConstructStringAtZeros(void* data) {
  if (SuitsString(data)) new (data) std::string;
}

// Ends the text.
inline void DestroyStringAt(void* data) {
  if (SuitsString(data)) {
    std::destroy_at(std::launder(static_cast<std::string*>(data)));
  } else if (Load<unsigned char>(data) == kTextElsewhere) {
    delete Load<std::string*>(At(data, 1));
  }
}

// A NUL stands behind it. Good until the text changes.
std::string_view StringAt(const void* data);
// False when memory is short. The text may be the very one in the data.
bool AssignStringAt(void* data, std::string_view text);

}  // namespace dm

#endif  // DM_STRING_DATA_H_
