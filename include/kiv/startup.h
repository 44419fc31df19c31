#ifndef KIV_STARTUP_H_
#define KIV_STARTUP_H_

#include "kiv/export.h"

namespace kiv {

// Starts the library: locale, XML platform, transcoder, type table. Must come
// before any XML or data-model call. Several calls count as one.
KIV_API void GlobalInit();

// Undoes every GlobalInit at once. A call without a GlobalInit before it takes
// the counter below zero, and the next GlobalInit then does nothing: callers
// rely on this asymmetry. Safe from any thread.
KIV_API void GlobalUninit();

// The GB2312 transcoder of the XML platform (a xercesc::XMLTranscoder*); null
// outside GlobalInit and GlobalUninit. Borrowed.
KIV_API void* GlobalTranscoder();

// Guard for a worker thread that uses COM; nothing to do on this platform.
class KIV_API ThreadInit {
 public:
  ThreadInit();
  ~ThreadInit();  // NOLINT(performance-trivially-destructible): exported
  ThreadInit(const ThreadInit&) = delete;
  ThreadInit& operator=(const ThreadInit&) = delete;
};

}  // namespace kiv

extern "C" {
// The full file name of this library in the local encoding, at most 260 bytes.
// Static text.
KIV_API const char* WhereAmI();
KIV_API const char* BuildInfo();
KIV_API const char* Copyright();
}

#endif  // KIV_STARTUP_H_
