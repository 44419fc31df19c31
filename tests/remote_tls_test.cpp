// Remote services over TLS, by Ice's own properties.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "port/environment.h"
#include "testing/certificate.h"
#include "testing/remote_fixture.h"

namespace kiv::testing {
namespace {

constexpr char kPlugin[] = "Ice.Plugin.IceSSL=IceSSL:createIceSSL";

class RemoteTls : public RemoteTest {
 protected:
  RemoteTls() {
    for (const char* const name : {"server", "stranger"})
      MakeCertificate(std::filesystem::absolute(name), ",IP:127.0.0.1");
    servant_.emplace("ssl -h 127.0.0.1 -p 0",
                     std::vector<std::string>{kPlugin, "IceSSL.DefaultDir=.",
                                              "IceSSL.CertFile=server.pem",
                                              "IceSSL.KeyFile=server.key",
                                              "IceSSL.VerifyPeer=0"});
  }
  ~RemoteTls() override { port::SetEnvironmentUtf8("ICE_CONFIG", ""); }

  // What the next communicator takes its properties from.
  static void Configure(const std::string& properties) {
    WriteTestFile("../conf/ice.cfg", properties);
    port::SetEnvironmentUtf8("ICE_CONFIG", "../conf/ice.cfg");
  }
  static std::string Trusting(const std::string& name) {
    return std::string(kPlugin) + "\nIceSSL.DefaultDir=.\nIceSSL.CAs=" + name +
           ".pem\n";
  }
  RemoteProxy* Proxy(const RemoteClient& client) const {
    return rmt_get_proxy2(client.List(), servant_->Address().c_str(), "ssl",
                          "Svc", 0, 0, 5'000);
  }

  std::optional<RemoteServant> servant_;
};

TEST_F(RemoteTls, WorksWithATrustedCertificate) {
  const std::string port = std::to_string(servant_->Port());
  const std::string settings =
      Trusting("server") +
      "IceSSL.CheckCertName=1\nSvc.Proxy=Svc:ssl -h 127.0.0.1 -p " + port +
      "\n";
  Configure(settings);
  const RemoteClient client;
  RemoteProxy* const proxy = Proxy(client);
  EXPECT_EQ(rmt_max_message_size(proxy), 1048576) << rmt_last_error();
  EXPECT_EQ(Command(proxy, "echo safe"), "safe");
  EXPECT_EQ(rmt_get_proxy_port(proxy), servant_->Port());
  // A named service with the endpoint of its element.
  WriteTestFile("../conf/client.xml",
                "<config><services><service name='a' ip='localhost' port='" +
                    port +
                    "' svc='Svc' endpoint='ssl' project_key='max'/></services>"
                    "</config>");
  RemoteProjectProxy result{};
  EXPECT_TRUE(rmt_get_named_proxy(client.List(), "a", &result))
      << rmt_last_error();
  // From server.cfg, which holds the properties, too.
  WriteTestFile("../conf/server.cfg", settings);
  RemoteProxy* const listed = rmt_get_proxy(client.List(), "", 0, "Svc", 0, 0);
  EXPECT_TRUE(rmt_ping(listed)) << rmt_last_error();
  EXPECT_STREQ(rmt_get_proxy_ip(listed), "127.0.0.1");
  EXPECT_EQ(rmt_get_proxy_port(listed), servant_->Port());
}

TEST_F(RemoteTls, RefusesACertificateThatNobodyTrusts) {
  Configure(Trusting("stranger"));
  const RemoteClient client;
  EXPECT_FALSE(rmt_ping(Proxy(client)));
  EXPECT_EQ(rmt_last_error_code(), RMT_INSECURE) << rmt_last_error();
  EXPECT_TRUE(log_.Has(servant_->Address() + ": TLS: ")) << log_.Text();
}

TEST_F(RemoteTls, WithoutThePluginSaysWhatIsMissing) {
  const RemoteClient client;
  RemoteProxy* const proxy = Proxy(client);
  EXPECT_FALSE(rmt_ping(proxy));
  EXPECT_TRUE(log_.Has("Ice.Plugin.IceSSL")) << log_.Text();
}

TEST_F(RemoteTls, WithAPluginThatIsNotThereMakesNoCommunicator) {
  Configure("Ice.Plugin.IceSSL=NoSuchLibrary:createIceSSL\n");
  const RemoteClient client;
  EXPECT_EQ(rmt_get_communicator(client.Communicator()), nullptr);
  EXPECT_EQ(client.List(), nullptr);
  EXPECT_TRUE(log_.Has("NoSuchLibrary")) << log_.Text();
}

}  // namespace
}  // namespace kiv::testing
