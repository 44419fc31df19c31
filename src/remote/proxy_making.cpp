#include "remote/proxy_making.h"

#include <Ice/Ice.h>

#include <optional>
#include <utility>

#include "kiv/ice_helper.h"
#include "kiv/strings.h"
#include "remote/failure.h"
#include "remote/handles.h"
#include "remote/open_connections.h"
#include "remote/remote_messages.h"
#include "remote/server_text.h"
#include "remote/wire_text.h"
#include "util/log_entry.h"

namespace kiv::remote {
namespace {

constexpr int kDefaultTimeoutMs = 10'000;
constexpr char kDefaultEndpoint[] = "tcp";
// For services without an address, in the form of Ice's own property files.
constexpr char kServerFile[] = "../conf/server.cfg";
constexpr char kProxyProperty[] = ".Proxy";

// A proxy before it is made.
struct Plan {
  ProxyKey key;
  std::string host;  // as it was given
  int port = 0;
  std::string text;  // of the proxy, local encoding
};

// Host and port of a proxy that its text alone tells of.
void TakeAddress(const Ice::ObjectPrx& proxy, std::string& host, int& port) {
  for (const Ice::EndpointPtr& endpoint : proxy->ice_getEndpoints())
    if (GetAddress(*endpoint, host, port)) return;
}

std::optional<Plan> PlanFromServerFile(const std::string& identity) {
  const std::string property = identity + kProxyProperty;
  const auto fail = [](const std::string& reason) {
    LogFailureAs(message::NoAddressNorFile(reason), RMT_NO_SERVICE,
                 "no address is given, and " + reason);
    return std::nullopt;
  };
  try {
    const Ice::PropertiesPtr properties = Ice::createProperties();
    properties->load(kServerFile);
    Plan plan;
    plan.text = FromWire(properties->getProperty(ToWire(property.c_str())));
    if (plan.text.empty())
      return fail(std::string("'") + kServerFile + "' has no property '" +
                  Shown(property) + "'");
    plan.key.identity = identity;
    plan.key.endpoint = plan.text;
    return plan;
  } catch (...) {
    return fail(CurrentCause(0).text);
  }
}

std::optional<Plan> PlanFromAddress(const std::string& server, int port,
                                    const std::string& identity,
                                    const std::string& endpoint) {
  Plan plan;
  if (!IceHelper::ServerProxyToIceProxy(server.c_str(), endpoint.c_str(),
                                        identity.c_str(), port, plan.text)) {
    const std::string reason =
        identity.empty()
            ? "the service at '" + Shown(server) + "' has no identity"
            : "service '" + Shown(identity) + "' at '" + Shown(server) +
                  "' has no port";
    LogFailureAs(message::ProxyTextFailed(reason), RMT_BAD_PROXY, reason);
    return std::nullopt;
  }
  const ServerText text(server.c_str());
  plan.host = text.host;
  plan.port = text.port.empty() ? port : kiv::atoi(text.port.c_str());
  plan.key = {text.ProxyHost(), plan.port, identity, endpoint};
  return plan;
}

std::optional<Plan> MakePlan(const ProxyRequest& request) {
  const std::string server = Trimmed(request.server);
  const std::string identity = Trimmed(request.svc);
  std::string endpoint = Trimmed(request.endpoint);
  if (endpoint.empty()) endpoint = kDefaultEndpoint;
  if (server.empty() && !identity.empty()) return PlanFromServerFile(identity);
  return PlanFromAddress(server, request.port, identity, endpoint);
}

// The list's mutex is held.
RemoteProxy* FindOrMake(RemoteProxyList& list, Plan plan, int timeout_ms) {
  const auto found = list.proxies.find(plan.key);
  if (found != list.proxies.end()) return &found->second;
  try {
    Ice::ObjectPrx proxy =
        list.communicator->stringToProxy(ToWire(plan.text.c_str()));
    if (plan.host.empty()) TakeAddress(proxy, plan.host, plan.port);
    // The services are older than encoding 1.1. The invocation's time-out is
    // the whole call's, retries included; the other one ends an attempt to
    // connect that nobody waits for any more.
    proxy = proxy->ice_encodingVersion(Ice::Encoding_1_0)
                ->ice_invocationTimeout(timeout_ms)
                ->ice_timeout(timeout_ms);
    RemoteProxy made;
    made.parent = &list;
    made.host = std::move(plan.host);
    made.port = plan.port;
    made.timeout_ms = timeout_ms;
    made.wants_patience = WantsPatience(list.communicator, timeout_ms);
    made.inner = server::ServiceBasePrx::uncheckedCast(proxy);
    return &list.proxies.emplace(std::move(plan.key), std::move(made))
                .first->second;
  } catch (...) {
    const Cause cause = CurrentCause(timeout_ms);
    const std::string reason = "'" + Shown(plan.text) + "': " + cause.text;
    LogFailureAs(message::ProxyNotMade(reason), cause.code, reason);
    return nullptr;
  }
}

// Whether the server is content with the versions that the client wants; 0 and
// 0 want nothing.
bool IsCompatible(RemoteProxy& proxy, const ProxyRequest& request) {
  if (request.engine_version == 0 && request.document_version == 0) return true;
  if (rmt_is_version_compatible(&proxy, request.engine_version,
                                request.document_version, 0))
    return true;
  // A call that failed has said so.
  if (rmt_last_error_code() != RMT_ANSWERED_NO) return false;
  const std::string versions = std::to_string(request.engine_version) + "." +
                               std::to_string(request.document_version);
  LogFailureAs(
      message::VersionsDiffer(Place(proxy) + ": " + versions), RMT_INCOMPATIBLE,
      Place(proxy) + ": the server is not compatible with version " + versions);
  return false;
}

}  // namespace

RemoteProxy* GetProxy(RemoteProxyList* list, const ProxyRequest& request) {
  if (list == nullptr) {
    SetFailure(RMT_BAD_ARGUMENT, "there is no proxy list");
    return nullptr;
  }
  std::optional<Plan> plan = MakePlan(request);
  if (!plan) return nullptr;
  RemoteProxy* proxy = nullptr;
  {
    const std::lock_guard lock(list->mutex);
    proxy = FindOrMake(
        *list, *std::move(plan),
        request.timeout_ms < 1 ? kDefaultTimeoutMs : request.timeout_ms);
  }
  if (proxy == nullptr || !IsCompatible(*proxy, request)) return nullptr;
  SetDone();
  return proxy;
}

bool GetProjectProxy(RemoteProxyList* list, const ProxyRequest& request,
                     const char* project_key, const char* access_code,
                     RemoteProjectProxy* result) {
  if (result == nullptr) {
    SetFailure(RMT_BAD_ARGUMENT, "there is no room for the result");
    return false;
  }
  RemoteProxy* const proxy = GetProxy(list, request);
  if (proxy == nullptr) return false;
  const RemoteProjectID* const id =
      rmt_get_project_id(proxy, project_key, access_code);
  if (id == nullptr) return false;
  *result = {proxy, id};
  return true;
}

}  // namespace kiv::remote

