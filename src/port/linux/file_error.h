#ifndef PORT_LINUX_FILE_ERROR_H_
#define PORT_LINUX_FILE_ERROR_H_

#include <cerrno>

namespace kiv::port {

void SetLastError(int error);

// For `return Fail();` straight behind the call that failed.
inline bool Fail(int error = errno) {
  SetLastError(error);
  return false;
}

}  // namespace kiv::port

#endif  // PORT_LINUX_FILE_ERROR_H_
