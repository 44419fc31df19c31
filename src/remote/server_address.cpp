#include "remote/server_address.h"

#include "kiv/strings.h"
#include "util/gb_text.h"

namespace kiv::remote {

std::string Trimmed(const char* text) {
  std::string result = text == nullptr ? "" : text;
  return trim(result);
}

ServerAddress SplitServer(const char* server) {
  const std::string text = Trimmed(server);
  const std::size_t colon = text.find(':');
  ServerAddress address;
  address.host = text.substr(0, colon);
  trim(address.host);
  if (colon != std::string::npos)
    address.port = Trimmed(text.c_str() + colon + 1);
  std::string& host = address.host_of_proxy = address.host;
  LowerAscii(host);
  if (host == "." || host == "localhost" || host == "127.0.0.1") host.clear();
  return address;
}

}  // namespace kiv::remote
