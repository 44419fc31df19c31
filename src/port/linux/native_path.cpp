#include "port/native_path.h"

#include <algorithm>

#include "util/cp936.h"

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
  // Converted before the separators are looked at: in UTF-8 every byte 0x5C is
  // a "\", in the local encoding it may be the second half of a character.
  std::string path = Cp936ToUtf8(native_gb);
  std::replace(path.begin(), path.end(), '\\', '/');
  // No name holds a NUL: the system would take the text before it for the path.
  std::replace(path.begin(), path.end(), '\0', '?');
  DropLongPathPrefix(path);
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
