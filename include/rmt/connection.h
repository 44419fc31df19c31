#ifndef RMT_CONNECTION_H_
#define RMT_CONNECTION_H_

/* Communicators, lists of proxies, and proxies of services. Compiles as C.
 *
 * A call that is not answered within the proxy's time-out fails: 10 s, or what
 * the attribute "timeout" of the service says, in seconds. That includes making
 * the connection and any retry. */

#include <stdint.h>

#include "kiv/export.h"
#include "rmt/service_info.h"

/* What the Ice headers (C++98 mapping) and the code that slice2cpp makes of
 * slice/System.ice call by these names; opaque otherwise. */
#ifdef __cplusplus
namespace Ice {
class Communicator;
}
namespace IceProxy::kiv::server {
class ServiceBase;
}
using RemoteIceCommunicator = ::Ice::Communicator;
using RemoteIceProxy = ::IceProxy::kiv::server::ServiceBase;
#else
#include <stdbool.h>
typedef struct RemoteIceCommunicator RemoteIceCommunicator;
typedef struct RemoteIceProxy RemoteIceProxy;
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct RemoteCommunicator RemoteCommunicator;
typedef struct RemoteProxyList RemoteProxyList;
typedef struct RemoteProxy RemoteProxy;

/* New handle. It is there also when the communicator could not be made, as with
 * wrong properties; rmt_get_communicator gives null then. Ice takes its
 * properties from the file that the environment variable ICE_CONFIG names. */
KIV_API RemoteCommunicator* rmt_create_communicator(void);
/* Calls that are under way fail; a server that hangs holds this up for a
 * second. Delete the lists first; one that is still there has no parent
 * afterwards, and all its calls fail. */
KIV_API void rmt_delete_communicator(RemoteCommunicator* handle);
/* Borrowed: lives as long as the handle. */
KIV_API RemoteIceCommunicator* rmt_get_communicator(
    const RemoteCommunicator* handle);

/* New list. Null when the handle has no communicator. */
KIV_API RemoteProxyList* rmt_create_proxy_list(RemoteCommunicator* handle);
/* With all its proxies and project ids. */
KIV_API void rmt_delete_proxy_list(RemoteProxyList* list);
KIV_API RemoteCommunicator* rmt_get_proxy_list_parent(
    const RemoteProxyList* list);

/* The list's proxy for a service, found by host, port and identity (and kind of
 * endpoint) or made; borrowed, lives as long as the list. A proxy is made
 * without asking the server. Only with an engine or document version that is
 * not 0 the server is asked whether it is compatible with them; null when it is
 * not.
 *
 * An empty ip takes the whole proxy from the property "<svc>.Proxy" of the file
 * ../conf/server.cfg. "localhost", "127.0.0.1" and "." are this machine. */
KIV_API RemoteProxy* rmt_get_proxy(RemoteProxyList* list, const char* ip,
                                   int32_t port, const char* svc,
                                   int32_t engine_version,
                                   int32_t document_version);
/* With the server as "host:port", the endpoint as Ice writes it ("tcp", "ssl";
 * null: "tcp") and the time-out in milliseconds (below 1: 10 s). The time-out
 * of a proxy that is found stays as it was made. */
KIV_API RemoteProxy* rmt_get_proxy2(RemoteProxyList* list, const char* server,
                                    const char* endpoint, const char* svc,
                                    int32_t engine_version,
                                    int32_t document_version,
                                    int32_t timeout_ms);
/* Of the service in client.xml, whose attributes "endpoint" and "timeout" count
 * when they are there; no project is asked for. */
KIV_API RemoteProxy* rmt_get_service_proxy(RemoteProxyList* list,
                                           const char* name);

KIV_API RemoteProxyList* rmt_get_proxy_parent(const RemoteProxy* proxy);
/* Borrowed: lives as long as the proxy. */
KIV_API const char* rmt_get_proxy_ip(const RemoteProxy* proxy);
KIV_API int32_t rmt_get_proxy_port(const RemoteProxy* proxy);
/* Borrowed: lives as long as the proxy, unless somebody counts himself an
 * owner. Its texts are UTF-8, and it throws. */
KIV_API RemoteIceProxy* rmt_get_proxy_inner(const RemoteProxy* proxy);

/* Fills in what the record leaves open: the proxy's host where its ip is empty,
 * "." or "localhost" in any case, and the proxy's port where its port is
 * below 1. A host that does not fit leaves the ip as it is. */
KIV_API void rmt_fix_service_info(const RemoteProxy* proxy,
                                  RemoteServiceInfo* record);

#ifdef __cplusplus
}
#endif

#endif /* RMT_CONNECTION_H_ */
