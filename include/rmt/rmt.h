#ifndef RMT_RMT_H_
#define RMT_RMT_H_

/* The client side of the family's remote services. Compiles as C; made to be
 * called from C, Pascal and Python too.
 *
 *   rmt/startup.h       start and end of the library
 *   rmt/service_info.h  services by name: conf/client.xml
 *   rmt/connection.h    communicators, lists of proxies, proxies
 *   rmt/project.h       projects and their ids
 *   rmt/calls.h         the operations of a service
 *   rmt/memory.h        strings and arrays that come back
 *   rmt/failure.h       why the last function failed
 *
 * Order: rmt_global_init, rmt_create_communicator, rmt_create_proxy_list,
 * rmt_get_named_proxy, calls; then rmt_delete_proxy_list,
 * rmt_delete_communicator, rmt_global_uninit.
 *
 * Texts are in the local encoding (GB2312 with the repertoire of code page 936)
 * and end with a NUL; on the wire they are UTF-8. Null is tolerated everywhere
 * and gives the neutral result: false, 0, "" or null; a null text counts as "".
 * Out-parameters stay as they are on failure, and those that may be null are
 * not wanted then. bool is one byte. Nothing is thrown.
 *
 * Any thread, but nobody may use a handle while it is deleted. */

/* IWYU pragma: begin_exports */
#include "rmt/calls.h"
#include "rmt/connection.h"
#include "rmt/failure.h"
#include "rmt/memory.h"
#include "rmt/project.h"
#include "rmt/service_info.h"
#include "rmt/startup.h"
/* IWYU pragma: end_exports */

#endif /* RMT_RMT_H_ */
