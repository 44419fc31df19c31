#include "kiv/module/module.h"

#include <exception>
#include <string>

#include "kiv/module/dll_file_module.h"
#include "mq/isolated_module.h"
#include "mq/module_description.h"
#include "mq/module_messages.h"
#include "util/log_entry.h"

namespace kiv::module {
namespace {

constexpr char kSource[] = "module";

std::shared_ptr<Module> Create(const char* text, const Isolation& isolation,
                               const std::string& queue_text) {
  using Fault = ModuleDescription::Fault;
  const ModuleDescription description = ReadModuleDescription(text);
  switch (description.fault) {
    case Fault::NoLocation:
      return nullptr;
    case Fault::Protocol:
      LogError(kSource, message::InvalidFormat(Shown(text)));
      return nullptr;
    case Fault::NoFunction:
      LogError(kSource, message::EmptyFunction());
      return nullptr;
    case Fault::NoFile:
      LogError(kSource, message::FileNotFound(Shown(description.library)));
      return nullptr;
    case Fault::None:
      break;
  }
  if (isolation.is_isolated)
    return std::make_shared<IsolatedModule>(
        description.file, description.function, isolation, queue_text);
  return std::make_shared<DllFileModule>(description.file.c_str(),
                                         description.function.c_str());
}

}  // namespace

std::shared_ptr<Module> CreateModule(const std::string& description,
                                     const Isolation& isolation,
                                     const std::string& queue_text) {
  try {
    return Create(description.c_str(), isolation, queue_text);
  } catch (const std::exception& fault) {
    LogError(kSource, "Module::create Failed: " + Shown(fault.what()));
    return nullptr;
  }
}

std::shared_ptr<Module> Module::create(const char* description) {
  if (description == nullptr) return nullptr;
  return CreateModule(description, {}, "");
}

bool Module::process_mem(const char* /*data*/, int /*length*/,
                         void* /*context*/) {
  return false;
}

}  // namespace kiv::module
