// Log entries a second: the same line to both sinks, no flush an entry.
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "compare.h"
#include "kiv/log.h"

namespace {

constexpr int kEntries = 20'000;
constexpr int kThreads = 8;
constexpr const char* kMessage =
    "Config::Load Info: the config file 'C:\\svc\\conf\\queue.xml' was read";

class Folder {
 public:
  Folder()
      : path_(std::filesystem::temp_directory_path() /
              ("kiv_log_bench_" + std::to_string(std::rand()))) {
    std::filesystem::create_directories(path_);
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  std::string path() const { return path_.string(); }

 private:
  std::filesystem::path path_;
};

void RunThreads(int threads, const std::function<void(int)>& body) {
  if (threads == 1) {
    body(kEntries);
    return;
  }
  std::vector<std::thread> running;
  for (int i = 0; i < threads; ++i) {
    running.emplace_back([&] { body(kEntries / threads); });
  }
  for (std::thread& thread : running) thread.join();
}

void OurLog(benchmark::State& state, int threads) {
  const Folder folder;
  kiv::Log log;
  log.Open(kiv::FileSystemPath(folder.path(), kiv::FileSystemPath::native),
           true);
  const kiv::FileSystemPath no_path;
  for (auto _ : state) {
    RunThreads(threads, [&](int entries) {
      for (int i = 0; i < entries; ++i) {
        log.Output(kMessage, "mq", "error", no_path, true);
      }
    });
  }
  log.Flush();
  if (!log.IsOK()) state.SkipWithError("the log could not be written");
}

// The same characters: time, category, source, message, CR LF.
void Spdlog(benchmark::State& state, int threads) {
  const Folder folder;
  auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(
      folder.path() + "/peer.txt");
  spdlog::logger log("mq", sink);
  log.set_pattern("%H:%M:%S [%l] %n: %v\r");
  for (auto _ : state) {
    RunThreads(threads, [&](int entries) {
      for (int i = 0; i < entries; ++i) log.error(kMessage);
    });
  }
  log.flush();
}

bench::Body With(int threads, void (*body)(benchmark::State&, int)) {
  return [=](benchmark::State& state) { body(state, threads); };
}

const bool one_thread = bench::Compare(
    {"util/log_one_thread", "entries/s", kEntries, "spdlog basic", 1.0},
    With(1, OurLog), With(1, Spdlog));
const bool eight_threads = bench::Compare(
    {"util/log_eight_threads", "entries/s", kEntries, "spdlog basic", 0.8},
    With(kThreads, OurLog), With(kThreads, Spdlog));
const auto by_threads = [](void (*body)(benchmark::State&, int)) {
  return [body](benchmark::State& state, double threads) {
    body(state, static_cast<int>(threads));
  };
};
const bool threads =
    bench::CompareGrowth({"util/log_by_threads",
                          "entries/s",
                          "threads",
                          {1, 2, 4, 8, 16},
                          [](double) { return double{kEntries}; },
                          "spdlog basic"},
                         by_threads(OurLog), by_threads(Spdlog));

}  // namespace
