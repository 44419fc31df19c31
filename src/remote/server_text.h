#ifndef REMOTE_SERVER_TEXT_H_
#define REMOTE_SERVER_TEXT_H_

#include <string>

// Where a service is, as callers write it. Local encoding.
namespace kiv::remote {

// Null counts as empty.
std::string Trimmed(const char* text);

// "host:port" or "host", split at the first ":" and trimmed.
struct ServerText {
  explicit ServerText(const char* text);

  // The host of a proxy's text: lower case, and empty for this machine, which
  // Ice then puts in by its own default.
  std::string ProxyHost() const;

  std::string host;
  std::string port;  // empty: not said
};

}  // namespace kiv::remote

#endif  // REMOTE_SERVER_TEXT_H_
