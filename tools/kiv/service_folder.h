#ifndef TOOLS_KIV_SERVICE_FOLDER_H_
#define TOOLS_KIV_SERVICE_FOLDER_H_

#include <filesystem>
#include <optional>
#include <string>

namespace kiv_tool {

// A service lives in a folder with bin/ (its working folder, where the log is
// written) beside conf/ (its configuration).
struct ServiceFolder {
  std::filesystem::path bin;
  std::filesystem::path conf;
};

// From the service folder or its bin/. Nothing, and `reason` filled, when the
// folder has no such shape.
std::optional<ServiceFolder> FindServiceFolder(
    const std::filesystem::path& folder, std::string& reason);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_SERVICE_FOLDER_H_
