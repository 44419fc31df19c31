// Log entries a second: the same line to both sinks, no flush an entry.
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <filesystem>
#include <memory>
#include <string>

#include "compare.h"
#include "folder.h"
#include "kiv/log.h"
#include "share_out.h"

namespace {

constexpr int kEntries = 20'000;
constexpr const char* kMessage =
    "Config::Load Info: the config file 'C:\\svc\\conf\\queue.xml' was read";

void OurLog(benchmark::State& state, std::size_t threads) {
  const bench::Folder folder(std::filesystem::temp_directory_path());
  kiv::Log log;
  log.Open(
      kiv::FileSystemPath(folder.path().string(), kiv::FileSystemPath::native),
      true);
  const kiv::FileSystemPath no_path;
  for (auto _ : state) {
    bench::ShareOut(kEntries, threads, [&](int entries) {
      for (int i = 0; i < entries; ++i) {
        log.Output(kMessage, "mq", "error", no_path, true);
      }
    });
  }
  log.Flush();
  if (!log.IsOK()) state.SkipWithError("the log could not be written");
}

// The same characters: time, category, source, message, CR LF.
void Spdlog(benchmark::State& state, std::size_t threads) {
  const bench::Folder folder(std::filesystem::temp_directory_path());
  auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(
      (folder.path() / "peer.txt").string());
  spdlog::logger log("mq", sink);
  log.set_pattern("%H:%M:%S [%l] %n: %v\r");
  for (auto _ : state) {
    bench::ShareOut(kEntries, threads, [&](int entries) {
      for (int i = 0; i < entries; ++i) log.error(kMessage);
    });
  }
  log.flush();
}

const bool one_thread =
    bench::Compare({"util/log_one_thread", "entries/s", bench::Always(kEntries),
                    "spdlog basic", 1.0},
                   bench::Curve{"threads", 1, {2, 4, 16}}, OurLog, Spdlog);
const bool eight_threads =
    bench::Compare({"util/log_eight_threads", "entries/s",
                    bench::Always(kEntries), "spdlog basic", 0.8},
                   bench::OnCurveOf{"util/log_one_thread", 8}, OurLog, Spdlog);

}  // namespace
