#include "remote/client_file.h"

#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include "kiv/dom.h"
#include "kiv/file_system.h"
#include "kiv/parser/parser.h"
#include "port/file.h"
#include "port/lock_file.h"
#include "port/private_file.h"
#include "remote/failure.h"
#include "util/log_entry.h"
#include "xml/document_path.h"
#include "xml/dom_save.h"

namespace kiv::remote {
namespace {

constexpr char kClientFile[] = "../conf/client.xml";
constexpr char kUnreadableFile[] = "../conf/client.xml.unreadable";
constexpr char kLockFile[] = "../conf/client.xml.lock";
constexpr char kRoot[] = "config";
constexpr char kServices[] = "services";
constexpr char kService[] = "service";
constexpr char kName[] = "name";
constexpr int kPrivateMode = 0600;
constexpr int kMaxTimeoutSeconds = 24 * 60 * 60;
constexpr auto kLockPatience = std::chrono::seconds(10);

bool IsEmpty(const char* text) { return text == nullptr || *text == '\0'; }

std::string ShownName(const char* name) {
  return std::string("service '") + Shown(name) + "'";
}

bool FindService(const DomDocument& document, const char* name,
                 DomElement& out) {
  DomElement root;
  DomElement services;
  return document.GetDocumentElement(root) &&
         root.GetFirstChildElement(kServices, services) &&
         services.GetFirstChildElement(kService, out, kName, name);
}

// A text attribute into its field.
template <std::size_t N>
bool TakeText(const DomElement& element, const char* name, char (&field)[N]) {
  std::string value;
  element.Attribute(name, value);
  if (value.size() >= N) return false;
  std::memcpy(field, value.c_str(), value.size() + 1);
  return true;
}

// Why the record is not good; empty when it is.
std::string TakeRecord(const DomElement& element, RemoteServiceInfo& info) {
  for (const char* required : {"ip", "svc"})
    if (!element.HasAttribute(required))
      return std::string("has no attribute '") + required + "'";
  const char* too_long = nullptr;
  if (!TakeText(element, "ip", info.ip)) too_long = "ip";
  if (!TakeText(element, "svc", info.svc)) too_long = "svc";
  if (!TakeText(element, "project_key", info.project_key))
    too_long = "project_key";
  if (!TakeText(element, "access_code", info.access_code))
    too_long = "access_code";
  if (too_long != nullptr)
    return std::string("has an attribute '") + too_long + "' that is too long";
  info.port = element.AttributeInt("port", 0);
  info.engine_version = element.AttributeInt("engine_version", 0);
  info.document_version = element.AttributeInt("document_version", 0);
  return "";
}

template <std::size_t N>
bool PutText(DomElement& element, const char* name, const char (&field)[N]) {
  return element.SetAttribute(name, field);
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

template <std::size_t N>
bool EndsWithin(const char (&field)[N]) {
  return std::memchr(field, 0, N) != nullptr;
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

// The file is about to be replaced by one that has nothing of it.
bool KeepUnreadable(const std::string& path) {
  port::FileAttributes attributes;
  if (!port::GetFileAttributesA(path, attributes))
    return port::IsNotFound(port::LastError());
  if (attributes.is_directory) return false;
  if (attributes.size_bytes == 0) return true;
  const auto kept = NativeDocumentPath(kUnreadableFile);
  if (!kept) return false;
  port::DeleteFileA(*kept);
  if (!port::CopyFileA(path, *kept) || !port::MakeFilePrivate(*kept))
    return false;
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
        service.SetAttribute(kName, name)))
    return false;
  return PutRecord(service, info);
}

// Empty when it is done.
std::string Change(const char* name, const RemoteServiceInfo& info) {
  const auto path = NativeDocumentPath(kClientFile);
  if (!path) return std::string("'") + kClientFile + "' is no path here";
  // A folder that cannot be made shows itself in the next step.
  FileSystem::create_directories(
      FileSystemPath(*path, FileSystemPath::native).branch_path());
  ChangeLock lock;
  if (!lock.Take())
    return std::string("'") + kLockFile +
           "' cannot be locked: " + port::ErrorText(port::LastError());
  DomParser parser;
  DomDocument document;
  if (!OpenDocument(parser, *path, document))
    return std::string("'") + kClientFile + "' can be neither read nor kept: " +
           port::ErrorText(port::LastError());
  if (!PutService(document, name, info))
    return "a text of " + ShownName(name) + " cannot be written in XML";
  port::FileAttributes attributes;
  if (port::GetFileAttributesA(*path, attributes) &&
      !port::MakeFilePrivate(*path))
    return std::string("'") + kClientFile +
           "' cannot be made private: " + port::ErrorText(port::LastError());
  if (!SaveDocument(document, kClientFile, kPrivateMode))
    return std::string("'") + kClientFile + "' cannot be written";
  return "";
}

}  // namespace

bool ReadService(const char* function, const char* name, ServiceRecord& out) {
  if (IsEmpty(name)) {
    SetFailure(RMT_BAD_ARGUMENT, "there is no service name");
    return false;
  }
  DomParser parser;
  DomDocument document;
  if (!parser.parseURI(kClientFile, document)) {
    // Logged where it is parsed.
    SetFailure(RMT_NO_SERVICE,
               std::string("'") + kClientFile +
                   "' cannot be read: " + Shown(parser.LastFault().reason));
    return false;
  }
  const std::string where = std::string("'") + kClientFile + "': ";
  DomElement element;
  if (!FindService(document, name, element)) {
    LogFailure(function, RMT_NO_SERVICE,
               where + "there is no " + ShownName(name));
    return false;
  }
  ServiceRecord service;
  const std::string fault = TakeRecord(element, service.info);
  if (!fault.empty()) {
    LogFailure(function, RMT_NO_SERVICE, where + ShownName(name) + " " + fault);
    return false;
  }
  element.Attribute("endpoint", service.endpoint);
  const int seconds = element.AttributeInt("timeout", 0);
  service.timeout_ms =
      1000 * (seconds < kMaxTimeoutSeconds ? seconds : kMaxTimeoutSeconds);
  SetDone();
  out = service;
  return true;
}

}  // namespace kiv::remote

using namespace kiv::remote;  // NOLINT(google-build-using-namespace)

const char* rmt_get_config_path(void) { return kClientFile; }

bool rmt_get_remote_server(const char* name, RemoteServiceInfo* record) {
  if (record == nullptr) {
    SetFailure(RMT_BAD_ARGUMENT, "there is no room for the record");
    return false;
  }
  ServiceRecord service;
  if (!ReadService("rmt_get_remote_server", name, service)) return false;
  *record = service.info;
  return true;
}

bool rmt_set_remote_server(const char* name, const RemoteServiceInfo* record) {
  if (IsEmpty(name) || record == nullptr || !EndsWithin(record->ip) ||
      !EndsWithin(record->svc) || !EndsWithin(record->project_key) ||
      !EndsWithin(record->access_code)) {
    SetFailure(RMT_BAD_ARGUMENT,
               "there is no name, no record, or a text in it has no end");
    return false;
  }
  const std::string fault = Change(name, *record);
  if (!fault.empty()) {
    LogFailure("rmt_set_remote_server", RMT_NOT_WRITTEN, fault);
    return false;
  }
  SetDone();
  return true;
}
