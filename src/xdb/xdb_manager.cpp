#include "kiv/xdb_manager.h"

#include "kiv/file_system.h"
#include "kiv/file_system_path.h"
#include "port/file.h"
#include "util/log_entry.h"
#include "xdb/container/environment.h"
#include "xdb/container/store_error.h"
#include "xdb/environment_opening.h"
#include "xdb/prepared_queries.h"
#include "xdb/session.h"
#include "xdb/xdb_messages.h"
#include "xdb/xdb_text.h"

namespace kiv {

using xdb::Environment;
using xdb::LogProblem;
using xdb::Try;

namespace {

std::string OrEmpty(const char* text) { return text == nullptr ? "" : text; }

std::string NativeText(const std::string& path) {
  return FileSystemPath(path, FileSystemPath::native).native_file_string();
}

// An environment closes when its last user is gone, wherever that is.
void CloseAndDelete(Environment* environment) {
  const std::unique_ptr<Environment> owned(environment);
  try {
    if (!owned->IsOpen()) return;
    const int code = owned->Close();
    if (code == 0) return;
    std::string text =
        "XDbManager::DestructEnv: close failed,return " + std::to_string(code);
    const std::string reason = owned->ErrorText();
    if (!reason.empty()) text += ": " + Shown(reason);
    LogProblem(text);
  } catch (const std::exception&) {
    xdb::LogExceptionAtHand("XDbManager::DestructEnv: close exception:");
  } catch (...) {
    LogProblem("XDbManager::DestructEnv exception: ");
  }
}

class Opening final : public xdb::OpeningEnvironment {
 public:
  Opening(Environment& environment, const std::string& home,
          const xdb::EnvironmentSwitches& switches, const std::string& password)
      : environment_(environment),
        home_(NativeText(home)),
        switches_(switches),
        password_(password) {}

  int Open() override { return environment_.Open(home_, switches_, password_); }
  void Repair(bool is_catastrophic) override {
    environment_.Repair(home_, password_, is_catastrophic);
  }
  std::string ErrorText() const override { return environment_.ErrorText(); }

