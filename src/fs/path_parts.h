#ifndef FS_PATH_PARTS_H_
#define FS_PATH_PARTS_H_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

// Where the parts of a canonical path lie in its text. "/", ":" and "." are
// never the second byte of a character, so bytes may be compared.
namespace kiv {

// Longer than the two "/": "//" alone names no server.
inline bool IsNetworkPath(std::string_view path) {
  return path.size() > 2 && path[0] == '/' && path[1] == '/';
}

inline bool IsInside(std::string_view part, std::string_view whole) {
  return !std::less<>()(part.data(), whole.data()) &&
         std::less<>()(part.data(), whole.data() + whole.size());
}

// "c:", "//server"; 0 when there is none.
std::size_t RootNameSize(std::string_view path);
bool HasRootDirectory(std::string_view path);
// Behind the root name and the "/" that follows it as the root directory.
std::size_t RelativePosition(std::string_view path);
std::size_t LeafPosition(std::string_view path);
std::size_t BranchSize(std::string_view path);

}  // namespace kiv

#endif  // FS_PATH_PARTS_H_
