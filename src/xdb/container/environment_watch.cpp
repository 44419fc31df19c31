#include "xdb/container/environment_watch.h"

#include <chrono>
#include <exception>
#include <utility>

#include "port/shared_locks.h"
#include "util/log_entry.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/environment_settings.h"
#include "xdb/container/home_files.h"

namespace kiv::xdb {
namespace {

constexpr char kSource[] = "dbxml";
constexpr std::chrono::milliseconds kPause(100);
// What costs more than looking who lives is done about once a second.
constexpr int kLooksBetweenChores = 10;
// What a living one may hold up the clearing.
constexpr std::chrono::seconds kLongestCare(1);

bool HasLocks(DbEnv& environment) {
  u_int32_t flags = 0;
  return environment.get_open_flags(&flags) == 0 && (flags & DB_INIT_LOCK) != 0;
}

}  // namespace

EnvironmentWatch::EnvironmentWatch(std::unique_ptr<DbEnv> handle,
                                   LifeTable& lives, std::string home)
    : handle_(std::move(handle)),
      lives_(lives),
      home_(std::move(home)),
      has_locks_(HasLocks(*handle_)),
      thread_([this] { Run(); }) {}

EnvironmentWatch::~EnvironmentWatch() { Stop(); }

void EnvironmentWatch::Stop() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard lock(mutex_);
    is_stopping_ = true;
  }
  wake_.notify_all();
  thread_.join();
  handle_->close(0);
  handle_.reset();
}

void EnvironmentWatch::Forget() {
  thread_.detach();
  // Its memory is the parent's.
  handle_.release();  // NOLINT(bugprone-unused-return-value)
}

void EnvironmentWatch::Run() {
  std::unique_lock lock(mutex_);
  while (!wake_.wait_for(lock, kPause, [this] { return is_stopping_; })) {
    lock.unlock();
    try {
      LookAround();
    } catch (const std::exception& exception) {
      // The next look may do better; what cannot be read now harms nobody yet.
      ForgetErrorTexts();
    }
    lock.lock();
  }
}

void EnvironmentWatch::LookAround() {
  if (is_dead_) return;
  if (ReadRegionHead(home_).is_dead) {
    DeclareDead("it asks for recovery");
    return;
  }
  if (lives_.Deaths().empty()) {
    if (++looks_ % kLooksBetweenChores == 0) {
      NoteNewLogFile();
      EndLongWaits();
    }
    return;
  }
  if (!lives_.TryTakeCareOfDead()) return;
  try {
    SeeToDead();
  } catch (...) {
    lives_.EndCareOfDead();
    throw;
  }
  lives_.EndCareOfDead();
}

// After a crash it is to be there.
void EnvironmentWatch::NoteNewLogFile() {
  const std::uint32_t last = FindLogFiles(home_).Last();
  if (last == last_log_) return;
  lives_.StoreLastLog(last);
  last_log_ = last;
}

// Berkeley DB looks at the time limit of a wait only when somebody looks for
// deadlocks.
void EnvironmentWatch::EndLongWaits() {
  if (!has_locks_) return;
  const port::ImpatientWaits until_somebody_dies(
      [this] { return lives_.HasDead(); });
  int rejected = 0;
  handle_->lock_detect(0, DB_LOCK_EXPIRE, &rejected);
}

void EnvironmentWatch::SeeToDead() {
  const auto deaths = lives_.Deaths();
  for (const LifeTable::Death& death : deaths)
    if (death.stage == LifeTable::Stage::Changing) {
      DeclareDead("a program ended while it opened or closed it");
      return;
    }
  if (deaths.empty()) return;
  const auto start = std::chrono::steady_clock::now();
  const port::ImpatientWaits so_long(
      [start] {
        return std::chrono::steady_clock::now() - start > kLongestCare;
      },
      port::ImpatientWaits::Tries::AreWaits);
  const int code = handle_->failchk(0);
  if (code != 0) {
    DeclareDead(
        MakeStoreError(code, "clear up after a program that ended in", home_)
            .what());
    return;
  }
  for (const LifeTable::Death& death : deaths) lives_.Bury(death.life);
  LogInformation(kSource, "environment '" + Shown(home_) +
                              "': a program ended without closing it; its "
                              "transactions were aborted");
}

void EnvironmentWatch::DeclareDead(const std::string& why) {
  is_dead_ = true;
  lives_.IsDead() = true;
  handle_->set_flags(DB_PANIC_ENVIRONMENT, 1);
  LogError(kSource, "environment '" + Shown(home_) + "': " + why +
                        "; close it in every program, then open it again");
}

}  // namespace kiv::xdb
