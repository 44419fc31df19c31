#ifndef REMOTE_CLIENT_FILE_H_
#define REMOTE_CLIENT_FILE_H_

#include <string>

#include "rmt/service_info.h"

// ../conf/client.xml: a record for every named service.
namespace kiv::remote {

// The record with what an element may say beyond it.
struct ServiceRecord {
  RemoteServiceInfo info{};
  std::string endpoint;  // empty: not said
  int timeout_ms = 0;    // 0: not said
};

// False, with the reason kept and logged under the function's name and `out`
// untouched, when there is no such service or its record is not good.
bool ReadService(const char* function, const char* name, ServiceRecord& out);

}  // namespace kiv::remote

#endif  // REMOTE_CLIENT_FILE_H_
