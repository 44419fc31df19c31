#include "remote/library_logger.h"

#include "remote/wire_text.h"
#include "util/log_entry.h"

namespace kiv::remote {
namespace {

constexpr char kSource[] = "rmt";

std::string Entry(const std::string& what, const std::string& message) {
  return "Ice: " + what + Shown(FromWire(message));
}

}  // namespace

void LibraryLogger::print(const std::string& message) {
  LogPlain(kSource, Entry("", message));
}

void LibraryLogger::trace(const std::string& category,
                          const std::string& message) {
  LogPlain(kSource, Entry(category + ": ", message));
}

void LibraryLogger::warning(const std::string& message) {
  LogPlain(kSource, Entry("warning: ", message));
}

void LibraryLogger::error(const std::string& message) {
  LogError(kSource, Entry("", message));
}

Ice::LoggerPtr LibraryLogger::cloneWithPrefix(const std::string& prefix) {
  return new LibraryLogger(prefix);
}

}  // namespace kiv::remote
