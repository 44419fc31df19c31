#include "port/native_path.h"

#include <algorithm>
#include <string_view>

#include "kiv/encoding.h"

namespace kiv::port {
namespace {

bool IsAscii(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) >= 0x80;
  });
}

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
  std::string path = native_gb;
  // No name holds a NUL; the system would take the text before it for the path.
  std::replace(path.begin(), path.end(), '\0', '?');
  if (!IsAscii(path))
    path = stringToUtf8(path.c_str(), static_cast<unsigned>(path.size())).get();
  std::replace(path.begin(), path.end(), '\\', '/');
  DropLongPathPrefix(path);
  return path;
}

std::string LocalPath(const std::string& system_path) {
  // Here "\" may stand inside a name; in our texts it would split the name, and
  // a name such as "..\x" would lead out of its folder.
  std::string path = system_path;
  std::replace(path.begin(), path.end(), '\\', '?');
  if (IsAscii(path)) return path;
  return utf8ToString(path.c_str(), static_cast<unsigned>(path.size())).get();
}

}  // namespace kiv::port
