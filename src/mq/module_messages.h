#ifndef MQ_MODULE_MESSAGES_H_
#define MQ_MODULE_MESSAGES_H_

#include <string>

// The texts of processor modules, in the local encoding. Values as Shown gives
// them.
namespace kiv::module::message {

std::string InvalidFormat(const std::string& description);
std::string EmptyFunction();
std::string FileNotFound(const std::string& path);
std::string LibraryNotLoaded(const std::string& file);
std::string FunctionNotFound(const std::string& file,
                             const std::string& function);
std::string ProcessorThrew();

}  // namespace kiv::module::message

#endif  // MQ_MODULE_MESSAGES_H_
