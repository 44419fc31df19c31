// Changes documents of a container until it is killed, and keeps a journal of
// it: xdb_worker NAME. Its documents are those whose names begin with NAME and
// "-", and NAME is the journal's.
//
// Started again with the same journal, it first compares what it finds with
// what the journal says. When the environment dies under it, it closes it,
// opens it again and goes on.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kiv/startup.h"
#include "testing/xdb_journal.h"
#include "xdb/container/store_error.h"

namespace {

using namespace kiv::testing;
using kiv::xdb::Failure;
using kiv::xdb::StoreError;
using std::chrono::steady_clock;

class Worker {
 public:
  explicit Worker(std::string name)
      : name_(std::move(name)),
        journal_(::open(name_.c_str(),
                        O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)) {}

  [[noreturn]] void Run() {
    for (;;) {
      try {
        Open();
        Settle();
        for (;;) Change();
      } catch (const StoreError& error) {
        if (error.failure() != Failure::NeedsRecovery)
          Stop(std::string("error ") + error.what());
        if (is_trying_) Write("lost");
        container_.reset();
        environment_->Close();
      }
    }
  }

 private:
  void Write(std::string line) const {
    line += '\n';
    if (::write(journal_, line.data(), line.size()) < 0) ::_exit(3);
  }
  [[noreturn]] void Stop(const std::string& problem) const {
    Write(problem);
    ::_exit(4);
  }

  void Open() {
    environment_ = std::make_shared<kiv::xdb::Environment>();
    const auto start = steady_clock::now();
    if (environment_->Open("home", kXdbEnvironment, "") != 0)
      Stop("cannot open: " + environment_->ErrorText());
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
        steady_clock::now() - start);
    Write("open " + std::to_string(took.count()));
    container_ =
        kiv::xdb::OpenContainer(environment_, "orders.xdb", kXdbContainer);
  }

  // Compares what is there with what the journal says.
  void Settle() {
    const XdbAccount account(name_);
    const auto is_found = [this](XdbDocuments documents) {
      bool is_same = true;
      container_->EachName(
          [&](const std::string& name) {
            if (!name.starts_with(name_ + "-")) return true;
            const int version = documents[name];
            documents.erase(name);
            return is_same = container_->Get(name, nullptr) ==
                             XdbContent(name_, version);
          },
          nullptr);
      return is_same && documents.empty();
    };
    const bool is_after = account.is_in_doubt && is_found(account.after);
    if (!is_after && !is_found(account.documents))
      Stop("wrong documents behind transaction " +
           std::to_string(account.number));
    if (account.is_in_doubt) Write(is_after ? "did" : "not");
    is_trying_ = false;
    documents_ = is_after ? account.after : account.documents;
    number_ = account.number;
  }

  void Apply(const XdbChange& change, kiv::xdb::Transaction* transaction) {
    const std::string content = XdbContent(name_, change.version);
    if (change.kind == "put")
      container_->Put(change.name, content, transaction);
    else if (change.kind == "replace")
      container_->Replace(change.name, content, transaction);
    else if (change.kind == "rename")
      container_->Rename(change.name, change.new_name, transaction);
    else
      container_->Delete(change.name, transaction);
  }

  void Change() {
    if (++number_ % 12 == 0) environment_->Checkpoint();
    XdbDocuments after = documents_;
    const auto changes = XdbTransaction(name_, number_, after);
    Write("try " + std::to_string(number_));
    is_trying_ = true;
    const bool is_done = Try(changes);
    is_trying_ = false;
    Write(is_done ? "did" : "not");
    if (is_done) documents_ = after;
  }

  // False when it was given up for others.
  bool Try(const std::vector<XdbChange>& changes) {
    try {
      const auto transaction =
          changes.size() == 1 ? nullptr : environment_->Begin();
      for (const XdbChange& change : changes) Apply(change, transaction.get());
      if (transaction != nullptr) transaction->Commit();
      return true;
    } catch (const StoreError& error) {
      if (error.failure() == Failure::Deadlock ||
          error.failure() == Failure::BusyTooLong)
        return false;
      throw;
    }
  }

  const std::string name_;
  const int journal_;
  std::shared_ptr<kiv::xdb::Environment> environment_;
  std::shared_ptr<kiv::xdb::Container> container_;
  XdbDocuments documents_;
  int number_ = 0;
  bool is_trying_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  kiv::GlobalInit();
  Worker(argv[1]).Run();
}
