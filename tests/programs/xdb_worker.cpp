// Changes documents of a container until it is killed, and keeps a journal of
// it: xdb_worker HOME JOURNAL NAME SEED. Its documents are those whose names
// begin with NAME and "-".
//
// Started again with the same journal, it first compares what it finds with
// what the journal says. When the environment dies under it, it closes it,
// opens it again and goes on.
#include <unistd.h>

#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kiv/startup.h"
#include "testing/xdb_journal.h"
#include "xdb/container/container.h"
#include "xdb/container/store_error.h"

namespace {

using kiv::testing::XdbAccount;
using kiv::testing::XdbChange;
using kiv::testing::XdbContent;
using kiv::testing::XdbDocuments;
using kiv::testing::XdbJournal;
using kiv::xdb::Container;
using kiv::xdb::Environment;
using kiv::xdb::Failure;
using kiv::xdb::StoreError;
using std::chrono::steady_clock;

class Worker {
 public:
  Worker(std::string home, const std::string& journal, std::string name,
         unsigned seed)
      : home_(std::move(home)),
        path_(journal),
        journal_(journal),
        name_(std::move(name)),
        random_(seed) {}

  [[noreturn]] void Run() {
    for (;;) {
      try {
        Open();
        Settle();
        for (;;) Change();
      } catch (const StoreError& error) {
        if (error.failure() != Failure::NeedsRecovery) {
          journal_.Add(std::string("error ") + error.what());
          ::_exit(4);
        }
        if (is_trying_) journal_.Add("lost");
        container_.reset();
        if (environment_ != nullptr) environment_->Close();
      }
    }
  }

 private:
  void Open() {
    environment_ = std::make_shared<Environment>();
    const auto start = steady_clock::now();
    const int code = environment_->Open(
        home_,
        {.thread = true, .lock = true, .log = true, .transactions = true}, "");
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
        steady_clock::now() - start);
    if (code != 0) {
      journal_.Add("cannot open after " + std::to_string(took.count()) +
                   " ms: " + environment_->ErrorText());
      ::_exit(5);
    }
    journal_.Add("open " + std::to_string(took.count()) + " " +
                 std::to_string(environment_->Statistics().recovery_count));
    container_ = kiv::xdb::OpenContainer(environment_, "orders.xdb",
                                         {.create = true,
                                          .encrypted = false,
                                          .thread = true,
                                          .transactional = true});
  }

  // Compares what is there with what the journal says.
  void Settle() {
    const XdbAccount account(path_);
    XdbDocuments found;
    std::string prefix = name_ + "-";
    container_->EachName(
        [&](const std::string& name) {
          if (name.rfind(prefix, 0) == 0) found[name] = 0;
          return true;
        },
        nullptr);
    for (auto& [name, version] : found) {
      const std::string content = container_->Get(name, nullptr);
      version = VersionOf(content);
      if (content != XdbContent(name_, version))
        journal_.Add("wrong content of " + name);
    }
    const bool is_before = found == account.documents;
    const bool is_after = account.is_in_doubt && found == account.after;
    if (!is_before && !is_after) {
      journal_.Add("wrong documents: " + Difference(found, account.documents));
      ::_exit(6);
    }
    if (account.is_in_doubt) journal_.Add(is_after ? "did" : "not");
    is_trying_ = false;
    documents_ = found;
    version_ = account.last_version;
  }

  static int VersionOf(const std::string& content) {
    constexpr char kAttribute[] = "version=\"";
    const std::size_t at = content.find(kAttribute);
    return at == std::string::npos
               ? -1
               : std::stoi(content.substr(at + sizeof(kAttribute) - 1));
  }

  static std::string Difference(const XdbDocuments& found,
                                const XdbDocuments& wanted) {
    std::string text;
    for (const auto& [name, version] : wanted) {
      const auto at = found.find(name);
      if (at == found.end() || at->second != version)
        text += " " + name + "/" + std::to_string(version) +
                (at == found.end() ? " is missing"
                                   : " is " + std::to_string(at->second));
    }
    for (const auto& [name, version] : found)
      if (wanted.count(name) == 0)
        text += " " + name + "/" + std::to_string(version) + " is too many";
    return text;
  }

  XdbChange Choose(const XdbDocuments& documents) {
    constexpr std::size_t kMostDocuments = 80;
    XdbChange change{"put", name_ + "-" + std::to_string(++version_), "-",
                     version_};
    if (documents.empty()) return change;
    auto at = documents.begin();
    std::advance(at, random_() % documents.size());
    const auto choice = random_() % 10;
    if (choice < 3)
      change = {"replace", at->first, "-", version_};
    else if (choice < 5)
      change = {"rename", at->first, change.name, version_};
    else if (choice < 6 || documents.size() > kMostDocuments)
      change = {"delete", at->first, "-", 0};
    return change;
  }

  void Apply(const XdbChange& change, kiv::xdb::Transaction* transaction) {
    if (change.kind == "put")
      container_->Put(change.name, XdbContent(name_, change.version),
                      transaction);
    else if (change.kind == "replace")
      container_->Replace(change.name, XdbContent(name_, change.version),
                          transaction);
    else if (change.kind == "rename")
      container_->Rename(change.name, change.new_name, transaction);
    else
      container_->Delete(change.name, transaction);
  }

  void Change() {
    constexpr int kBetweenCheckpoints = 12;
    if (random_() % kBetweenCheckpoints == 0) environment_->Checkpoint();
    XdbDocuments after = documents_;
    std::vector<XdbChange> changes;
    const std::size_t count = random_() % 3 == 0 ? 3 : 1;
    while (changes.size() < count) {
      changes.push_back(Choose(after));
      changes.back().ApplyTo(after);
    }
    journal_.AddTry(changes);
    is_trying_ = true;
    const bool is_done = Try(changes);
    is_trying_ = false;
    journal_.Add(is_done ? "did" : "not");
    if (is_done) documents_ = after;
  }

  // False when it was given up for others.
  bool Try(const std::vector<XdbChange>& changes) {
    try {
      if (changes.size() == 1) {
        Apply(changes.front(), nullptr);
        return true;
      }
      const auto transaction = environment_->Begin();
      for (const XdbChange& change : changes) Apply(change, transaction.get());
      transaction->Commit();
      return true;
    } catch (const StoreError& error) {
      if (error.failure() == Failure::Deadlock ||
          error.failure() == Failure::BusyTooLong)
        return false;
      throw;
    }
  }

  const std::string home_;
  const std::string path_;
  const XdbJournal journal_;
  const std::string name_;
  std::mt19937 random_;
  std::shared_ptr<Environment> environment_;
  std::shared_ptr<Container> container_;
  XdbDocuments documents_;
  int version_ = 0;
  bool is_trying_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  kiv::GlobalInit();
  Worker(argv[1], argv[2], argv[3], static_cast<unsigned>(std::stoul(argv[4])))
      .Run();
}
