#include <atomic>
#include <mutex>
#include <new>
#include <thread>

#include "port/system.h"
#include "util/log_access.h"
#include "util/log_stream.h"

namespace kiv {
namespace {

// Without destructors that do anything: logs come and go during the
// initialisation and the end of the process.
constinit std::mutex logs_mutex;
constinit Log* logs = nullptr;
constinit bool watches_forks = false;

}  // namespace

constinit std::atomic<int> LogAccess::forks_waiting_ = 0;

void LogAccess::Enlist(Log& log) {
  const std::lock_guard lock(logs_mutex);
  log.stream_->next = logs;
  logs = &log;
  if (watches_forks) return;
  watches_forks = true;
  port::OnFork(&BeforeFork, &AfterForkInParent, &AfterForkInChild);
}

void LogAccess::Strike(Log& log) {
  const std::lock_guard lock(logs_mutex);
  Log** link = &logs;
  while (*link != &log) link = &(*link)->stream_->next;
  *link = log.stream_->next;
}

void LogAccess::WaitForFork() {
  constexpr int kPatience = 100;
  for (int i = 0; i < kPatience && forks_waiting_ != 0; ++i)
    std::this_thread::yield();
}

bool LogAccess::TryLockAll() {
  for (Log* log = logs; log; log = log->stream_->next) {
    if (log->lock_.try_lock()) continue;
    UnlockAll(log);
    return false;
  }
  return true;
}

void LogAccess::UnlockAll(Log* end) {
  for (Log* log = logs; log != end; log = log->stream_->next)
    log->lock_.unlock();
}

void LogAccess::BeforeFork() {
  // All or none: a thread may hold one log and wait for another, since layouts
  // may log, make and destroy logs.
  ++forks_waiting_;
  for (;;) {
    logs_mutex.lock();
    if (TryLockAll()) break;
    logs_mutex.unlock();
    std::this_thread::yield();
  }
  for (Log* log = logs; log; log = log->stream_->next) log->Flush();
}

void LogAccess::AfterForkInParent() {
  --forks_waiting_;
  UnlockAll(nullptr);
  logs_mutex.unlock();
}

void LogAccess::AfterForkInChild() {
  forks_waiting_ = 0;
  for (Log* log = logs; log; log = log->stream_->next) {
    log->stream_->file.Forget();
    // The lock knows its owner by a thread id that the child no longer has: it
    // cannot be released, only made anew.
    new (&log->lock_) std::recursive_mutex;
  }
  logs_mutex.unlock();
}

}  // namespace kiv
