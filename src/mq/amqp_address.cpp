#include "mq/amqp_address.h"

#include <amqp.h>

namespace kiv::mq {

bool AmqpAddress::Parse(const std::string& url, AmqpAddress& out) {
  if (url.find('\0') != url.npos) return false;
  std::string text = url;  // cut into its parts in place
  amqp_connection_info parts;
  amqp_default_connection_info(&parts);
  if (amqp_parse_url(text.data(), &parts) != AMQP_STATUS_OK) return false;
  AmqpAddress address;
  address.host = parts.host;
  address.port = parts.port;
  address.user = parts.user;
  address.password = parts.password;
  // A lone "/" behind the host is meant as none.
  address.vhost = *parts.vhost == '\0' ? "/" : parts.vhost;
  address.is_tls = parts.ssl != 0;
  if (address.host.empty()) return false;
  out = address;
  return true;
}

std::string AmqpAddress::Masked() const {
  const bool is_ipv6 = host.find(':') != host.npos;
  std::string text = is_tls ? "amqps://***@" : "amqp://***@";
  text += is_ipv6 ? "[" + host + "]" : host;
  text += ":" + std::to_string(port);
  return vhost == "/" ? text : text + "/" + vhost;
}

std::string AmqpAddress::Masked(std::string text) const {
  constexpr char kMask[] = "***";
  if (password.empty()) return text;
  for (std::size_t at = text.find(password); at != text.npos;
       at = text.find(password, at + sizeof kMask - 1))
    text.replace(at, password.size(), kMask);
  return text;
}

}  // namespace kiv::mq
