#include "xdb/container/container_core.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <thread>
#include <utility>

#include "port/native_path.h"
#include "util/cp936.h"
#include "util/log_entry.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/environment_impl.h"
#include "xdb/container/environment_settings.h"
#include "xdb/tree/index_values.h"
#include "xdb/tree/tree_error.h"

namespace kiv::xdb {
namespace {

// More is not kept for the end of a transaction.
constexpr std::size_t kMostChanges = 200'000;

constexpr int kMostTries = 20;

void CloseEnvironment(DbEnv* environment) {
  environment->close(0);
  delete environment;
}

bool Offers(DbEnv& environment, u_int32_t flag) {
  u_int32_t flags = 0;
  CheckCode(environment.get_open_flags(&flags), "ask", "the environment");
  return (flags & flag) != 0;
}

// Of Berkeley DB's errors only the text tells it from other damage.
bool HasPartOfAPage(const StoreError& error) {
  return error.code() == EINVAL &&
         std::string_view(error.what()).find("BDB3037") !=
             std::string_view::npos;
}

void WaitForWriter() {
  std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

// Those that met go on at different times.
void WaitBeforeTry(int tries) {
  const auto spread = std::hash<std::thread::id>()(std::this_thread::get_id());
  std::this_thread::sleep_for(std::chrono::microseconds(
      200 * tries * static_cast<int>(1 + spread % 7)));
}

}  // namespace

ContainerCore::ContainerCore(std::shared_ptr<Environment> environment,
                             std::string file_name,
                             const ContainerSwitches& switches)
    : environment_(std::move(environment)),
      file_name_(std::move(file_name)),
      private_(nullptr, CloseEnvironment) {
  ContainerSwitches offered = switches;
  if (environment_ != nullptr) {
    handle_ = EnvironmentHandle(*environment_);
    offered.thread &= Offers(*handle_, DB_THREAD);
    offered.transactional &= Offers(*handle_, DB_INIT_TXN);
    offered.encrypted &= environment_->IsEncrypted();
  } else {
    OpenPrivate();
    offered = {.create = switches.create, .wait = switches.wait};
  }
  is_transactional_ = offered.transactional;
  OpenTables(offered);
  dictionary_ = std::make_unique<StoredDictionary>(tables_->dictionary);
}

// The system lets a file grow in steps of its own, which are smaller than our
// pages: whoever opens it while another process writes may see part of one.
void ContainerCore::OpenTables(const ContainerSwitches& switches) {
  for (int tries = 1;; ++tries) {
    tables_ = std::make_unique<ContainerTables>(*handle_, file_name_,
                                                is_transactional_);
    try {
      return tables_->Open(port::SystemPath(file_name_), switches);
    } catch (const StoreError& error) {
      if (tries == kMostTries || !HasPartOfAPage(error)) throw;
    }
    (switches.wait != nullptr ? switches.wait : WaitForWriter)();
  }
}

void ContainerCore::OpenPrivate() {
  private_.reset(new DbEnv(DB_CXX_NO_EXCEPTIONS));
  handle_ = private_.get();
  KeepErrorTexts(*handle_);
  CheckCode(handle_->open(nullptr, DB_CREATE | DB_INIT_MPOOL | DB_PRIVATE, 0),
            "open", file_name_);
}

std::string ContainerCore::PrivatePath() const {
  return private_ == nullptr ? "" : port::SystemPath(file_name_);
}

std::unique_lock<std::recursive_mutex> ContainerCore::Lock() {
  if (is_transactional_) return {};
  return std::unique_lock(mutex_);
}

Scope ContainerCore::ScopeOf(Transaction* given) {
  // In a container without transactions everything happens at once.
  if (given == nullptr || !is_transactional_) return {};
  Scope scope;
  scope.transaction = TransactionHandle(given);
  if (given->impl().IsInner())
    throw StoreError(Failure::Other,
                     "a container cannot be changed in an inner transaction");
  auto& part = given->impl().parts()[this];
  if (part == nullptr)
    part = std::make_unique<ContainerPart>(shared_from_this());
  scope.part = static_cast<ContainerPart*>(part.get());
  return scope;
}

void ContainerCore::Guarded(const std::string& document,
                            const std::function<void()>& call) {
  try {
    call();
  } catch (const TreeError& error) {
    std::string text = "'" + Shown(file_name_) + "' is damaged: ";
    if (!document.empty())
      text += "document '" + Shown(Utf8ToCp936(document)) + "': ";
    throw StoreError(Failure::BadFormat,
                     text + error.what() + "; salvage what can be read");
  }
}

void ContainerCore::Read(Transaction* given, const std::string& document,
                         const std::function<void(Scope&)>& read) {
  const auto lock = Lock();
  Guarded(document, [&] {
    Scope scope = ScopeOf(given);
    read(scope);
  });
}

void ContainerCore::Change(Transaction* given,
                           const std::function<void(Scope&)>& change) {
  const auto lock = Lock();
  const auto run = [&](Transaction* transaction) {
    Guarded({}, [&] {
      Scope scope = ScopeOf(transaction);
      change(scope);
    });
  };
  if (given != nullptr || !is_transactional_) return run(given);
  for (int tries = 1;; ++tries) {
    std::shared_ptr<Transaction> own = environment_->Begin();
    try {
      run(own.get());
      return own->Commit();
    } catch (const StoreError& error) {
      // Aborted, without a word about an environment that cannot even do that.
      own.reset();
      if (error.failure() != Failure::Deadlock || tries == kMostTries) throw;
    }
    WaitBeforeTry(tries);
  }
}

void ContainerCore::RefreshDictionary(const Scope& scope) {
  dictionary_->Refresh(scope.transaction, scope.part == nullptr
                                              ? nullptr
                                              : &scope.part->additions());
}

void ContainerCore::AddIndexChanges(const Scope& scope, DocumentId id,
                                    std::string_view tree, bool is_added,
                                    IndexChanges& changes) {
  PendingAdditions* const mine =
      scope.part == nullptr ? nullptr : &scope.part->additions();
  std::string entry;
  // What comes twice, when the dictionary was not fresh, counts once.
  WithDictionary(scope, [&](const auto& dictionary) {
    EachIndexValue(
        tree, *dictionary,
        {.value =
             [&](PathId path, std::string_view value, NodeId node) {
               entry.clear();
               AppendEntry(entry, path, value, id, node);
               changes.Add(entry, is_added);
             },
         .trait =
             [&](PathId path, PathTrait trait) {
               if (is_added && (dictionary->path(path).traits & trait) == 0)
                 dictionary_->AddTraits(scope.transaction, mine, path, trait);
             }});
  });
}

void ContainerCore::ApplyIndexChanges(const Scope& scope,
                                      IndexChanges& changes) {
  if (scope.part != nullptr) return scope.part->Add(scope.transaction, changes);
  changes.Sort();
  ValueIndex(tables_->index).Apply(nullptr, changes);
}

void ContainerCore::FlushIndex(const Scope& scope) {
  if (scope.part != nullptr) scope.part->Flush(scope.transaction);
}

ContainerPart::~ContainerPart() { core_->dictionary().Dropped(additions_); }

void ContainerPart::BeforeCommit(DbTxn* handle) {
  if (is_doomed_)
    throw StoreError(Failure::Other,
                     "a change of '" + Shown(core_->file_name()) +
                         "' failed in this transaction; abort it");
  core_->Guarded({}, [&] { Flush(handle); });
}

void ContainerPart::Committed() { core_->dictionary().Committed(additions_); }

void ContainerPart::Add(DbTxn* handle, const IndexChanges& changes) {
  changes_.Append(changes);
  if (changes_.size() > kMostChanges) Flush(handle);
}

void ContainerPart::Flush(DbTxn* handle) {
  if (changes_.IsEmpty()) return;
  // Half of them in the table is as bad as none.
  is_doomed_ = true;
  changes_.Sort();
  ValueIndex(core_->tables().index).Apply(handle, changes_);
  changes_.Clear();
  is_doomed_ = false;
}

}  // namespace kiv::xdb