 private:
  Environment& environment_;
  const std::string home_;
  const xdb::EnvironmentSwitches switches_;
  const std::string& password_;
};

}  // namespace

XDbManager::XDbManager()
    : prepared_(std::make_unique<xdb::PreparedQueries>()) {}

XDbManager::~XDbManager() { DestructEnv(); }

bool XDbManager::Open(const char* home, long flags, const char* key1,
                      const char* key2) {
  const auto has = [flags](long bit) { return (flags & bit) != 0; };
  const bool thread = has(THREAD);
  const bool txn = has(TRANSACTION);
  return _Open(home, thread, has(LOCK) || txn, has(LOG), txn, thread,
               has(EXTERNAL_ACCESS), has(AUTO_OPEN), key1, key2);
}

// NOLINTNEXTLINE(bugprone-reserved-identifier): the published name
bool XDbManager::_Open(const char* home, bool envThread, bool lock, bool log,
                       bool txn, bool mnrThread, bool externalAccess,
                       bool autoOpen, const char* key1, const char* key2) {
  return ConstructEnv(envThread, lock, log, txn, home, key1, key2) &&
         ConstructMnr(mnrThread, externalAccess, autoOpen);
}

void XDbManager::Close() { DestructEnv(); }

bool XDbManager::ConstructEnv(bool thread, bool lock, bool log, bool txn,
                              const char* home, const char* key1,
                              const char* key2) {
  DestructEnv();
  const std::string path = TransPath(home);
  const FileSystemPath folder(path, FileSystemPath::native);
  if (path.empty() || !FileSystem::create_directories(folder) ||
      !FileSystem::is_directory(folder)) {
    LogProblem(xdb::message::FolderNotMade(
        Shown(path.empty() ? OrEmpty(home) : path)));
    return false;
  }
  std::shared_ptr<Environment> environment;
  const std::string given = OrEmpty(home);
  const std::string shown = Shown(given.empty() ? path : given);
  if (!Try(("XDbManager::ConstructEnv exception: '" + shown + "' - ").c_str(),
           [&] {
             environment.reset(new Environment, CloseAndDelete);
             return true;
           }))
    return false;
  const std::string password = OrEmpty(key1) + OrEmpty(key2);
  Opening opening(*environment, path, {thread, lock, log, txn}, password);
  if (!xdb::OpenWithRepair(opening, shown)) return false;
  environment_ = std::move(environment);
  return true;
}

// The storage below asks the environment itself for threads.
bool XDbManager::ConstructMnr(bool /*thread*/, bool externalAccess,
                              bool autoOpen) {
  DestructMnr();
  return Try("XDbManager::ConstructMnr exception: ", [&] {
    session_ =
        std::make_shared<xdb::Session>(environment_, externalAccess, autoOpen);
    return true;
  });
}

void XDbManager::DestructEnv() {
  DestructMnr();
  environment_.reset();
}

void XDbManager::DestructMnr() { session_.reset(); }

bool XDbManager::IsEnableThread() const {
  if (environment_ == nullptr) return false;
  return Try("XDbManager::IsEnableThread exception: ",
             [&] { return environment_->IsThreaded(); });
}

bool XDbManager::IsEnableTransaction() const {
  if (environment_ == nullptr) return false;
  return Try("XDbManager::IsEnableTransaction exception: ",
             [&] { return environment_->IsTransactional(); });
}

bool XDbManager::IsEnableEncrypt() const {
  if (environment_ == nullptr) return false;
  return Try("XDbManager::IsEnableEncrypt exception: ",
             [&] { return environment_->IsEncrypted(); });
}

std::string XDbManager::GetEnvPath() const {
  if (session_ == nullptr || session_->environment() == nullptr) return "";
  return session_->environment()->Home();
}

std::string XDbManager::TransPath(const char* path) {
  const FileSystemPath given(OrEmpty(path), FileSystemPath::native);
  std::string full;
  // The current directory stands for an empty path.
  if (!port::GetFullPathNameA(given.empty() ? "." : given.native_file_string(),
                              full))
    return "";
  return FileSystemPath(full, FileSystemPath::native).string();
}

void* XDbManager::inner_mnr() const { return session_.get(); }

bool XDbManager::Checkpoint() {
  if (environment_ == nullptr) return false;
  return Try("XDbManager::Checkpoint exception: ", [&] {
    environment_->Checkpoint();
    return true;
  });
}

bool XDbManager::GetUnneededLogFiles(std::vector<std::string>& files) const {
  if (environment_ == nullptr) return false;
  return Try("XDbManager::GetUnneededLogFiles exception: ", [&] {
    files = environment_->UnneededLogFiles();
    return true;
  });
}

bool XDbManager::GetStatistics(XDbEnvironmentStatistics& out) const {
  if (environment_ == nullptr) return false;
  return Try("XDbManager::GetStatistics exception: ", [&] {
    out = environment_->Statistics();
    return true;
  });
}

bool XDbManager::Repair(const char* home, const char* key1, const char* key2,
                        bool is_catastrophic) {
  return Try("XDbManager::Repair exception: ", [&] {
    const std::string path = TransPath(home);
    // Nothing is made where there is nothing to repair.
    if (!FileSystem::is_directory(FileSystemPath(path, FileSystemPath::native)))
      throw xdb::StoreError(xdb::Failure::NotFound,
                            "'" + Shown(path) + "' is no folder");
    Environment environment;
    environment.Repair(NativeText(path), OrEmpty(key1) + OrEmpty(key2),
                       is_catastrophic);
    return true;
  });
}

std::string XDbManager::LastError() { return xdb::LastProblem(); }

bool XDbManager::IsWorthRetrying() { return xdb::LastProblemIsWorthRetrying(); }

}  // namespace kiv
