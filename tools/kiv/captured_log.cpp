#include "captured_log.h"

#include <stdlib.h>

#include <fstream>

#include "kiv/encoding.h"
#include "kiv/log.h"
#include "terminal.h"

namespace kiv_tool {

namespace fs = std::filesystem;

CapturedLog::CapturedLog() {
  std::error_code error;
  std::string folder = (fs::temp_directory_path(error) / "kiv-XXXXXX").string();
  if (error || ::mkdtemp(folder.data()) == nullptr) return;
  folder_ = folder;
  kiv::Log::Instance().Open(
      kiv::FileSystemPath(kiv::utf8ToString(folder.c_str(), 0).get()), true);
}

CapturedLog::~CapturedLog() {
  if (folder_.empty()) return;
  kiv::Log::Instance().Close();
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

std::string CapturedLog::Entries() const {
  if (folder_.empty()) return "";
  kiv::Log::Instance().Flush();
  std::string entries;
  std::error_code error;
  for (const auto& file : fs::directory_iterator(folder_, error)) {
    std::ifstream stream(file.path(), std::ios::binary);
    for (std::string line; std::getline(stream, line);) {
      entries += Printable(Utf8(line)) + '\n';
    }
  }
  return entries;
}

}  // namespace kiv_tool
