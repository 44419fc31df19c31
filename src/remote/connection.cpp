// Communicators and lists, and what a proxy tells of itself.
#include "rmt/connection.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "kiv/ice_helper.h"
#include "kiv/strings.h"
#include "remote/handles.h"
#include "remote/wire_text.h"
#include "util/log_entry.h"

namespace kiv::remote {

std::mutex& FamilyMutex() {
  static std::mutex mutex;
  return mutex;
}

std::string Place(const RemoteProxy& proxy) {
  return Shown(proxy.host.empty() ? "localhost" : proxy.host) + ':' +
         std::to_string(proxy.port);
}

bool GetAddress(const Ice::Endpoint& endpoint, std::string& host, int& port) {
  // TLS lies around the endpoint that has the address.
  for (Ice::EndpointInfoPtr info = endpoint.getInfo(); info;
       info = info->underlying) {
    const auto address = Ice::IPEndpointInfoPtr::dynamicCast(info);
    if (!address) continue;
    host = FromWire(address->host);
    port = address->port;
    return true;
  }
  return false;
}

}  // namespace kiv::remote

using kiv::remote::FamilyMutex;

RemoteCommunicator* rmt_create_communicator(void) {
  auto* const handle = new (std::nothrow) RemoteCommunicator;
  if (handle == nullptr) return nullptr;
  handle->communicator = kiv::IceHelper::CreateCommunicator();
  return handle;
}

void rmt_delete_communicator(RemoteCommunicator* handle) {
  if (handle == nullptr) return;
  {
    const std::lock_guard lock(FamilyMutex());
    for (RemoteProxyList* list : handle->lists) list->parent = nullptr;
  }
  kiv::IceHelper::DeleteCommunicator(handle->communicator);
  delete handle;
}

RemoteIceCommunicator* rmt_get_communicator(const RemoteCommunicator* handle) {
  return handle == nullptr ? nullptr : handle->communicator;
}

RemoteProxyList* rmt_create_proxy_list(RemoteCommunicator* handle) {
  if (handle == nullptr || handle->communicator == nullptr) return nullptr;
  try {
    auto list = std::make_unique<RemoteProxyList>();
    list->communicator = handle->communicator;
    list->parent = handle;
    const std::lock_guard lock(FamilyMutex());
    handle->lists.insert(list.get());
    return list.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void rmt_delete_proxy_list(RemoteProxyList* list) {
  if (list == nullptr) return;
  {
    const std::lock_guard lock(FamilyMutex());
    if (list->parent != nullptr) list->parent->lists.erase(list);
  }
  delete list;
}

RemoteCommunicator* rmt_get_proxy_list_parent(const RemoteProxyList* list) {
  if (list == nullptr) return nullptr;
  const std::lock_guard lock(FamilyMutex());
  return list->parent;
}

RemoteProxyList* rmt_get_proxy_parent(const RemoteProxy* proxy) {
  return proxy == nullptr ? nullptr : proxy->parent;
}

const char* rmt_get_proxy_ip(const RemoteProxy* proxy) {
  return proxy == nullptr ? "" : proxy->host.c_str();
}

int32_t rmt_get_proxy_port(const RemoteProxy* proxy) {
  return proxy == nullptr ? 0 : proxy->port;
}

RemoteIceProxy* rmt_get_proxy_inner(const RemoteProxy* proxy) {
  return proxy == nullptr ? nullptr : proxy->inner.get();
}

void rmt_fix_service_info(const RemoteProxy* proxy, RemoteServiceInfo* record) {
  if (proxy == nullptr || record == nullptr) return;
  const std::string ip(record->ip, ::strnlen(record->ip, sizeof record->ip));
  const bool is_open =
      ip.empty() || ip == "." || kiv::stricmp(ip.c_str(), "localhost") == 0;
  if (is_open && proxy->host.size() < sizeof record->ip)
    std::memcpy(record->ip, proxy->host.c_str(), proxy->host.size() + 1);
  if (record->port < 1) record->port = proxy->port;
}
