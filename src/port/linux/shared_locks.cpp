#include "port/shared_locks.h"

#include <linux/futex.h>
#include <poll.h>
#include <pthread.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <new>
#include <utility>

#include "port/linux/descriptor.h"

namespace kiv::port {
namespace {

// How long somebody is waited for before it is asked whether to go on.
constexpr long kSliceNs = 50'000'000;
// After so many it is asked whether he is there at all.
constexpr int kSlicesOfTrust = 20;

thread_local const std::atomic<bool>* is_abandoned = nullptr;
thread_local const std::function<bool()>* is_enough = nullptr;
thread_local bool are_tries_waits = false;
// It has slept since it last asked for a lock.
thread_local bool has_slept = false;

timespec In(clockid_t clock, long nanoseconds) {
  constexpr long kSecondNs = 1'000'000'000;
  timespec time;
  ::clock_gettime(clock, &time);
  time.tv_nsec += nanoseconds;
  time.tv_sec += time.tv_nsec / kSecondNs;
  time.tv_nsec %= kSecondNs;
  return time;
}

// The thread sanitizer knows only the calls that go by the clock on the wall,
// which may be set back.
#ifdef __SANITIZE_THREAD__
constexpr clockid_t kClock = CLOCK_REALTIME;
int LockUntil(pthread_mutex_t* mutex, const timespec* until) {
  return ::pthread_mutex_timedlock(mutex, until);
}
int ReadLockUntil(pthread_rwlock_t* lock, const timespec* until) {
  return ::pthread_rwlock_timedrdlock(lock, until);
}
int WriteLockUntil(pthread_rwlock_t* lock, const timespec* until) {
  return ::pthread_rwlock_timedwrlock(lock, until);
}
#else
constexpr clockid_t kClock = CLOCK_MONOTONIC;
int LockUntil(pthread_mutex_t* mutex, const timespec* until) {
  return ::pthread_mutex_clocklock(mutex, kClock, until);
}
int ReadLockUntil(pthread_rwlock_t* lock, const timespec* until) {
  return ::pthread_rwlock_clockrdlock(lock, kClock, until);
}
int WriteLockUntil(pthread_rwlock_t* lock, const timespec* until) {
  return ::pthread_rwlock_clockwrlock(lock, kClock, until);
}
#endif

// Whom the system's locks name as the one who has them for himself, 0 for
// nobody: the thread's number.
pid_t HolderOf(const pthread_mutex_t* mutex) {
  return __atomic_load_n(&mutex->__data.__owner, __ATOMIC_RELAXED);
}
pid_t HolderOf(const pthread_rwlock_t* lock) {
  return __atomic_load_n(&lock->__data.__cur_writer, __ATOMIC_RELAXED);
}

// A process that nobody has waited for yet is gone as well. One of another
// container may look so, and then ends more than it needs to.
bool IsGone(pid_t thread) {
  if (thread == 0) return false;
  const Descriptor process(
      static_cast<int>(::syscall(SYS_pidfd_open, thread, 0)));
  if (process.get() < 0) return errno == ESRCH;
  pollfd end = {process.get(), POLLIN, 0};
  return ::poll(&end, 1, 0) > 0;
}

template <class Lock>
using TryUntil = int (*)(Lock*, const timespec*);

// Some waits are loops that sleep and look again, behind a lock, whether
// somebody has finished. The lock ends them when he never will.
bool HasSleptEnough() {
  return has_slept && std::exchange(has_slept, false) && IsToGiveUpWaiting();
}

template <class Lock>
int LockPatiently(Lock* lock, TryUntil<Lock> try_until) {
  for (int slices = 1;; ++slices) {
    const timespec until = In(kClock, kSliceNs);
    const int result = try_until(lock, &until);
    if (result != ETIMEDOUT) return result;
    if (IsToGiveUpWaiting()) return EOWNERDEAD;
    if (slices % kSlicesOfTrust == 0 && IsGone(HolderOf(lock)))
      return EOWNERDEAD;
  }
}

// After a try that found it with somebody else.
template <class Lock>
int TryForASlice(Lock* lock, TryUntil<Lock> try_until) {
  if (!are_tries_waits) return EBUSY;
  const timespec until = In(kClock, kSliceNs);
  const int result = try_until(lock, &until);
  if (result != ETIMEDOUT) return result;
  return IsToGiveUpWaiting() ? EOWNERDEAD : EBUSY;
}

// In place of the system's condition variables, which count their waiters: one
// who was killed would be waited for by whoever signals or destroys it. This
// one is a number that changes with each signal; the waiters of Berkeley DB
// look again themselves at what they wait for.
class SharedCondition {
 public:
  void Signal(int waiters) {
    number_.fetch_add(1, std::memory_order_release);
    ::syscall(SYS_futex, &number_, FUTEX_WAKE, waiters, nullptr, nullptr, 0);
  }
  std::uint32_t Number() const {
    return number_.load(std::memory_order_acquire);
  }
  // Until the number is another one, or for one slice.
  void Wait(std::uint32_t number) {
    const timespec slice = {0, kSliceNs};
    ::syscall(SYS_futex, &number_, FUTEX_WAIT, number, &slice, nullptr, 0);
  }

