#include "mq/module_messages.h"

namespace kiv::module::message {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

std::string InvalidFormat(const std::string& description) {
  return "Module::create Failed, '" + description + "' 无效的格式。";
}

// Two blanks behind the comma here and below: operators search for these texts.
std::string EmptyFunction() {
  return "Module::create Failed,  func 不允许为空。";
}

std::string FileNotFound(const std::string& path) {
  return "Module::create Failed,  '" + path + "' 文件没找到。";
}

std::string LibraryNotLoaded(const std::string& file) {
  return "DllFileModule 构造函数无法装载 '" + file + "'";
}

std::string FunctionNotFound(const std::string& file,
                             const std::string& function) {
  return "DllFileModule 构造函数无法装载 '" + file + "' 文件中的 '" + function +
         "'函数";
}

std::string ProcessorThrew() {
  return "DllFileModule::process_mem 在执行客户代码时遇到异常";
}

}  // namespace kiv::module::message
