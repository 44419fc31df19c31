// Reading ../conf/client.xml
#include "remote/client_file.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <map>
#include <span>
#include <string_view>

#include "kiv/dom_node.h"
#include "remote/failure.h"
#include "util/cp936.h"
#include "util/log_entry.h"
#include "xml/xml_events.h"
#include "xml/xml_guard.h"

namespace kiv::remote {
namespace {

constexpr int kMaxTimeoutSeconds = 24 * 60 * 60;

// Of one element, in the local encoding.
using Attributes = std::map<std::string, std::string, std::less<>>;

// Keeps the attributes of one service: the first of its name in the first list
// of services. A tree of all services would take several times as long.
class ServiceFinder final : public XmlEvents {
 public:
  explicit ServiceFinder(const char* name) : name_utf8_(Cp936ToUtf8(name)) {}

  bool is_found() const { return is_found_; }
  const Attributes& attributes() const { return attributes_; }

 private:
  void StartElement(const XmlName& name, std::span<const XmlNamespace>,
                    std::span<const XmlAttribute> attributes) override {
    ++depth_;
    if (depth_ == 2) is_in_list_ = name.local == kServices && ++lists_ == 1;
    if (depth_ == 3 && is_in_list_ && !is_found_ && name.local == kService &&
        HasName(attributes))
      Keep(attributes);
  }
  void EndElement() override { --depth_; }

  void Declaration(std::string_view, std::string_view, XmlStandalone) override {
  }
  void Text(std::string_view) override {}
  void CData(std::string_view) override {}
  void Comment(std::string_view) override {}
  void ProcessingInstruction(std::string_view, std::string_view) override {}

  bool HasName(std::span<const XmlAttribute> attributes) const {
    return std::any_of(attributes.begin(), attributes.end(),
                       [this](const XmlAttribute& attribute) {
                         return attribute.name.prefix.empty() &&
                                attribute.name.local == kName &&
                                attribute.value == name_utf8_;
                       });
  }
  void Keep(std::span<const XmlAttribute> attributes) {
    is_found_ = true;
    for (const XmlAttribute& attribute : attributes)
      if (attribute.name.prefix.empty())
        attributes_[std::string(attribute.name.local)] =
            Utf8ToCp936(attribute.value);
  }

  const std::string name_utf8_;
  int depth_ = 0;
  int lists_ = 0;
  bool is_in_list_ = false;
  bool is_found_ = false;
  Attributes attributes_;
};

// "" for an attribute that is not there.
const std::string& TextOf(const Attributes& attributes, const char* name) {
  static const std::string empty;
  const auto found = attributes.find(name);
  return found == attributes.end() ? empty : found->second;
}

int NumberOf(const Attributes& attributes, const char* name) {
  return DomNode::ToInt(TextOf(attributes, name).c_str(), 0);
}

// A text into its field.
template <std::size_t N>
bool TakeText(const Attributes& attributes, const char* name,
              char (&field)[N]) {
  const std::string& value = TextOf(attributes, name);
  if (value.size() >= N) return false;
  std::memcpy(field, value.c_str(), value.size() + 1);
  return true;
}

// Why the record is not good; empty when it is.
std::string TakeRecord(const Attributes& attributes, RemoteServiceInfo& info) {
  for (const char* required : {"ip", "svc"})
    if (!attributes.contains(required))
      return std::string("has no attribute '") + required + "'";
  const char* too_long = nullptr;
  if (!TakeText(attributes, "ip", info.ip)) too_long = "ip";
  if (!TakeText(attributes, "svc", info.svc)) too_long = "svc";
  if (!TakeText(attributes, "project_key", info.project_key))
    too_long = "project_key";
  if (!TakeText(attributes, "access_code", info.access_code))
    too_long = "access_code";
  if (too_long != nullptr)
    return std::string("has an attribute '") + too_long + "' that is too long";
  info.port = NumberOf(attributes, "port");
  info.engine_version = NumberOf(attributes, "engine_version");
  info.document_version = NumberOf(attributes, "document_version");
  return "";
}

// Why there is no such service; empty when there is.
std::string FindService(const char* name, ServiceFinder& finder) {
  const std::string file = std::string("'") + kClientFile + "'";
  try {
    ReadXmlFile(kClientFile, finder);
  } catch (const XmlRefusal& refusal) {
    std::string text = file + " cannot be read: ";
    if (refusal.line != 0)
      text += "line " + std::to_string(refusal.line) + ", column " +
              std::to_string(refusal.column) + ": ";
    return text + Shown(refusal.reason);
  }
  return finder.is_found() ? "" : file + ": there is no " + ShownService(name);
}

}  // namespace

bool IsStarted(const char* function, RemoteFailure code) {
  if (PlatformIsUp()) return true;
  LogFailure(function, code, "rmt_global_init was not called");
  return false;
}

std::string ShownService(const char* name) {
  return std::string("service '") + Shown(name) + "'";
}

bool ReadService(const char* function, const char* name, ServiceRecord& out) {
  if (name == nullptr || *name == '\0') {
    SetFailure(RMT_BAD_ARGUMENT, "there is no service name");
    return false;
  }
  if (!IsStarted(function, RMT_NO_SERVICE)) return false;
  ServiceFinder finder(name);
  std::string fault = FindService(name, finder);
  ServiceRecord service;
  if (fault.empty()) {
    fault = TakeRecord(finder.attributes(), service.info);
    if (!fault.empty())
      fault = std::string("'") + kClientFile + "': " + ShownService(name) +
              " " + fault;
  }
  if (!fault.empty()) {
    LogFailure(function, RMT_NO_SERVICE, fault);
    return false;
  }
  service.endpoint = TextOf(finder.attributes(), "endpoint");
  service.timeout_ms = 1000 * std::min(NumberOf(finder.attributes(), "timeout"),
                                       kMaxTimeoutSeconds);
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
