// kiv remote list, show, set
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "kiv/dom.h"
#include "local_text.h"
#include "remote_command.h"
#include "secret.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

std::string Shown(const std::string& local) { return Printable(Utf8(local)); }

// The elements of client.xml. The parser owns them.
class Services {
 public:
  bool Read() {
    kiv::DomDocument document;
    kiv::DomElement root;
    kiv::DomElement services;
    if (!parser_.parseURI(rmt_get_config_path(), document)) return false;
    if (document.GetDocumentElement(root) &&
        root.GetFirstChildElement("services", services))
      services.ChildElementList("service", list_);
    return true;
  }
  std::vector<kiv::DomElement> All() const {
    std::vector<kiv::DomElement> all(list_.GetLength());
    for (unsigned i = 0; i < list_.GetLength(); ++i) list_.item(i, all[i]);
    return all;
  }
  std::string Reason() const {
    const bool is_there = std::filesystem::exists(rmt_get_config_path());
    return std::string(rmt_get_config_path()) +
           (is_there ? ": " + Utf8(parser_.LastFault().reason)
                     : ": there is no such file; kiv remote set makes one");
  }

 private:
  kiv::DomParser parser_;
  kiv::DomNodeList2 list_;
};

std::string Address(const kiv::DomElement& service) {
  return Shown(service.Attribute("ip")) + ':' +
         std::to_string(service.AttributeInt("port", 0));
}

std::string Versions(const kiv::DomElement& service) {
  const int engine = service.AttributeInt("engine_version", 0);
  const int documents = service.AttributeInt("document_version", 0);
  return engine == 0 && documents == 0
             ? "any"
             : std::to_string(engine) + "." + std::to_string(documents);
}

std::string Timeout(const kiv::DomElement& service) {
  const int seconds = service.AttributeInt("timeout", 0);
  return std::to_string(seconds > 0 ? seconds : 10) + " s";
}

std::string Endpoint(const kiv::DomElement& service) {
  const std::string endpoint = service.Attribute("endpoint");
  return endpoint.empty() ? "tcp" : Shown(endpoint);
}

// A text of the command line into its field.
template <std::size_t N>
bool Put(const std::string& utf8, const char* option, char (&field)[N]) {
  std::string local;
  if (!ToGb2312(utf8, local)) {
    RemoteFault(std::string(option) + kNotLocal);
    return false;
  }
  if (local.size() >= N) {
    RemoteFault(std::string(option) + " is longer than " +
                std::to_string(N - 1) + " bytes");
    return false;
  }
  std::memcpy(field, local.c_str(), local.size() + 1);
  return true;
}

bool PutAccessCode(const RemoteOptions& options, RemoteServiceInfo& info) {
  std::string code;
  std::string reason;
  if (options.access_code_file.empty() && !options.asks_access_code)
    return true;
  const bool is_there =
      options.asks_access_code
          ? AskSecret(kAccessCode, "Access code: ", code, reason)
          : ReadSecretFile(kAccessCode, options.access_code_file, code, reason);
  if (!is_there) {
    RemoteFault(reason);
    return false;
  }
  return Put(code, "the access code", info.access_code);
}

bool PutOptions(const RemoteOptions& options, RemoteServiceInfo& info) {
  if ((options.ip && !Put(*options.ip, "--ip", info.ip)) ||
      (options.svc && !Put(*options.svc, "--svc", info.svc)) ||
      (options.project_key &&
       !Put(*options.project_key, "--project-key", info.project_key)) ||
      !PutAccessCode(options, info))
    return false;
  info.port = options.port.value_or(info.port);
  info.engine_version = options.engine_version.value_or(info.engine_version);
  info.document_version =
      options.document_version.value_or(info.document_version);
  return true;
}

}  // namespace

bool ReadService(RemoteOptions& options, RemoteServiceInfo& info) {
  const std::string name = ToLocal(options.service);
  if (!rmt_get_remote_server(name.c_str(), &info)) return false;
  Services services;
  if (!services.Read()) return true;
  for (const kiv::DomElement& service : services.All()) {
    if (service.Attribute("name") != name) continue;
    if (options.endpoint.empty())
      options.endpoint = Utf8(service.Attribute("endpoint"));
    const int seconds = service.AttributeInt("timeout", 0);
    if (!options.timeout_seconds && seconds > 0)
      options.timeout_seconds = seconds;
    break;
  }
  return true;
}

int ListServices(const RemoteOptions& /*options*/) {
  Services services;
  if (!services.Read()) return RemoteFault(services.Reason());
  std::vector<std::vector<Cell>> rows;
  for (const kiv::DomElement& service : services.All())
    rows.push_back({{Shown(service.Attribute("name"))},
                    {Address(service)},
                    {Shown(service.Attribute("svc"))},
                    {Shown(service.Attribute("project_key"))},
                    {Versions(service)},
                    {Endpoint(service)},
                    {Timeout(service), Color::Plain, true}});
  std::cout << Table({"service", "address", "identity", "project", "version",
                      "endpoint", "time-out"},
                     rows);
  return 0;
}

int ShowService(const RemoteOptions& options) {
  Services services;
  if (!services.Read()) return RemoteFault(services.Reason());
  const std::string name = ToLocal(options.service);
  for (const kiv::DomElement& service : services.All()) {
    if (service.Attribute("name") != name) continue;
    const bool has_code = !service.Attribute("access_code").empty();
    std::cout << "name          " << Printable(options.service)
              << "\naddress       " << Address(service) << "\nidentity      "
              << Shown(service.Attribute("svc")) << "\nproject       "
              << Shown(service.Attribute("project_key")) << "\naccess code   "
              << (has_code ? "set" : "not set") << "\nversion       "
              << Versions(service) << "\nendpoint      " << Endpoint(service)
              << "\ntime-out      " << Timeout(service) << '\n';
    // What calls would say.
    RemoteServiceInfo info{};
    return rmt_get_remote_server(name.c_str(), &info)
               ? 0
               : RemoteFault(RemoteReason());
  }
  return RemoteFault(std::string(rmt_get_config_path()) +
                     ": there is no service '" + options.service +
                     "'; kiv remote list shows all");
}

int SetService(const RemoteOptions& options) {
  std::string name;
  if (!ToGb2312(options.service, name) || name.empty())
    return RemoteFault("'" + options.service + "' cannot name a service");
  RemoteServiceInfo info{};
  Services services;
  if (std::filesystem::exists(rmt_get_config_path())) {
    // A slip must not replace a file that only needs mending.
    if (!services.Read()) return RemoteFault(services.Reason());
    for (const kiv::DomElement& service : services.All())
      if (service.Attribute("name") == name &&
          !rmt_get_remote_server(name.c_str(), &info))
        return RemoteFault(RemoteReason());
  }
  if (!PutOptions(options, info)) return 1;
  if (info.svc[0] == '\0')
    return RemoteFault("'" + options.service +
                       "' has no identity yet: --svc says it");
  if (!rmt_set_remote_server(name.c_str(), &info))
    return RemoteFault(RemoteReason());
  return 0;
}

}  // namespace kiv_tool
