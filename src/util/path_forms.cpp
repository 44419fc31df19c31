#include <cstring>

#include "kiv/strings.h"
#include "util/gb_text.h"

namespace kiv {

std::string& toOsPath(std::string& path, bool keep_case) {
  ReplaceAscii(path, '/', '\\');
  if (!keep_case) UpperAscii(path);
  return path;
}

std::string& toGenericPath(std::string& path, bool keep_case) {
  ReplaceAscii(path, '\\', '/');
  if (!keep_case) UpperAscii(path);
  return path;
}

std::string& toModulePath(std::string& path, bool) {
  constexpr std::string_view kSuffix = ".dll";
  const bool has_suffix =
      path.size() >= kSuffix.size() &&
      EqualIgnoreCase(
          std::string_view(path).substr(path.size() - kSuffix.size()), kSuffix);
  if (!has_suffix) path += kSuffix;
  return toGenericPath(path, false);
}

void Fix_GetModuleFileName_Bug(char* path) {
  constexpr std::string_view kLongPathPrefix = "\\\\?\\";
  if (path == nullptr || !std::string_view(path).starts_with(kLongPathPrefix))
    return;
  const char* const rest = path + kLongPathPrefix.size();
  std::memmove(path, rest, std::strlen(rest) + 1);
}

}  // namespace kiv
