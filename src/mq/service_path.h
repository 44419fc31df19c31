#ifndef MQ_SERVICE_PATH_H_
#define MQ_SERVICE_PATH_H_

#include "kiv/file_system.h"

namespace kiv {

// What lies in the service's folder, beside the current one: a program of a
// service works in bin/.
inline FileSystemPath ServicePath(const char* name) {
  return FileSystem::current_path().branch_path() / FileSystemPath(name);
}

}  // namespace kiv

#endif  // MQ_SERVICE_PATH_H_
