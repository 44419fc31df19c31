#include "mq/file_queue_worker.h"

#include <algorithm>
#include <climits>
#include <exception>
#include <string>

#include "kiv/date_time.h"
#include "kiv/file_system_path.h"
#include "mq/file_queue_messages.h"
#include "port/file.h"
#include "port/native_path.h"
#include "util/log_entry.h"

namespace kiv::msgq {
namespace {

using Kind = port::DirectoryChange::Kind;

constexpr char kSource[] = "msgq";

void FailWith(const char* call) {
  LogError(kSource, std::string("WatchWorker Failed: ") + call +
                        " return FALSE. GetLastError = " +
                        std::to_string(port::LastError()));
}

}  // namespace

FileQueueWorker::FileQueueWorker(
    port::DirectoryWatch& watch, const std::vector<DirectorySettings>& settings,
    const std::vector<std::unique_ptr<mq::StatusBoard>>& boards,
    const std::atomic<bool>& stop)
    : watch_(watch) {
  for (std::size_t i = 0; i < settings.size(); ++i)
    directories_.push_back(
        {settings[i], *boards[i],
         settings[i].process
             ? std::make_unique<FileTaker>(settings[i], *boards[i], stop)
             : nullptr});
}

void FileQueueWorker::Run() {
  LogInformation("queue", message::WorkerStarted());
  for (Directory& directory : directories_) Open(directory);
  for (;;) {
    port::DirectoryChange change;
    switch (watch_.Wait(MillisecondsToNextDue(), change)) {
      case port::DirectoryWatch::Outcome::Failed:
        return FailWith("GetQueuedCompletionStatus");
      case port::DirectoryWatch::Outcome::Stopped:
        return;
      case port::DirectoryWatch::Outcome::TimedOut:
        break;
      case port::DirectoryWatch::Outcome::Change:
        Handle(change);
        if (!watch_.Arm(change.key)) return FailWith("ReadDirectoryChangesW");
        break;
    }
    TakeDue();
  }
}

void FileQueueWorker::Open(Directory& directory) {
  try {
    if (directory.taker != nullptr) directory.taker->Open();
  } catch (const std::exception& fault) {
    LogError(kSource, "FileQueue Failed: what was left in directory '" +
                          Shown(directory.settings.name) +
                          "' was not handled: " + Shown(fault.what()));
  }
  ShowState(directory);
}

void FileQueueWorker::ShowState(Directory& directory) {
  const FileTaker* const taker = directory.taker.get();
  directory.board.SetState(directory.is_gone ? mq::QueueState::Gone
                           : taker != nullptr && !taker->IsOpen()
                               ? mq::QueueState::Failed
                           : directory.is_polled ? mq::QueueState::Polling
                           : taker == nullptr    ? mq::QueueState::Observing
                                                 : mq::QueueState::Reading);
}

void FileQueueWorker::Handle(const port::DirectoryChange& change) {
  Directory& directory = directories_.at(change.key - 1);
  const std::string name = "directory '" + Shown(directory.settings.name) + "'";
  switch (change.kind) {
    case Kind::Files:
      HandleFiles(directory, change);
      break;
    case Kind::Overflow:
      LogInformation(kSource,
                     "FileQueue: changes of " + name +
                         " came faster than they were handled; " +
                         (directory.taker != nullptr ? "it is looked through"
                                                     : "some were not seen"));
      break;
    case Kind::Gone:
      directory.is_gone = true;
      if (directory.taker != nullptr) directory.taker->Close();
      LogError(kSource, "FileQueue: " + name +
                            " is gone; it is watched again when it is back");
      directory.board.SetError("the directory is gone");
      break;
    case Kind::Back:
      directory.is_gone = false;
      directory.is_polled = false;
      LogInformation(kSource, "FileQueue: " + name + " is back");
      return Open(directory);
    case Kind::Polling:
      directory.is_polled = true;
      if (!change.text.empty()) {
        const std::string text =
            name + " is polled instead of watched: " + Shown(change.text);
        LogInformation(kSource, "FileQueue: " + text);
        directory.board.SetError(text);
      }
      break;
    case Kind::Unseen:
      LogError(kSource, "FileQueue: " + name + ": " + Shown(change.text));
      directory.board.SetError(change.text);
      break;
  }
  ShowState(directory);
}

void FileQueueWorker::HandleFiles(Directory& directory,
                                  const port::DirectoryChange& change) {
  // One file must not end the watch of all.
  try {
    if (directory.taker != nullptr)
      return directory.taker->Take(change.records);
    for (const port::ChangeRecord& record : change.records)
      Observe(directory, record);
  } catch (const std::exception& fault) {
    LogError(kSource, "FileQueue Failed: a change of directory '" +
                          Shown(directory.settings.name) +
                          "' was not handled: " + Shown(fault.what()));
  }
}

// All that is done with a change by default: its attributes are read.
void FileQueueWorker::Observe(Directory& directory,
                              const port::ChangeRecord& record) {
  FileSystemPath path(directory.settings.path, FileSystemPath::native);
  path /= FileSystemPath(port::LocalPath(record.name), FileSystemPath::native);
  port::FileAttributes attributes;
  if (!port::GetFileAttributesA(path.native_file_string(), attributes)) return;
  directory.board.SetLastMessage(DateTime::Now().Ticks());
  directory.board.CountMessage(attributes.size_bytes, true);
}

int FileQueueWorker::MillisecondsToNextDue() const {
  std::optional<FileTaker::Clock::time_point> next;
  for (const Directory& directory : directories_) {
    if (directory.taker == nullptr) continue;
    const auto due = directory.taker->NextDue();
    if (due && (!next || *due < *next)) next = due;
  }
  if (!next) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(
      *next - FileTaker::Clock::now());
  return static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
}

void FileQueueWorker::TakeDue() {
  for (Directory& directory : directories_) {
    if (directory.taker == nullptr || !directory.taker->NextDue()) continue;
    try {
      directory.taker->TakeDue();
    } catch (const std::exception& fault) {
      LogError(kSource, "FileQueue Failed: a file of directory '" +
                            Shown(directory.settings.name) +
                            "' was not handled: " + Shown(fault.what()));
    }
    ShowState(directory);
  }
}

}  // namespace kiv::msgq
