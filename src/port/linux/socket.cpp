#include "port/socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>

namespace kiv::port {

bool LimitUntakenTime(int socket, int milliseconds) {
  return ::setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &milliseconds,
                      sizeof milliseconds) == 0;
}

bool HasSocketTimedOut() { return errno == ETIMEDOUT; }

}  // namespace kiv::port
