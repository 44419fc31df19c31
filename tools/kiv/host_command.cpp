// kiv host: runs the queues and the watched directories of a service folder.
#include <signal.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "command.h"
#include "kiv/date_time.h"
#include "kiv/log.h"
#include "kiv/mq/factory.h"
#include "kiv/msgq/file_queue.h"
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

constexpr timespec kRefreshInterval{1, 0};

// The signals that end the host, held back from every thread so that the loop
// below takes them.
class StopSignals {
 public:
  StopSignals() {
    sigemptyset(&signals_);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
      sigaddset(&signals_, number);
    }
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  }

  // True when one came within the interval.
  bool Wait(const timespec& interval) const {
    return sigtimedwait(&signals_, nullptr, &interval) > 0;
  }

 private:
  sigset_t signals_;
};

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

template <typename View>
void ShowUntil(const StopSignals& stop, View view) {
  do {
    view.Draw();
    // Who follows the log sees an entry within a second.
    kiv::Log::Instance().LockedFlush();
  } while (!stop.Wait(kRefreshInterval));
  view.Draw();
}

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

int Host(const ServiceFolder& service) {
  const StopSignals stop;
  const auto config = kiv::mq::Factory::GetConfig();
  const std::string file = (service.conf / "queue.xml").string();
  const std::string directories = (service.conf / "fileq.xml").string();
  if (!config->IsLoaded()) {
    std::cerr << "kiv host: " << file
              << " could not be read; kiv check-config says where\n";
    return 1;
  }
  // Not asked for where there is none: that would be logged as a fault.
  const bool has_directories = std::filesystem::exists(directories);
  const Queues& queues = config->Queues();
  if (queues.empty() && !has_directories) {
    std::cerr << "kiv host: " << file
              << " gives no queue to listen on; kiv check-config says why\n";
    return 1;
  }
  const bool is_watching = has_directories && StartDirectories(directories);
  if (StartAll(queues) == 0 && !is_watching) return 1;

  const Board board(queues, has_directories);
  if (IsTerminal()) {
    ShowUntil(stop, LiveTable(board));
  } else {
    ShowUntil(stop, StateLines(board));
    std::cout << StatusTable(board);
  }
  return StopAll(*config) ? 0 : 1;
}

int Run(const ServiceFolder& service) {
  const int exit_code = Host(service);
  kiv::Log::Instance().Flush();
  return exit_code;
}

}  // namespace

void AddHost(CLI::App& program, int& exit_code) {
  AddServiceCommand(
      program, "host",
      "Listens on the queues and watches the directories of a service folder "
      "until SIGINT or SIGTERM",
      Run, exit_code);
}

}  // namespace kiv_tool
