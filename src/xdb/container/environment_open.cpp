#include <cerrno>
#include <cstdlib>
#include <thread>
#include <utility>

#include "port/disk_space.h"
#include "port/file.h"
#include "port/file_system_kind.h"
#include "port/native_path.h"
#include "port/private_file.h"
#include "port/shared_locks.h"
#include "util/log_entry.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/environment_impl.h"
#include "xdb/container/environment_password.h"
#include "xdb/container/environment_settings.h"
#include "xdb/container/store_error.h"

// Opening, recovering and closing. Whoever finds that nobody else lives is the
// first: he alone may recover, and makes the shared memory anew in any case,
// since what lies there may be damaged. Those who come later join him.
namespace kiv::xdb {
namespace {

using std::chrono::steady_clock;

constexpr char kSource[] = "dbxml";
constexpr std::chrono::seconds kLongestWait(5);
// Below it the shared memory could not be made, and writing to a part of it
// that has no disk block ends the process.
constexpr std::uint64_t kLeastFreeBytes = 32ull << 20;

// What a repair opens the environment with, whatever it is opened with later.
constexpr u_int32_t kRepairFlags = DB_CREATE | DB_USE_ENVIRON | DB_INIT_LOCK |
                                   DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN;

u_int32_t FlagsOf(const EnvironmentSwitches& switches) {
  u_int32_t flags = DB_CREATE | DB_INIT_MPOOL;
  if (switches.thread) flags |= DB_THREAD;
  if (switches.lock || switches.transactions) flags |= DB_INIT_LOCK;
  if (switches.log) flags |= DB_INIT_LOG;
  if (switches.transactions) flags |= DB_INIT_TXN;
  return flags;
}

std::string CannotOpen(const std::string& home) {
  return "cannot open the environment '" + Shown(home) + "': ";
}

// Leaves the gate behind him.
class GateHold {
 public:
  explicit GateHold(LifeTable& lives) : lives_(lives) {}
  ~GateHold() { lives_.LeaveGate(); }
  GateHold(const GateHold&) = delete;
  GateHold& operator=(const GateHold&) = delete;

