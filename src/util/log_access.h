#ifndef UTIL_LOG_ACCESS_H_
#define UTIL_LOG_ACCESS_H_

namespace kiv {

class Log;

// What the library does with a log beyond its published operations.
class LogAccess {
 public:
  // One entry of the library's own to the shared log, its text as it stands.
  static void Write(const char* text, const char* source, const char* category);
  static void Flush();

  // Every living log stands still around a fork: entries are written before it,
  // so that the child has none to write again, and no lock is left held in it.
  static void Enlist(Log& log);
  static void Strike(Log& log);

 private:
  static bool TryLockAll();
  static void UnlockAll(Log* end);
  static void BeforeFork();
  static void AfterForkInParent();
  static void AfterForkInChild();
};

}  // namespace kiv

#endif  // UTIL_LOG_ACCESS_H_
