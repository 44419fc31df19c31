// kiv remote ping, version, solutions, projects, call
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "local_text.h"
#include "remote_command.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

constexpr int kUsageError = 2;

// A communicator with one list, for the length of a command.
class Client {
 public:
  Client()
      : communicator_(rmt_create_communicator()),
        list_(rmt_create_proxy_list(communicator_)) {}
  ~Client() {
    rmt_delete_proxy_list(list_);
    rmt_delete_communicator(communicator_);
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Null when it cannot be had; rmt_last_error says why.
  RemoteProxy* Proxy(RemoteOptions options, bool asks_version) const {
    if (list_ == nullptr) return nullptr;
    RemoteServiceInfo info{};
    std::string server;
    std::string identity = ToLocal(options.service);
    if (const std::size_t at = identity.rfind('@'); at != std::string::npos) {
      server = identity.substr(at + 1);
      identity.resize(at);
    } else {
      if (!ReadService(options, info)) return nullptr;
      identity = info.svc;
      server = info.ip;
      if (!server.empty() && info.port > 0 &&
          server.find(':') == std::string::npos)
        server += ':' + std::to_string(info.port);
    }
    if (!asks_version) info.engine_version = info.document_version = 0;
    return rmt_get_proxy2(
        list_, server.c_str(), ToLocal(options.endpoint).c_str(),
        identity.c_str(), info.engine_version, info.document_version,
        static_cast<int>(options.timeout_seconds.value_or(0) * 1'000));
  }

 private:
  RemoteCommunicator* const communicator_;
  RemoteProxyList* const list_;
};

struct Deleter {
  void operator()(char** array) const { rmt_delete_string_array(array); }
  void operator()(RemoteStringValue* value) const {
    rmt_delete_string_value(value);
  }
};
using Array = std::unique_ptr<char*, Deleter>;
using Value = std::unique_ptr<RemoteStringValue, Deleter>;

// For a terminal without what could steer it, else as it is.
std::string Shown(std::string_view local) {
  const std::string text = Utf8(local);
  return IsTerminal() ? ForTerminal(text) : text;
}

std::string Text(const Value& value) {
  return Shown(
      {rmt_string_value_text(value.get()), rmt_string_value_size(value.get())});
}

int Fault(const RemoteOptions& options) {
  return RemoteFault(options.service + ": " + RemoteReason());
}

int Print(const RemoteOptions& options, const Array& array) {
  if (array == nullptr) return Fault(options);
  for (std::size_t i = 0; i < rmt_string_array_count(array.get()); ++i)
    std::cout << Shown(rmt_string_array_item(array.get(), i)) << '\n';
  return 0;
}

// The answer of a service; false is one as well.
int PrintAnswer(const RemoteOptions& options, bool answer,
                const std::string& more = "") {
  if (!answer && rmt_last_error_code() != RMT_ANSWERED_NO)
    return Fault(options);
  std::cout << (answer ? "true" : "false") << '\n' << more;
  return answer ? 0 : 1;
}

int PrintVersion(const RemoteOptions& options, RemoteProxy* proxy) {
  const Value name(rmt_new_string_value());
  const Value label(rmt_new_string_value());
  std::int32_t numbers[3] = {};
  if (!rmt_get_version(proxy, name.get(), label.get(), &numbers[0], &numbers[1],
                       &numbers[2]))
    return Fault(options);
  std::cout << Text(name) << ' ' << numbers[0] << '.' << numbers[1] << '.'
            << numbers[2];
  if (rmt_string_value_size(label.get()) > 0) std::cout << ' ' << Text(label);
  std::cout << '\n';
  return 0;
}

// The words of the command line, in the local encoding.
using Words = std::vector<std::string>;

bool ToNumbers(const Words& words, std::int32_t (&numbers)[3]) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    const char* const end = words[i].data() + words[i].size();
    const auto [rest, error] =
        std::from_chars(words[i].data(), end, numbers[i]);
    if (error != std::errc() || rest != end) return false;
  }
  return true;
}

int AskVersion(const RemoteOptions& options, RemoteProxy* proxy,
               const Words& words) {
  std::int32_t numbers[3] = {};
  if (!ToNumbers(words, numbers)) {
    RemoteFault("IsVersionCompatible takes three whole numbers");
    return kUsageError;
  }
  return PrintAnswer(options, rmt_is_version_compatible(
                                  proxy, numbers[0], numbers[1], numbers[2]));
}

int AskId(const RemoteOptions& options,
          const std::function<bool(std::int32_t*)>& query) {
  std::int32_t id = 0;
  const bool is_known = query(&id);
  return PrintAnswer(options, is_known,
                     is_known ? std::to_string(id) + '\n' : "");
}

struct Operation {
  std::size_t words;
  int (*run)(const RemoteOptions& options, RemoteProxy* proxy,
             const Words& words);
};

const std::map<std::string, Operation>& Operations() {
  using Options = const RemoteOptions&;
  using Given = const Words&;
  static const std::map<std::string, Operation> operations{
      {"shutdown",
       {0, [](Options options, RemoteProxy* proxy,
              Given) { return rmt_shutdown(proxy) ? 0 : Fault(options); }}},
      {"MaxMessageSize",
       {0,
        [](Options options, RemoteProxy* proxy, Given) {
          const std::int32_t size = rmt_max_message_size(proxy);
          if (rmt_last_error_code() != RMT_DONE) return Fault(options);
          std::cout << size << '\n';
          return 0;
        }}},
      {"SendCommand",
       {1,
        [](Options options, RemoteProxy* proxy, Given words) {
          const Value reply(rmt_new_string_value());
          const bool answer =
              rmt_send_command(proxy, words[0].c_str(), reply.get());
          return PrintAnswer(options, answer, Text(reply) + '\n');
        }}},
      {"GetVersionInfo",
       {0, [](Options options, RemoteProxy* proxy,
              Given) { return PrintVersion(options, proxy); }}},
      {"IsVersionCompatible", {3, AskVersion}},
      {"GetProjectID",
       {1,
        [](Options options, RemoteProxy* proxy, Given words) {
          return AskId(options, [&](std::int32_t* id) {
            return rmt_query_project_id(proxy, words[0].c_str(), id);
          });
        }}},
      {"GetProjectId2",
       {1,
        [](Options options, RemoteProxy* proxy, Given words) {
          return AskId(options, [&](std::int32_t* id) {
            return rmt_query_project_id2(proxy, words[0].c_str(), id);
          });
        }}},
      {"GetProjectId3",
       {2,
        [](Options options, RemoteProxy* proxy, Given words) {
          return AskId(options, [&](std::int32_t* id) {
            return rmt_query_project_id3(proxy, words[0].c_str(),
                                         words[1].c_str(), id);
          });
        }}},
      {"ReloadConfig",
       {0,
        [](Options options, RemoteProxy* proxy, Given) {
          return PrintAnswer(options, rmt_reload_config(proxy));
        }}},
      {"GetSolutions",
       {0,
        [](Options options, RemoteProxy* proxy, Given) {
          return Print(options, Array(rmt_get_solutions2(proxy)));
        }}},
      {"GetProjects",
       {1,
        [](Options options, RemoteProxy* proxy, Given words) {
          return Print(options,
                       Array(rmt_get_projects2(proxy, words[0].c_str())));
        }}},
  };
  return operations;
}

}  // namespace

