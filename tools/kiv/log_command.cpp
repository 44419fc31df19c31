// kiv log: prints and follows the daily log as UTF-8.
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "command.h"
#include "kiv/environment.h"
#include "service_folder.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

namespace fs = std::filesystem;

constexpr char kSuffix[] = ".txt";
constexpr auto kFollowInterval = std::chrono::milliseconds(200);

struct LogOptions {
  std::string folder = ".";
  std::string date;
  int lines = 0;
  bool follow = false;
};

std::atomic<bool> interrupted{false};

// Where the log file of that name lies, or will lie when it is there: below
// bin/ of a service folder, below the folder itself, or in it.
fs::path LogFile(const fs::path& folder, const std::string& name) {
  const fs::path below = fs::path("Logfiles") / "System";
  std::vector<fs::path> places;
  std::error_code error;
  std::string reason;
  if (const auto service = FindServiceFolder(folder, reason)) {
    places.push_back(service->bin / below);
  }
  if (fs::is_directory(folder / below, error)) places.push_back(folder / below);
  places.push_back(folder);
  for (const fs::path& place : places) {
    if (fs::is_regular_file(place / name, error)) return place / name;
  }
  return places.front() / name;
}

std::string TodaysFile() {
  const long second = kiv::time(nullptr);
  const std::tm* local = kiv::localtime(&second);
  if (local == nullptr) return "log.txt";
  char name[32];
  std::strftime(name, sizeof name, "%Y%m%d", local);
  return name + std::string(kSuffix);
}

void PrintLine(std::string line) {
  if (!line.empty() && line.back() == '\r') line.pop_back();
  Color color = Color::Plain;
  // "[错误]" and "[严重错误]"
  if (line.find("\xB4\xED\xCE\xF3] ") != std::string::npos) color = Color::Red;
  std::cout << Colored(Printable(Utf8(line)), color) << '\n';
}

// Reads whole lines of one file from where it stopped.
class LogReader {
 public:
  explicit LogReader(fs::path path) : path_(std::move(path)) {}

  const fs::path& path() const { return path_; }

  template <typename Sink>
  bool ReadNewLines(Sink sink) {
    std::ifstream file(path_, std::ios::binary);
    if (!file) return false;
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    if (size < offset_) offset_ = 0;  // another file took its name
    file.seekg(offset_);
    std::string line;
    while (std::getline(file, line)) {
      if (file.eof()) break;  // still being written
      offset_ += static_cast<std::streamoff>(line.size()) + 1;
      sink(std::move(line));
    }
    return true;
  }

 private:
  fs::path path_;
  std::streamoff offset_ = 0;
};

void PrintTail(LogReader& reader, int lines) {
  std::deque<std::string> tail;
  reader.ReadNewLines([&](std::string line) {
    tail.push_back(std::move(line));
    if (lines > 0 && tail.size() > static_cast<std::size_t>(lines)) {
      tail.pop_front();
    }
  });
  for (std::string& line : tail) PrintLine(std::move(line));
  std::cout.flush();
}

void Follow(const std::string& folder, LogReader reader) {
  while (!interrupted && std::cout) {
    std::this_thread::sleep_for(kFollowInterval);
    reader.ReadNewLines(PrintLine);
    const fs::path today = LogFile(folder, TodaysFile());
    if (today != reader.path() && fs::exists(today)) {
      // What the old day got before the new one began.
      reader.ReadNewLines(PrintLine);
      reader = LogReader(today);
      reader.ReadNewLines(PrintLine);
    }
    std::cout.flush();
  }
}

// Says why there is nothing to show. The exit code: a service that logged
// nothing today is in order.
int TellMissing(const LogOptions& options, const fs::path& file) {
  std::string ignored;
  if (options.date.empty() && FindServiceFolder(options.folder, ignored)) {
    std::cerr << "kiv log: nothing was logged today\n";
    return 0;
  }
  std::cerr << "kiv log: " << file.string()
            << " is not there; name the service folder, or another day with "
               "--date\n";
  return 1;
}

int Run(const LogOptions& options) {
  const std::string name =
      options.date.empty() ? TodaysFile() : options.date + kSuffix;
  LogReader reader(LogFile(options.folder, name));
  if (options.follow) {
    for (const int number : {SIGINT, SIGTERM})
      std::signal(number, [](int) { interrupted = true; });
  }
  if (!fs::is_regular_file(reader.path())) {
    const int exit_code = TellMissing(options, reader.path());
    if (!options.follow) return exit_code;
  } else {
    PrintTail(reader, options.lines);
  }
  if (options.follow) Follow(options.folder, std::move(reader));
  return 0;
}

}  // namespace

void AddLog(CLI::App& program, int& exit_code) {
  auto options = std::make_shared<LogOptions>();
  CLI::App* command = program.add_subcommand(
      "log", "Prints and follows the daily log as UTF-8");
  command
      ->add_option("folder", options->folder,
                   "The service folder, or a folder of log files")
      ->capture_default_str();
  command->add_option("-d,--date", options->date, "The day, as YYYYMMDD")
      ->check([](const std::string& text) -> std::string {
        const bool good = text.size() == 8 &&
                          text.find_first_not_of("0123456789") == text.npos;
        return good ? "" : "a day is written YYYYMMDD";
      });
  command->add_option("-n,--lines", options->lines, "Only the last lines")
      ->check(CLI::PositiveNumber);
  command->add_flag("-f,--follow", options->follow,
                    "Go on with what is written, until interrupted");
  command->callback([options, &exit_code] {
    // Another day's file does not grow.
    if (options->follow && !options->date.empty() &&
        options->date + kSuffix != TodaysFile()) {
      throw CLI::ValidationError("--follow",
                                 "goes on with today's log: leave out --date, "
                                 "or leave out --follow to "
                                 "see that day");
    }
    exit_code = Run(*options);
  });
}

}  // namespace kiv_tool
