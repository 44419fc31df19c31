#include "port/directory_watch.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstring>
#include <deque>
#include <optional>

#include "port/file.h"
#include "port/linux/change_queue.h"
#include "port/linux/file_error.h"
#include "port/linux/file_system_magic.h"
#include "port/linux/folder_watches.h"
#include "port/native_path.h"
#include "port/wake_event.h"

namespace kiv::port {

bool WatchedDirectory::Open() {
  root = Descriptor(Retry([this] {
    return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  }));
  struct stat status;
  if (!root.is_open() || ::fstat(root.get(), &status) != 0) return false;
  device = status.st_dev;
  index = status.st_ino;
  return true;
}

bool WatchedDirectory::IsStillThere() const {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && status.st_dev == device &&
         status.st_ino == index;
}

namespace {

using Kind = DirectoryChange::Kind;
using Certainty = ChangeRecord::Certainty;
using State = WatchedDirectory::State;
using Clock = WatchedDirectory::Clock;

// How soon a directory that came back is seen.
constexpr auto kMissingPause = std::chrono::seconds(1);
// A new file that nobody closed by then may be a link; one that is still
// written is closed some time, and told of then.
constexpr auto kCreatedPause = std::chrono::seconds(1);
constexpr std::size_t kReadBytes = 65536;
// Files that come one upon the other are told of together: waking for each
// would cost more than the file. A file that comes alone is told of at once.
constexpr auto kStream = std::chrono::milliseconds(1);
constexpr timespec kGathering{0, 200'000};

// A file that was made and closed: of most files that is all that comes.
bool IsClosedBy(const inotify_event& event, const inotify_event& next) {
  return event.mask == IN_CREATE && next.mask == IN_CLOSE_WRITE &&
         event.wd == next.wd && event.len > 0 && next.len > 0 &&
         std::strcmp(event.name, next.name) == 0;
}

class LinuxDirectoryWatch final : public DirectoryWatch {
 public:
  bool OpenDirectory(const std::string& path, const WatchOptions& options,
                     std::size_t key) override;
  bool Associate(std::size_t key) override;
  bool Arm(std::size_t key) override;
  Outcome Wait(int timeout_ms, DirectoryChange& change) override;
  void Stop() override {
    is_stopped_ = true;
    stop_.Set();
  }

 private:
  WatchedDirectory* Find(std::size_t key);
  bool Begin(WatchedDirectory& directory, bool tells_files);
  void BeginPolling(WatchedDirectory& directory, const std::string& reason);
  void Lost(WatchedDirectory& directory);

  bool ReadEvents();
  void Handle(const inotify_event& event);
  void HandleIn(WatchedFolder& folder, const inotify_event& event);
  void NewFolder(WatchedDirectory& directory, const std::string& name);
  void Overflowed();

  std::optional<Clock::time_point> NextTimer();
  void RunTimers();
  void LookAgain(WatchedDirectory& directory, Clock::time_point now);

  WakeEvent stop_;
  std::atomic<bool> is_stopped_{false};
  Descriptor inotify_;
  std::string no_inotify_;  // why there is none
  std::vector<std::unique_ptr<WatchedDirectory>> directories_;
  ChangeQueue changes_;
  std::optional<FolderWatches> watches_;
  struct Created {
    Clock::time_point due;
    WatchedDirectory* directory;
    std::string name;
  };
  std::deque<Created> created_;
  Clock::time_point last_read_;
  alignas(inotify_event) std::array<char, kReadBytes> buffer_;
};

WatchedDirectory* LinuxDirectoryWatch::Find(std::size_t key) {
  for (const auto& directory : directories_)
    if (directory->key == key) return directory.get();
  SetLastError(EBADF);
  return nullptr;
}

bool LinuxDirectoryWatch::OpenDirectory(const std::string& path,
                                        const WatchOptions& options,
                                        std::size_t key) {
  auto directory = std::make_unique<WatchedDirectory>();
  directory->key = key;
  directory->path = SystemPath(path);
  directory->options = options;
  if (!directory->Open()) return Fail();
  directories_.push_back(std::move(directory));
  return true;
}

bool LinuxDirectoryWatch::Associate(std::size_t key) {
  if (Find(key) == nullptr) return false;
  if (inotify_.is_open() || !no_inotify_.empty()) return true;
  inotify_ = Descriptor(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (inotify_.is_open())
    watches_.emplace(inotify_.get(), changes_);
  else if (errno == EMFILE)  // of this user's programs together
    no_inotify_ =
        "the user's programs have no inotify instance left "
        "(fs.inotify.max_user_instances)";
  else
    return Fail();
  return true;
}

bool LinuxDirectoryWatch::Arm(std::size_t key) {
  WatchedDirectory* const directory = Find(key);
  if (directory == nullptr) return false;
  // Later calls find it armed: the watches stay while changes are handled.
  return directory->state != State::Opened ||
         Begin(*directory, directory->options.reports_present);
}

bool LinuxDirectoryWatch::Begin(WatchedDirectory& directory, bool tells_files) {
  const char* const network = NetworkNameOf(directory.root.get());
  if (directory.options.poll_ms > 0) {
    BeginPolling(directory, "");
  } else if (network != nullptr) {
    BeginPolling(directory, std::string("it lies on a file system of kind ") +
                                network +
                                ", of whose changes this system "
                                "does not hear");
  } else if (!no_inotify_.empty()) {
    BeginPolling(directory, no_inotify_);
  } else {
    switch (watches_->Add(directory, "", tells_files)) {
      case FolderWatches::Outcome::Watched:
        directory.state = State::Watched;
        break;
      case FolderWatches::Outcome::Full:
        BeginPolling(directory,
                     "no watches are left; raise fs.inotify.max_user_watches");
        break;
      case FolderWatches::Outcome::Failed:
        return Fail();
    }
  }
  return true;
}

// What the directory's owner asked for needs no reason.
void LinuxDirectoryWatch::BeginPolling(WatchedDirectory& directory,
                                       const std::string& reason) {
  if (watches_) watches_->RemoveAll(directory);
  directory.created.clear();
  directory.state = State::Polled;
  directory.polled =
      std::make_unique<PolledTree>(directory.options.reports_present);
  directory.next_look = Clock::now();
  changes_.Tell(directory.key, Kind::Polling, reason);
}

void LinuxDirectoryWatch::Lost(WatchedDirectory& directory) {
  if (watches_) watches_->RemoveAll(directory);
  directory.created.clear();
  directory.polled.reset();
  directory.root = Descriptor();
  directory.state = State::Gone;
  directory.next_look = Clock::now() + kMissingPause;
  changes_.Tell(directory.key, Kind::Gone);
}

DirectoryWatch::Outcome LinuxDirectoryWatch::Wait(int timeout_ms,
                                                  DirectoryChange& change) {
  const auto end = Clock::now() + std::chrono::milliseconds(timeout_ms);
  for (;;) {
    if (is_stopped_) return Outcome::Stopped;
    if (changes_.Take(change)) return Outcome::Change;
    std::optional<Clock::time_point> due = NextTimer();
    if (timeout_ms >= 0) due = due ? std::min(*due, end) : end;
    int left_ms = -1;
    if (due) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(*due - Clock::now());
      left_ms =
          static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
    }
    // Without inotify its entry is negative, which poll passes over.
    pollfd sources[] = {{inotify_.get(), POLLIN, 0},
                        {stop_.Handle(), POLLIN, 0}};
    if (::poll(sources, 2, left_ms) < 0 && errno != EINTR) {
      Fail();
      return Outcome::Failed;
    }
    if (is_stopped_) return Outcome::Stopped;
    if (sources[0].revents != 0) {
      if (Clock::now() - last_read_ < kStream)
        ::nanosleep(&kGathering, nullptr);
      if (!ReadEvents()) return Outcome::Failed;
      last_read_ = Clock::now();
    }
    RunTimers();
    if (changes_.IsEmpty() && timeout_ms >= 0 && Clock::now() >= end)
      return Outcome::TimedOut;
  }
}

bool LinuxDirectoryWatch::ReadEvents() {
  const ssize_t size = Retry([this] {
    return ::read(inotify_.get(), buffer_.data(), buffer_.size());
  });
  if (size < 0) return errno == EAGAIN || Fail();
  const auto event_at = [this](ssize_t at) -> const inotify_event& {
    return *reinterpret_cast<const inotify_event*>(buffer_.data() + at);
  };
  for (ssize_t at = 0; at < size;) {
    const inotify_event& event = event_at(at);
    at += static_cast<ssize_t>(sizeof event + event.len);
    if (at >= size || !IsClosedBy(event, event_at(at))) Handle(event);
  }
  return true;
}

void LinuxDirectoryWatch::Handle(const inotify_event& event) {
  if ((event.mask & IN_Q_OVERFLOW) != 0) return Overflowed();
  const bool is_folder_gone = (event.mask & (IN_DELETE | IN_MOVED_FROM)) != 0 &&
                              (event.mask & IN_ISDIR) != 0;
  if (is_folder_gone || (event.mask & IN_MOVE_SELF) != 0)
    for (WatchedDirectory* const directory : watches_->DirectoriesIn(event.wd))
      if (!directory->IsStillThere()) Lost(*directory);
  if ((event.mask & IN_IGNORED) != 0) watches_->Ended(event.wd);
  const std::vector<WatchedFolder*> folders = watches_->FoldersOf(event.wd);
  if (folders.empty() && (event.mask & IN_IGNORED) == 0)
    watches_->Drop(event.wd);
  for (WatchedFolder* const folder : folders) HandleIn(*folder, event);
}

void LinuxDirectoryWatch::HandleIn(WatchedFolder& folder,
                                   const inotify_event& event) {
  WatchedDirectory& directory = *folder.directory;
  const bool is_top = folder.parent == nullptr;
  if ((event.mask & IN_IGNORED) != 0) {  // deleted, or its volume is gone
    if (is_top)
      Lost(directory);
    else
      watches_->Remove(folder);
    return;
  }
  if ((event.mask & IN_MOVE_SELF) != 0) {
    // A folder that stays in the tree is in its new place by now, since that
    // comes first.
    if (is_top && !directory.IsStillThere())
      Lost(directory);
    else if (!is_top && !FolderWatches::IsInPlace(folder))
      watches_->Remove(folder);
    return;
  }
  if (event.len == 0 || directory.Skips(event.name)) return;
  std::string name = JoinNames(folder.Name(), event.name);
  if ((event.mask & IN_ISDIR) != 0) {
    if ((event.mask & (IN_CREATE | IN_MOVED_TO)) != 0 &&
        directory.options.subtree)
      NewFolder(directory, name);
  } else if ((event.mask & IN_CREATE) != 0) {
    created_.push_back({Clock::now() + kCreatedPause, &directory, name});
    directory.created.insert(std::move(name));
  } else if ((event.mask & (IN_CLOSE_WRITE | IN_MOVED_TO)) != 0) {
    directory.created.erase(name);
    changes_.AddFile(
        directory.key, std::move(name),
        (event.mask & IN_MOVED_TO) != 0 ? Certainty::Moved : Certainty::Closed);
  }
}

// What was made in it before it was watched is told of, too.
void LinuxDirectoryWatch::NewFolder(WatchedDirectory& directory,
                                    const std::string& name) {
  if (watches_->Add(directory, name, true) == FolderWatches::Outcome::Full)
    BeginPolling(directory,
                 "no watches are left; raise fs.inotify.max_user_watches");
}

void LinuxDirectoryWatch::Overflowed() {
  for (const auto& directory : directories_) {
    if (directory->state != State::Watched) continue;
    changes_.Tell(directory->key, Kind::Overflow);
    directory->created.clear();
    // New folders may be among what was lost.
    if (!directory->IsStillThere())
      Lost(*directory);
    else if (watches_->Add(*directory, "",
                           directory->options.reports_present) ==
             FolderWatches::Outcome::Full)
      BeginPolling(*directory,
                   "no watches are left; raise fs.inotify.max_user_watches");
  }
}

// The earliest; none while nothing but a change can wake us.
std::optional<Clock::time_point> LinuxDirectoryWatch::NextTimer() {
  while (!created_.empty() &&
         !created_.front().directory->created.contains(created_.front().name))
    created_.pop_front();
  std::optional<Clock::time_point> next;
  if (!created_.empty()) next = created_.front().due;
  for (const auto& directory : directories_) {
    if (directory->state != State::Polled && directory->state != State::Gone)
      continue;
    if (!next || directory->next_look < *next) next = directory->next_look;
  }
  return next;
}

void LinuxDirectoryWatch::RunTimers() {
  const auto now = Clock::now();
  while (!created_.empty() && created_.front().due <= now) {
    const Created& first = created_.front();
    if (first.directory->created.erase(first.name) > 0)
      changes_.AddFile(first.directory->key, first.name, Certainty::Created);
    created_.pop_front();
  }
  for (const auto& directory : directories_)
    if ((directory->state == State::Polled ||
         directory->state == State::Gone) &&
        directory->next_look <= now)
      LookAgain(*directory, now);
}

void LinuxDirectoryWatch::LookAgain(WatchedDirectory& directory,
                                    Clock::time_point now) {
  if (directory.state == State::Gone) {
    directory.next_look = now + kMissingPause;
    if (!directory.Open()) return;
    changes_.Tell(directory.key, Kind::Back);
    // Whatever is in it came while it was away.
    if (!Begin(directory, true)) Lost(directory);
    return;
  }
  if (!directory.IsStillThere()) return Lost(directory);
  directory.polled->Look(directory.root.get(), directory.Walk(), directory.key,
                         changes_);
  const int pause_ms = directory.options.poll_ms > 0
                           ? directory.options.poll_ms
                           : WatchOptions::kFallbackPollMs;
  directory.next_look = Clock::now() + std::chrono::milliseconds(pause_ms);
}

}  // namespace

std::unique_ptr<DirectoryWatch> DirectoryWatch::Open() {
  return std::make_unique<LinuxDirectoryWatch>();
}

}  // namespace kiv::port
