#include "port/environment.h"

#include <cstdlib>
#include <mutex>

namespace kiv::port {
namespace {

// setenv may move the table that getenv reads. Never destroyed: other threads
// may still ask while the process ends.
std::mutex& TableMutex() {
  static auto& mutex = *new std::mutex;
  return mutex;
}

}  // namespace

bool GetEnvironmentUtf8(const std::string& name, std::string& value) {
  const std::lock_guard lock(TableMutex());
  const char* const text = std::getenv(name.c_str());
  if (text == nullptr) return false;
  value = text;
  return true;
}

bool SetEnvironmentUtf8(const std::string& name, const std::string& value) {
  const std::lock_guard lock(TableMutex());
  return ::setenv(name.c_str(), value.c_str(), 1) == 0;
}

}  // namespace kiv::port
