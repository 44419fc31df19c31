#include "kiv/store/column.h"

namespace kiv::store {

// Not a test of one bit: programs rely on columns with further attributes being
// told as ones that want a value.
bool Column::IsAllowNull() const {
  return GetAttributes() == ATTRIBUTE_NULLABLE;
}

}  // namespace kiv::store
