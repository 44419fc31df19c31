#include "kiv/startup.h"

#include <mutex>

#include "dm/data_runtime.h"
#include "rmt/startup.h"
#include "util/log_entry.h"
#include "util/runtime.h"

namespace kiv {
namespace {

struct Startup {
  std::recursive_mutex mutex;
  int counter = 0;  // set, never incremented, by GlobalInit
};

// Made on first use: GlobalInit may run from another library's initialisers.
Startup& State() {
  static Startup startup;
  return startup;
}

}  // namespace

void GlobalInit() {
  Startup& startup = State();
  const std::lock_guard lock(startup.mutex);
  if (startup.counter != 0) return;
  startup.counter = 1;
  StartValues();
  if (!StartData()) {
    LogFatal("sharelib::util",
             "The data model cannot be started: a standard type name could not "
             "be registered");
  }
}

void GlobalUninit() {
  Startup& startup = State();
  const std::lock_guard lock(startup.mutex);
  // Goes below zero on purpose: one call undoes any number of GlobalInit calls,
  // and one too many disables the next GlobalInit.
  if (startup.counter-- != 1) return;
  StopData();
  StopValues();
}

}  // namespace kiv

void rmt_global_init(void) { kiv::GlobalInit(); }

void rmt_global_uninit(void) { kiv::GlobalUninit(); }
