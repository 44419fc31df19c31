// What a host costs while nothing comes: kiv host itself on silent lines.
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "compare.h"
#include "folder.h"
#include "testing/pseudo_terminal.h"

namespace {

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

// Per cent of a core.
double IdleHost(std::size_t lines) {
  namespace fs = std::filesystem;
  const std::vector<kiv::testing::PseudoTerminal> terminals(lines);
  const fs::path programs = fs::read_symlink("/proc/self/exe").parent_path();
  const bench::Folder folder(fs::temp_directory_path());
  const fs::path& service = folder.path();
  for (const char* name : {"bin", "conf", "lib"}) {
    fs::create_directory(service / name);
  }
  fs::copy_file(programs.parent_path() / "lib" / "libweighbridge_processor.so",
                service / "lib" / "libweighbridge_processor.so");
  std::ofstream config(service / "conf" / "queue.xml");
  config << "<service><queues>";
  for (const kiv::testing::PseudoTerminal& terminal : terminals) {
    config << "<queue type=\"com\" name=\"" << terminal.Device()
           << "\" processor=\"dll://../lib/weighbridge_processor:Weigh\"/>";
  }
  config << "</queues></service>";
  config.close();

  const pid_t host = fork();
  if (host == 0) {
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    const std::string program = (programs / "kiv").string();
    execl(program.c_str(), "kiv", "host", service.c_str(), nullptr);
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
  if (status != 0 || before == 0) {
    throw std::runtime_error("the host did not run");
  }
  return 100.0 * static_cast<double>(busy) /
         static_cast<double>(std::chrono::nanoseconds(kWatched).count());
}

const bool idle =
    bench::StayBelow({"mq/idle_host", "% of a core", 0.5},
                     bench::Curve{"serial queues", 2, {8, 32}}, IdleHost);

}  // namespace
