#ifndef REMOTE_CALLING_H_
#define REMOTE_CALLING_H_

#include <string>

#include "remote/failure.h"
#include "remote/handles.h"
#include "remote/wire_text.h"
#include "util/log_entry.h"

namespace kiv::remote {

using Service = ::IceProxy::kiv::server::ServiceBase;

// For a catch block: keeps and logs why the call failed.
void LogCallFailure(const char* function, const RemoteProxy& proxy);
void RefuseNullProxy();

// Runs `call` with the service. False, with the reason kept and logged, when it
// throws.
template <typename Operation>
bool Call(const char* function, const RemoteProxy* proxy, Operation call) {
  if (proxy == nullptr) {
    RefuseNullProxy();
    return false;
  }
  try {
    call(*proxy->inner);
    SetDone();
    return true;
  } catch (...) {
    LogCallFailure(function, *proxy);
    return false;
  }
}

}  // namespace kiv::remote

#endif  // REMOTE_CALLING_H_
