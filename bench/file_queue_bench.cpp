// Watched directories: files from the writer's close to the processor's return,
// against a loop that opens, reads and deletes what inotify names, and one that
// claims them by a rename before, as a queue has to; how late a file is at a
// steady rate; what silent directories cost.
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "compare.h"
#include "folder.h"
#include "mq/file_queue_worker.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kFiles = 10'000;
constexpr std::size_t kFileBytes = 2048;
// Of large files, fewer.
constexpr std::size_t kBytesAtOnce = 128 << 20;

// In memory: what a disk does then decides nothing.
constexpr char kParent[] = "/dev/shm";

void WriteFile(const fs::path& folder, std::size_t number,
               const std::string& bytes) {
  const std::string path = (folder / std::to_string(number)).string();
  const int file =
      open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file < 0 || write(file, bytes.data(), bytes.size()) !=
                      static_cast<ssize_t>(bytes.size()))
    throw std::runtime_error("cannot write " + path);
  close(file);
}

// Counts files, and wakes who waits for a number of them.
class FileCounter final : public kiv::module::Module {
 public:
  bool process_mem(const char* data, int length, void*) override {
    benchmark::DoNotOptimize(data[length - 1]);
    if (received != nullptr) received->push_back(Clock::now());
    if (count_.fetch_add(1) + 1 == target_) count_.notify_one();
    return true;
  }
  void Expect(std::size_t files) { target_ = count_ + static_cast<int>(files); }
  void Wait() const {
    for (int seen = count_; seen != target_; seen = count_) count_.wait(seen);
  }

  std::vector<Clock::time_point>* received = nullptr;

 private:
  std::atomic<int> count_{0};
  std::atomic<int> target_{-1};
};

// Folders under a worker of the file queue.
class Watched {
 public:
  Watched(const std::vector<fs::path>& paths,
          const std::shared_ptr<kiv::module::Module>& processor)
      : watch_(kiv::port::DirectoryWatch::Open()) {
    for (const fs::path& path : paths) {
      kiv::msgq::DirectorySettings settings;
      settings.name = path.filename();
      settings.path = path;
      settings.process = true;
      settings.processor = processor;
      settings_.push_back(settings);
      boards_.push_back(std::make_unique<kiv::mq::StatusBoard>());
      const std::size_t key = settings_.size();
      if (!watch_->OpenDirectory(
              settings.path,
              {.subtree = true, .skips_hidden = true, .reports_present = true},
              key) ||
          !watch_->Associate(key) || !watch_->Arm(key))
        throw std::runtime_error("cannot watch " + settings.path);
    }
    thread_ = std::thread([this] {
      kiv::msgq::FileQueueWorker worker(*watch_, settings_, boards_, stop_);
      is_ready_ = true;
      is_ready_.notify_one();
      worker.Run();
      rusage usage{};
      getrusage(RUSAGE_THREAD, &usage);
      switches_ = usage.ru_nvcsw;
    });
    is_ready_.wait(false);
  }
  ~Watched() { Stop(); }
  void Stop() {
    stop_ = true;
    watch_->Stop();
    if (thread_.joinable()) thread_.join();
  }
  // Of the worker's whole life, when it is over.
  long Switches() const { return switches_; }

 private:
  const std::unique_ptr<kiv::port::DirectoryWatch> watch_;
  std::vector<kiv::msgq::DirectorySettings> settings_;
  std::vector<std::unique_ptr<kiv::mq::StatusBoard>> boards_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> is_ready_{false};
  long switches_ = 0;
  std::thread thread_;
};

// Written in one go.
struct Load {
  std::size_t files;
  std::size_t file_bytes;
};

void WriteRounds(benchmark::State& state, const fs::path& folder,
                 FileCounter& counter, const Load& load) {
  const std::string bytes(load.file_bytes, 'x');
  for (auto _ : state) {
    counter.Expect(load.files);
    for (std::size_t i = 0; i < load.files; ++i) WriteFile(folder, i, bytes);
    counter.Wait();
  }
}

void FileQueue(benchmark::State& state, const Load& load) {
  const bench::Folder folder(kParent);
  const auto counter = std::make_shared<FileCounter>();
  const Watched watched({folder.path()}, counter);
  WriteRounds(state, folder.path(), *counter, load);
}

enum class Claims { No, Yes };

// What one would write for one folder, one program and no mishap; with a claim
// it is for several programs, and a file has two names in its life.
void TakeLoop(int inotify, const fs::path& folder, Claims claims,
              std::size_t file_bytes, FileCounter& counter,
              const std::atomic<bool>& stop) {
  alignas(inotify_event) std::array<char, 65536> events;
  std::string bytes(file_bytes + 1, '\0');
  while (!stop) {
    const ssize_t size = read(inotify, events.data(), events.size());
    for (ssize_t at = 0; at < size;) {
      const auto& event =
          *reinterpret_cast<const inotify_event*>(events.data() + at);
      at += static_cast<ssize_t>(sizeof event + event.len);
      if (event.len == 0 || stop) continue;
      std::string path = (folder / event.name).string();
      if (claims == Claims::Yes) {
        const std::string claimed = (folder / ".taken" / event.name).string();
        if (rename(path.c_str(), claimed.c_str()) != 0) continue;
        path = claimed;
      }
      const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
      if (file < 0) continue;
      const ssize_t got = read(file, bytes.data(), bytes.size());
      close(file);
      counter.process_mem(bytes.data(), static_cast<int>(got), nullptr);
      unlink(path.c_str());
    }
  }
}

