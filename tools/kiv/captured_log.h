#ifndef TOOLS_KIV_CAPTURED_LOG_H_
#define TOOLS_KIV_CAPTURED_LOG_H_

#include <filesystem>
#include <string>

namespace kiv_tool {

// Keeps the library's log out of the current folder while a command runs that
// belongs to no service, and says what was logged. Where no temporary folder
// can be made, the log stays where it is.
class CapturedLog {
 public:
  CapturedLog();
  ~CapturedLog();
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  // The entries up to now, as UTF-8 without control bytes.
  std::string Entries() const;

 private:
  std::filesystem::path folder_;  // empty: none
};

}  // namespace kiv_tool

#endif  // TOOLS_KIV_CAPTURED_LOG_H_
