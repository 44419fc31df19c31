#ifndef XDB_XDB_TEXT_H_
#define XDB_XDB_TEXT_H_

#include <exception>
#include <string>
#include <string_view>

// Texts of the published classes, which are in the local encoding, and of the
// containers, which are UTF-8; and the failures that end here.
namespace kiv::xdb {

// Throws StoreError for bytes that are no character: two names must not become
// one. `what` is for people, as "the name".
std::string Utf8Text(std::string_view local, const char* what);
// A character that the local encoding lacks is a "?".
std::string LocalText(std::string_view utf8);

// Log, and keep for LastError(). For a catch block: the text of
// the exception at hand follows the message.
void LogProblem(const std::string& message, const char* source = "dbxml");
void LogExceptionAtHand(const std::string& message);
// The text of the exception at hand, as the log shows it.
std::string ExceptionText();
// Keeps what the exception at hand says of itself for IsWorthRetrying().
void NoteException();

// Of this thread.
const std::string& LastProblem();
bool LastProblemIsWorthRetrying();

// Runs what may throw; false, and one entry in the log, when it did.
template <class Call>
bool Try(const char* message, Call call) {
  try {
    return call();
  } catch (...) {
    LogExceptionAtHand(message);
    return false;
  }
}

// Runs what is in no transaction of its caller's, again when it was given up
// for others. Single changes do so in the container. Not when it has waited its
// time: whoever it waits for may be a transaction of the same thread.
bool IsDeadlock(const std::exception& exception);
void PauseBeforeRetry(int attempt);
inline constexpr int kMaxAttempts = 10;

template <class Call>
void RetryDeadlocks(Call call) {
  for (int attempt = 1;; ++attempt) {
    try {
      call();
      return;
    } catch (const std::exception& exception) {
      if (attempt == kMaxAttempts || !IsDeadlock(exception)) throw;
    }
    PauseBeforeRetry(attempt);
  }
}

}  // namespace kiv::xdb

#endif  // XDB_XDB_TEXT_H_
