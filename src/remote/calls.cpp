#include "rmt/calls.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#include <Ice/Ice.h>

#include "remote/calling.h"

namespace kiv::remote {

namespace {

// A proxy without a host reaches this machine under two addresses, ::1 last,
// and Ice tells of the last one only: "refused" where something else than a
// service listens on the other. A short look at that one.
Cause CauseAtLoopback(const RemoteProxy& proxy, const Cause& refused) {
  constexpr int kPatienceMs = 1'000;
  const int timeout_ms = std::min(proxy.timeout_ms, kPatienceMs);
  try {
    const Ice::EndpointSeq endpoints = proxy.inner->ice_getEndpoints();
    if (endpoints.size() != 1) return refused;
    std::string host;
    int port = 0;
    if (!GetAddress(*endpoints.front(), host, port) || !host.empty())
      return refused;
    const Ice::ObjectPrx named = proxy.parent->communicator->stringToProxy(
        "x:" + endpoints.front()->toString() + " -h 127.0.0.1");
    proxy.inner->ice_endpoints(named->ice_getEndpoints())
        ->ice_timeout(timeout_ms)
        ->ice_invocationTimeout(timeout_ms)
        ->ice_ping();
  } catch (...) {
    Cause cause = CurrentCause(timeout_ms);
    if (cause.code == RMT_NOT_ICE || cause.code == RMT_INSECURE) return cause;
  }
  return refused;
}

}  // namespace

void LogCallFailure(const char* function, const RemoteProxy& proxy) {
  Cause cause = CurrentCause(proxy.timeout_ms);
  if (cause.code == RMT_NO_ANSWER) KeepToClose(proxy);
  if (cause.code == RMT_REFUSED) cause = CauseAtLoopback(proxy, cause);
  LogFailure(function, cause.code, Place(proxy) + ": " + cause.text);
}

void RefuseNullProxy() { SetFailure(RMT_BAD_ARGUMENT, "there is no proxy"); }

namespace {

// The service's yes or no.
template <typename Question>
bool Ask(const char* function, const RemoteProxy* proxy, Question question) {
  bool answer = false;
  if (!Call(function, proxy,
            [&](Service& service) { answer = question(service); }))
    return false;
  if (!answer) SetFailure(RMT_ANSWERED_NO, "the service answered no");
  return answer;
}

void Fill(RemoteStringValue* value, const std::string& wire) {
  if (value == nullptr) return;
  std::size_t size = 0;
  char* const text = NewFromWire(wire, size);
  if (text == nullptr) throw std::bad_alloc();
  std::free(value->text);
  *value = {text, size};
}

template <typename Question>
bool AskForId(const char* function, const RemoteProxy* proxy,
              int32_t* project_id, Question question) {
  Ice::Int id = 0;
  if (!Ask(function, proxy,
           [&](Service& service) { return question(service, id); }))
    return false;
  if (project_id != nullptr) *project_id = id;
  return true;
}

}  // namespace
}  // namespace kiv::remote

using namespace kiv::remote;  // NOLINT(google-build-using-namespace)

bool rmt_ping(RemoteProxy* proxy) {
  return Call("rmt_ping", proxy, [](Service& service) { service.ice_ping(); });
}

int32_t rmt_max_message_size(RemoteProxy* proxy) {
  int32_t size = 0;
  Call("rmt_max_message_size", proxy,
       [&](Service& service) { size = service.MaxMessageSize(); });
  return size;
}

bool rmt_reload_config(RemoteProxy* proxy) {
  return Ask("rmt_reload_config", proxy,
             [](Service& service) { return service.ReloadConfig(); });
}

bool rmt_get_version(RemoteProxy* proxy, RemoteStringValue* name,
                     RemoteStringValue* label, int32_t* major_number,
                     int32_t* minor_number, int32_t* revision) {
  return Call("rmt_get_version", proxy, [&](Service& service) {
    ::kiv::server::VersionInfo info;
    service.GetVersionInfo(info);
    Fill(name, info.name);
    Fill(label, info.label);
    if (major_number != nullptr) *major_number = info.major;
    if (minor_number != nullptr) *minor_number = info.minor;
    if (revision != nullptr) *revision = info.revision;
  });
}

bool rmt_is_version_compatible(RemoteProxy* proxy, int32_t major_number,
                               int32_t minor_number, int32_t revision) {
  return Ask("rmt_is_version_compatible", proxy, [&](Service& service) {
    return service.IsVersionCompatible(major_number, minor_number, revision);
  });
}

bool rmt_send_command(RemoteProxy* proxy, const char* command,
                      RemoteStringValue* reply) {
  return Ask("rmt_send_command", proxy, [&](Service& service) {
    std::string text;
    const bool answer = service.SendCommand(ToWire(command), text);
    Fill(reply, text);
    return answer;
  });
}

bool rmt_query_project_id(RemoteProxy* proxy, const char* project,
                          int32_t* project_id) {
  return AskForId("rmt_query_project_id", proxy, project_id,
                  [&](Service& service, Ice::Int& id) {
                    return service.GetProjectID(ToWire(project), id);
                  });
}

bool rmt_query_project_id2(RemoteProxy* proxy, const char* project,
                           int32_t* project_id) {
  return AskForId("rmt_query_project_id2", proxy, project_id,
                  [&](Service& service, Ice::Int& id) {
                    return service.GetProjectId2(ToWire(project), id);
                  });
}

bool rmt_query_project_id3(RemoteProxy* proxy, const char* solution,
                           const char* project, int32_t* project_id) {
  return AskForId("rmt_query_project_id3", proxy, project_id,
                  [&](Service& service, Ice::Int& id) {
                    return service.GetProjectId3(ToWire(solution),
                                                 ToWire(project), id);
                  });
}

bool rmt_shutdown(RemoteProxy* proxy) {
  return Call("rmt_shutdown", proxy,
              [](Service& service) { service.shutdown(); });
}
