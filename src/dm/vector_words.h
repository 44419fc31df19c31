#ifndef DM_VECTOR_WORDS_H_
#define DM_VECTOR_WORDS_H_

#include <cstddef>

#include "dm/layout.h"

namespace dm {

// The data of every vector: one buffer of the heap, used from begin to end. All
// three are null while there is none. The fourth word is the size of an
// element, 0 for a value vector whose elements have no type yet.
struct VectorWords {
  char* begin;
  char* end;
  char* capacity;
  std::size_t element_size;

  std::size_t used() const { return static_cast<std::size_t>(end - begin); }
  std::size_t room() const {
    return static_cast<std::size_t>(capacity - begin);
  }
  std::size_t count() const {
    return element_size == 0 ? 0 : used() / element_size;
  }
  // Null past the end. The comparison also keeps the product from wrapping.
  char* at(std::size_t index) const {
    return index < count() ? begin + index * element_size : nullptr;
  }
};

inline VectorWords VectorAt(const void* data) {
  return Load<VectorWords>(data);
}
inline VectorWords VectorOf(const void* object) {
  return VectorAt(DataOf(object));
}
inline void StoreVector(void* object, const VectorWords& words) {
  Store<VectorWords>(DataOf(object), words);
}

// Makes the buffer hold `bytes`; never gives memory back. False when memory is
// short, with the words as they were.
bool Reserve(VectorWords& words, std::size_t bytes);
// The same with space to grow into, for appending.
bool ReserveToGrow(VectorWords& words, std::size_t bytes);

}  // namespace dm

#endif  // DM_VECTOR_WORDS_H_
