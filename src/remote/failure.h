#ifndef REMOTE_FAILURE_H_
#define REMOTE_FAILURE_H_

#include <string>

#include "rmt/failure.h"

// What rmt_last_error tells.
namespace kiv::remote {

// Why a call failed.
struct Cause {
  RemoteFailure code = RMT_OTHER;
  std::string text;  // local encoding, gone through Shown
};

// For a catch block: what the exception that is being handled says of a call
// that may take `timeout_ms`.
Cause CurrentCause(int timeout_ms);

// The calling thread's last failure; nothing is logged.
void SetFailure(RemoteFailure code, std::string text);
void SetDone();
// Sets it and writes it to the log, there behind "<function> Failed: ".
void LogFailure(const char* function, RemoteFailure code, std::string text);
// With another text for the log.
void LogFailureAs(const std::string& log_text, RemoteFailure code,
                  std::string text);

}  // namespace kiv::remote

#endif  // REMOTE_FAILURE_H_
