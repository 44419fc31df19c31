#ifndef KIV_ICE_HELPER_H_
#define KIV_ICE_HELPER_H_

#include <string>

#include "kiv/export.h"

namespace Ice {
class Communicator;  // of the Ice headers, C++98 mapping
}

namespace kiv {

// What the remote client needs of Ice. Safe from any thread.
class KIV_API IceHelper {
 public:
  // New reference, for DeleteCommunicator; null on failure, which is logged.
  // Properties come from the file that the environment variable ICE_CONFIG
  // names; Ice's own messages go to the log.
  static Ice::Communicator* CreateCommunicator();
  // Destroys it and releases the reference. Null is ignored.
  static void DeleteCommunicator(Ice::Communicator* communicator);

  // The text of a proxy, "identity:endpoint -h host -p port". The server is
  // "host:port" or "host"; then the port is defaultPort, which must be at least
  // 1. A host that is this machine is left out, so that Ice uses its default
  // host. On failure `proxy` stays as it is.
  static bool ServerProxyToIceProxy(const char* server, const char* endpoint,
                                    const char* identity, int defaultPort,
                                    std::string& proxy);
};

}  // namespace kiv

#endif  // KIV_ICE_HELPER_H_
