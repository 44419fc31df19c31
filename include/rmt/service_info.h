#ifndef RMT_SERVICE_INFO_H_
#define RMT_SERVICE_INFO_H_

/* Services by name, as ../conf/client.xml has them. Compiles as C. */

#include <stdint.h>

#include "kiv/export.h"

#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* One service. The caller owns the block; its layout is fixed: 588 bytes, no
 * padding. Texts end with a NUL within their width. */
typedef struct RemoteServiceInfo {
  char ip[128];           /* the host, by name or address */
  int32_t port;           /* below 1: open */
  char svc[128];          /* the object's identity */
  char project_key[256];  /* may be empty */
  char access_code[64];   /* may be empty; never logged */
  int32_t engine_version; /* 0 with document_version 0: any version will do */
  int32_t document_version;
} RemoteServiceInfo;

/* Relative to the current directory. Static text. */
KIV_API const char* rmt_get_config_path(void);

/* Reads the service of that name. False, with the record untouched, when there
 * is none, "ip" or "svc" are missing, or a text is too long for its field. A
 * number that is missing or negative reads as 0. */
KIV_API bool rmt_get_remote_server(const char* name, RemoteServiceInfo* record);

/* Writes the service of that name, new or instead of the old one; other
 * services, and further attributes of this one, stay. The file is replaced as a
 * whole or not at all and belongs to its owner alone afterwards (mode 0600).
 * One that cannot be read is kept beside it as client.xml.unreadable. False for
 * a text without a NUL in its field and for one that XML cannot hold.
 *
 * Safe beside other threads and programs that do the same. */
KIV_API bool rmt_set_remote_server(const char* name,
                                   const RemoteServiceInfo* record);

#ifdef __cplusplus
}
#endif

#endif /* RMT_SERVICE_INFO_H_ */
