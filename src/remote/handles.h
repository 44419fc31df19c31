#ifndef REMOTE_HANDLES_H_
#define REMOTE_HANDLES_H_

#include <Ice/Ice.h>

#include <compare>
#include <list>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "remote/open_connections.h"
#include "remote/service_interface.h"
#include "rmt/rmt.h"

// What stands behind the handles that callers have.

namespace kiv::remote {

// What a list finds a proxy by. Texts as the proxy's text has them.
struct ProxyKey {
  std::string host;  // lower case; "" is this machine
  int port = 0;
  std::string identity;
  std::string endpoint;

  // NOLINTNEXTLINE(modernize-use-nullptr): takes its 0 for a pointer
  auto operator<=>(const ProxyKey&) const = default;
};

struct IdOrder {
  bool operator()(const RemoteProjectID& a, const RemoteProjectID& b) const {
    return std::pair(a.solution_id, a.project_id) <
           std::pair(b.solution_id, b.project_id);
  }
};

// Keeps lists and the communicators they belong to from parting unnoticed.
std::mutex& FamilyMutex();

}  // namespace kiv::remote

struct RemoteCommunicator {
  Ice::Communicator* communicator = nullptr;  // a reference of ours
  // FamilyMutex
  std::set<RemoteProxyList*> lists;
  kiv::remote::OpenConnections connections;  // not those of the lists
};

struct RemoteProxy {
  RemoteProxyList* parent = nullptr;
  std::string host;
  int port = 0;
  int timeout_ms = 0;
  bool wants_patience = false;
  kiv::server::ServiceBasePrx inner;
  // The ids that the service told, by project key and access code. The list's
  // mutex.
  std::map<std::pair<std::string, std::string>, const RemoteProjectID*> ids;
};

struct RemoteProxyList {
  RemoteCommunicator* parent = nullptr;  // FamilyMutex
  Ice::CommunicatorPtr communicator;

  std::mutex mutex;
  // Both keep their places as they grow.
  std::map<kiv::remote::ProxyKey, RemoteProxy> proxies;
  std::set<RemoteProjectID, kiv::remote::IdOrder> ids;
};

namespace kiv::remote {

// "host:port" for messages, gone through Shown.
std::string Place(const RemoteProxy& proxy);

// Of an endpoint that has them; the host in the local encoding, empty where Ice
// takes its default.
bool GetAddress(const Ice::Endpoint& endpoint, std::string& host, int& port);

}  // namespace kiv::remote

#endif  // REMOTE_HANDLES_H_
