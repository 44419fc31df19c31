#include "xdb/container_name.h"

#include "kiv/file_system_path.h"
#include "kiv/hex.h"
#include "kiv/strings.h"
#include "util/gb_text.h"

namespace kiv::xdb {
namespace {

constexpr char kHexMark[] = "0x";
constexpr std::size_t kHexMarkSize = 2;

FileSystemPath NativePath(const std::string& text) {
  return {text, FileSystemPath::native};
}

}  // namespace

bool FileOfContainer(const std::string& name, std::string& file) {
  const FileSystemPath path = NativePath(name);
  if (StartsWithIgnoreCase(path.string(), kHexMark)) return false;
  std::string leaf = path.leaf();
  // A name that folds away, such as a/.. , leaves no component to name a file.
  if (leaf.empty() || leaf == "/") return false;

  const auto size = static_cast<unsigned>(leaf.size());
  if (isNotEnglish(leaf.data(), size)) {
    std::string digits;
    if (!bytesToHex(reinterpret_cast<const unsigned char*>(leaf.data()), size,
                    digits))
      return false;
    leaf = kHexMark + digits;
  }
  file = (path.branch_path() / NativePath(leaf + kContainerSuffix))
             .native_file_string();
  return true;
}

std::string ContainerOfFile(const std::string& file) {
  if (file.empty()) return "";
  const FileSystemPath path = NativePath(file);
  std::string leaf = path.leaf_name_not_ext();
  if (leaf.size() > kHexMarkSize && StartsWithIgnoreCase(leaf, kHexMark)) {
    std::string decoded;
    if (!hexToString(leaf.data() + kHexMarkSize,
                     static_cast<unsigned>(leaf.size() - kHexMarkSize),
                     decoded))
      return "";
    leaf = decoded;
  }
  return (path.branch_path() / NativePath(leaf)).native_file_string();
}

}  // namespace kiv::xdb
