#include <algorithm>

#include "kiv/file_system.h"
#include "kiv/file_system_path.h"
#include "kiv/strings.h"
#include "kiv/xdb_container.h"
#include "kiv/xdb_document.h"
#include "kiv/xdb_manager.h"
#include "kiv/xdb_query.h"
#include "kiv/xdb_transaction.h"
#include "port/file.h"
#include "util/log_entry.h"
#include "xdb/container/container.h"
#include "xdb/container/store_error.h"
#include "xdb/container_name.h"
#include "xdb/input_stream.h"
#include "xdb/session.h"
#include "xdb/xdb_messages.h"
#include "xdb/xdb_text.h"

namespace kiv {

using xdb::Failure;
using xdb::StoreError;
using xdb::Try;

namespace {

// Folders of containers are nested by hand; a deeper one is a mistake.
constexpr int kMaxFolderDepth = 16;

bool IsEmpty(const char* text) { return text == nullptr || *text == '\0'; }

void LogBadName(const char* operation, const char* argument, const char* name) {
  xdb::LogProblem(
      xdb::message::BadContainerName(operation, argument, Shown(name)));
}

// `below` is where the folder lies in the environment's, "" for that itself.
void CollectContainers(const FileSystemPath& folder,
                       const FileSystemPath& below, int depth,
                       std::vector<std::string>& names) {
  for (Directory_Iterator entry(folder), end; entry != end; ++entry) {
    const FileSystemPath inside =
        below / FileSystemPath(entry->leaf(), FileSystemPath::native);
    port::FileAttributes attributes;
    if (!port::GetEntryAttributesA(entry->native_file_string(), attributes))
      continue;
    if (attributes.is_directory) {
      if (depth < kMaxFolderDepth)
        CollectContainers(*entry, inside, depth + 1, names);
      continue;
    }
    if ("." + entry->leaf_ext() != xdb::kContainerSuffix) continue;
    const std::string file = inside.native_file_string();
    const std::string name = xdb::ContainerOfFile(file);
    std::string again;
    // A file that no name leads to is not ours.
    if (!name.empty() && xdb::FileOfContainer(name, again) && again == file)
      names.push_back(name);
  }
}

}  // namespace

bool XDbManager::CheckDbName(const char* name, std::string& fileName) {
  return !IsEmpty(name) && xdb::FileOfContainer(name, fileName);
}

std::string XDbManager::GetContainerPath(const char* name) const {
  if (IsEmpty(name)) return "";
  std::string file;
  if (!CheckDbName(name, file)) {
    LogBadName("GetContainerPath", "db_name", name);
    return "";
  }
  const FileSystemPath path(file, FileSystemPath::native);
  if (path.has_root_directory()) return file;
  return (FileSystemPath(GetEnvPath(), FileSystemPath::native) / path)
      .native_file_string();
}

bool XDbManager::IsExistContainer(const char* name) const {
  const std::string path = GetContainerPath(name);
  return !path.empty() &&
         FileSystem::is_file(FileSystemPath(path, FileSystemPath::native));
}

bool XDbManager::OpenContainer(const char* name, XDbContainer& out,
                               long flags) {
  if (session_ == nullptr || IsEmpty(name)) return false;
  std::string file;
  if (!CheckDbName(name, file)) {
    LogBadName("OpenContainer", "db_name", name);
    return false;
  }
  return Try("XDbManager::OpenContainer exception: ", [&] {
    const auto has = [flags](long bit) { return (flags & bit) != 0; };
    xdb::ContainerSwitches switches;
    switches.create = has(CREATE);
    switches.encrypted = has(ENCRYPT) && IsEnableEncrypt();
    switches.thread = has(THREAD) && IsEnableThread();
    switches.transactional = has(TRANSACTION) && IsEnableTransaction();
    xdb::OpenedContainer opened;
    opened.session = session_;
    opened.container =
        xdb::OpenContainer(session_->environment(), file, switches);
    opened.is_transactional = switches.transactional;
    if (!out.Construct(&opened, this)) return false;
    session_->AddContainer(opened.container);
    return true;
  });
}

bool XDbManager::CreateContainer(const char* name, XDbContainer& out,
                                 long flags) {
  return OpenContainer(name, out, flags | CREATE);
}

bool XDbManager::RemoveContainer(const char* name) {
  // A name that has no file names no container: removing nothing is success.
  if (IsEmpty(name) || !IsExistContainer(name)) return true;
  std::string file;
  if (!CheckDbName(name, file)) {
    LogBadName("RemoveContainer", "db_name", name);
    return false;
  }
  return Try("XDbManager::RemoveContainer exception: ", [&] {
    if (session_ == nullptr)
      throw StoreError(Failure::Other, "the manager is closed");
    session_->ReleaseContainer(file);
    xdb::RemoveContainer(session_->environment(), file);
    return true;
  });
}

bool XDbManager::RenameContainer(const char* oldName, const char* newName) {
  if (IsEmpty(oldName) || IsEmpty(newName)) return false;
  std::string old_file;
  if (!CheckDbName(oldName, old_file)) {
    LogBadName("RenameContainer", "old_name", oldName);
    return false;
  }
  std::string new_file;
  if (!CheckDbName(newName, new_file)) {
    LogBadName("RenameContainer", "new_name", newName);
    return false;
  }
  return Try("XDbManager::RenameContainer exception: ", [&] {
    if (session_ == nullptr)
      throw StoreError(Failure::Other, "the manager is closed");
    // The target is removed for a container that takes its place, not for a
    // slip of the pen.
    if (!IsExistContainer(oldName))
      throw StoreError(Failure::NotFound,
                       "there is no container '" + Shown(oldName) + "'");
    if (GetContainerPath(oldName) == GetContainerPath(newName)) return true;
    session_->ReleaseContainer(old_file);
    session_->ReleaseContainer(new_file);
    xdb::RenameContainer(session_->environment(), old_file, new_file,
                         IsExistContainer(newName));
    return true;
  });
}

bool XDbManager::CreateUpdateContext(XDbUpdateContext& out) const {
  if (session_ == nullptr) return false;
  const xdb::UpdateContext context;
  return out.Construct(&context);
}

bool XDbManager::CreateTransaction(XDbTransaction& out) const {
  if (environment_ == nullptr) return false;
  return Try("XDbManager::CreateTransaction exception: ", [&] {
    const std::shared_ptr<xdb::Transaction> begun = environment_->Begin();
    return out.Construct(&begun, environment_);
  });
}

bool XDbManager::CreateQueryContext(XDbQueryContext& out) const {
  if (session_ == nullptr) return false;
  const xdb::QueryContext context;
  return out.Construct(&context);
}

bool XDbManager::CreateDocument(XDbDocument& out) const {
  return out.Construct(session_.get());
}

bool XDbManager::CreateLocalFileInputStream(const char* fileName,
                                            XDbInputStream& out) const {
  if (session_ == nullptr || IsEmpty(fileName)) return false;
  return Try("XDbManager::CreateLocalFileInputStream exception: ", [&] {
    out.Set(xdb::OpenLocalFile(FileSystemPath(fileName, FileSystemPath::native)
                                   .native_file_string())
                .release());
    return true;
  });
}

bool XDbManager::GetContainerNames(std::vector<std::string>& names) const {
  if (session_ == nullptr) return false;
  return Try("XDbManager::GetContainerNames exception: ", [&] {
    std::vector<std::string> found;
    CollectContainers(FileSystemPath(GetEnvPath(), FileSystemPath::native), {},
                      0, found);
    std::sort(found.begin(), found.end());
    names = std::move(found);
    return true;
  });
}

bool XDbManager::Salvage(
    const char* name,
    const std::function<void(const std::string& document,
                             const std::string& content)>& each) {
  if (session_ == nullptr || IsEmpty(name)) return false;
  return Try("XDbManager::Salvage exception: ", [&] {
    if (!IsExistContainer(name))
      throw StoreError(Failure::NotFound,
                       "there is no container '" + Shown(name) + "'");
    // A damaged page ends the environment that meets it: it is read outside of
    // ours, once what lies in the shared cache is in the file. What is
    // encrypted can be read inside alone.
    const bool is_encrypted = IsEnableEncrypt();
    if (environment_ != nullptr && !is_encrypted && IsEnableTransaction())
      environment_->Checkpoint();
    std::string file = GetContainerPath(name);
    if (is_encrypted) CheckDbName(name, file);
    xdb::ContainerSwitches switches;
    switches.encrypted = is_encrypted;
    const auto give = [&](const std::string& document,
                          const std::string& content) {
      each(xdb::LocalText(document), content);
    };
    std::shared_ptr<xdb::Container> container;
    try {
      container = xdb::OpenContainer(is_encrypted ? environment_ : nullptr,
                                     file, switches);
    } catch (const StoreError& error) {
      if (is_encrypted || error.failure() == Failure::NewerFormat) throw;
    }
    // Of one that cannot be opened there are still the pages.
    if (container != nullptr)
      container->Salvage(give);
    else
      xdb::SalvageContainerFile(file, give);
    return true;
  });
}

}  // namespace kiv
