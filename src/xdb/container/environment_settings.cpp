#include "xdb/container/environment_settings.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <vector>

#include "port/shared_locks.h"
#include "xdb/container/environment_access.h"

namespace kiv::xdb {
namespace {

// Room for a million documents and for transactions of a thousand; a file
// DB_CONFIG in the home, which Berkeley DB reads by itself, goes over them.
constexpr u_int32_t kCacheBytes = 64u << 20;
constexpr u_int32_t kMostLocks = 400'000;
constexpr u_int32_t kMostLockers = 20'000;
// As many as are usual, not as the most: each costs memory from the start.
constexpr u_int32_t kLockTable = 32'768;
constexpr u_int32_t kMostTransactions = 2'000;
constexpr u_int32_t kLogBufferBytes = 2u << 20;
// A recovery writes the rest of the newest log file with zeros.
constexpr u_int32_t kLogFileBytes = 16u << 20;
constexpr u_int32_t kLogNamesBytes = 1u << 20;
constexpr u_int32_t kThreads = 256;

// Longer than any commit takes on a busy disk, and short enough to be told.
constexpr db_timeout_t kLockTimeoutUs = 20'000'000;
constexpr db_timeout_t kTransactionTimeoutUs = 30u * 60 * 1'000'000;

// Threads in Berkeley DB's account go by small numbers, given out again when a
// thread ends: that account has an entry for each that it ever heard of.
class ThreadNumbers {
 public:
  unsigned Take() {
    const std::lock_guard lock(mutex_);
    if (free_.empty()) return ++last_;
    const unsigned number = free_.back();
    free_.pop_back();
    return number;
  }
  void GiveBack(unsigned number) {
    const std::lock_guard lock(mutex_);
    free_.push_back(number);
  }

 private:
  std::mutex mutex_;
  std::vector<unsigned> free_;
  unsigned last_ = 0;
};

ThreadNumbers& Numbers() {
  // Never destroyed: threads may end after the static objects.
  static ThreadNumbers* const numbers = new ThreadNumbers;
  return *numbers;
}

thread_local unsigned thread_number = 0;

struct NumberOfThread {
  NumberOfThread() { thread_number = Numbers().Take(); }
  ~NumberOfThread() {
    Numbers().GiveBack(thread_number);
    thread_number = 0;
  }
};

void RequireThreadNumber() {
  if (thread_number != 0) return;
  static thread_local const NumberOfThread number;
  // Where the thread is ending already, its number is not given back.
  if (thread_number == 0) thread_number = Numbers().Take();
}

LifeTable& LivesOf(DbEnv* environment) {
  return *static_cast<LifeTable*>(environment->get_app_private());
}

void ThreadId(DbEnv* environment, pid_t* process, db_threadid_t* thread) {
  RequireThreadNumber();
  LifeTable& lives = LivesOf(environment);
  // Berkeley DB asks first thing in every call.
  port::AbandonWaitsWhen(&lives.IsDead());
  *process = lives.Life();
  // Not asked for where only the process counts.
  if (thread != nullptr) *thread = thread_number;
}

char* ThreadIdText(DbEnv*, pid_t process, db_threadid_t thread, char* text) {
  std::snprintf(text, DB_THREADID_STRLEN, "%d/%lu", static_cast<int>(process),
                static_cast<unsigned long>(thread));
  return text;
}

// What it has to say without an error, of which the watch tells in our words.
void IgnoreMessage(const DbEnv*, const char*) {}

// A thread lives as long as its process: none ends inside Berkeley DB alone.
int IsAlive(DbEnv* environment, pid_t process, db_threadid_t, u_int32_t) {
  try {
    return LivesOf(environment).IsAlive(process) ? 1 : 0;
  } catch (const std::exception&) {
    // When nobody can tell, nothing of his is taken away.
    return 1;
  }
}

}  // namespace

std::unique_ptr<DbEnv> MakeHandle(LifeTable& lives,
                                  const std::string& password) {
  ForgetErrorTexts();
  auto handle = std::make_unique<DbEnv>(DB_CXX_NO_EXCEPTIONS);
  KeepErrorTexts(*handle);
  handle->set_msgcall(IgnoreMessage);
  handle->set_app_private(&lives);
  const auto check = [](int code) { CheckCode(code, "set up", "Berkeley DB"); };
  if (!password.empty())
    check(handle->set_encrypt(password.c_str(), DB_ENCRYPT_AES));
  check(handle->set_thread_id(ThreadId));
  check(handle->set_thread_id_string(ThreadIdText));
  check(handle->set_isalive(IsAlive));
  check(handle->set_thread_count(kThreads));

  check(handle->set_cachesize(0, kCacheBytes, 1));
  check(handle->set_lk_max_locks(kMostLocks));
  check(handle->set_lk_max_objects(kMostLocks));
  check(handle->set_lk_max_lockers(kMostLockers));
  check(handle->set_lk_tablesize(kLockTable));
  check(handle->set_tx_max(kMostTransactions));
  check(handle->set_lg_bsize(kLogBufferBytes));
  check(handle->set_lg_max(kLogFileBytes));
  check(handle->set_lg_regionmax(kLogNamesBytes));

  // The youngest has done least, and the oldest gets done at last.
  check(handle->set_lk_detect(DB_LOCK_YOUNGEST));
  check(handle->set_timeout(kLockTimeoutUs, DB_SET_LOCK_TIMEOUT));
  check(handle->set_timeout(kTransactionTimeoutUs, DB_SET_TXN_TIMEOUT));
  check(handle->set_flags(DB_TIME_NOTGRANTED, 1));
  return handle;
}

}  // namespace kiv::xdb
