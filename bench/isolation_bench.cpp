// Messages a second to a processor in a process of its own, against the least
// that two processes can do: a datagram to and fro. Both processes of either
// side run on one core: over two, what is measured is how the system wakes a
// core that sleeps, and it puts the processes where it likes.
#include <sched.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "compare.h"
#include "mq/isolation.h"

namespace {

// This thread and what it starts, until this ends.
class OnOneCore {
 public:
  explicit OnOneCore(benchmark::State& state) {
    cpu_set_t one;
    CPU_ZERO(&one);
    is_bound_ = sched_getaffinity(0, sizeof before_, &before_) == 0;
    for (int core = 0; is_bound_ && CPU_COUNT(&one) == 0; ++core)
      if (CPU_ISSET(core, &before_)) CPU_SET(core, &one);
    is_bound_ = is_bound_ && sched_setaffinity(0, sizeof one, &one) == 0;
    if (!is_bound_) state.SkipWithError("not bound to a core");
  }
  ~OnOneCore() {
    if (is_bound_) sched_setaffinity(0, sizeof before_, &before_);
  }
  OnOneCore(const OnOneCore&) = delete;
  OnOneCore& operator=(const OnOneCore&) = delete;

 private:
  cpu_set_t before_;
  bool is_bound_ = false;
};

void Isolated(benchmark::State& state, std::size_t size) {
  const OnOneCore core(state);
  setenv("KIV_PROCESSOR_HOST", KIV_PROCESSOR, 1);
  setenv("KIV_MODULE_TRUST", "any", 1);
  const std::string message(size, 'm');
  const auto module = kiv::module::CreateModule(
      std::string("dll://") + KIV_BENCH_PROCESSOR + ":Nothing", {true, 60}, "");
  for (auto _ : state)
    if (module == nullptr ||
        !module->process_mem(message.data(), static_cast<int>(message.size()),
                             nullptr)) {
      state.SkipWithError("the message failed");
      break;
    }
}

// Answers every datagram with a byte until nobody is there.
[[noreturn]] void AnswerAll(int socket, std::size_t size) {
  std::vector<char> bytes(size);
  while (recv(socket, bytes.data(), bytes.size(), 0) > 0)
    send(socket, "y", 1, MSG_NOSIGNAL);
  _exit(0);
}

void Bare(benchmark::State& state, std::size_t size) {
  const OnOneCore core(state);
  const std::string message(size, 'm');
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) {
    state.SkipWithError("no sockets");
    return;
  }
  const int room = 4 << 20;
  setsockopt(ends[0], SOL_SOCKET, SO_SNDBUFFORCE, &room, sizeof room);
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    AnswerAll(ends[1], message.size());
  }
  close(ends[1]);
  char answer = 0;
  for (auto _ : state)
    if (send(ends[0], message.data(), message.size(), 0) < 0 ||
        recv(ends[0], &answer, 1, 0) != 1) {
      state.SkipWithError("no answer");
      break;
    }
  close(ends[0]);
  waitpid(child, nullptr, 0);
}

const bool isolated = bench::Compare(
    {"mq/isolated", "messages/s", bench::One, "bare sockets", 0.5},
    bench::Curve{
        "bytes of a message", 200, {1, 1024, 16384, 65536, 262144, 1048576}},
    Isolated, Bare);

}  // namespace
