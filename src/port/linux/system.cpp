#include "port/system.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <link.h>
#include <netdb.h>
#include <pthread.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <clocale>
#include <cstdlib>
#include <memory>

#include "port/linux/descriptor.h"
#include "port/native_path.h"
#include "port/program.h"

namespace kiv::port {
namespace {

struct Freed {
  void operator()(void* memory) const { std::free(memory); }
};

}  // namespace

bool RandomBytes(void* out, std::size_t size_bytes) {
  auto* bytes = static_cast<unsigned char*>(out);
  while (size_bytes > 0) {
    const ssize_t got =
        Retry([&] { return ::getrandom(bytes, size_bytes, 0); });
    if (got <= 0) return false;
    bytes += got;
    size_bytes -= static_cast<std::size_t>(got);
  }
  return true;
}

std::string ModuleFileName(const void* address) {
  Dl_info info{};
  link_map* map = nullptr;
  if (::dladdr1(address, &info, reinterpret_cast<void**>(&map),
                RTLD_DL_LINKMAP) == 0 ||
      map == nullptr)
    return {};
  // The program itself has no name in the loader's list; dli_fname would be
  // whatever the caller of exec wrote into argv[0].
  if (map->l_name == nullptr || map->l_name[0] == '\0')
    return LocalPath(ProgramPath());
  if (map->l_name[0] == '/') return LocalPath(map->l_name);
  const std::unique_ptr<char, Freed> full(::realpath(map->l_name, nullptr));
  return full ? LocalPath(full.get()) : std::string();
}

std::string LocalIpv4() {
  constexpr std::size_t kNameRoom = 256;  // with the terminator
  char host[kNameRoom] = {};
  if (::gethostname(host, sizeof host) != 0) return {};
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  if (::getaddrinfo(host, nullptr, &hints, &list) != 0) return {};
  const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owned(
      list, &::freeaddrinfo);
  char text[INET_ADDRSTRLEN];
  const auto* address = reinterpret_cast<const sockaddr_in*>(list->ai_addr);
  if (!::inet_ntop(AF_INET, &address->sin_addr, text, sizeof text)) return {};
  return text;
}

void SetChineseLocale() {
  const char* current = std::setlocale(LC_MESSAGES, nullptr);
  const std::string messages = current ? current : "C";
  // The local encoding first, so that the runtime agrees with our texts.
  for (const char* name :
       {"zh_CN.GBK", "zh_CN.GB18030", "zh_CN.GB2312", "zh_CN", "zh_CN.UTF-8"}) {
    if (std::setlocale(LC_ALL, name) == nullptr) continue;
    // The system's own messages stay as they were: they end in our log, and
    // would come in the encoding of whichever locale there is.
    std::setlocale(LC_MESSAGES, messages.c_str());
    return;
  }
}

void OnFork(void (*before)(), void (*parent)(), void (*child)()) {
  ::pthread_atfork(before, parent, child);
}

void SleepSeconds(int seconds) {
  if (seconds <= 0) return;
  timespec until{};
  ::clock_gettime(CLOCK_MONOTONIC, &until);
  until.tv_sec += seconds;
  // Absolute, so that signals do not add up to a longer sleep.
  while (::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) ==
         EINTR) {
  }
}

}  // namespace kiv::port
