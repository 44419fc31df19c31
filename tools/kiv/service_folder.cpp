#include "service_folder.h"

namespace kiv_tool {
namespace fs = std::filesystem;

std::optional<ServiceFolder> FindServiceFolder(const fs::path& folder,
                                               std::string& reason) {
  std::error_code error;
  const fs::path whole = fs::weakly_canonical(folder, error);
  if (error || !fs::is_directory(whole, error)) {
    reason = folder.string() + " is not a folder";
    return std::nullopt;
  }
  if (fs::is_directory(whole / "bin", error)) {
    return ServiceFolder{whole / "bin", whole / "conf"};
  }
  if (fs::is_directory(whole.parent_path() / "conf", error)) {
    return ServiceFolder{whole, whole.parent_path() / "conf"};
  }
  reason =
      folder.string() +
      " is no service folder: it needs bin/ beside conf/; kiv init makes one";
  return std::nullopt;
}

}  // namespace kiv_tool
