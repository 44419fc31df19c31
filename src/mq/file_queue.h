#ifndef MQ_FILE_QUEUE_H_
#define MQ_FILE_QUEUE_H_

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "kiv/msgq/file_queue.h"
#include "mq/file_queue_settings.h"
#include "mq/status_board.h"
#include "port/directory_watch.h"

namespace kiv::msgq {

// The file queue of a process: what the published functions do. The settings
// are those of the current directory at the first call.
class FileQueue {
 public:
  using OpenWatch = std::function<std::unique_ptr<port::DirectoryWatch>()>;

  explicit FileQueue(OpenWatch open = &port::DirectoryWatch::Open);
  ~FileQueue();
  FileQueue(const FileQueue&) = delete;
  FileQueue& operator=(const FileQueue&) = delete;

  void Main();
  bool Start();
  bool Stop(int wait_milliseconds);
  std::string DirPath(const char* name);
  std::vector<FileQueueDirectory> Directories();

 private:
  // Where a Main is; Idle when there is none.
  enum class Phase { Idle, Opening, Watching };

  const std::vector<DirectorySettings>& Settings();
  bool Begin();
  void Run();
  bool OpenDirectories();
  void WatchDirectories();
  void SetStates(mq::QueueState state);
  void SetPhase(Phase phase);

  const OpenWatch open_;
  std::once_flag is_loaded_;
  DirectoryTable table_;
  // One a directory of the table.
  std::vector<std::unique_ptr<mq::StatusBoard>> boards_;

  std::mutex mutex_;
  std::condition_variable changed_;
  Phase phase_ = Phase::Idle;
  unsigned long long runs_ = 0;
  // Outlives a Main that could not open everything.
  std::shared_ptr<port::DirectoryWatch> watch_;
  std::thread thread_;  // of Start
  std::thread::id worker_;
  std::atomic<bool> stop_{false};
};

}  // namespace kiv::msgq

#endif  // MQ_FILE_QUEUE_H_
