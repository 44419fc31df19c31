#ifndef DM_GUID_H_
#define DM_GUID_H_

/* GUID values and their 36-character text form. Compiles as C. */

#include <stdint.h>

#include "kiv/export.h"

/* The tag is the published one. NOLINTNEXTLINE(bugprone-reserved-identifier) */
typedef struct _GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
} GUID;

#ifdef __cplusplus
extern "C" {
#else
#include <stdbool.h>
#endif

/* A fresh random GUID. False for null or when the system gives no randomness.
 */
KIV_API bool dm_generate_guid(GUID* guid);

/* Lower-case 8-4-4-4-12 groups without braces, and a NUL. False, with nothing
 * written, for null or less room than 37. */
KIV_API bool dm_guid_to_string(const GUID* guid, char* text, unsigned size);

/* Reads the same form, in either case. False, with nothing written, for
 * anything else. */
KIV_API bool dm_string_to_guid(const char* text, GUID* guid);

#ifdef __cplusplus
}
#endif

#endif /* DM_GUID_H_ */
