#include "xdb/container/environment_watch.h"

#include <chrono>
#include <exception>
#include <utility>

#include "util/log_entry.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/environment_settings.h"
#include "xdb/container/home_files.h"

namespace kiv::xdb {
namespace {

constexpr char kSource[] = "dbxml";
constexpr std::chrono::milliseconds kPause(100);

}  // namespace

EnvironmentWatch::EnvironmentWatch(std::unique_ptr<DbEnv> handle,
                                   LifeTable& lives, std::string home)
    : handle_(std::move(handle)),
      lives_(lives),
      home_(std::move(home)),
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
  if (lives_.Deaths().empty() || !lives_.TryTakeCareOfDead()) return;
  try {
    SeeToDead();
  } catch (...) {
    lives_.EndCareOfDead();
    throw;
  }
  lives_.EndCareOfDead();
}

void EnvironmentWatch::SeeToDead() {
  const auto deaths = lives_.Deaths();
  for (const LifeTable::Death& death : deaths)
    if (death.stage == LifeTable::Stage::Changing) {
      DeclareDead("a program ended while it opened or closed it");
      return;
    }
  if (deaths.empty()) return;
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
  handle_->set_flags(DB_PANIC_ENVIRONMENT, 1);
  LogError(kSource, "environment '" + Shown(home_) + "': " + why +
                        "; close it in every program, then open it again");
}

}  // namespace kiv::xdb
