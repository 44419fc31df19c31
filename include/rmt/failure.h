#ifndef RMT_FAILURE_H_
#define RMT_FAILURE_H_

/* Why the last rmt_ function that this thread called failed. Compiles as C. */

#include <stdint.h>

#include "kiv/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The numbers stay. */
enum RemoteFailure {
  RMT_DONE = 0,
  RMT_BAD_ARGUMENT = 1,
  RMT_ANSWERED_NO = 2,    /* no failure: the service answered false */
  RMT_NO_SERVICE = 3,     /* client.xml or server.cfg do not have it */
  RMT_BAD_PROXY = 4,      /* host, port and identity make no proxy */
  RMT_REFUSED = 5,        /* nobody listens on the port */
  RMT_UNREACHABLE = 6,    /* no way to the host, or no such host */
  RMT_NO_ANSWER = 7,      /* within the time-out */
  RMT_NOT_ICE = 8,        /* something else listens on the port */
  RMT_LOST = 9,           /* the connection, in the middle of the call */
  RMT_NO_OBJECT = 10,     /* the server has no such identity */
  RMT_NO_OPERATION = 11,  /* the server does not know the operation */
  RMT_SERVER_FAILED = 12, /* in the operation */
  RMT_TOO_LARGE = 13,     /* the message, for Ice.MessageSizeMax */
  RMT_INCOMPATIBLE = 14,  /* the server wants another version */
  RMT_INSECURE = 15,      /* the certificate, or what TLS found wrong */
  RMT_DESTROYED = 16,     /* the communicator is gone */
  RMT_NOT_WRITTEN = 17,   /* client.xml */
  RMT_OTHER = 99
};

/* A number of RemoteFailure. Set by every function that calls a service or
 * reads or writes client.xml. */
KIV_API int32_t rmt_last_error_code(void);
/* One line in the local encoding, with host, port and cause; "" for none.
 * Borrowed: until this thread's next rmt_ call. */
KIV_API const char* rmt_last_error(void);

#ifdef __cplusplus
}
#endif

#endif /* RMT_FAILURE_H_ */
