#include "kiv/module/dll_file_module.h"

#include <cxxabi.h>

#include <exception>

#include "mq/module_messages.h"
#include "mq/processor_fault.h"
#include "port/shared_library.h"
#include "util/log_entry.h"

namespace kiv::module {
namespace {

constexpr char kSource[] = "module";

std::string WithReason(const std::string& text, const std::string& reason) {
  return text + ": " + Shown(reason);
}

}  // namespace

DllFileModule::DllFileModule(const char* file, const char* function) {
  const std::string file_name = file != nullptr ? file : "";
  const std::string function_name = function != nullptr ? function : "";
  library_ = port::SharedLibrary::Open(file_name, load_error_);
  if (library_ == nullptr) {
    LogError(kSource, WithReason(message::LibraryNotLoaded(Shown(file_name)),
                                 load_error_));
    return;
  }
  void* symbol = library_->Symbol(function_name, load_error_);
  if (symbol == nullptr) {
    LogError(kSource, WithReason(message::FunctionNotFound(
                                     Shown(file_name), Shown(function_name)),
                                 load_error_));
    return;
  }
  entry_ = reinterpret_cast<ProcessorFunction>(symbol);
}

DllFileModule::~DllFileModule() = default;

// There is no object behind a forced unwind; the reference to it is never used.
__attribute__((no_sanitize("null"))) bool DllFileModule::process_mem(
    const char* data, int length, void* context) {
  if (entry_ == nullptr) {
    SetProcessorFault(load_error_);
    return false;
  }
  try {
    return entry_(data, length, context);
  } catch (const std::exception& fault) {
    SetProcessorFault(std::string("it threw: ") + fault.what());
    LogError(kSource, WithReason(message::ProcessorThrew(), fault.what()));
  } catch (abi::__forced_unwind&) {
    // No exception, but the thread being cancelled: it must not end here.
    throw;
  } catch (...) {
    SetProcessorFault("it threw something unknown");
    LogError(kSource, message::ProcessorThrew());
  }
  return false;
}

}  // namespace kiv::module
