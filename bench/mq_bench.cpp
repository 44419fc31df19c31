// A serial line at full speed, and a host with nothing to do.
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "compare.h"
#include "mq/com_line.h"
#include "port/wake_event.h"

namespace {

constexpr int kBlocks = 50'000;
constexpr char kBlock[] = "WB01,21,8,15,2,23450,A12345\r";

// The far end of a serial line.
class PseudoTerminal {
 public:
  PseudoTerminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) {
      throw std::runtime_error("no pseudo-terminal");
    }
    termios settings{};
    tcgetattr(master_, &settings);
    cfmakeraw(&settings);
    tcsetattr(master_, TCSANOW, &settings);
  }
  ~PseudoTerminal() { close(master_); }

  std::string device() const { return ptsname(master_); }

  void Feed(int blocks) const {
    std::string burst;
    for (int i = 0; i < 64; ++i) burst += kBlock;
    const std::size_t block_size = sizeof kBlock - 1;
    std::size_t left = blocks * block_size;
    while (left > 0) {
      // In phase: a short write goes on where it stopped.
      const std::size_t start = (blocks * block_size - left) % block_size;
      const std::size_t size = std::min(left, burst.size() - start);
      const ssize_t written = write(master_, burst.data() + start, size);
      if (written <= 0) return;
      left -= static_cast<std::size_t>(written);
    }
  }

 private:
  int master_;
};

void OurLine(benchmark::State& state) {
  const PseudoTerminal terminal;
  kiv::mq::ComLine line(terminal.device());
  const kiv::port::WakeEvent never;
  kiv::mq::Block block;
  line.Next(100, never, block);  // opens the port
  for (auto _ : state) {
    std::thread feeder([&] { terminal.Feed(kBlocks); });
    std::size_t bytes = 0;
    for (int taken = 0; taken < kBlocks;) {
      if (line.Next(1000, never, block) != kiv::mq::ComLine::Step::Block) {
        continue;
      }
      bytes += block.size;
      ++taken;
    }
    feeder.join();
    benchmark::DoNotOptimize(bytes);
  }
}

void PlainRead(benchmark::State& state) {
  const PseudoTerminal terminal;
  const int port = open(terminal.device().c_str(), O_RDWR | O_NOCTTY);
  char buffer[4096];
  std::size_t used = 0;
  for (auto _ : state) {
    std::thread feeder([&] { terminal.Feed(kBlocks); });
    std::size_t bytes = 0;
    for (int taken = 0; taken < kBlocks;) {
      const ssize_t got = read(port, buffer + used, sizeof buffer - used);
      if (got <= 0) break;
      used += static_cast<std::size_t>(got);
      const char* at = buffer;
      const char* const end = buffer + used;
      while (const void* found =
                 std::memchr(at, '\r', static_cast<std::size_t>(end - at))) {
        bytes += static_cast<std::size_t>(static_cast<const char*>(found) - at);
        at = static_cast<const char*>(found) + 1;
        ++taken;
      }
      used = static_cast<std::size_t>(end - at);
      std::memmove(buffer, at, used);
    }
    feeder.join();
    benchmark::DoNotOptimize(bytes);
  }
  close(port);
}

const bool line =
    bench::Compare({"mq/serial_blocks", "blocks/s", kBlocks, "plain read", 0.9},
                   OurLine, PlainRead);

// Nanoseconds on a processor of all threads of a process.
long long BusyNanoseconds(pid_t process) {
  long long sum = 0;
  for (const auto& task : std::filesystem::directory_iterator(
           "/proc/" + std::to_string(process) + "/task")) {
    long long busy = 0;
    std::ifstream(task.path() / "schedstat") >> busy;
    sum += busy;
  }
  return sum;
}

// kiv host on two silent lines: per cent of a core.
double IdleHost() {
  namespace fs = std::filesystem;
  const PseudoTerminal first;
  const PseudoTerminal second;
  const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
  char folder[] = "/tmp/kiv_idle_XXXXXX";
  if (mkdtemp(folder) == nullptr) throw std::runtime_error("no folder");
  const fs::path service(folder);
  for (const char* name : {"bin", "conf", "lib"}) {
    fs::create_directory(service / name);
  }
  fs::copy_file(programs.parent_path() / "lib" / "libweighbridge_processor.so",
                service / "lib" / "libweighbridge_processor.so");
  std::ofstream config(service / "conf" / "queue.xml");
  config << "<service><queues>";
  for (const PseudoTerminal* terminal : {&first, &second}) {
    config << "<queue type=\"com\" name=\"" << terminal->device()
           << "\" processor=\"dll://../lib/weighbridge_processor:Weigh\"/>";
  }
  config << "</queues></service>";
  config.close();

  const pid_t host = fork();
  if (host == 0) {
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    const std::string program = (programs / "kiv").string();
    execl(program.c_str(), "kiv", "host", folder, nullptr);
    _exit(127);
  }
  constexpr auto kWarmUp = std::chrono::seconds(2);
  constexpr auto kWatched = std::chrono::seconds(8);
  std::this_thread::sleep_for(kWarmUp);
  const long long before = BusyNanoseconds(host);
  std::this_thread::sleep_for(kWatched);
  const long long busy = BusyNanoseconds(host) - before;
  kill(host, SIGTERM);
  int status = 0;
  waitpid(host, &status, 0);
  fs::remove_all(service);
  if (status != 0 || before == 0) {
    throw std::runtime_error("the host did not run");
  }
  return 100.0 * static_cast<double>(busy) /
         static_cast<double>(std::chrono::nanoseconds(kWatched).count());
}

const bool idle =
    bench::StayBelow("mq/idle_host", "% of a core", 0.5, IdleHost);

}  // namespace
