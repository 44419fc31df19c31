#ifndef XDB_CONTAINER_ENVIRONMENT_WATCH_H_
#define XDB_CONTAINER_ENVIRONMENT_WATCH_H_

#include <db_cxx.h>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "xdb/container/life_table.h"

namespace kiv::xdb {

// Sees to it that nobody waits for one who died: a thread that looks who does
// not live any more, takes his locks and transactions from him, or, when he
// died inside Berkeley DB and may have left its memory half changed, declares
// the environment dead for everybody.
class EnvironmentWatch {
 public:
  // `handle` is one of its own, open and for threads.
  EnvironmentWatch(std::unique_ptr<DbEnv> handle, LifeTable& lives,
                   std::string home);
  ~EnvironmentWatch();

  // Ends the thread and closes the handle.
  void Stop();
  // As after a fork, where there is no thread any more.
  void Forget();

 private:
  void Run();
  void LookAround();
  void NoteNewLogFile();
  void EndLongWaits();
  void SeeToDead();
  void DeclareDead(const std::string& why);

  std::unique_ptr<DbEnv> handle_;
  LifeTable& lives_;
  const std::string home_;
  const bool has_locks_;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool is_stopping_ = false;
  bool is_dead_ = false;
  int looks_ = 0;
  std::uint32_t last_log_ = 0;
  std::thread thread_;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_ENVIRONMENT_WATCH_H_
