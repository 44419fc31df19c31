// rmt_set_remote_server
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "kiv/dom.h"
#include "kiv/file_system.h"
#include "port/file.h"
#include "port/lock_file.h"
#include "port/private_file.h"
#include "remote/client_file.h"
#include "remote/failure.h"
#include "util/cp936.h"
#include "util/log_entry.h"
#include "xml/document_path.h"
#include "xml/dom_save.h"

namespace kiv::remote {
namespace {

constexpr char kFunction[] = "rmt_set_remote_server";
constexpr char kUnreadableFile[] = "../conf/client.xml.unreadable";
constexpr char kLockFile[] = "../conf/client.xml.lock";
constexpr char kRoot[] = "config";
constexpr int kPrivateMode = 0600;
constexpr auto kLockPatience = std::chrono::seconds(10);

bool Fail(const std::string& text) {
  LogFailure(kFunction, RMT_NOT_WRITTEN, text);
  return false;
}

bool FailFor(const char* file, const char* what) {
  return Fail(std::string("'") + file + "' cannot be " + what + ": " +
              port::ErrorText(port::LastError()));
}

template <std::size_t N>
bool EndsWithin(const char (&field)[N]) {
  return std::memchr(field, 0, N) != nullptr;
}

// A character that was cut would come back as another one.
bool PutText(DomElement& element, const char* name, const char* text) {
  return IsCp936(text) && element.SetAttribute(name, text);
}

bool PutRecord(DomElement& element, const RemoteServiceInfo& info) {
  return PutText(element, "ip", info.ip) &&
         element.SetAttribute("port", info.port) &&
         PutText(element, "svc", info.svc) &&
         PutText(element, "project_key", info.project_key) &&
         PutText(element, "access_code", info.access_code) &&
         element.SetAttribute("engine_version", info.engine_version) &&
         element.SetAttribute("document_version", info.document_version);
}

// One change at a time: another thread's or program's would be lost. The lock
// lies beside the file, which every change replaces.
class ChangeLock {
 public:
  bool Take() {
    mutex_.lock();
    is_taken_ = true;
    const auto path = NativeDocumentPath(kLockFile);
    if (!path) return false;
    file_ = port::LockFile::Open(*path, true);
    if (file_ == nullptr) return false;
    const auto end = std::chrono::steady_clock::now() + kLockPatience;
    while (!file_->TryLock(0)) {
      if (std::chrono::steady_clock::now() >= end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
  }
  ChangeLock() = default;
  ~ChangeLock() {
    file_.reset();
    if (is_taken_) mutex_.unlock();
  }
  ChangeLock(const ChangeLock&) = delete;
  ChangeLock& operator=(const ChangeLock&) = delete;

 private:
  static inline std::mutex mutex_;
  bool is_taken_ = false;
  std::unique_ptr<port::LockFile> file_;
};

// The file is about to be replaced by one that has nothing of it. A failure is
// logged.
bool KeepUnreadable(const std::string& path) {
  port::FileAttributes attributes;
  if (!port::GetFileAttributesA(path, attributes))
    return port::IsNotFound(port::LastError()) || FailFor(kClientFile, "read");
  if (attributes.is_directory)
    return Fail(std::string("'") + kClientFile + "' is a folder");
  if (attributes.size_bytes == 0) return true;
  const auto kept = NativeDocumentPath(kUnreadableFile);
  if (!kept) return FailFor(kUnreadableFile, "written");
  port::DeleteFileA(*kept);
  if (!port::CopyFileA(path, *kept) || !port::MakeFilePrivate(*kept))
    return FailFor(kUnreadableFile, "written");
  LogPlain("rmt", std::string("'") + kClientFile + "' was kept as '" +
                      kUnreadableFile + "' because it cannot be read");
  return true;
}

// The document to change: that of the file, or a new one.
bool OpenDocument(DomParser& parser, const std::string& path,
                  DomDocument& document) {
  port::FileAttributes attributes;
  if (port::GetFileAttributesA(path, attributes) &&
      parser.parseURI(kClientFile, document))
    return true;
  DomElement root;
  return KeepUnreadable(path) && DomDocument::CreateDocument(document) &&
         document.CreateDocumentElement(kRoot, root);
}

bool PutService(DomDocument& document, const char* name,
                const RemoteServiceInfo& info) {
  DomElement root;
  DomElement services;
  DomElement service;
  if (!document.GetDocumentElement(root) ||
      !root.GetOrCreateElement(kServices, services))
    return false;
  if (!services.GetFirstChildElement(kService, service, kName, name) &&
      !(services.CreateElement(kService, service) &&
        PutText(service, kName, name)))
    return false;
  return PutRecord(service, info);
}

bool Change(const char* name, const RemoteServiceInfo& info) {
  const auto path = NativeDocumentPath(kClientFile);
  if (!path) return Fail(std::string("'") + kClientFile + "' is no path here");
  // A folder that cannot be made shows itself in the next step.
  FileSystem::create_directories(
      FileSystemPath(*path, FileSystemPath::native).branch_path());
  ChangeLock lock;
  if (!lock.Take()) return FailFor(kLockFile, "locked");
  DomParser parser;
  DomDocument document;
  if (!OpenDocument(parser, *path, document)) return false;
  if (!PutService(document, name, info))
    return Fail("a text of " + ShownService(name) +
                " cannot be written in XML, or is no text of code page 936");
  // A file that is there keeps its mode when it is replaced.
  port::FileAttributes attributes;
  if (port::GetFileAttributesA(*path, attributes) &&
      !port::MakeFilePrivate(*path))
    return FailFor(kClientFile, "made private");
  std::string reason = "it has no text";
  if (!SaveDocument(document, kClientFile, kPrivateMode, &reason)) {
    // Logged where it is written.
    SetFailure(RMT_NOT_WRITTEN, std::string("'") + kClientFile +
                                    "' cannot be written: " + reason);
    return false;
  }
  SetDone();
  return true;
}

}  // namespace

bool EndsWithinItsFields(const RemoteServiceInfo& info) {
  return EndsWithin(info.ip) && EndsWithin(info.svc) &&
         EndsWithin(info.project_key) && EndsWithin(info.access_code);
}

}  // namespace kiv::remote

using namespace kiv::remote;  // NOLINT(google-build-using-namespace)

bool rmt_set_remote_server(const char* name, const RemoteServiceInfo* record) {
  if (name == nullptr || *name == '\0' || record == nullptr ||
      !EndsWithinItsFields(*record)) {
    SetFailure(RMT_BAD_ARGUMENT,
               "there is no name, no record, or a text in it has no end");
    return false;
  }
  return IsStarted(kFunction, RMT_NOT_WRITTEN) && Change(name, *record);
}
