// kiv host: runs the queues and the watched directories of a service folder.
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "command.h"
#include "kiv/date_time.h"
#include "kiv/log.h"
#include "kiv/mq/factory.h"
#include "kiv/msgq/file_queue.h"
#include "kiv/nt_service.h"
#include "local_text.h"
#include "service_command.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

using kiv::mq::QueueConfig;
using kiv::mq::QueueState;
using kiv::mq::QueueStatus;

using Queues = std::vector<std::shared_ptr<QueueConfig>>;

// A queue or a watched directory.
struct Row {
  std::string name;  // UTF-8
  QueueStatus status;
};

// What the host shows; as many rows every time.
class Board {
 public:
  Board(const Queues& queues, bool has_directories)
      : queues_(queues), has_directories_(has_directories) {}

  std::vector<Row> Rows() const {
    std::vector<Row> rows;
    for (const auto& queue : queues_)
      rows.push_back({Utf8(queue->Name()), queue->Status()});
    if (has_directories_)
      for (const auto& directory : kiv::msgq::FileQueueDirectories())
        rows.push_back({Utf8(directory.name), directory.status});
    return rows;
  }

 private:
  const Queues& queues_;
  const bool has_directories_;
};

constexpr int kRefreshMs = 1000;

std::string ClockText(const kiv::DateTime& time) {
  if (time == kiv::DateTime()) return "-";
  char text[16];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d", time.Hour(), time.Minute(),
                time.Second());
  return text;
}

Color StateColor(QueueState state) {
  switch (state) {
    case QueueState::Reading:
    case QueueState::LeftToHost:
    case QueueState::Observing:
    case QueueState::Polling:
      return Color::Green;
    case QueueState::Unplugged:
    case QueueState::Gone:
      return Color::Yellow;
    case QueueState::Failed:
      return Color::Red;
    default:
      return Color::Plain;
  }
}

std::string StatusTable(const Board& board) {
  std::vector<std::vector<Cell>> rows;
  for (const auto& [name, status] : board.Rows()) {
    const auto number = [](unsigned long long value, Color color) {
      return Cell{std::to_string(value), color, true};
    };
    rows.push_back(
        {{name},
         number(status.messages, Color::Plain),
         number(status.bytes, Color::Plain),
         number(status.failures,
                status.failures > 0 ? Color::Yellow : Color::Plain),
         number(status.refused,
                status.refused > 0 ? Color::Yellow : Color::Plain),
         {ClockText(status.last_message)},
         {kiv::mq::QueueStateText(status.state), StateColor(status.state)}});
  }
  return Table({"queue", "messages", "bytes", "failures", "refused",
                "last message", "state"},
               rows);
}

// Draws the table over the one before.
class LiveTable {
 public:
  explicit LiveTable(const Board& board) : board_(board) {}

  void Draw() {
    if (line_count_ > 0) std::cout << "\033[" << line_count_ << "A\033[J";
    std::cout << StatusTable(board_) << std::flush;
    line_count_ = board_.Rows().size() + 1;
  }

 private:
  const Board& board_;
  std::size_t line_count_ = 0;
};

// A line for every change of state, for logs and pipes.
class StateLines {
 public:
  explicit StateLines(const Board& board)
      : board_(board), shown_(board.Rows().size(), QueueState::Stopped) {}

  void Draw() {
    const std::vector<Row> rows = board_.Rows();
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const QueueState state = rows[i].status.state;
      if (state == shown_[i]) continue;
      shown_[i] = state;
      std::cout << ClockText(kiv::DateTime::Now()) << ' ' << rows[i].name
                << ": " << kiv::mq::QueueStateText(state) << std::endl;
    }
  }

 private:
  const Board& board_;
  std::vector<QueueState> shown_;
};

std::size_t StartAll(const Queues& queues) {
  std::size_t listening = 0;
  for (const auto& queue : queues) {
    if (queue->StartListen()) {
      ++listening;
    } else {
      std::cerr << "kiv host: queue " << Utf8(queue->Name())
                << " is not listened on; kiv check-config says why\n";
    }
  }
  return listening;
}

// Whether the directories of the file are watched from now on.
bool StartDirectories(const std::string& file) {
  if (kiv::msgq::FileQueueStart()) return true;
  std::cerr << "kiv host: the directories of " << file
            << " are not watched; kiv check-config says why\n";
  return false;
}

bool StopAll(kiv::mq::Config& config) {
  const bool has_stopped = config.Stop();
  const bool has_stopped_watching = kiv::msgq::FileQueueStop();
  if (has_stopped && has_stopped_watching) return true;
  std::cerr << "kiv host: a processor did not end in time; the log names its "
               "queue\n";
  return false;
}

// The service that listens on the queues of a folder and watches its
// directories.
class HostService final : public kiv::NTService {
 public:
  HostService(const std::string& name, const ServiceFolder& service)
      : NTService(name, "Message queues of " +
                            ToLocal(service.bin.parent_path().string())),
        queue_file_((service.conf / "queue.xml").string()),
        directory_file_((service.conf / "fileq.xml").string()) {
    const std::string bin = ToLocal(service.bin.string());
    SetFolder(kiv::FileSystemPath(bin, kiv::FileSystemPath::native));
    SetArguments({"host", bin, "--name", name});
  }

