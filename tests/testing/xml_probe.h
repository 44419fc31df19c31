#ifndef TESTING_XML_PROBE_H_
#define TESTING_XML_PROBE_H_

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace kiv::testing {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

// The most memory this process has held since ResetPeakMemory.
inline long PeakMemoryKiB() {
  std::ifstream status("/proc/self/status");
  std::string word;
  while (status >> word) {
    long kib = 0;
    if (word == "VmHWM:" && status >> kib) return kib;
  }
  return -1;
}
inline void ResetPeakMemory() { std::ofstream("/proc/self/clear_refs") << 5; }

// Runs in a copy of this process; gives what waitpid says of it.
template <class Call>
int InChild(Call call) {
  const pid_t child = ::fork();
  if (child == 0) {
    call();
    std::_Exit(99);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  return status;
}

}  // namespace kiv::testing

#endif  // TESTING_XML_PROBE_H_
