// Messages a second to a processor in a process of its own, against the least
// that two processes can do: a datagram to and fro.
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

constexpr double kMessage = 200;

std::string Message(double size) {
  return std::string(static_cast<std::size_t>(size), 'm');
}

void Isolated(benchmark::State& state, double size) {
  setenv("KIV_PROCESSOR_HOST", KIV_PROCESSOR, 1);
  setenv("KIV_MODULE_TRUST", "any", 1);
  const std::string message = Message(size);
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

void Bare(benchmark::State& state, double size) {
  const std::string message = Message(size);
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

bench::Body Short(const bench::SizedBody& body) {
  return [body](benchmark::State& state) { body(state, kMessage); };
}

const bool isolated =
    bench::Compare({"mq/isolated", "messages/s", 1, "bare sockets", 0.5},
                   Short(Isolated), Short(Bare));
const bool growth =
    bench::CompareGrowth({"mq/isolated_by_length",
                          "messages/s",
                          "bytes of a message",
                          {1, 1024, 16384, 65536, 262144, 1048576},
                          [](double) { return 1.0; },
                          "bare sockets"},
                         Isolated, Bare);

}  // namespace