 private:
  LifeTable& lives_;
};

}  // namespace

void Environment::Impl::RequireHome(const std::string& given_home,
                                    bool is_private) {
  home = given_home;
  if (!port::GetFullPathNameA(home, path_)) path_ = home;
  port::FileAttributes attributes;
  if (!port::GetFileAttributesA(path_, attributes))
    throw MakeStoreError(port::LastError(), "open the environment", home);
  if (!attributes.is_directory)
    throw StoreError(Failure::Other, CannotOpen(home) + "it is no folder",
                     ENOTDIR);
  const std::string network = port::NetworkFileSystem(path_);
  if (!network.empty())
    throw StoreError(Failure::Other,
                     CannotOpen(home) + "it lies on a network file system (" +
                         network +
                         "), where its shared memory and locks do not work; "
                         "put it on a local disk",
                     EOPNOTSUPP);
  // The password lies in the shared memory in clear text.
  if (is_private && !port::MakeDirectoryPrivate(path_))
    throw MakeStoreError(port::LastError(), "make private the environment",
                         home);
}

void Environment::Impl::Open(const std::string& given_home,
                             const EnvironmentSwitches& switches,
                             const std::string& password) {
  const auto deadline = steady_clock::now() + kLongestWait;
  RequireHome(given_home, !password.empty());
  lives = LifeTable::Open(path_, !password.empty());
  while (!TryOpen(switches, password, deadline))
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

bool Environment::Impl::TryOpen(const EnvironmentSwitches& switches,
                                const std::string& password,
                                TimePoint deadline) {
  if (!lives->TakeGate(deadline))
    throw StoreError(Failure::BusyTooLong,
                     CannotOpen(home) +
                         "another program has been opening or closing it for "
                         "too long; wait for it or end it",
                     EBUSY);
  const GateHold gate(*lives);
  // Somebody may die while we join him; nobody is in the way of the first.
  const bool is_first = !lives->DoOthersLive();
  const port::ImpatientWaits so_long([this, deadline, is_first] {
    return !is_first && (steady_clock::now() > deadline || lives->HasDead());
  });
  try {
    return OpenBehindGate(switches, password, is_first,
                          steady_clock::now() < deadline);
  } catch (...) {
    GiveUp();
    throw;
  }
}

bool Environment::Impl::OpenBehindGate(const EnvironmentSwitches& switches,
                                       const std::string& password,
                                       bool is_first, bool may_wait) {
  // Others are seeing to it: they clear up after the dead, or close.
  if (!is_first && may_wait &&
      (lives->HasDead() || ReadRegionHead(path_).is_dead))
    return false;
  LifeTable::Facts facts = lives->Load();
  const LogFiles logs = FindLogFiles(path_);
  if (is_first) {
    RequireLogFiles(path_, logs, facts);
    RequirePassword(path_, logs, password, facts);
    OpenFirst(facts, FlagsOf(switches), password);
  } else {
    RequirePassword(path_, logs, password, facts);
    RequireRegions(path_, facts);
    lives->Enter(false);
    OpenHandle(FlagsOf(switches), password);
  }
  auto watching = MakeHandle(*lives, password);
  CheckCode(watching->open(port::SystemPath(path_).c_str(), DB_THREAD, 0),
            "watch the environment", home);
  watch_ =
      std::make_unique<EnvironmentWatch>(std::move(watching), *lives, path_);
  if (is_first) RecordLogFiles();
  lives->Mark(LifeTable::Stage::Open);
  return true;
}

void Environment::Impl::OpenFirst(LifeTable::Facts facts, u_int32_t flags,
                                  const std::string& password) {
  const RegionHead before = ReadRegionHead(path_);
  if (lives->IsNew() && before.major != 0 && !before.is_valid &&
      before.major < DB_VERSION_MAJOR)
    throw StoreError(Failure::BadFormat,
                     CannotOpen(home) + "Berkeley DB " +
                         std::to_string(before.major) + "." +
                         std::to_string(before.minor) +
                         " made it, and may have it open; dump the containers "
                         "with that version and load them into a new "
                         "environment",
                     DB_VERSION_MISMATCH);
  std::uint64_t free_bytes = 0;
  if (port::GetFreeBytes(path_, free_bytes) && free_bytes < kLeastFreeBytes)
    throw StoreError(
        Failure::OutOfSpace,
        CannotOpen(home) + "the disk has " + std::to_string(free_bytes >> 20) +
            " MiB left, and " + std::to_string(kLeastFreeBytes >> 20) +
            " MiB are needed for its shared memory; make room on the disk",
        ENOSPC);
  // Of a home that comes from elsewhere nobody knows how it was left.
  const bool has_logs = !FindLogFiles(path_).IsEmpty();
  const bool is_left_open = lives->HasDead() || lives->IsNew();
  lives->Enter(true);
  if (is_left_open && has_logs) {
    Recover(password, DB_RECOVER);
    ++facts.recovery_count;
  }
  RemoveRegions(path_);
  OpenHandle(flags, password);
  u_int32_t gigabytes = 0;
  u_int32_t bytes = 0;
  handle->get_cachesize(&gigabytes, &bytes, nullptr);
  const std::uint64_t cache_bytes =
      (static_cast<std::uint64_t>(gigabytes) << 30) + bytes;
  if (const int error = ReserveRegions(path_, cache_bytes); error != 0)
    throw MakeStoreError(error, "make the shared memory of the environment",
                         home);
  facts.regions = {};
  const auto regions = FindRegions(path_);
  for (std::size_t i = 0; i < regions.size() && i < facts.regions.size(); ++i)
    facts.regions[i] = regions[i];
  lives->Store(facts);
  lives->BuryAll();
}

void Environment::Impl::OpenHandle(u_int32_t flags,
                                   const std::string& password) {
  handle = MakeHandle(*lives, password);
  CheckCode(handle->open(port::SystemPath(path_).c_str(), flags, 0),
            "open the environment", home);
}

void Environment::Impl::Recover(const std::string& password,
                                u_int32_t recovery) {
  const auto start = steady_clock::now();
  RemoveRegions(path_);
  const auto recovering = MakeHandle(*lives, password);
  int code = recovering->open(port::SystemPath(path_).c_str(),
                              kRepairFlags | recovery, 0);
  // The checkpoint that ends a recovery is left in the shared memory, which
  // goes.
  if (code == 0) code = recovering->log_flush(nullptr);
  const int closed = recovering->close(0);
  if (code == 0) code = closed;
  if (code != 0) {
    const StoreError error =
        MakeStoreError(code, "recover the environment", home);
    const bool may_repair_help = error.failure() == Failure::Other ||
                                 error.failure() == Failure::NotFound ||
                                 error.failure() == Failure::BadFormat;
    throw StoreError(may_repair_help ? Failure::NeedsRecovery : error.failure(),
                     error.what(), code);
  }
  const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
      steady_clock::now() - start);
  LogInformation(kSource, "environment '" + Shown(home) +
                              "' was recovered in " +
                              std::to_string(took.count()) + " ms");
}

void Environment::Impl::Repair(const std::string& given_home,
                               const std::string& password,
                               u_int32_t recovery) {
  RequireHome(given_home, !password.empty());
  lives = LifeTable::Open(path_, !password.empty());
  if (!lives->TakeGate(steady_clock::now() + kLongestWait))
    throw StoreError(Failure::BusyTooLong,
                     CannotOpen(home) + "another program is opening it", EBUSY);
  const GateHold gate(*lives);
  if (lives->DoOthersLive())
    throw StoreError(Failure::BusyTooLong,
                     "cannot repair the environment '" + Shown(home) +
                         "': it is open elsewhere; close it there",
                     EBUSY);
  LifeTable::Facts facts = lives->Load();
  const LogFiles logs = FindLogFiles(path_);
  RequireLogFiles(path_, logs, facts);
  RequirePassword(path_, logs, password, facts);
  try {
    lives->Enter(true);
    Recover(password, recovery);
    ++facts.recovery_count;
    facts.regions = {};
    RemoveRegions(path_);
    lives->Store(facts);
    lives->BuryAll();
  } catch (...) {
    GiveUp();
    throw;
  }
  lives->Leave(true);
}

void Environment::Impl::AbortTransactions() {
  const std::lock_guard lock(live->mutex);
  while (!live->all.empty()) {
    DbTxn* const transaction = (*live->all.begin())->Release();
    if (transaction != nullptr) transaction->abort();
  }
}

// Nobody will need the log to find what was committed.
bool Environment::Impl::FlushAsLast() {
  u_int32_t flags = 0;
  if (handle->get_open_flags(&flags) != 0) return false;
  const int code = (flags & DB_INIT_TXN) != 0 ? handle->txn_checkpoint(0, 0, 0)
                                              : handle->memp_sync(nullptr);
  if (code != 0) return false;
  RecordLogFiles();
  return true;
}

int Environment::Impl::Close() {
  if (handle == nullptr) return 0;
  if (lives->IsOfParent()) {
    // All of it is the parent's, who goes on with it.
    watch_->Forget();
    watch_.release();  // NOLINT(bugprone-unused-return-value)
    handle.release();  // NOLINT(bugprone-unused-return-value)
    lives.reset();
    return 0;
  }
  AbortTransactions();
  watch_.reset();
  const port::ImpatientWaits while_all_live(
      [this] { return lives->HasDead(); });
  // Without the gate somebody may be joining us; the next to open finds out.
  const bool has_gate = lives->TakeGate(steady_clock::now() + kLongestWait);
  const bool is_last = has_gate && !lives->DoOthersLive();
  bool is_orderly = has_gate && !ReadRegionHead(path_).is_dead;
  try {
    if (is_orderly && is_last) is_orderly = FlushAsLast();
    lives->Mark(LifeTable::Stage::Changing);
  } catch (const StoreError&) {
    is_orderly = false;
  }
  const int code = handle->close(0);
  handle.reset();
  try {
    if (is_orderly && is_last && code == 0) RemoveRegions(path_);
    lives->Leave(is_orderly && code == 0);
  } catch (const StoreError&) {
    // Whoever opens it next recovers.
  }
  if (has_gate) lives->LeaveGate();
  lives.reset();
  return code;
}

// Behind the gate: what could not be opened is left as it was found.
void Environment::Impl::GiveUp() {
  watch_.reset();
  if (handle != nullptr) handle->close(0);
  handle.reset();
  try {
    lives->Leave(true);
  } catch (const StoreError&) {
    // Who cannot say that he left counts as dead.
  }
}

void Environment::Impl::CheckpointAfterCommit() {
  const std::unique_lock alone(checkpoint_, std::try_to_lock);
  if (!alone.owns_lock()) return;
  // The commit stands without it.
  handle->txn_checkpoint(kCheckpointKilobytes, 0, 0);
}

void Environment::Impl::RecordLogFiles() {
  const LogFiles logs = FindLogFiles(path_);
  char** unneeded = nullptr;
  std::uint32_t needed = logs.First();
  if (!logs.IsEmpty() && handle->log_archive(&unneeded, 0) == 0 &&
      unneeded != nullptr) {
    for (char** name = unneeded; *name != nullptr; ++name) ++needed;
    std::free(unneeded);
  }
  lives->StoreLogs(needed, logs.Last());
}

}  // namespace kiv::xdb
