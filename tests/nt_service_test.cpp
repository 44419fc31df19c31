// Services as programs: what they tell a service manager, what they do with
// systemctl, and a whole life under a service manager where one can be had.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "port/linux/descriptor.h"
#include "port/test_folder.h"
#include "testing/running_program.h"
#include "testing/user_service_manager.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr char kUnit[] = "kiv-test_20service.service";

bool Has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// That it ends with the code and says that.
void ExpectEnd(RunningProgram program, int exit_code, const std::string& part) {
  EXPECT_EQ(program.WaitForEnd(), exit_code);
  EXPECT_TRUE(Has(program.Errors(), part)) << program.Errors();
}

// The socket that a service manager listens on.
class NotifySocket {
 public:
  NotifySocket() : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, path_.c_str());
    if (::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address),
               sizeof address) != 0)
      throw std::runtime_error("bind");
  }
  std::string Variable() const { return "NOTIFY_SOCKET=" + path_; }
  // All that came, a line each.
  const std::string& Heard() {
    char text[512];
    ssize_t size = 0;
    while ((size = ::recv(socket_.get(), text, sizeof text, MSG_DONTWAIT)) > 0)
      heard_ += std::string(text, static_cast<std::size_t>(size)) + '\n';
    return heard_;
  }
  bool Hears(const std::string& line) {
    return Eventually([&] { return Has(Heard(), line + '\n'); });
  }

 private:
  const std::string path_ = fs::current_path() / "notify";
  const port::Descriptor socket_;
  std::string heard_;
};

class Service : public ::testing::Test {
 protected:
  Service() { fs::create_directories("service/bin"); }

  RunningProgram Run(const Words& words, const Words& variables = {}) const {
    Words all{bin_};
    all.insert(all.end(), words.begin(), words.end());
    return RunningProgram(KIV_TEST_SERVICE, all, {.variables = variables});
  }
  std::string Journal() const {
    return ReadTestFile(fs::path(bin_) / "journal");
  }
  std::string ServiceLog() const {
    std::string text;
    std::error_code missing;
    for (const auto& file : fs::directory_iterator(
             fs::path(bin_) / "LogFiles/VornService", missing))
      text += ReadTestFile(file.path());
    return text;
  }
  bool WaitForStart() const {
    return Eventually([this] { return Has(ServiceLog(), "' runs\r\n"); });
  }

  const TestFolder folder_;
  const std::string bin_ = folder_.path() / "service/bin";
};

class ServiceEnd : public Service, public ::testing::WithParamInterface<int> {};

TEST_P(ServiceEnd, IsAskedForBySignalAndInOrder) {
  RunningProgram service = Run({"-noservice"});
  ASSERT_TRUE(WaitForStart()) << service.Errors();
  service.Send(GetParam());
  EXPECT_EQ(service.WaitForEnd(), 0);
  EXPECT_EQ(Journal(), "start\nstop\n");
  EXPECT_EQ(service.Errors(), "");
  const std::string log = ServiceLog();
  EXPECT_TRUE(Has(log, "service: NTService: 'kiv-test service' starts in '" +
                           bin_ + "'\r\n"))
      << log;
  EXPECT_TRUE(Has(log, " of process " + std::to_string(::getpid()))) << log;
  EXPECT_TRUE(Has(log, "has ended\r\n")) << log;
}

