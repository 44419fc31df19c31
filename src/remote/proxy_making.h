#ifndef REMOTE_PROXY_MAKING_H_
#define REMOTE_PROXY_MAKING_H_

#include <string>

#include "rmt/connection.h"
#include "rmt/project.h"

namespace kiv::remote {

// A service to get a proxy for. The texts are borrowed; null counts as empty.
struct ProxyRequest {
  const char* server = nullptr;  // "host" or "host:port"
  int port = 0;                  // where the server says none
  const char* svc = nullptr;
  const char* endpoint = nullptr;  // empty: tcp
  int engine_version = 0;
  int document_version = 0;
  int timeout_ms = 0;  // below 1: the default
};

// The list's proxy, found or made. Null on failure, which is logged.
RemoteProxy* GetProxy(RemoteProxyList* list, const ProxyRequest& request);

// The proxy and the id of its project.
bool GetProjectProxy(RemoteProxyList* list, const ProxyRequest& request,
                     const char* project_key, const char* access_code,
                     RemoteProjectProxy* result);

}  // namespace kiv::remote

#endif  // REMOTE_PROXY_MAKING_H_