int PingService(const RemoteOptions& options) {
  const Client client;
  RemoteProxy* const proxy = client.Proxy(options, false);
  if (proxy == nullptr) return Fault(options);
  const auto start = std::chrono::steady_clock::now();
  if (!rmt_ping(proxy)) return Fault(options);
  const std::chrono::duration<double, std::milli> taken =
      std::chrono::steady_clock::now() - start;
  std::printf("%s answers after %.1f ms\n", Printable(options.service).c_str(),
              taken.count());
  return 0;
}

int TellVersion(const RemoteOptions& options) {
  const Client client;
  RemoteProxy* const proxy = client.Proxy(options, false);
  return proxy == nullptr ? Fault(options) : PrintVersion(options, proxy);
}

int TellSolutions(const RemoteOptions& options) {
  RemoteOptions call = options;
  call.operation = "GetSolutions";
  return CallService(call);
}

int TellProjects(const RemoteOptions& options) {
  RemoteOptions call = options;
  call.operation = "GetProjects";
  return CallService(call);
}

int CallService(const RemoteOptions& options) {
  const auto found = Operations().find(options.operation);
  if (found == Operations().end()) {
    RemoteFault("there is no operation '" + options.operation +
                "'; kiv remote call --help names all");
    return kUsageError;
  }
  const Operation& operation = found->second;
  if (options.words.size() != operation.words) {
    RemoteFault(options.operation + " takes " +
                Counted(operation.words, "parameter"));
    return kUsageError;
  }
  Words words;
  for (const std::string& word : options.words) {
    if (!ToGb2312(word, words.emplace_back()))
      return RemoteFault("'" + word + "'" + kNotLocal);
  }
  const Client client;
  RemoteProxy* const proxy = client.Proxy(options, true);
  return proxy == nullptr ? Fault(options)
                          : operation.run(options, proxy, words);
}

}  // namespace kiv_tool
