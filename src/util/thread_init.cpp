#include "kiv/startup.h"

namespace kiv {

ThreadInit::ThreadInit() = default;
ThreadInit::~ThreadInit() = default;

}  // namespace kiv
