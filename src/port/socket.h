#ifndef PORT_SOCKET_H_
#define PORT_SOCKET_H_

namespace kiv::port {

// Of a connected TCP socket: ends the connection when the other side has taken
// nothing of what was sent to it for so long, be it gone or merely full.
// TCP_MAXRT. False on failure.
bool LimitUntakenTime(int socket, int milliseconds);

// WSAGetLastError: whether the calling thread's last call on a socket failed
// because of that limit.
bool HasSocketTimedOut();

}  // namespace kiv::port

#endif  // PORT_SOCKET_H_
