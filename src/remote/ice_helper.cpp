#include "kiv/ice_helper.h"

#include <Ice/Ice.h>

#include <utility>

#include "remote/failure.h"
#include "remote/library_logger.h"
#include "remote/server_text.h"
#include "remote/service_interface.h"

namespace kiv {

Ice::Communicator* IceHelper::CreateCommunicator() {
  try {
    Ice::StringSeq arguments{"Brimvale"};
    Ice::InitializationData parts;
    parts.logger = new remote::LibraryLogger;
    // With the interface version that the headers have: another one is refused.
    const Ice::CommunicatorPtr communicator =
        Ice::initialize(arguments, parts, ICE_INT_VERSION);
    communicator->getValueFactoryManager()->add(
        server::FlatTree::ice_factory(), server::FlatTree::ice_staticId());
    communicator->__incRef();
    return communicator.get();
  } catch (...) {
    const remote::Cause cause = remote::CurrentCause(0);
    remote::LogFailure("IceHelper::CreateCommunicator", cause.code, cause.text);
    return nullptr;
  }
}

void IceHelper::DeleteCommunicator(Ice::Communicator* communicator) {
  if (communicator == nullptr) return;
  try {
    communicator->destroy();
  } catch (...) {
    // Whatever it is, nobody needs the communicator any more.
  }
  communicator->__decRef();
}

bool IceHelper::ServerProxyToIceProxy(const char* server, const char* endpoint,
                                      const char* identity, int defaultPort,
                                      std::string& proxy) {
  const std::string endpoint_text = remote::Trimmed(endpoint);
  const std::string identity_text = remote::Trimmed(identity);
  if (endpoint_text.empty() || identity_text.empty()) return false;
  const remote::ServerText server_text(server);
  std::string text = identity_text + ':' + endpoint_text;
  const std::string host = server_text.ProxyHost();
  if (!host.empty()) text += " -h " + host;
  if (!server_text.port.empty()) {
    text += " -p " + server_text.port;
  } else if (defaultPort >= 1) {
    text += " -p " + std::to_string(defaultPort);
  } else {
    return false;
  }
  proxy = std::move(text);
  return true;
}

}  // namespace kiv
