// Remote services over TLS, by Ice's own properties.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "port/environment.h"
#include "testing/remote_fixture.h"

namespace kiv::testing {
namespace {

constexpr char kPlugin[] = "Ice.Plugin.IceSSL=IceSSL:createIceSSL";

// Signed by itself.
struct Certificate {
  explicit Certificate(const std::string& name) {
    const std::string command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 "
        "-nodes -days 2 -subj /CN=localhost -addext "
        "subjectAltName=IP:127.0.0.1,DNS:localhost -keyout " +
        name + ".key -out " + name + ".pem 2>" + name + ".err";
    if (std::system(command.c_str()) != 0)
      throw std::runtime_error(ReadTestFile(name + ".err"));
  }
};

class RemoteTls : public RemoteTest {
 protected:
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
  static RemoteProxy* Proxy(const RemoteClient& client,
                            const RemoteServant& servant) {
    return rmt_get_proxy2(client.List(), servant.Address().c_str(), "ssl",
                          "Svc", 0, 0, 5'000);
  }

  const Certificate server_{"server"};
  const Certificate stranger_{"stranger"};
  const RemoteServant servant_{
      "ssl -h 127.0.0.1 -p 0",
      {kPlugin, "IceSSL.DefaultDir=.", "IceSSL.CertFile=server.pem",
       "IceSSL.KeyFile=server.key", "IceSSL.VerifyPeer=0"}};
};

TEST_F(RemoteTls, WorksWithATrustedCertificate) {
  Configure(Trusting("server"));
  const RemoteClient client;
  RemoteProxy* const proxy = Proxy(client, servant_);
  EXPECT_EQ(rmt_max_message_size(proxy), 1048576) << rmt_last_error();
  EXPECT_EQ(Command(proxy, "echo safe"), "safe");
  EXPECT_EQ(rmt_get_proxy_port(proxy), servant_.Port());
}

TEST_F(RemoteTls, WorksForANamedServiceWithTheEndpointOfItsElement) {
  Configure(Trusting("server"));
  WriteTestFile("../conf/client.xml",
                "<config><services><service name='a' ip='localhost' port='" +
                    std::to_string(servant_.Port()) +
                    "' svc='Svc' endpoint='ssl' project_key='max'/></services>"
                    "</config>");
  const RemoteClient client;
  RemoteProjectProxy result{};
  EXPECT_TRUE(rmt_get_named_proxy(client.List(), "a", &result))
      << rmt_last_error();
}

TEST_F(RemoteTls, WorksFromServerCfgThatHoldsThePropertiesToo) {
  Configure(Trusting("server") +
            "IceSSL.CheckCertName=1\nSvc.Proxy=Svc:ssl -h " + "127.0.0.1 -p " +
            std::to_string(servant_.Port()) + "\n");
  std::filesystem::copy_file("../conf/ice.cfg", "../conf/server.cfg");
  const RemoteClient client;
  RemoteProxy* const proxy = rmt_get_proxy(client.List(), "", 0, "Svc", 0, 0);
  EXPECT_TRUE(rmt_ping(proxy)) << rmt_last_error();
  EXPECT_STREQ(rmt_get_proxy_ip(proxy), "127.0.0.1");
  EXPECT_EQ(rmt_get_proxy_port(proxy), servant_.Port());
}

TEST_F(RemoteTls, RefusesACertificateThatNobodyTrusts) {
  Configure(Trusting("stranger"));
  const RemoteClient client;
  EXPECT_FALSE(rmt_ping(Proxy(client, servant_)));
  EXPECT_EQ(rmt_last_error_code(), RMT_INSECURE) << rmt_last_error();
  EXPECT_TRUE(log_.Has(servant_.Address() + ": TLS: ")) << log_.Text();
}

TEST_F(RemoteTls, WithoutThePluginSaysWhatIsMissing) {
  const RemoteClient client;
  RemoteProxy* const proxy = Proxy(client, servant_);
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
