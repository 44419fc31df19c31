#ifndef MQ_FILE_QUEUE_WORKER_H_
#define MQ_FILE_QUEUE_WORKER_H_

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

#include "mq/file_queue_settings.h"
#include "mq/file_taker.h"
#include "mq/status_board.h"
#include "port/directory_watch.h"

namespace kiv::msgq {

// What the watch thread does: handles the changes of all directories, one after
// the other. The key of a directory is its index and 1.
class FileQueueWorker {
 public:
  FileQueueWorker(port::DirectoryWatch& watch,
                  const std::vector<DirectorySettings>& settings,
                  const std::vector<std::unique_ptr<mq::StatusBoard>>& boards,
                  const std::atomic<bool>& stop);

  // Until the watch is stopped or fails, which is logged.
  void Run();

 private:
  struct Directory {
    const DirectorySettings& settings;
    mq::StatusBoard& board;
    std::unique_ptr<FileTaker> taker;  // null: only looked at
    bool is_polled = false;
    bool is_gone = false;
  };

  void Handle(const port::DirectoryChange& change);
  void HandleFiles(Directory& directory, const port::DirectoryChange& change);
  void Observe(Directory& directory, const port::ChangeRecord& record);
  void Open(Directory& directory);
  void ShowState(Directory& directory);
  int MillisecondsToNextDue() const;
  void TakeDue();

  port::DirectoryWatch& watch_;
  std::vector<Directory> directories_;
};

}  // namespace kiv::msgq

#endif  // MQ_FILE_QUEUE_WORKER_H_
