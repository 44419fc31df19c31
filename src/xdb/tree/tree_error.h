#ifndef XDB_TREE_TREE_ERROR_H_
#define XDB_TREE_TREE_ERROR_H_

#include <stdexcept>
#include <string>

namespace kiv::xdb {

// Stored bytes are not what this library writes.
class TreeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// They name a path that the dictionary does not hold, or not yet: it may have
// come in through another process.
class UnknownPath : public TreeError {
 public:
  using TreeError::TreeError;
};

[[noreturn]] inline void ThrowDamaged(const char* reason) {
  throw TreeError(reason);
}

}  // namespace kiv::xdb

#endif  // XDB_TREE_TREE_ERROR_H_
