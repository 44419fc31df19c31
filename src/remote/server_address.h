#ifndef REMOTE_SERVER_ADDRESS_H_
#define REMOTE_SERVER_ADDRESS_H_

#include <string>

namespace kiv::remote {

// A text without white space around it; null counts as empty.
std::string Trimmed(const char* text);

// "host:port", "host" or ":port", split at the first colon.
struct ServerAddress {
  std::string host;  // as it was given
  // In lower case; empty for this machine, where Ice takes its default host.
  std::string host_of_proxy;
  std::string port;  // empty: not said
};

ServerAddress SplitServer(const char* server);

}  // namespace kiv::remote

#endif  // REMOTE_SERVER_ADDRESS_H_
