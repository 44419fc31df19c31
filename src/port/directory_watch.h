#ifndef PORT_DIRECTORY_WATCH_H_
#define PORT_DIRECTORY_WATCH_H_

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace kiv::port {

struct WatchOptions {
  bool subtree = true;
  // Leaves out names that begin with a dot, and all that lies in such a folder.
  bool skips_hidden = false;
  // Also tells of what is there when the watch begins and after an overflow.
  bool reports_present = false;
  // 0: the system tells of changes, and the directory is looked through every
  // kFallbackPollMs where it cannot. Else it is looked through that often.
  int poll_ms = 0;

  static constexpr int kFallbackPollMs = 5000;
};

// A name that a file may now have.
struct ChangeRecord {
  enum class Certainty {
    Closed,   // closed by one who wrote it
    Moved,    // renamed to this name
    Stable,   // looked the same twice, a poll apart
    Found,    // seen when the directory was looked through
    Created,  // a new name, and nobody closed it: a link, as a rule
  };
  // Relative to the directory, "/" between folders, the system's own bytes.
  std::string name;
  Certainty certainty = Certainty::Closed;
};

struct DirectoryChange {
  enum class Kind {
    Files,
    Overflow,  // changes were lost; what is there follows, where asked for
    Gone,      // the directory is no longer there; it is waited for
    Back,      // what is in it follows
    Polling,   // from now on looked through instead of watched
    Unseen,    // a folder below that cannot be watched
  };
  std::size_t key = 0;
  Kind kind = Kind::Files;
  std::vector<ChangeRecord> records;
  // Of Polling and Unseen: the reason, in the local encoding.
  std::string text;
};

// inotify, and polling where it sees nothing; ReadDirectoryChangesW and a
// completion port on Windows. All directories are served by one thread, which
// calls everything but Stop. False is failure; LastError() of port/file.h has
// the system's code.
class DirectoryWatch {
 public:
  static std::unique_ptr<DirectoryWatch> Open();
  virtual ~DirectoryWatch() = default;

  // CreateFile. `path` is native text; `key` is anything but 0, and once only.
  virtual bool OpenDirectory(const std::string& path,
                             const WatchOptions& options, std::size_t key) = 0;
  // CreateIoCompletionPort; the first call makes the one port.
  virtual bool Associate(std::size_t key) = 0;
  // ReadDirectoryChangesW: before the first Wait, and again when a change of
  // this key was handled. Nothing is lost in between.
  virtual bool Arm(std::size_t key) = 0;

  // GetQueuedCompletionStatus; without limit for a negative time.
  enum class Outcome { Change, TimedOut, Stopped, Failed };
  virtual Outcome Wait(int timeout_ms, DirectoryChange& change) = 0;
  // From any thread: every Wait from now on says Stopped.
  virtual void Stop() = 0;
};

}  // namespace kiv::port

#endif  // PORT_DIRECTORY_WATCH_H_
