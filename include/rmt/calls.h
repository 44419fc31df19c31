#ifndef RMT_CALLS_H_
#define RMT_CALLS_H_

/* The operations of a service. Compiles as C.
 *
 * Each waits for the answer, at most the proxy's time-out. A failure gives the
 * neutral result, is logged, and rmt_last_error says what it was; where false
 * or 0 may be the service's answer, rmt_last_error_code tells the two apart. A
 * text with a NUL in it comes back whole in a RemoteStringValue. */

#include <stdint.h>

#include "kiv/export.h"
#include "rmt/connection.h"
#include "rmt/memory.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Whether the service answers at all. */
KIV_API bool rmt_ping(RemoteProxy* proxy);

KIV_API int32_t rmt_max_message_size(RemoteProxy* proxy);
KIV_API bool rmt_reload_config(RemoteProxy* proxy);

/* Each out-parameter may be null. */
KIV_API bool rmt_get_version(RemoteProxy* proxy, RemoteStringValue* name,
                             RemoteStringValue* label, int32_t* major_number,
                             int32_t* minor_number, int32_t* revision);
KIV_API bool rmt_is_version_compatible(RemoteProxy* proxy, int32_t major_number,
                                       int32_t minor_number, int32_t revision);

/* New array, release with rmt_delete_string_array; without a slot for an empty
 * list. Null on failure. */
KIV_API char** rmt_get_solutions2(RemoteProxy* proxy);
KIV_API char** rmt_get_projects2(RemoteProxy* proxy, const char* solution);

/* The service's answer; the reply, which may be null, is filled whatever that
 * is. */
KIV_API bool rmt_send_command(RemoteProxy* proxy, const char* command,
                              RemoteStringValue* reply);

/* GetProjectID, GetProjectId2 and GetProjectId3. The id is set when the service
 * answers true. */
KIV_API bool rmt_query_project_id(RemoteProxy* proxy, const char* project,
                                  int32_t* project_id);
KIV_API bool rmt_query_project_id2(RemoteProxy* proxy, const char* project,
                                   int32_t* project_id);
KIV_API bool rmt_query_project_id3(RemoteProxy* proxy, const char* solution,
                                   const char* project, int32_t* project_id);

/* Ends the service. The only call that is sent again when the connection is
 * lost after it was sent. */
KIV_API bool rmt_shutdown(RemoteProxy* proxy);

#ifdef __cplusplus
}
#endif

#endif /* RMT_CALLS_H_ */
