#ifndef REMOTE_CLIENT_FILE_H_
#define REMOTE_CLIENT_FILE_H_

#include <string>

#include "rmt/failure.h"
#include "rmt/service_info.h"

// ../conf/client.xml: a record for every named service.
namespace kiv::remote {

inline constexpr char kClientFile[] = "../conf/client.xml";
// Elements below the root, and the key.
inline constexpr char kServices[] = "services";
inline constexpr char kService[] = "service";
inline constexpr char kName[] = "name";

// The record with what an element may say beyond it.
struct ServiceRecord {
  RemoteServiceInfo info{};
  std::string endpoint;  // empty: not said
  int timeout_ms = 0;    // 0: not said
};

// Whether every text of a caller's record has its NUL.
bool EndsWithinItsFields(const RemoteServiceInfo& info);

// False, with the reason kept and logged under the function's name and `out`
// untouched, when there is no such service or its record is not good.
bool ReadService(const char* function, const char* name, ServiceRecord& out);

// Without the XML platform the parser would end the program, which callers in
// other languages could not make out. False is logged.
bool IsStarted(const char* function, RemoteFailure code);

// "service 'name'" for messages.
std::string ShownService(const char* name);

}  // namespace kiv::remote

#endif  // REMOTE_CLIENT_FILE_H_
