#ifndef RMT_PROJECT_H_
#define RMT_PROJECT_H_

/* Projects of a service and their ids. Compiles as C. */

#include <stdint.h>

#include "kiv/export.h"
#include "rmt/connection.h"
#include "rmt/service_info.h"

/* The struct of slice/System.ice; from C a pointer to its two int32_t. */
#ifdef __cplusplus
namespace kiv::server {
struct ProjectID;
}
using RemoteSliceProjectID = const ::kiv::server::ProjectID&;
#else
#include <stdbool.h>
typedef const void* RemoteSliceProjectID;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Owned by the proxy list, which has one record for equal ids. */
typedef struct RemoteProjectID {
  int32_t solution_id; /* 0 where the service does not tell it */
  int32_t project_id;
} RemoteProjectID;

/* Both borrowed: they live as long as the list. */
typedef struct RemoteProjectProxy {
  RemoteProxy* proxy;
  const RemoteProjectID* project_id;
} RemoteProjectProxy;

/* The proxy of a service together with the id of its project, which the service
 * is asked for. True only when there are both. */

/* By the service's name in client.xml. */
KIV_API bool rmt_get_named_proxy(RemoteProxyList* list, const char* name,
                                 RemoteProjectProxy* result);
KIV_API bool rmt_get_proxy_from_info(RemoteProxyList* list,
                                     const RemoteServiceInfo* record,
                                     RemoteProjectProxy* result);
/* As rmt_get_proxy. */
KIV_API bool rmt_get_project_proxy(
    RemoteProxyList* list, const char* ip, int32_t port, const char* svc,
    const char* project_key, const char* access_code, int32_t engine_version,
    int32_t document_version, RemoteProjectProxy* result);
/* As rmt_get_proxy2. */
KIV_API bool rmt_get_project_proxy2(
    RemoteProxyList* list, const char* server, const char* endpoint,
    const char* svc, const char* project_key, const char* access_code,
    int32_t engine_version, int32_t document_version, int32_t timeout_ms,
    RemoteProjectProxy* result);

/* Asks the service (GetProjectId3). Borrowed: lives as long as the list. Null
 * on failure and when the service does not know the project. */
KIV_API const RemoteProjectID* rmt_get_project_id(RemoteProxy* proxy,
                                                  const char* project_key,
                                                  const char* access_code);

/* The record that the proxy's list has of an id that was asked for before, or
 * null; nobody is asked. */
KIV_API const RemoteProjectID* rmt_member_project_id(
    const RemoteProxy* proxy, const RemoteProjectID* project_id);
KIV_API const RemoteProjectID* rmt_member_project_id2(
    const RemoteProxy* proxy, RemoteSliceProjectID project_id);
/* By what rmt_get_project_id was called with for this proxy. */
KIV_API const RemoteProjectID* rmt_member_project_id_by_key(
    const RemoteProxy* proxy, const char* project_key, const char* access_code);

KIV_API int32_t rmt_pid_sol(const RemoteProjectID* project_id);
KIV_API int32_t rmt_pid_proj(const RemoteProjectID* project_id);

#ifdef __cplusplus
}
#endif

#endif /* RMT_PROJECT_H_ */
