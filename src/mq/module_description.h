#ifndef MQ_MODULE_DESCRIPTION_H_
#define MQ_MODULE_DESCRIPTION_H_

#include <string>

namespace kiv::module {

// What a processor description, dll://library:function, means.
struct ModuleDescription {
  // The first thing that is wrong with it.
  enum class Fault {
    None,
    NoLocation,  // does not parse as protocol://location
    Protocol,    // parses, but is no "dll"
    NoFunction,
    NoFile
  };
  Fault fault = Fault::None;
  std::string library;  // normalised: upper case, "/", with its suffix
  std::string file;     // the same as native text
  std::string function;
};

// Looks for the file, but does not open it.
ModuleDescription ReadModuleDescription(const std::string& text);

}  // namespace kiv::module

#endif  // MQ_MODULE_DESCRIPTION_H_
