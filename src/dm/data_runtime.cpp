#include "dm/data_runtime.h"

#include "dm/type_registry.h"

namespace kiv {

bool StartData() { return dm::StartRegistry(); }

void StopData() { dm::StopRegistry(); }

}  // namespace kiv
