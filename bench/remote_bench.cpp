// Calls of a remote service through the rmt_ functions against the bare
// generated proxy, both over loopback to one servant of this process, and the
// look-up of a service in a large client.xml against parsing it.
#include <Ice/Ice.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include "compare.h"
#include "kiv/ice_helper.h"
#include "port/test_folder.h"
#include "remote/service_interface.h"
#include "rmt/rmt.h"
#include "share_out.h"

namespace {

constexpr int kCalls = 64;

class Servant final : public kiv::server::ServiceBase {
 public:
  // Between calls.
  void SetSolutions(std::size_t count) {
    solutions_.clear();
    for (std::size_t i = 0; i < count; ++i)
      solutions_.push_back("\xE9\xA1\xB9\xE7\x9B\xAE weighbridge " +  // 项目
                           std::to_string(i));
  }

  void shutdown(const Ice::Current&) override {}
  Ice::Int MaxMessageSize(const Ice::Current&) override { return 1'048'576; }
  bool SendCommand(const std::string& command, std::string& reply,
                   const Ice::Current&) override {
    reply = command;
    return true;
  }
  void GetVersionInfo(kiv::server::VersionInfo&, const Ice::Current&) override {
  }
  bool IsVersionCompatible(Ice::Int, Ice::Int, Ice::Int,
                           const Ice::Current&) override {
    return true;
  }
  bool GetProjectID(const std::string&, Ice::Int&,
                    const Ice::Current&) override {
    return true;
  }
  bool GetProjectId2(const std::string&, Ice::Int&,
                     const Ice::Current&) override {
    return true;
  }
  bool GetProjectId3(const std::string&, const std::string&, Ice::Int&,
                     const Ice::Current&) override {
    return true;
  }
  bool ReloadConfig(const Ice::Current&) override { return true; }
  void GetSolutions(kiv::server::StringSeq& solutions,
                    const Ice::Current&) override {
    solutions = solutions_;
  }
  void GetProjects(const std::string&, kiv::server::StringSeq& projects,
                   const Ice::Current&) override {
    projects = solutions_;
  }

 private:
  kiv::server::StringSeq solutions_;
};

// The servant, and both ways to it: over one communicator, since the system
// places the threads of two as it likes, and that is seen in every call.
class Service {
 public:
  static Service& Running() {
    static Service service;
    return service;
  }

  Servant& servant() const { return *servant_; }
  RemoteProxy* ours() const { return ours_; }
  kiv::server::ServiceBasePrx bare() const { return bare_; }

 private:
  Service()
      : server_(Ice::initialize()),
        handle_(rmt_create_communicator()),
        list_(rmt_create_proxy_list(handle_)) {
    const Ice::ObjectAdapterPtr adapter =
        server_->createObjectAdapterWithEndpoints("A", "tcp -h 127.0.0.1 -p 0");
    adapter->add(servant_, Ice::stringToIdentity("Svc"));
    adapter->activate();
    const int port = Ice::TCPEndpointInfoPtr::dynamicCast(
                         adapter->getEndpoints().front()->getInfo())
                         ->port;
    bare_ = kiv::server::ServiceBasePrx::uncheckedCast(
        rmt_get_communicator(handle_)->stringToProxy(
            "Svc:tcp -h 127.0.0.1 -p " + std::to_string(port)));
    ours_ = rmt_get_proxy(list_, "127.0.0.1", port, "Svc", 0, 0);
  }
  ~Service() {
    bare_ = nullptr;
    rmt_delete_proxy_list(list_);
    rmt_delete_communicator(handle_);
    server_->destroy();
  }

  const Ice::CommunicatorPtr server_;
  const IceUtil::Handle<Servant> servant_ = new Servant;
  RemoteCommunicator* const handle_;
  RemoteProxyList* const list_;
  RemoteProxy* ours_ = nullptr;
  kiv::server::ServiceBasePrx bare_;
};

const bool max_message_size = bench::Compare(
    {"remote/max_message_size", "calls/s", bench::Always(kCalls), "bare proxy",
     0.95},
    bench::Curve{"callers at once", 1, {2, 4, 8}},
    [](benchmark::State& state, std::size_t callers) {
      RemoteProxy* const proxy = Service::Running().ours();
      std::atomic<bool> is_good{true};
      for (auto _ : state)
        bench::ShareOut(kCalls, callers, [&](int calls) {
          for (int i = 0; i < calls; ++i)
            if (rmt_max_message_size(proxy) != 1'048'576) is_good = false;
        });
      if (!is_good) state.SkipWithError("a call failed");
    },
    [](benchmark::State& state, std::size_t callers) {
      const kiv::server::ServiceBasePrx proxy = Service::Running().bare();
      for (auto _ : state)
        bench::ShareOut(kCalls, callers, [&](int calls) {
          for (int i = 0; i < calls; ++i)
            benchmark::DoNotOptimize(proxy->MaxMessageSize());
        });
    });

const bool solutions = bench::Compare(
    {"remote/get_solutions_100", "calls/s", bench::One, "bare proxy", 0.9},
    bench::Curve{"names", 100, {1, 10, 1'000, 10'000}},
    [](benchmark::State& state, std::size_t count) {
      Service::Running().servant().SetSolutions(count);
      RemoteProxy* const proxy = Service::Running().ours();
      for (auto _ : state) {
        char** const names = rmt_get_solutions2(proxy);
        if (rmt_string_array_count(names) != count)
          state.SkipWithError("a call failed");
        rmt_delete_string_array(names);
      }
    },
    [](benchmark::State& state, std::size_t count) {
      Service::Running().servant().SetSolutions(count);
      const kiv::server::ServiceBasePrx proxy = Service::Running().bare();
      for (auto _ : state) {
        kiv::server::StringSeq names;
        proxy->GetSolutions(names);
        benchmark::DoNotOptimize(names);
      }
    });

// A service folder with a large client.xml; bin/ is the current folder.
class ClientFolder {
 public:
  explicit ClientFolder(std::size_t services) {
    std::filesystem::create_directory("conf");
    std::filesystem::create_directory("bin");
    std::filesystem::current_path("bin");
    std::ofstream file(rmt_get_config_path());
    file << "<?xml version=\"1.0\" encoding=\"GB2312\"?>\n<config><services>\n";
    for (std::size_t i = 0; i < services; ++i)
      file << "  <service name=\"service-" << i << "\" ip=\"scale-" << i % 7
           << ".weighbridge.local\" port=\"" << 10'000 + i << "\" svc=\"Svc"
           << i << "\" project_key=\"\xCF\xEE\xC4\xBF" << i  // 项目
           << "\" access_code=\"8f1c2e\" engine_version=\"10\" "
              "document_version=\"2\"/>\n";
    file << "</services></config>\n";
  }

 private:
  const kiv::TestFolder folder_;
};

const bool look_up = bench::Compare(
    {"remote/service_of_1000", "look-ups/s", bench::One, "bare xerces parse",
     1 / 1.3},
    bench::Curve{"services", 1'000, {10, 100, 10'000}},
    [](benchmark::State& state, std::size_t services) {
      const ClientFolder folder(services);
      const std::string last = "service-" + std::to_string(services - 1);
      RemoteServiceInfo record{};
      for (auto _ : state)
        if (!rmt_get_remote_server(last.c_str(), &record))
          state.SkipWithError("the service was not found");
    },
    [](benchmark::State& state, std::size_t services) {
      const ClientFolder folder(services);
      for (auto _ : state) {
        xercesc::XercesDOMParser parser;
        parser.parse(rmt_get_config_path());
        benchmark::DoNotOptimize(parser.getDocument());
      }
    });

}  // namespace