 private:
  std::atomic<std::uint32_t> number_ = 0;
};
static_assert(sizeof(SharedCondition) <= sizeof(pthread_cond_t));
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

SharedCondition& Of(pthread_cond_t* condition) {
  return *std::launder(reinterpret_cast<SharedCondition*>(condition));
}

bool IsPast(const timespec& time) {
  const timespec now = In(CLOCK_REALTIME, 0);
  return now.tv_sec > time.tv_sec ||
         (now.tv_sec == time.tv_sec && now.tv_nsec >= time.tv_nsec);
}

}  // namespace

void AbandonWaitsWhen(const std::atomic<bool>* flag) { is_abandoned = flag; }

bool IsToGiveUpWaiting() {
  return (is_abandoned != nullptr && *is_abandoned) ||
         (is_enough != nullptr && (*is_enough)());
}

ImpatientWaits::ImpatientWaits(std::function<bool()> is_enough_now, Tries tries)
    : is_enough_(std::move(is_enough_now)) {
  is_enough = &is_enough_;
  are_tries_waits = tries == Tries::AreWaits;
}
ImpatientWaits::~ImpatientWaits() {
  is_enough = nullptr;
  are_tries_waits = false;
}

}  // namespace kiv::port

using namespace kiv::port;

// Each does what the system's call of that name does.
extern "C" {

FILE* kiv_shared_stdout = stdout;
FILE* kiv_shared_stderr = stderr;

int kiv_shared_mutex_lock(pthread_mutex_t* mutex);
int kiv_shared_mutex_trylock(pthread_mutex_t* mutex);
int kiv_shared_rwlock_rdlock(pthread_rwlock_t* lock);
int kiv_shared_rwlock_wrlock(pthread_rwlock_t* lock);
int kiv_shared_rwlock_trywrlock(pthread_rwlock_t* lock);
int kiv_shared_rwlock_unlock(pthread_rwlock_t* lock);
int kiv_shared_cond_init(pthread_cond_t* condition, const pthread_condattr_t*);
int kiv_shared_cond_destroy(pthread_cond_t*);
int kiv_shared_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int kiv_shared_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                              const timespec* until);
int kiv_shared_cond_signal(pthread_cond_t* condition);
int kiv_shared_select(int count, fd_set* to_read, fd_set* to_write,
                      fd_set* exceptional, timeval* time);
int kiv_shared_cond_broadcast(pthread_cond_t* condition);

int kiv_shared_mutex_lock(pthread_mutex_t* mutex) {
  if (HasSleptEnough()) return EOWNERDEAD;
  const int result = ::pthread_mutex_trylock(mutex);
  if (result != EBUSY) return result;
  return LockPatiently(mutex, LockUntil);
}

int kiv_shared_mutex_trylock(pthread_mutex_t* mutex) {
  const int result = ::pthread_mutex_trylock(mutex);
  return result == EBUSY ? TryForASlice(mutex, LockUntil) : result;
}

int kiv_shared_rwlock_rdlock(pthread_rwlock_t* lock) {
  if (HasSleptEnough()) return EOWNERDEAD;
  const int result = ::pthread_rwlock_tryrdlock(lock);
  if (result != EBUSY) return result;
  return LockPatiently(lock, ReadLockUntil);
}

int kiv_shared_rwlock_wrlock(pthread_rwlock_t* lock) {
  if (HasSleptEnough()) return EOWNERDEAD;
  const int result = ::pthread_rwlock_trywrlock(lock);
  if (result != EBUSY) return result;
  return LockPatiently(lock, WriteLockUntil);
}

int kiv_shared_rwlock_trywrlock(pthread_rwlock_t* lock) {
  const int result = ::pthread_rwlock_trywrlock(lock);
  return result == EBUSY ? TryForASlice(lock, WriteLockUntil) : result;
}

// Whoever clears up gives back what the dead held. The system would take that
// of a dead writer for one more reader's, and the lock would be lost for all.
int kiv_shared_rwlock_unlock(pthread_rwlock_t* lock) {
  static thread_local pid_t self = 0;
  const pid_t writer = HolderOf(lock);
  // A fork changes it.
  if (writer != 0 && writer != self) self = ::gettid();
  if (writer != 0 && writer != self) return EOWNERDEAD;
  return ::pthread_rwlock_unlock(lock);
}

int kiv_shared_cond_init(pthread_cond_t* condition, const pthread_condattr_t*) {
  ::new (static_cast<void*>(condition)) SharedCondition;
  return 0;
}

int kiv_shared_cond_destroy(pthread_cond_t*) { return 0; }

int kiv_shared_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  return kiv_shared_cond_timedwait(condition, mutex, nullptr);
}

int kiv_shared_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                              const timespec* until) {
  SharedCondition& shared = Of(condition);
  const std::uint32_t number = shared.Number();
  ::pthread_mutex_unlock(mutex);
  int result = 0;
  while (result == 0 && shared.Number() == number) {
    shared.Wait(number);
    if (shared.Number() != number) break;
    if (IsToGiveUpWaiting())
      result = EOWNERDEAD;
    else if (until != nullptr && IsPast(*until))
      result = ETIMEDOUT;
  }
  const int locked = kiv_shared_mutex_lock(mutex);
  return locked != 0 ? locked : result;
}

int kiv_shared_cond_signal(pthread_cond_t* condition) {
  Of(condition).Signal(1);
  return 0;
}

int kiv_shared_cond_broadcast(pthread_cond_t* condition) {
  Of(condition).Signal(INT_MAX);
  return 0;
}

// Berkeley DB sleeps by it.
int kiv_shared_select(int count, fd_set* to_read, fd_set* to_write,
                      fd_set* exceptional, timeval* time) {
  has_slept = true;
  return ::select(count, to_read, to_write, exceptional, time);
}

}  // extern "C"