RemoteProxy* rmt_get_proxy(RemoteProxyList* list, const char* ip, int32_t port,
                           const char* svc, int32_t engine_version,
                           int32_t document_version) {
  return kiv::remote::GetProxy(list, {.server = ip,
                                      .port = port,
                                      .svc = svc,
                                      .engine_version = engine_version,
                                      .document_version = document_version});
}

RemoteProxy* rmt_get_proxy2(RemoteProxyList* list, const char* server,
                            const char* endpoint, const char* svc,
                            int32_t engine_version, int32_t document_version,
                            int32_t timeout_ms) {
  return kiv::remote::GetProxy(list, {.server = server,
                                      .svc = svc,
                                      .endpoint = endpoint,
                                      .engine_version = engine_version,
                                      .document_version = document_version,
                                      .timeout_ms = timeout_ms});
}

bool rmt_get_project_proxy(RemoteProxyList* list, const char* ip, int32_t port,
                           const char* svc, const char* project_key,
                           const char* access_code, int32_t engine_version,
                           int32_t document_version,
                           RemoteProjectProxy* result) {
  return kiv::remote::GetProjectProxy(list,
                                      {.server = ip,
                                       .port = port,
                                       .svc = svc,
                                       .engine_version = engine_version,
                                       .document_version = document_version},
                                      project_key, access_code, result);
}

bool rmt_get_project_proxy2(RemoteProxyList* list, const char* server,
                            const char* endpoint, const char* svc,
                            const char* project_key, const char* access_code,
                            int32_t engine_version, int32_t document_version,
                            int32_t timeout_ms, RemoteProjectProxy* result) {
  return kiv::remote::GetProjectProxy(list,
                                      {.server = server,
                                       .svc = svc,
                                       .endpoint = endpoint,
                                       .engine_version = engine_version,
                                       .document_version = document_version,
                                       .timeout_ms = timeout_ms},
                                      project_key, access_code, result);
}
