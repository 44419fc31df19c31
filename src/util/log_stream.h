#ifndef UTIL_LOG_STREAM_H_
#define UTIL_LOG_STREAM_H_

#include <locale>
#include <ostream>
#include <string>

#include "kiv/log.h"
#include "util/log_file.h"
#include "util/log_time.h"

namespace kiv {

// What a log writes through. Made with the log and as long-lived.
struct Log::Stream {
  Stream() { out.imbue(std::locale::classic()); }

  LogFile file;
  std::ostream out{&file.Buffer()};

  // The reading of the outermost entry being written; valid while depth != 0.
  LogTime time;
  int depth = 0;
  // The name asked for on every entry, kept for its memory.
  std::string fresh_name;

  // All logs of the process, for its forks.
  Log* next = nullptr;
};

}  // namespace kiv

#endif  // UTIL_LOG_STREAM_H_
