#include "standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

namespace kiv_tool {

void OccupyStandardStreams() {
  // The lowest free number is taken, and the lower ones are taken by now. Open
  // for the wrong direction, so that using it is an error.
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
    if (::fcntl(stream, F_GETFD) < 0)
      ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
}

bool HasStandardInput() {
  const int flags = ::fcntl(STDIN_FILENO, F_GETFL);
  return flags >= 0 && (flags & O_ACCMODE) != O_WRONLY;
}

}  // namespace kiv_tool
