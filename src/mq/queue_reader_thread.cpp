#include "kiv/mq/queue_reader_thread.h"

#include <cxxabi.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "kiv/mq/queue_config.h"
#include "kiv/mq/queue_reader.h"
#include "mq/reader_failure.h"
#include "mq/reader_thread_impl.h"
#include "mq/status_board.h"
#include "util/log_entry.h"

namespace kiv::mq {

QueueReaderThread::QueueReaderThread() : impl_(std::make_unique<Impl>()) {}

QueueReaderThread::~QueueReaderThread() {
  // The last holder may be the thread itself.
  if (impl_->thread.joinable()) impl_->thread.detach();
}

bool QueueReaderThread::start(const QueueReader* for_reader,
                              const QueueConfig* config) {
  auto body =
      [self = shared_from_this(), config,
       reader = for_reader != nullptr ? for_reader->weak_from_this().lock()
                                      : nullptr,
       owner = config != nullptr ? config->weak_from_this().lock() : nullptr,
       ending = impl_->ending]() mutable {
        // All that was used is let go of before the end is announced, so that
        // whoever waited for it may unload what he likes: locals end in
        // reverse.
        const ThreadEnding::Announcer announcer(std::move(ending));
        const auto kept_self = std::move(self);
        const auto kept_reader = std::move(reader);
        const auto kept_owner = std::move(owner);
        kept_self->result_ = kept_self->RunSafely(config);
      };
  try {
    const std::lock_guard lock(impl_->mutex);
    impl_->ending->Begin();
    impl_->thread = std::thread(std::move(body));
    return true;
  } catch (const std::system_error& fault) {
    impl_->ending->Announce();
    LogError("mq", std::string("QueueReaderThread::start Failed: ") +
                       Shown(fault.what()));
    return false;
  }
}

// There is no object behind a forced unwind; the reference to it is never used.
__attribute__((no_sanitize("null"))) int QueueReaderThread::RunSafely(
    const QueueConfig* config) {
  constexpr char kFunction[] = "queue_reader_func";
  constexpr int kFault = 4;
  try {
    return run();
  } catch (const std::exception& fault) {
    ReaderFailed(config, kFunction, Shown(fault.what()));
    return kFault;
  } catch (abi::__forced_unwind&) {
    // No exception, but the thread being cancelled: it must not end here.
    if (config != nullptr) config->Board().SetState(QueueState::Stopped);
    throw;
  } catch (...) {
    ReaderFailed(config, kFunction, "something unknown was thrown");
    return kFault;
  }
}

bool QueueReaderThread::Stop(int wait_milliseconds) {
  running_ = 0;
  impl_->stop.Set();
  {
    const std::lock_guard lock(impl_->mutex);
    if (impl_->thread.get_id() == std::this_thread::get_id()) return false;
  }
  if (!impl_->ending->WaitFor(wait_milliseconds)) return false;
  const std::lock_guard lock(impl_->mutex);
  if (impl_->thread.joinable()) impl_->thread.join();
  return true;
}

bool QueueReaderThread::Sleep(long long milliseconds) const {
  const long long most = INT_MAX;
  return !impl_->stop.WaitFor(
      static_cast<int>(std::clamp(milliseconds, 0LL, most)));
}

}  // namespace kiv::mq
