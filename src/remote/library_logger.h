#ifndef REMOTE_LIBRARY_LOGGER_H_
#define REMOTE_LIBRARY_LOGGER_H_

#include <Ice/Logger.h>

#include <string>

namespace kiv::remote {

// Ice's own messages, in the daily log instead of on standard error.
class LibraryLogger final : public Ice::Logger {
 public:
  explicit LibraryLogger(std::string prefix = "")
      : prefix_(std::move(prefix)) {}

  void print(const std::string& message) override;
  void trace(const std::string& category, const std::string& message) override;
  void warning(const std::string& message) override;
  void error(const std::string& message) override;
  std::string getPrefix() override { return prefix_; }
  Ice::LoggerPtr cloneWithPrefix(const std::string& prefix) override;

 private:
  const std::string prefix_;
};

}  // namespace kiv::remote

#endif  // REMOTE_LIBRARY_LOGGER_H_
