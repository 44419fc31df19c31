#include "mq/module_description.h"

#include "kiv/file_system_path.h"
#include "kiv/parser/parser.h"
#include "kiv/strings.h"
#include "port/shared_library.h"

namespace kiv::module {
namespace {

constexpr char kProtocol[] = "dll";

// A name that may mean two files is there: loading it will say which two.
bool IsThere(const std::string& native_path) {
  std::string found;
  std::string reason;
  return port::FindModule(native_path, found, reason) !=
         port::ModuleLookup::Missing;
}

}  // namespace

ModuleDescription ReadModuleDescription(const std::string& text) {
  using Fault = ModuleDescription::Fault;
  ModuleDescription description;
  std::string protocol;
  std::string rest;
  unsigned consumed = 0;
  if (!parser::Parser::ParseLocationExpression(
          text.data(), text.data() + text.size(), protocol, description.library,
          description.function, rest, consumed, false)) {
    description.fault = Fault::NoLocation;
    return description;
  }
  if (protocol != kProtocol) {
    description.fault = Fault::Protocol;
    return description;
  }
  toModulePath(description.library, false);
  if (description.function.empty()) {
    description.fault = Fault::NoFunction;
    return description;
  }
  toGenericPath(description.library, false);
  const FileSystemPath path(description.library, FileSystemPath::native);
  description.file = path.native_file_string();
  if (!IsThere(description.file)) description.fault = Fault::NoFile;
  return description;
}

}  // namespace kiv::module
