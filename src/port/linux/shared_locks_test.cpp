#include "port/shared_locks.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <thread>

extern "C" {
int kiv_shared_mutex_lock(pthread_mutex_t* mutex);
int kiv_shared_mutex_trylock(pthread_mutex_t* mutex);
int kiv_shared_rwlock_rdlock(pthread_rwlock_t* lock);
int kiv_shared_rwlock_wrlock(pthread_rwlock_t* lock);
int kiv_shared_rwlock_trywrlock(pthread_rwlock_t* lock);
int kiv_shared_rwlock_unlock(pthread_rwlock_t* lock);
int kiv_shared_cond_init(pthread_cond_t* condition, const pthread_condattr_t*);
int kiv_shared_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
int kiv_shared_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                              const timespec* until);
int kiv_shared_cond_signal(pthread_cond_t* condition);
int kiv_shared_select(int count, fd_set* to_read, fd_set* to_write,
                      fd_set* exceptional, timeval* time);
}

namespace kiv::port {
namespace {

class SharedLocks : public testing::Test {
 protected:
  ~SharedLocks() override { AbandonWaitsWhen(nullptr); }
  // On another thread, which then ends without giving anything back.
  template <class Call>
  static void Elsewhere(Call call) {
    std::thread(call).join();
  }
  void LoseLocks() {
    Elsewhere([this] {
      kiv_shared_mutex_lock(&mutex_);
      kiv_shared_rwlock_wrlock(&lock_);
    });
  }

  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  pthread_rwlock_t lock_ = PTHREAD_RWLOCK_INITIALIZER;
  pthread_cond_t condition_ = PTHREAD_COND_INITIALIZER;
};

TEST_F(SharedLocks, AreNotWaitedForLongerThanIsEnough) {
  LoseLocks();
  {
    int asked = 0;
    const ImpatientWaits three_times([&asked] { return ++asked == 3; });
    EXPECT_EQ(kiv_shared_mutex_lock(&mutex_), EOWNERDEAD);
    EXPECT_EQ(asked, 3);
  }
  const std::atomic<bool> is_abandoned = true;
  AbandonWaitsWhen(&is_abandoned);
  EXPECT_EQ(kiv_shared_mutex_lock(&mutex_), EOWNERDEAD);
  EXPECT_EQ(kiv_shared_rwlock_rdlock(&lock_), EOWNERDEAD);
  EXPECT_EQ(kiv_shared_rwlock_wrlock(&lock_), EOWNERDEAD);
}

TEST_F(SharedLocks, EndTriesThatAreMadeInPlaceOfWaits) {
  LoseLocks();
  const auto expect_tries = [&](int answer) {
    EXPECT_EQ(kiv_shared_mutex_trylock(&mutex_), answer);
    EXPECT_EQ(kiv_shared_rwlock_trywrlock(&lock_), answer);
  };
  bool is_enough = true;
  {
    const ImpatientWaits at_once([] { return true; });
    expect_tries(EBUSY);
  }
  const ImpatientWaits clearing_up([&] { return is_enough; },
                                   ImpatientWaits::Tries::AreWaits);
  expect_tries(EOWNERDEAD);
  is_enough = false;
  expect_tries(EBUSY);
}

// Free ones too.
TEST_F(SharedLocks, EndALoopThatSleepsUntilSomebodyHasFinished) {
  std::atomic<bool> is_abandoned = false;
  AbandonWaitsWhen(&is_abandoned);
  const auto looked_after_sleep = [](auto lock, auto* object) {
    timeval moment = {0, 1};
    EXPECT_EQ(kiv_shared_select(0, nullptr, nullptr, nullptr, &moment), 0);
    return lock(object);
  };
  EXPECT_EQ(looked_after_sleep(kiv_shared_rwlock_rdlock, &lock_), 0);
  kiv_shared_rwlock_unlock(&lock_);
  is_abandoned = true;
  EXPECT_EQ(looked_after_sleep(kiv_shared_rwlock_rdlock, &lock_), EOWNERDEAD);
  EXPECT_EQ(looked_after_sleep(kiv_shared_rwlock_wrlock, &lock_), EOWNERDEAD);
  EXPECT_EQ(looked_after_sleep(kiv_shared_mutex_lock, &mutex_), EOWNERDEAD);
  EXPECT_EQ(kiv_shared_mutex_lock(&mutex_), 0) << "not in such a loop";
}

// Nobody says that it is enough: whoever died was thought to hold nothing.
TEST_F(SharedLocks, OfAProcessThatEndedAreNotWaitedFor) {
  struct Locks {
    pthread_mutex_t mutex;
    pthread_rwlock_t lock;
  };
  auto* const locks =
      static_cast<Locks*>(::mmap(nullptr, sizeof(Locks), PROT_READ | PROT_WRITE,
                                 MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  ASSERT_NE(locks, MAP_FAILED);
  pthread_mutexattr_t of_mutex;
  pthread_mutexattr_init(&of_mutex);
  pthread_mutexattr_setpshared(&of_mutex, PTHREAD_PROCESS_SHARED);
  pthread_mutex_init(&locks->mutex, &of_mutex);
  pthread_rwlockattr_t of_lock;
  pthread_rwlockattr_init(&of_lock);
  pthread_rwlockattr_setpshared(&of_lock, PTHREAD_PROCESS_SHARED);
  pthread_rwlock_init(&locks->lock, &of_lock);
  const pid_t child = ::fork();
  if (child == 0) {
    kiv_shared_mutex_lock(&locks->mutex);
    kiv_shared_rwlock_wrlock(&locks->lock);
    ::_exit(0);
  }
  // Over, though nobody has taken note of it yet.
  siginfo_t end;
  ASSERT_EQ(::waitid(P_PID, static_cast<id_t>(child), &end, WEXITED | WNOWAIT),
            0);
  EXPECT_EQ(kiv_shared_mutex_lock(&locks->mutex), EOWNERDEAD);
  EXPECT_EQ(kiv_shared_rwlock_rdlock(&locks->lock), EOWNERDEAD);
  EXPECT_EQ(::waitpid(child, nullptr, 0), child);
  EXPECT_EQ(kiv_shared_rwlock_wrlock(&locks->lock), EOWNERDEAD);
  ::munmap(locks, sizeof(Locks));
}

TEST_F(SharedLocks, OfAWriterAreGivenBackByHimAlone) {
  ASSERT_EQ(kiv_shared_rwlock_wrlock(&lock_), 0);
  Elsewhere(
      [this] { EXPECT_EQ(kiv_shared_rwlock_unlock(&lock_), EOWNERDEAD); });
  EXPECT_EQ(kiv_shared_rwlock_unlock(&lock_), 0);
  EXPECT_EQ(kiv_shared_rwlock_trywrlock(&lock_), 0);
}

TEST_F(SharedLocks, AreHadAgainBehindAWaitForACondition) {
  kiv_shared_cond_init(&condition_, nullptr);
  std::atomic<bool> is_ready = false;
  ASSERT_EQ(kiv_shared_mutex_lock(&mutex_), 0);
  std::thread other([&] {
    kiv_shared_mutex_lock(&mutex_);
    is_ready = true;
    kiv_shared_cond_signal(&condition_);
    pthread_mutex_unlock(&mutex_);
  });
  while (!is_ready) ASSERT_EQ(kiv_shared_cond_wait(&condition_, &mutex_), 0);
  EXPECT_EQ(pthread_mutex_trylock(&mutex_), EBUSY) << "held by the waiter";
  other.join();
  const timespec past = {};
  EXPECT_EQ(kiv_shared_cond_timedwait(&condition_, &mutex_, &past), ETIMEDOUT);
  const std::atomic<bool> is_abandoned = true;
  AbandonWaitsWhen(&is_abandoned);
  EXPECT_EQ(kiv_shared_cond_wait(&condition_, &mutex_), EOWNERDEAD);
  EXPECT_EQ(pthread_mutex_trylock(&mutex_), EBUSY) << "held by the waiter";
  pthread_mutex_unlock(&mutex_);
}

}  // namespace
}  // namespace kiv::port