void RawLoop(benchmark::State& state, Claims claims, const Load& load) {
  const bench::Folder folder(kParent);
  fs::create_directory(folder.path() / ".taken");
  FileCounter counter;
  const int inotify = inotify_init1(IN_CLOEXEC);
  inotify_add_watch(inotify, folder.path().c_str(),
                    IN_CLOSE_WRITE | IN_MOVED_TO);
  std::atomic<bool> stop{false};
  std::thread taker([&] {
    TakeLoop(inotify, folder.path(), claims, load.file_bytes, counter, stop);
  });
  WriteRounds(state, folder.path(), counter, load);
  stop = true;
  WriteFile(folder.path(), load.files, "x");  // wakes it
  taker.join();
  close(inotify);
}

// At so many files a second, for five seconds: milliseconds that 99 of 100
// files stay below, from the writer's close to the processor, which does no
// more than note the time.
double LatencyAtASteadyRate(std::size_t files_a_second) {
  const std::size_t files = 5 * files_a_second;
  const auto interval =
      Clock::duration(std::chrono::seconds(1)) / files_a_second;
  const bench::Folder folder(kParent);
  const std::string bytes(kFileBytes, 'x');
  const auto counter = std::make_shared<FileCounter>();
  std::vector<Clock::time_point> received;
  received.reserve(files);
  counter->received = &received;
  std::vector<Clock::time_point> closed;
  const Watched watched({folder.path()}, counter);
  counter->Expect(files);
  auto next = Clock::now();
  for (std::size_t i = 0; i < files; ++i) {
    std::this_thread::sleep_until(next += interval);
    WriteFile(folder.path(), i, bytes);
    closed.push_back(Clock::now());
  }
  counter->Wait();
  std::vector<double> milliseconds;
  for (std::size_t i = 0; i < files; ++i)
    milliseconds.push_back(
        std::chrono::duration<double, std::milli>(received[i] - closed[i])
            .count());
  std::sort(milliseconds.begin(), milliseconds.end());
  return milliseconds[files * 99 / 100];
}

// How often the worker of silent directories wakes in three seconds, beyond its
// start and its stop.
double WakesWhileIdle(std::size_t directories) {
  const auto switches = [directories](std::chrono::milliseconds time) {
    const bench::Folder folder(kParent);
    std::vector<fs::path> paths;
    for (std::size_t i = 0; i < directories; ++i) {
      paths.push_back(folder.path() / std::to_string(i));
      fs::create_directory(paths.back());
    }
    Watched watched(paths, std::make_shared<FileCounter>());
    std::this_thread::sleep_for(time);
    watched.Stop();
    return watched.Switches();
  };
  constexpr auto kShort = std::chrono::milliseconds(1'000);
  constexpr auto kLong = std::chrono::milliseconds(4'000);
  const long extra = switches(kLong) - switches(kShort);
  return static_cast<double>(std::max(extra, 0L));
}

Load OfBytes(std::size_t file_bytes) {
  return {std::min(kFiles, kBytesAtOnce / file_bytes), file_bytes};
}
Load OfFiles(std::size_t files) { return {files, kFileBytes}; }

const bool throughput = bench::Compare(
    {"mq/file_queue", "files/s",
     [](std::size_t bytes) { return bench::Size(OfBytes(bytes).files); },
     "raw inotify loop", 0.7},
    bench::Curve{"bytes of a file", kFileBytes, {64, 32'768, 524'288}},
    [](benchmark::State& state, std::size_t bytes) {
      FileQueue(state, OfBytes(bytes));
    },
    [](benchmark::State& state, std::size_t bytes) {
      RawLoop(state, Claims::No, OfBytes(bytes));
    });
const bool claimed = bench::Compare(
    {"mq/file_queue_claimed", "files/s", bench::Size, "raw loop that claims",
     0.7},
    bench::Curve{"files written in one go", kFiles, {10, 100, 1000}},
    [](benchmark::State& state, std::size_t files) {
      FileQueue(state, OfFiles(files));
    },
    [](benchmark::State& state, std::size_t files) {
      RawLoop(state, Claims::Yes, OfFiles(files));
    });
const bool latency =
    bench::StayBelow({"mq/file_queue_p99", "ms", 5},
                     bench::Curve{"files a second", 500, {100, 2'000, 5'000}},
                     LatencyAtASteadyRate);
// There may be no more directories.
const bool idle =
    bench::StayBelow({"mq/file_queue_idle", "wakes in 3 s", 1},
                     bench::Curve{"directories", 64, {1, 8}}, WakesWhileIdle);

}  // namespace
