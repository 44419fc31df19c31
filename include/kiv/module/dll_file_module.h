#ifndef KIV_MODULE_DLL_FILE_MODULE_H_
#define KIV_MODULE_DLL_FILE_MODULE_H_

#include <memory>
#include <string>

#include "kiv/export.h"
#include "kiv/module/module.h"

namespace kiv::port {
class SharedLibrary;
}

namespace kiv::module {

// A function of a shared library. Every module holds its own handle of the
// library, which stays loaded as long as the module lives.
class KIV_API DllFileModule final : public Module {
 public:
  // `file` is native path text. Never throws: what went wrong is logged.
  DllFileModule(const char* file, const char* function);
  ~DllFileModule() override;
  DllFileModule(const DllFileModule&) = delete;
  DllFileModule& operator=(const DllFileModule&) = delete;

  // Every exception of the function ends here: logged, false.
  bool process_mem(const char* data, int length, void* context) override;

  // Empty when the function is ready to be called, else why it is not, in the
  // local encoding.
  const std::string& LoadError() const { return load_error_; }

 private:
  std::unique_ptr<port::SharedLibrary> library_;
  ProcessorFunction entry_ = nullptr;
  std::string load_error_;
};

}  // namespace kiv::module

#endif  // KIV_MODULE_DLL_FILE_MODULE_H_
