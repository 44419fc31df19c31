#include "port/native_path.h"

#include <algorithm>

#include "util/cp936.h"
#include "util/gb_text.h"

namespace kiv::port {
namespace {

void DropLongPathPrefix(std::string& path) {
  if (path.starts_with("//?/UNC/"))
    path.erase(2, 6);
  else if (path.starts_with("//?/"))
    path.erase(0, 4);
}

}  // namespace

std::string SystemPath(const std::string& native_gb) {
  std::string path = native_gb;
  ReplaceAscii(path, '\\', '/');
  DropLongPathPrefix(path);
  // No name holds a NUL: the system would take the text before it for the path.
  std::replace(path.begin(), path.end(), '\0', '?');
  path = Cp936ToUtf8(path);
  // Left over from a pair that is no character. It separated nothing before,
  // so it must not now.
  std::replace(path.begin(), path.end(), '\\', '?');
  return path;
}

std::string LocalPath(const std::string& system_path) {
  // Here "\" may stand inside a name; in our texts it would split the name, and
  // a name such as "..\x" would lead out of its folder.
  std::string path = system_path;
  std::replace(path.begin(), path.end(), '\\', '?');
  return Utf8ToCp936(path);
}

char PathListSeparator() { return ':'; }

}  // namespace kiv::port
