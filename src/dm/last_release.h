#ifndef DM_LAST_RELEASE_H_
#define DM_LAST_RELEASE_H_

#include "dm/layout.h"
#include "dm/reference_count.h"

namespace dm {

// Destroys an object whose count has reached 0 and gives its memory back.
//
// What holds references may be the head of a chain as long as memory lasts, so
// the links do not release each other on the stack beyond a fixed depth: from
// there on they wait until the outermost release takes them in turn.
void AfterLastRelease(void* object);

// As dm_o_add_ref and dm_o_inner_release, without a call of their own; never
// null.
inline void AddReference(void* object) {
  IncrementCount(At(object, kCountOffset));
}
inline void ReleaseReference(void* object) {
  if (DecrementCount(At(object, kCountOffset)) == 0) AfterLastRelease(object);
}

}  // namespace dm

#endif  // DM_LAST_RELEASE_H_
