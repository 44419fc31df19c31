#include "xdb/xdb_text.h"

#include <chrono>
#include <random>
#include <thread>

#include "util/cp936.h"
#include "util/log_entry.h"
#include "xdb/container/store_error.h"
#include "xml/xml_guard.h"

namespace kiv::xdb {
namespace {

struct Problem {
  std::string text;
  bool is_worth_retrying = false;
};

Problem& ThreadsProblem() {
  thread_local Problem problem;
  return problem;
}

bool IsWorthRetrying(const std::exception& exception) {
  const auto* error = dynamic_cast<const StoreError*>(&exception);
  return error != nullptr && (error->failure() == Failure::Deadlock ||
                              error->failure() == Failure::BusyTooLong);
}

}  // namespace

std::string Utf8Text(std::string_view local, const char* what) {
  if (!IsCp936(local))
    throw StoreError(Failure::Other,
                     std::string(what) + " '" + Shown(local) +
                         "' holds bytes that are no GB2312 character");
  return Cp936ToUtf8(local);
}

std::string LocalText(std::string_view utf8) { return Utf8ToCp936(utf8); }

bool IsDeadlock(const std::exception& exception) {
  const auto* error = dynamic_cast<const StoreError*>(&exception);
  return error != nullptr && error->failure() == Failure::Deadlock;
}

void PauseBeforeRetry(int attempt) {
  // Two that met would otherwise meet again.
  thread_local std::minstd_rand random(std::random_device{}());
  std::uniform_int_distribution<int> pause(1, 2 << attempt);
  std::this_thread::sleep_for(std::chrono::milliseconds(pause(random)));
}

void NoteException() {
  Problem& problem = ThreadsProblem();
  problem.is_worth_retrying = false;
  try {
    throw;
  } catch (const std::exception& exception) {
    problem.is_worth_retrying = IsWorthRetrying(exception);
  } catch (...) {
    // Not ours.
  }
}

std::string ExceptionText() { return Shown(CurrentExceptionText()); }

void LogProblem(const std::string& message, const char* source) {
  ThreadsProblem() = {message, false};
  LogError(source, message);
}

void LogExceptionAtHand(const std::string& message) {
  try {
    LogProblem(message + ExceptionText());
  } catch (const std::bad_alloc&) {
    LogError("dbxml", message);
  }
  NoteException();
}

const std::string& LastProblem() { return ThreadsProblem().text; }

bool LastProblemIsWorthRetrying() { return ThreadsProblem().is_worth_retrying; }

}  // namespace kiv::xdb
