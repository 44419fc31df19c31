#ifndef UTIL_LOG_ACCESS_H_
#define UTIL_LOG_ACCESS_H_

#include <atomic>

namespace kiv {

class Log;

// What the library does with a log beyond its published operations.
class LogAccess {
 public:
  // One entry of the library's own to the shared log, its text as it stands.
  static void Write(const char* text, const char* source, const char* category);

  // Flushes and closes for good: whoever waits for the log's lock, or comes
  // later, finds no stream and writes nothing.
  static void End(Log& log);

  // Every living log stands still around a fork: entries are written before it,
  // so that the child has none to write again, and no lock is left held in it.
  static void Enlist(Log& log);
  static void Strike(Log& log);
  // Called in front of every entry: holds back for a while when a fork waits,
  // which busy writers would keep from ever finding all logs free. Not for
  // longer, since the fork may wait for a log that the caller holds.
  static void LetForkPass() {
    if (forks_waiting_.load(std::memory_order_relaxed) != 0) WaitForFork();
  }

 private:
  static void WaitForFork();
  static bool TryLockAll();
  static void UnlockAll(Log* end);
  static void BeforeFork();
  static void AfterForkInParent();
  static void AfterForkInChild();

  static std::atomic<int> forks_waiting_;
};

}  // namespace kiv

#endif  // UTIL_LOG_ACCESS_H_
