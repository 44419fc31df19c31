#include "kiv/module/module.h"

#include <cstring>
#include <exception>
#include <string>

#include "kiv/file_system_path.h"
#include "kiv/module/dll_file_module.h"
#include "kiv/parser/parser.h"
#include "kiv/strings.h"
#include "mq/module_messages.h"
#include "port/shared_library.h"
#include "util/log_entry.h"

namespace kiv::module {
namespace {

constexpr char kSource[] = "module";
constexpr char kProtocol[] = "dll";

// A name that may mean two files is there: loading it will say which two.
bool IsThere(const std::string& native_path) {
  std::string found;
  std::string reason;
  return port::FindModule(native_path, found, reason) !=
         port::ModuleLookup::Missing;
}

std::shared_ptr<Module> Create(const char* description) {
  const char* end = description + std::strlen(description);
  std::string protocol;
  std::string library;
  std::string function;
  std::string rest;
  unsigned consumed = 0;
  if (!parser::Parser::ParseLocationExpression(
          description, end, protocol, library, function, rest, consumed, false))
    return nullptr;
  if (protocol != kProtocol) {
    LogError(kSource, message::InvalidFormat(Shown(description)));
    return nullptr;
  }
  toModulePath(library, false);
  if (function.empty()) {
    LogError(kSource, message::EmptyFunction());
    return nullptr;
  }
  toGenericPath(library, false);
  const FileSystemPath path(library, FileSystemPath::native);
  const std::string file = path.native_file_string();
  if (!IsThere(file)) {
    LogError(kSource, message::FileNotFound(Shown(library)));
    return nullptr;
  }
  return std::make_shared<DllFileModule>(file.c_str(), function.c_str());
}

}  // namespace

std::shared_ptr<Module> Module::create(const char* description) {
  if (description == nullptr) return nullptr;
  try {
    return Create(description);
  } catch (const std::exception& fault) {
    LogError(kSource, std::string("Module::create Failed: ") + fault.what());
    return nullptr;
  }
}

bool Module::process_mem(const char* /*data*/, int /*length*/,
                         void* /*context*/) {
  return false;
}

}  // namespace kiv::module
