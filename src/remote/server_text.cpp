#include "remote/server_text.h"

#include "kiv/strings.h"
#include "util/gb_text.h"

namespace kiv::remote {

std::string Trimmed(const char* text) {
  std::string result = text == nullptr ? "" : text;
  return trim(result);
}

ServerText::ServerText(const char* text) : host(Trimmed(text)) {
  const std::size_t colon = host.find(':');
  if (colon == std::string::npos) return;
  port = Trimmed(host.c_str() + colon + 1);
  host.resize(colon);
  trim(host);
}

std::string ServerText::ProxyHost() const {
  std::string result = host;
  LowerAscii(result);
  if (result == "." || result == "localhost" || result == "127.0.0.1")
    result.clear();
  return result;
}

}  // namespace kiv::remote
