#ifndef REMOTE_OPEN_CONNECTIONS_H_
#define REMOTE_OPEN_CONNECTIONS_H_

#include <Ice/Ice.h>

#include <set>

#include "remote/service_interface.h"

struct RemoteProxy;
struct RemoteProxyList;

namespace kiv::remote {

// The connections of a communicator that may be open at its end. Ice says
// goodbye on each of them then and waits for the other side, for as long as a
// call may take: a server that hangs would hold up the end of the program. So
// they are closed before.
class OpenConnections {
 public:
  // Of a list that goes, or whose communicator does.
  void AddOf(RemoteProxyList& list);
  void Add(const Ice::ConnectionPtr& connection);
  // Calls under way fail. Servers that hang cost a second, all together.
  void Close();

 private:
  std::set<Ice::ConnectionPtr> connections_;
};

// For a call that was given up: Ice has taken the connection from the proxy.
void KeepToClose(const RemoteProxy& proxy);

// The proxy for a call that may take longer than Ice waits for a sign of life
// from the server: the first services give none. Throws as a call does.
server::ServiceBasePrx PatientProxy(const RemoteProxy& proxy);
// Whether calls of so many milliseconds want it.
bool WantsPatience(const Ice::CommunicatorPtr& communicator, int timeout_ms);

}  // namespace kiv::remote

#endif  // REMOTE_OPEN_CONNECTIONS_H_
