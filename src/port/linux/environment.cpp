#include "port/environment.h"

#include <cstdlib>
#include <mutex>
#include <string_view>

#include "port/native_path.h"
#include "util/cp936.h"
#include "util/utf8.h"

namespace kiv::port {
namespace {

// setenv may move the table that getenv reads. Never destroyed: other threads
// may still ask while the process ends.
std::mutex& TableMutex() {
  static auto& mutex = *new std::mutex;
  return mutex;
}

std::string ToSystem(const std::string& text_gb) {
  return IsCp936(text_gb) ? Cp936ToUtf8(text_gb) : text_gb;
}

std::string FromSystem(const std::string& text_utf8) {
  return IsUtf8(text_utf8) ? Utf8ToCp936(text_utf8) : text_utf8;
}

}  // namespace

bool GetEnvironmentVariableA(const std::string& name, std::string& value) {
  const std::string system_name = ToSystem(name);
  std::string found;
  {
    const std::lock_guard lock(TableMutex());
    const char* const text = std::getenv(system_name.c_str());
    if (text == nullptr) return false;
    found = text;
  }
  value = FromSystem(found);
  return true;
}

bool SetEnvironmentVariableA(const std::string& name,
                             const std::string& value) {
  const std::string system_name = ToSystem(name);
  const std::string system_value = ToSystem(value);
  const std::lock_guard lock(TableMutex());
  return setenv(system_name.c_str(), system_value.c_str(), 1) == 0;
}

bool PrependFolderA(const std::string& name, const std::string& native_folder) {
  const std::string system_name = ToSystem(name);
  std::string list = SystemPath(native_folder);
  if (list.find(':') != std::string::npos) return false;
  const std::lock_guard lock(TableMutex());
  const char* const old = std::getenv(system_name.c_str());
  if (old != nullptr && *old != '\0') {
    // As text, not as an entry: a folder above one that is listed counts as
    // there.
    if (std::string_view(old).find(list) != std::string_view::npos) return true;
    list.append(1, ':').append(old);
  }
  return setenv(system_name.c_str(), list.c_str(), 1) == 0;
}

}  // namespace kiv::port
