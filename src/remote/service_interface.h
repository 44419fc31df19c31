#ifndef REMOTE_SERVICE_INTERFACE_H_
#define REMOTE_SERVICE_INTERFACE_H_

// The remote interface as C++. Only this header includes what slice2cpp makes.

// In this order.
// clang-format off
#include "remote/flat_tree_stream.h"
#include "slice/System.h"
// clang-format on

#endif  // REMOTE_SERVICE_INTERFACE_H_
