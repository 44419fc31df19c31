#include "mq/file_queue.h"

#include <chrono>
#include <exception>
#include <system_error>
#include <utility>

#include "mq/file_queue_worker.h"
#include "port/file.h"
#include "util/log_entry.h"

namespace kiv::msgq {
namespace {

constexpr char kSource[] = "msgq";
// At the end of the process nobody waits for a processor for long.
constexpr int kGoodbyeMs = 2000;

bool Fail(const std::string& text) {
  LogError(kSource, text);
  return false;
}

}  // namespace

FileQueue::FileQueue(OpenWatch open) : open_(std::move(open)) {}

FileQueue::~FileQueue() { Stop(-1); }

const std::vector<DirectorySettings>& FileQueue::Settings() {
  std::call_once(is_loaded_, [this] {
    try {
      table_.Load(SettingsPath());
    } catch (const std::exception& fault) {
      LogError(kSource, "GetSettings Failed: " + Shown(fault.what()));
    }
    for (std::size_t i = 0; i < table_.Entries().size(); ++i)
      boards_.push_back(std::make_unique<mq::StatusBoard>());
  });
  return table_.Entries();
}

std::string FileQueue::DirPath(const char* name) {
  if (name == nullptr || *name == '\0') return "";
  for (const DirectorySettings& directory : Settings())
    if (directory.name == name) return directory.path;
  return "";
}

std::vector<FileQueueDirectory> FileQueue::Directories() {
  const std::vector<DirectorySettings>& settings = Settings();
  std::vector<FileQueueDirectory> directories;
  for (std::size_t i = 0; i < settings.size(); ++i)
    directories.push_back(
        {settings[i].name, settings[i].path, boards_[i]->Snapshot()});
  return directories;
}

void FileQueue::SetStates(mq::QueueState state) {
  for (const auto& board : boards_) board->SetState(state);
}

void FileQueue::SetPhase(Phase phase) {
  const std::lock_guard lock(mutex_);
  phase_ = phase;
  changed_.notify_all();
}

void FileQueue::Main() {
  if (Settings().empty()) return;
  {
    const std::lock_guard lock(mutex_);
    if (!Begin()) return;
  }
  Run();
}

// The mutex is held.
bool FileQueue::Begin() {
  if (phase_ != Phase::Idle)
    return Fail("FileQueueMain Failed: it is at work already");
  phase_ = Phase::Opening;
  stop_ = false;
  watch_ = open_();
  return true;
}

void FileQueue::Run() {
  const bool is_open = OpenDirectories();
  if (is_open) WatchDirectories();
  const std::lock_guard lock(mutex_);
  if (is_open) watch_.reset();
  phase_ = Phase::Idle;
  worker_ = {};
  ++runs_;
  changed_.notify_all();
}

// On failure the directories opened so far stay open, which is deliberate: they
// are let go of by the next Main.
bool FileQueue::OpenDirectories() {
  SetStates(mq::QueueState::Starting);
  const std::vector<DirectorySettings>& settings = Settings();
  for (std::size_t i = 0; i < settings.size(); ++i) {
    const DirectorySettings& directory = settings[i];
    const port::WatchOptions options{
        .subtree = directory.enable_sub_tree,
        .skips_hidden = directory.process,
        .reports_present = directory.process,
        .poll_ms = 1000 * directory.poll_seconds,
    };
    const auto fail = [&](const std::string& text) {
      SetStates(mq::QueueState::Failed);
      boards_[i]->SetError(text);
      return Fail(text);
    };
    if (!watch_->OpenDirectory(directory.path, options, i + 1))
      return fail("FileQueueMain Failed: Unable to open directory " +
                  Shown(directory.path) +
                  ". GetLastError=" + std::to_string(port::LastError()));
    if (!watch_->Associate(i + 1))
      return fail(
          "FileQueueMain Failed: CreateIoCompletionPort Failed. GetLastError=" +
          std::to_string(port::LastError()));
  }
  return true;
}

void FileQueue::WatchDirectories() {
  for (std::size_t i = 0; i < Settings().size(); ++i) {
    if (watch_->Arm(i + 1)) continue;
    Fail(
        "WatchDirectories Failed: ReadDirectoryChangesW return FALSE. "
        "GetLastError = " +
        std::to_string(port::LastError()));
    return SetStates(mq::QueueState::Failed);
  }
  std::thread worker;
  try {
    worker = std::thread([this] {
      {
        const std::lock_guard lock(mutex_);
        worker_ = std::this_thread::get_id();
      }
      try {
        FileQueueWorker(*watch_, Settings(), boards_, stop_).Run();
      } catch (const std::exception& fault) {
        LogError(kSource, "WatchWorker Failed: " + Shown(fault.what()));
      }
      SetStates(stop_ ? mq::QueueState::Stopped : mq::QueueState::Failed);
    });
  } catch (const std::system_error& fault) {
    SetStates(mq::QueueState::Failed);
    Fail("WatchWorker Failed: CreateThread return FALSE. GetLastError = " +
         std::to_string(fault.code().value()));
  }
  // The stop is posted only when the worker has ended, which is deliberate:
  // nothing but its own end, or FileQueueStop, ends it.
  if (worker.joinable()) {
    SetPhase(Phase::Watching);
    worker.join();
  }
  watch_->Stop();
}

bool FileQueue::Start() {
  if (Settings().empty()) return false;
  std::unique_lock lock(mutex_);
  if (!Begin()) return false;
  if (thread_.joinable()) thread_.join();  // of a run that is over
  const unsigned long long run = runs_;
  try {
    thread_ = std::thread([this] { Run(); });
  } catch (const std::system_error& fault) {
    phase_ = Phase::Idle;
    return Fail(std::string("FileQueueStart Failed: ") + Shown(fault.what()));
  }
  changed_.wait(lock,
                [&] { return phase_ == Phase::Watching || runs_ != run; });
  return phase_ == Phase::Watching;
}

bool FileQueue::Stop(int wait_milliseconds) {
  std::unique_lock lock(mutex_);
  if (phase_ != Phase::Idle) {
    stop_ = true;
    if (watch_ != nullptr) watch_->Stop();
    // A processor that asks for it would wait for itself.
    if (worker_ == std::this_thread::get_id()) return false;
    const auto is_over = [this, run = runs_] { return runs_ != run; };
    if (wait_milliseconds < 0)
      changed_.wait(lock, is_over);
    else if (!changed_.wait_for(
                 lock, std::chrono::milliseconds(wait_milliseconds), is_over))
      return Fail(
          "FileQueueStop Failed: a processor is still at work; the "
          "watch ends after its file");
  }
  std::thread thread = std::move(thread_);
  lock.unlock();
  if (thread.joinable()) thread.join();
  return true;
}

namespace {

// Never destroyed: a FileQueueMain on a thread of the host's may outlive all
// else.
FileQueue& ProcessQueue() {
  static FileQueue& queue = *new FileQueue;
  // Its end stops what still runs.
  static const struct Goodbye {
    ~Goodbye() { queue.Stop(kGoodbyeMs); }
  } goodbye;
  return queue;
}

}  // namespace

void FileQueueMain() { ProcessQueue().Main(); }

std::string FileQueueDirPath(const char* name) {
  return ProcessQueue().DirPath(name);
}

bool FileQueueStart() { return ProcessQueue().Start(); }

bool FileQueueStop(int wait_milliseconds) {
  return ProcessQueue().Stop(wait_milliseconds);
}

std::vector<FileQueueDirectory> FileQueueDirectories() {
  return ProcessQueue().Directories();
}

}  // namespace kiv::msgq
