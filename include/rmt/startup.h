#ifndef RMT_STARTUP_H_
#define RMT_STARTUP_H_

#include "kiv/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* kiv::GlobalInit and kiv::GlobalUninit, for programs that are not in C++:
 * before any other call here, and after the last one. */
KIV_API void rmt_global_init(void);
KIV_API void rmt_global_uninit(void);

#ifdef __cplusplus
}
#endif

#endif /* RMT_STARTUP_H_ */
