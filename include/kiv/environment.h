#ifndef KIV_ENVIRONMENT_H_
#define KIV_ENVIRONMENT_H_

#include <ctime>
#include <string>

#include "kiv/export.h"
#include "kiv/wide.h"

namespace kiv {

// The variable's value; `fallback` when it is unset or `name` is null or empty.
// Borrowed: lives as long as the process. Safe from any thread, together with
// putenv, as long as no other code changes the environment.
KIV_API const char* getenv(const char* name, const char* fallback);
KIV_API const WideChar* getenv(const WideChar* name, const WideChar* fallback);

// False for a null or empty name. A null value sets the variable to "".
KIV_API bool putenv(const char* name, const char* value);

// Whole seconds, not milliseconds. Nothing for 0 and below.
KIV_API void sleep(int seconds);

// Seconds since 1970-01-01 UTC, also stored when `out` is not null.
KIV_API long time(long* out);
// Null when the conversion fails. Borrowed until the thread's next call.
KIV_API std::tm* localtime(const long* seconds);

// Local wall-clock time in ticks of 100 ns since 0001-01-01, the scale of
// DateTime.
KIV_API long long now();

// A fresh random UUID as 36 lower-case characters in 8-4-4-4-12 groups; empty
// when the system gives no randomness.
KIV_API void generateUUID(std::string& out);

// The first IPv4 address of this host's name, dotted; empty on any failure.
KIV_API void get_local_ip_str(std::string& out);

}  // namespace kiv

#endif  // KIV_ENVIRONMENT_H_
