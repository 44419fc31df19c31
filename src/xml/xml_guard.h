#ifndef XML_XML_GUARD_H_
#define XML_XML_GUARD_H_

#include <string>

// Exceptions of the XML library end here.
namespace kiv {

// Whether the XML platform runs and our transcoder with it. Without it nothing
// of the XML library may be called, not even to free what it made.
bool PlatformIsUp();

// For a catch block: what the exception at hand says.
std::string CurrentExceptionText();

// For a catch block: logs "<operation> Failed: <text>".
void LogCurrentException(const char* operation);
void LogRefused(const char* operation, const std::string& reason);

// Runs what may throw; false, and one entry in the log, when it did.
template <class Call>
bool Guarded(const char* operation, Call call) {
  try {
    return call();
  } catch (...) {
    LogCurrentException(operation);
    return false;
  }
}

// Logs that GlobalInit was not called and ends the process.
[[noreturn]] void EndWithoutPlatform(const char* operation,
                                     const std::string& text);
void RequirePlatform(const char* operation);

}  // namespace kiv

#endif  // XML_XML_GUARD_H_