 protected:
  bool OnStart() override {
    config_ = kiv::mq::Factory::GetConfig();
    if (!config_->IsLoaded()) {
      std::cerr << "kiv host: " << queue_file_
                << " could not be read; kiv check-config says where\n";
      return false;
    }
    // Not asked for where there is none: that would be logged as a fault.
    has_directories_ = std::filesystem::exists(directory_file_);
    const Queues& queues = config_->Queues();
    if (queues.empty() && !has_directories_) {
      std::cerr << "kiv host: " << queue_file_
                << " gives no queue to listen on; kiv check-config says why\n";
      return false;
    }
    const bool is_watching =
        has_directories_ && StartDirectories(directory_file_);
    return StartAll(queues) != 0 || is_watching;
  }

  void OnRun() override {
    const Board board(config_->Queues(), has_directories_);
    if (IsTerminal()) {
      ShowUntilStop(board, LiveTable(board));
    } else {
      ShowUntilStop(board, StateLines(board));
      std::cout << StatusTable(board);
    }
  }

  bool OnStop() override { return StopAll(*config_); }

 private:
  template <typename View>
  void ShowUntilStop(const Board& board, View view) {
    do {
      view.Draw();
      // Who follows the log sees an entry within a second.
      kiv::Log::Instance().LockedFlush();
      TellManager(board);
    } while (!WaitForStop(kRefreshMs));
    view.Draw();
  }

  void TellManager(const Board& board) {
    unsigned long long messages = 0;
    unsigned long long failures = 0;
    const std::vector<Row> rows = board.Rows();
    for (const Row& row : rows) {
      messages += row.status.messages;
      failures += row.status.failures;
    }
    const std::string text = "queues: " + std::to_string(rows.size()) +
                             ", messages: " + std::to_string(messages) +
                             ", failures: " + std::to_string(failures);
    if (text == told_) return;
    told_ = text;
    ShowStatus(text);
  }

  const std::string queue_file_;
  const std::string directory_file_;
  std::shared_ptr<kiv::mq::Config> config_;
  bool has_directories_ = false;
  std::string told_;
};

struct HostOptions {
  std::string folder = ".";
  std::string name;  // UTF-8
  bool is_of_user = false;
  std::optional<kiv::NTService::Action> action;
};

int Run(const HostOptions& options) {
  std::string reason;
  const auto service = EnterServiceFolder(options.folder, reason);
  if (!service) {
    std::cerr << "kiv host: " << reason << '\n';
    return 1;
  }
  const std::string name =
      options.name.empty()
          ? "kiv-" + service->bin.parent_path().filename().string()
          : options.name;
  HostService host(ToLocal(name), *service);
  host.SetOfUser(options.is_of_user);
  return host.Execute(options.action.value_or(kiv::NTService::Action::Run));
}

struct ActionFlag {
  const char* name;
  kiv::NTService::Action action;
  const char* description;
};

constexpr ActionFlag kActionFlags[] = {
    {"--install", kiv::NTService::Action::Install,
     "Have it run as a service (systemd) from the next start of the system on"},
    {"--uninstall", kiv::NTService::Action::Uninstall,
     "Stop the service and have it run no more"},
    {"--start", kiv::NTService::Action::Start, "Start the service now"},
    {"--stop", kiv::NTService::Action::Stop, "Stop the service"},
    {"--debug", kiv::NTService::Action::Debug,
     "Run here, with the log on standard error"},
    {"--noservice", kiv::NTService::Action::NoService,
     "Run here, saying nothing to a service manager"},
};

// The flag that a word means in any of the ways in which services take their
// switches; null for another word. A folder is no switch, whatever its name.
const char* FlagOf(const std::string& word) {
  std::error_code ignored;
  if (word.starts_with('/') && std::filesystem::is_directory(word, ignored))
    return nullptr;
  for (const char* user : {"-user", "--user", "/user"})
    if (CLI::detail::to_lower(word) == user) return "--user";
  auto action = kiv::NTService::Action::Run;
  if (!kiv::NTService::ReadSwitch(word.c_str(), action)) return nullptr;
  for (const ActionFlag& flag : kActionFlags)
    if (flag.action == action) return flag.name;
  return nullptr;
}

}  // namespace

std::vector<std::string> HostWords(int argc, const char* const* argv) {
  std::vector<std::string> words(argv, argv + argc);
  if (words.size() < 2 || words[1] != "host") return words;
  for (std::size_t i = 2; i < words.size(); ++i)
    if (const char* const flag = FlagOf(words[i]); flag != nullptr)
      words[i] = flag;
  return words;
}

void AddHost(CLI::App& program, int& exit_code) {
  auto options = std::make_shared<HostOptions>();
  CLI::App* const command = program.add_subcommand(
      "host",
      "Listens on the queues and watches the directories of a service folder "
      "until SIGINT or SIGTERM");
  command
      ->add_option("folder", options->folder,
                   "The service folder (bin/ beside conf/), or its bin/")
      ->capture_default_str();
  CLI::Option_group* const actions =
      command->add_option_group("Service", "One of them");
  actions->require_option(0, 1);
  for (const ActionFlag& flag : kActionFlags)
    actions->add_flag_callback(
        flag.name, [options, &flag] { options->action = flag.action; },
        flag.description);
  command->add_flag("--user", options->is_of_user,
                    "A service of your own rather than the machine's; only "
                    "root can have the latter");
  command->add_option("--name", options->name,
                      "The service's name; kiv- and that of its folder without "
                      "it");
  command->footer(
      "The switches may also be written -install or /install, in any case.");
  command->callback([options, &exit_code] { exit_code = Run(*options); });
}

}  // namespace kiv_tool
