#ifndef UTIL_LOG_MESSAGES_H_
#define UTIL_LOG_MESSAGES_H_

#include <string>

// The log's own Chinese texts, in the local encoding.
namespace kiv::message {

extern const char kError[];
extern const char kFatal[];
extern const char kWarning[];
extern const char kSevereWarning[];
extern const char kInformation[];

// What stands between a message and the text of a C++ exception.
extern const char kCppException[];
// Stands before the code of a COM failure that carries no information.
extern const char kHresultError[];

// The first line after a fault. `path` as Shown gives it.
std::string EntriesLost(const std::string& path, unsigned long long lost);

}  // namespace kiv::message

#endif  // UTIL_LOG_MESSAGES_H_
