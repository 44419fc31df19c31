#include "service/service_unit.h"

#include <gtest/gtest.h>

#include <string>

namespace kiv {
namespace {

ServiceUnit Weighbridge() {
  return {.description = "Weighbridge",
          .command = {"/opt/a b/kiv", "100%", "$HOME", "say \"x\" \\"},
          .working_folder = "/srv/100% a/bin",
          .service_folder = "/srv/100% a",
          .account = "weigh",
          .groups = {"dialout"}};
}

bool HasLine(const std::string& text, const std::string& line) {
  return text.find('\n' + line + '\n') != std::string::npos;
}

TEST(ServiceUnitName, WritesWhatAUnitsNameCannotHoldAsBytes) {
  EXPECT_EQ(UnitName("kiv-weigh_1.a"), "kiv-weigh_1.a.service");
  EXPECT_EQ(UnitName(".a b@c/d\\e"), "_2ea_20b_40c_2fd_5ce.service");
  EXPECT_EQ(UnitName("\xE8\xAE\xA2"), "_e8_ae_a2.service");
}

TEST(ServiceUnitText, TellsTheServiceManagerWhatToExpect) {
  const std::string text = UnitText(Weighbridge());
  EXPECT_EQ(text.find(kUnitMark), 0U);
  for (const char* line :
       {"Type=notify", "NotifyAccess=main", "WatchdogSec=30", "User=weigh",
        R"(ExecStart="/opt/a b/kiv" "100%%" "$$HOME" "say \"x\" \\")",
        "WorkingDirectory=/srv/100%% a/bin", "SupplementaryGroups=dialout",
        "Restart=on-failure", "KillMode=mixed",
        "ReadWritePaths=\"/srv/100%% a\"", "WantedBy=multi-user.target"})
    EXPECT_TRUE(HasLine(text, line)) << line << " in\n" << text;
  // Each of these would take something from a service that it needs: serial
  // ports that are plugged in later, folders in /tmp and /home, memory shared
  // with other services.
  for (const char* word :
       {"PrivateDevices", "DevicePolicy", "DeviceAllow", "ProtectClock",
        "PrivateTmp", "ProtectHome", "PrivateIPC", "ProtectSystem=strict"})
    EXPECT_EQ(text.find(word), std::string::npos) << word;
}

TEST(ServiceUnitText, OfAUserAsksForNothingThatOnlyTheMachinesManagerMay) {
  ServiceUnit unit = Weighbridge();
  unit.is_of_user = true;
  unit.account.clear();
  const std::string text = UnitText(unit);
  for (const char* word : {"User=", "ProtectSystem", "ReadWritePaths",
                           "RestrictNamespaces", "multi-user"})
    EXPECT_EQ(text.find(word), std::string::npos) << word;
  EXPECT_TRUE(HasLine(text, "NoNewPrivileges=yes"));
  EXPECT_TRUE(HasLine(text, "WantedBy=default.target"));
}

}  // namespace
}  // namespace kiv
