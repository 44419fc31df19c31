#ifndef XDB_CONTAINER_CONTAINER_IMPL_H_
#define XDB_CONTAINER_CONTAINER_IMPL_H_

#include <memory>

#include "xdb/container/container.h"
#include "xdb/container/container_core.h"

namespace kiv::xdb {

class Container::Impl {
 public:
  std::shared_ptr<ContainerCore> core;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_CONTAINER_IMPL_H_
