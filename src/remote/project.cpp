#include "rmt/project.h"

#include <cstring>
#include <exception>
#include <utility>

#include "remote/calling.h"
#include "remote/client_file.h"
#include "remote/proxy_making.h"

namespace kiv::remote {
namespace {

using KeyAndCode = std::pair<std::string, std::string>;

std::string TextOf(const char* text) { return text == nullptr ? "" : text; }

const RemoteProjectID* Member(const RemoteProxy* proxy, RemoteProjectID id) {
  if (proxy == nullptr || proxy->parent == nullptr) return nullptr;
  RemoteProxyList& list = *proxy->parent;
  const std::lock_guard lock(list.mutex);
  const auto found = list.ids.find(id);
  return found == list.ids.end() ? nullptr : &*found;
}

// The list's own record of the id.
const RemoteProjectID* Keep(RemoteProxy& proxy, RemoteProjectID id,
                            KeyAndCode key) {
  RemoteProxyList& list = *proxy.parent;
  const std::lock_guard lock(list.mutex);
  const RemoteProjectID* const kept = &*list.ids.insert(id).first;
  proxy.ids[std::move(key)] = kept;
  return kept;
}

template <std::size_t N>
bool EndsWithin(const char (&field)[N]) {
  return std::memchr(field, 0, N) != nullptr;
}

ProxyRequest RequestOf(const ServiceRecord& service) {
  return {.server = service.info.ip,
          .port = service.info.port,
          .svc = service.info.svc,
          .endpoint = service.endpoint.c_str(),
          .engine_version = service.info.engine_version,
          .document_version = service.info.document_version,
          .timeout_ms = service.timeout_ms};
}

}  // namespace
}  // namespace kiv::remote

using namespace kiv::remote;  // NOLINT(google-build-using-namespace)

RemoteProxy* rmt_get_service_proxy(RemoteProxyList* list, const char* name) {
  ServiceRecord service;
  if (!ReadService("rmt_get_service_proxy", name, service)) return nullptr;
  return GetProxy(list, RequestOf(service));
}

bool rmt_get_named_proxy(RemoteProxyList* list, const char* name,
                         RemoteProjectProxy* result) {
  ServiceRecord service;
  if (!ReadService("rmt_get_named_proxy", name, service)) return false;
  return GetProjectProxy(list, RequestOf(service), service.info.project_key,
                         service.info.access_code, result);
}

bool rmt_get_proxy_from_info(RemoteProxyList* list,
                             const RemoteServiceInfo* record,
                             RemoteProjectProxy* result) {
  if (record == nullptr || !EndsWithin(record->ip) ||
      !EndsWithin(record->svc) || !EndsWithin(record->project_key) ||
      !EndsWithin(record->access_code)) {
    SetFailure(RMT_BAD_ARGUMENT,
               "there is no record, or a text in it has no end");
    return false;
  }
  return rmt_get_project_proxy(list, record->ip, record->port, record->svc,
                               record->project_key, record->access_code,
                               record->engine_version, record->document_version,
                               result);
}

const RemoteProjectID* rmt_get_project_id(RemoteProxy* proxy,
                                          const char* project_key,
                                          const char* access_code) {
  constexpr char kFunction[] = "rmt_get_project_id";
  const RemoteProjectID* kept = nullptr;
  const bool is_answered = Call(kFunction, proxy, [&](Service& service) {
    Ice::Int id = 0;
    // The interface names one number, the project's.
    if (service.GetProjectId3(ToWire(project_key), ToWire(access_code), id))
      kept = Keep(*proxy, {0, id}, {TextOf(project_key), TextOf(access_code)});
  });
  if (is_answered && kept == nullptr) {
    LogFailure(kFunction, RMT_ANSWERED_NO,
               Place(*proxy) + ": the service does not know project '" +
                   kiv::Shown(TextOf(project_key)) + "' with this access code");
  }
  return kept;
}

const RemoteProjectID* rmt_member_project_id(
    const RemoteProxy* proxy, const RemoteProjectID* project_id) {
  return project_id == nullptr ? nullptr : Member(proxy, *project_id);
}

const RemoteProjectID* rmt_member_project_id2(const RemoteProxy* proxy,
                                              RemoteSliceProjectID project_id) {
  // A caller in C may have passed null, which a reference cannot say: hence the
  // detour past the compiler's certainty.
  const kiv::server::ProjectID* const volatile address = &project_id;
  const kiv::server::ProjectID* const id = address;
  return id == nullptr ? nullptr : Member(proxy, {id->solution, id->project});
}

const RemoteProjectID* rmt_member_project_id_by_key(const RemoteProxy* proxy,
                                                    const char* project_key,
                                                    const char* access_code) {
  if (proxy == nullptr || proxy->parent == nullptr) return nullptr;
  const std::lock_guard lock(proxy->parent->mutex);
  const auto found =
      proxy->ids.find({TextOf(project_key), TextOf(access_code)});
  return found == proxy->ids.end() ? nullptr : found->second;
}

int32_t rmt_pid_sol(const RemoteProjectID* project_id) {
  return project_id == nullptr ? 0 : project_id->solution_id;
}

int32_t rmt_pid_proj(const RemoteProjectID* project_id) {
  return project_id == nullptr ? 0 : project_id->project_id;
}