INSTANTIATE_TEST_SUITE_P(Signal, ServiceEnd,
                         ::testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(Service, TellsItsManagerHowItIsAndThatItLives) {
  NotifySocket manager;
  RunningProgram service =
      Run({}, {manager.Variable(), "WATCHDOG_USEC=200000"});
  ASSERT_TRUE(manager.Hears("READY=1"));
  EXPECT_TRUE(manager.Hears("STATUS=at work"));
  ASSERT_TRUE(manager.Hears("WATCHDOG=1"));
  WriteTestFile(fs::path(bin_) / "ends");
  EXPECT_EQ(service.WaitForEnd(), 0);
  EXPECT_TRUE(Has(manager.Heard(), "STOPPING=1\n"));
  EXPECT_TRUE(Has(ServiceLog(), "by the program itself"));
}

TEST_F(Service, FallsSilentWhenItHangs) {
  NotifySocket manager;
  RunningProgram service = Run({}, {manager.Variable(), "WATCHDOG_USEC=20000"});
  ASSERT_TRUE(manager.Hears("WATCHDOG=1"));
  WriteTestFile(fs::path(bin_) / "hangs");
  // Some are on their way; then none comes in ten times the time.
  EXPECT_TRUE(Eventually([&] {
    const std::string before = manager.Heard();
    ::usleep(200'000);
    return manager.Heard() == before;
  }));
}

TEST_F(Service, TellsNothingWhenItIsRunByHandOrIsForSomebodyElse) {
  NotifySocket manager;
  const Words variables{manager.Variable(), "WATCHDOG_USEC=20000",
                        "WATCHDOG_PID=1"};
  {
    RunningProgram service = Run({"-NoService"}, variables);
    ASSERT_TRUE(WaitForStart());
  }
  EXPECT_EQ(manager.Heard(), "");
  RunningProgram service = Run({}, variables);
  ASSERT_TRUE(manager.Hears("STATUS=at work"));
  WriteTestFile(fs::path(bin_) / "ends");
  EXPECT_EQ(service.WaitForEnd(), 0);
  EXPECT_FALSE(Has(manager.Heard(), "WATCHDOG"));
}

TEST_F(Service, ThatDoesNotStartOrEndSaysSo) {
  ExpectEnd(Run({"-instal"}), 2, "'-instal' is unknown; use -install");
  EXPECT_EQ(Journal(), "");
  WriteTestFile(fs::path(bin_) / "refuses");
  NotifySocket manager;
  ExpectEnd(Run({}, {manager.Variable()}), 1, "could not start");
  EXPECT_EQ(manager.Heard(), "");
  fs::remove(fs::path(bin_) / "refuses");
  WriteTestFile(fs::path(bin_) / "lingers");
  WriteTestFile(fs::path(bin_) / "ends");
  ExpectEnd(Run({"-noservice"}), 1, "did not end in time");
  EXPECT_TRUE(Has(ServiceLog(), "has ended with a failure\r\n"));
}

TEST_F(Service, ShowsItsLogWhenItIsDebugged) {
  RunningProgram service = Run({"--debug"});
  EXPECT_TRUE(Eventually([&] {
    return Has(service.Errors(), "test: at work\n");
  })) << service.Errors();
  service.Send(SIGINT);
  EXPECT_EQ(service.WaitForEnd(), 0);
  EXPECT_TRUE(Has(service.Errors(), "kiv-test service: has ended\n"))
      << service.Errors();
}

// With a systemctl that only writes down what it is asked, and fails when it is
// told to.
class ServiceSetup : public Service {
 protected:
  ServiceSetup() {
    fs::create_directories("path");
    WriteTestFile("path/systemctl",
                  "#!/bin/sh\necho \"$@\" >>" + journal_ +
                      "\ncase \"$*\" in *$FAILS*) exit 1;; esac\n");
    fs::permissions("path/systemctl", fs::perms::owner_all);
  }

  RunningProgram Ask(const Words& words, const std::string& fails = "nothing") {
    Words all{"-user"};
    all.insert(all.end(), words.begin(), words.end());
    return Run(all, {"PATH=" + (folder_.path() / "path").string() + ":/bin",
                     "XDG_CONFIG_HOME=" + (folder_.path() / "own").string(),
                     "FAILS=" + fails});
  }
  std::string Asked() {
    const std::string text = ReadTestFile(journal_);
    fs::remove(journal_);
    return text;
  }

  const std::string journal_ = folder_.path() / "asked";
  const fs::path unit_ = folder_.path() / "own/systemd/user" / kUnit;
};

TEST_F(ServiceSetup, GoesThroughSystemctl) {
  const std::string unit = kUnit;
  RunningProgram install = Ask({"-install"});
  EXPECT_EQ(install.WaitForEnd(), 0) << install.Errors();
  EXPECT_EQ(Asked(), "--user daemon-reload\n--user enable " + unit + "\n");
  EXPECT_TRUE(Has(install.Output(), "installed as " + unit_.string()));
  const std::string text = ReadTestFile(unit_);
  for (const std::string& line :
       {"ExecStart=\"" KIV_TEST_SERVICE "\" \"" + bin_ + "\"",
        "WorkingDirectory=" + bin_,
        std::string("Description=A service of the tests")})
    EXPECT_TRUE(Has(text, "\n" + line + "\n")) << line << " in " << text;
  const std::pair<const char*, std::string> actions[] = {
      {"-start", "--user start " + unit + "\n"},
      {"-stop", "--user stop " + unit + "\n"},
      {"-uninstall",
       "--user disable --now " + unit + "\n--user daemon-reload\n"}};
  for (const auto& [action, asked] : actions) {
    EXPECT_EQ(Ask({action}).WaitForEnd(), 0) << action;
    EXPECT_EQ(Asked(), asked);
  }
  EXPECT_FALSE(fs::exists(unit_));
  // None of it is the service's own life.
  EXPECT_EQ(ServiceLog(), "");
}

TEST_F(ServiceSetup, LeavesNothingHalfDone) {
  ExpectEnd(Ask({"-install"}, "enable"), 1, "could not be installed");
  EXPECT_FALSE(fs::exists(unit_));
  ASSERT_EQ(Ask({"-install"}).WaitForEnd(), 0);
  ExpectEnd(Ask({"-start"}, "start"), 1, "did not start");
  ExpectEnd(Ask({"-uninstall"}, "disable"), 1, "");
  EXPECT_TRUE(fs::exists(unit_));
}

TEST_F(ServiceSetup, RefusesWhatIsNotItsOwn) {
  for (const char* action : {"-uninstall", "-start", "-stop"})
    ExpectEnd(Ask({action}), 1, "not installed");
  fs::create_directories(unit_.parent_path());
  WriteTestFile(unit_, "[Unit]\n");
  for (const char* action : {"-install", "-uninstall"})
    ExpectEnd(Ask({action}), 1, "not written by -install");
  EXPECT_EQ(ReadTestFile(unit_), "[Unit]\n");
  EXPECT_EQ(Asked(), "");
}

TEST_F(Service, LivesUnderAServiceManager) {
  std::string reason;
  const auto manager = UserServiceManager::Start(reason);
  if (manager == nullptr) GTEST_SKIP() << "no service manager: " << reason;
  const auto run = [&](const std::string& action) {
    RunningProgram service =
        manager->Run({KIV_TEST_SERVICE, bin_, "-user", action});
    EXPECT_EQ(service.WaitForEnd(), 0) << action << ": " << service.Errors();
  };
  run("-install");
  EXPECT_EQ(manager->Ask({"is-enabled", kUnit}), "enabled");
  run("-start");
  // Type=notify: started means that it said so.
  EXPECT_EQ(Journal(), "start\n");
  EXPECT_EQ(manager->Ask({"is-active", kUnit}), "active");
  EXPECT_TRUE(Eventually([&] {
    return manager->Ask({"show", "--property=StatusText", kUnit}) ==
           "StatusText=at work";
  }));
  EXPECT_EQ(manager->Ask({"show", "--property=WatchdogUSec", kUnit}),
            "WatchdogUSec=30s");
  EXPECT_TRUE(Has(ServiceLog(), ", for the service manager\r\n"));
  run("-stop");
  EXPECT_EQ(Journal(), "start\nstop\n");
  EXPECT_EQ(manager->Ask({"show", "--property=Result", kUnit}),
            "Result=success");

  // One that was killed is started again.
  run("-start");
  manager->Ask({"kill", "--signal=KILL", kUnit});
  EXPECT_TRUE(Eventually(
      [this] { return Journal() == "start\nstop\nstart\nstart\n"; }));

  run("-uninstall");
  EXPECT_NE(manager->Ask({"is-active", kUnit}), "active");
  EXPECT_NE(manager->Ask({"is-enabled", kUnit}), "enabled");
}

}  // namespace
}  // namespace kiv::testing
