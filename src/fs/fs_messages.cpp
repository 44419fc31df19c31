#include "fs_messages.h"

namespace kiv::message {
namespace {

static_assert(static_cast<unsigned char>("错"[0]) == 0xB4,
              "compile this file with the GB2312 execution charset");

constexpr const char* kAppend = "FileSystemPath::m_path_append Failed: ";

}  // namespace

std::string InvalidName(std::string_view name, std::string_view source) {
  return std::string(kAppend) + "无效的 name (" + std::string(name) +
         ") 在路径 (" + std::string(source) + ") 中。";
}

// Readers of this text know it without the closing parenthesis.
std::string InvalidPathSyntax(std::string_view source) {
  return std::string(kAppend) + "无效的路径语法 (" + std::string(source) + "。";
}

}  // namespace kiv::message
