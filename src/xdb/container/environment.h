#ifndef XDB_CONTAINER_ENVIRONMENT_H_
#define XDB_CONTAINER_ENVIRONMENT_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kiv/xdb_statistics.h"

namespace kiv::xdb {

// One change of several containers, or none of it. Ends by Commit or Abort; one
// that is dropped is aborted. One thread at a time.
class Transaction {
 public:
  class Impl;
  explicit Transaction(std::unique_ptr<Impl> impl);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  // Throw StoreError, also when the transaction has ended already.
  void Commit();
  void Abort();
  bool HasEnded() const;
  // Also for one who asks when it is gone.
  std::shared_ptr<const bool> WasCommitted() const { return was_committed_; }

  Impl& impl() { return *impl_; }

 private:
  std::unique_ptr<Impl> impl_;
  const std::shared_ptr<bool> was_committed_ = std::make_shared<bool>(false);
};

struct EnvironmentSwitches {
  bool thread = false;
  bool lock = false;
  bool log = false;
  bool transactions = false;
};

// A home folder with its cache, locks and log files. The first process to open
// it puts right what a crash left; later ones join. Home folders are native
// path text.
//
// Threads: every operation but Open, Close and Repair, when the environment was
// opened for threads.
class Environment {
 public:
  Environment();
  ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  // 0, or the code with which it cannot be opened; ErrorText() then says what
  // to do. Throws StoreError where only Repair may help: the environment asks
  // for recovery, or its regions cannot be joined. Never waits longer than five
  // seconds for another process.
  int Open(const std::string& home, const EnvironmentSwitches& switches,
           const std::string& password);

  // Opens once with recovery, or with catastrophic recovery, and closes again.
  // Throws StoreError; also, without a change, while another process has the
  // environment open.
  void Repair(const std::string& home, const std::string& password,
              bool is_catastrophic);

  // 0, or the code. Transactions and containers are to be gone.
  int Close();

  bool IsOpen() const;
  const std::string& Home() const;
  std::string ErrorText() const;

  // Read from the live environment; throw StoreError when none is open.
  bool IsThreaded() const;
  bool IsTransactional() const;
  bool IsEncrypted() const;

  // Throw StoreError.
  std::shared_ptr<Transaction> Begin();
  void Checkpoint();
  // Native paths of the log files that no recovery needs any more.
  std::vector<std::string> UnneededLogFiles();
  XDbEnvironmentStatistics Statistics() const;

  class Impl;
  Impl& impl() { return *impl_; }

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_ENVIRONMENT_H_
