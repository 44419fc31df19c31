#include "kiv/ice_helper.h"

#include <Ice/Ice.h>

#include "kiv/strings.h"
#include "remote/failure.h"
#include "remote/library_logger.h"
#include "remote/service_interface.h"
#include "util/gb_text.h"
#include "util/log_entry.h"

namespace kiv {
namespace {

std::string Trimmed(const char* text) {
  std::string result = text == nullptr ? "" : text;
  return trim(result);
}

}  // namespace

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
  const std::string server_text = Trimmed(server);
  const std::string endpoint_text = Trimmed(endpoint);
  const std::string identity_text = Trimmed(identity);
  if (endpoint_text.empty() || identity_text.empty()) return false;
  std::string text = identity_text + ':' + endpoint_text;

  const std::size_t colon = server_text.find(':');
  std::string host = server_text.substr(0, colon);
  trim(host);
  LowerAscii(host);
  // Ice then takes its own default host.
  const bool is_local =
      host.empty() || host == "." || host == "localhost" || host == "127.0.0.1";
  if (!is_local) text += " -h " + host;

  if (colon != std::string::npos && colon + 1 < server_text.size()) {
    text += " -p " + Trimmed(server_text.c_str() + colon + 1);
  } else if (defaultPort >= 1) {
    text += " -p " + std::to_string(defaultPort);
  } else {
    return false;
  }
  proxy = std::move(text);
  return true;
}

}  // namespace kiv
