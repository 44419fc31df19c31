// Services as programs: what they tell a service manager, what they do with
// systemctl, and a whole life under a service manager where one can be had.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>

#include "kiv_session.h"
#include "testing/user_service_manager.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;

#define UNIT "kiv-test_20service.service"

// "CODE: ERRORS OUTPUT" of its end.
std::string End(RunningProgram program) {
  const int exit_code = program.WaitForEnd();
  return std::to_string(exit_code) + ": " + program.Errors() + program.Output();
}

// What a service manager hears, a line each.
constexpr char kManager[] =
    "import socket\n"
    "manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)\n"
    "manager.bind('notify')\n"
    "while True: print(manager.recv(512).decode(), flush=True)";

class Service : public ::testing::Test {
 protected:
  Service() {
    fs::create_directories(bin_);
    fs::create_directories("path");
    // A systemctl that only writes down what it is asked, and fails when it is
    // told to.
    WriteTestFile("path/systemctl",
                  "#!/bin/sh\necho \"$@\" >>$ASKED\n"
                  "case \"$*\" in *$FAILS*) exit 1;; esac\n");
    fs::permissions("path/systemctl", fs::perms::owner_all);
    EXPECT_TRUE(Eventually([] { return fs::exists("notify"); }));
  }

  RunningProgram Run(Words words, const Words& variables = {}) const {
    words.insert(words.begin(), bin_);
    return RunningProgram(KIV_TEST_SERVICE, words, {.variables = variables});
  }
  // Makes a file that has it misbehave.
  void Tell(const char* name) const { WriteTestFile(bin_ / name); }
  std::string Journal() const { return ReadTestFile(bin_ / "journal"); }
  std::string ServiceLog() const {
    std::string text;
    std::error_code missing;
    for (const auto& file :
         fs::directory_iterator(bin_ / "LogFiles/VornService", missing))
      text += ReadTestFile(file.path());
    return text;
  }
  // `fails`: which of systemctl's actions does.
  std::string Ask(const std::string& action,
                  const std::string& fails = "nothing") const {
    const std::string here = folder_.path().string();
    return End(Run({"-user", action},
                   {"PATH=" + here + "/path:/bin", "FAILS=" + fails,
                    "XDG_CONFIG_HOME=" + here, "ASKED=" + here + "/asked"}));
  }
  // What systemctl was asked.
  std::string Asked() const {
    const std::string text = ReadTestFile("asked");
    fs::remove("asked");
    return text;
  }

  const TestFolder folder_;
  const fs::path bin_ = folder_.path() / "service/bin";
  const fs::path unit_ = folder_.path() / "systemd/user" / UNIT;
  const std::string variable_ =
      "NOTIFY_SOCKET=" + folder_.path().string() + "/notify";
  RunningProgram manager_{KIV_SYSTEM_PYTHON, {"-c", kManager}, {}};
};

TEST_F(Service, EndsInOrderWhenItIsAskedForBySignal) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    fs::remove_all(bin_);
    fs::create_directory(bin_);
    RunningProgram service = Run({"-noservice"}, {variable_});
    EXPECT_TRUE(
        Eventually([&] { return Matches(ServiceLog(), "*' runs\r\n"); }));
    service.Send(signal);
    EXPECT_EQ(service.WaitForEnd(), 0);
    EXPECT_EQ(Journal(), "start\nstop\n");
    EXPECT_EQ(service.Errors(), "");
    ExpectMatch(ServiceLog(),
                "*service: NTService: 'kiv-test service' starts in '" +
                    bin_.string() + "'\r\n* of process " +
                    std::to_string(::getpid()) + "*has ended\r\n");
  }
  EXPECT_EQ(manager_.Output(), "") << "it runs by hand";
}

TEST_F(Service, TellsItsManagerHowItIs) {
  RunningProgram service =
      Run({}, {variable_, "WATCHDOG_PID=1", "WATCHDOG_USEC=20000"});
  ASSERT_TRUE(manager_.WaitForOutput("STATUS=at work\n"));
  Tell("ends");
  EXPECT_EQ(service.WaitForEnd(), 0);
  EXPECT_TRUE(manager_.WaitForOutput("STOPPING=1\n"));
  ExpectMatch(manager_.Output(), "*READY=1\n*");
  EXPECT_FALSE(Matches(manager_.Output(), "*WATCHDOG*")) << "not for it";
  ExpectMatch(ServiceLog(), "*by the program itself*");
}

TEST_F(Service, TellsItsManagerThatItLivesUntilItHangs) {
  RunningProgram service = Run({}, {variable_, "WATCHDOG_USEC=20000"});
  ASSERT_TRUE(manager_.WaitForOutput("WATCHDOG=1\n"));
  Tell("hangs");
  // Some are on their way; then none comes in ten times the time.
  EXPECT_TRUE(Eventually([&] {
    const std::string before = manager_.Output();
    ::usleep(200'000);
    return manager_.Output() == before;
  }));
}

TEST_F(Service, ThatDoesNotStartOrEndSaysSo) {
  ExpectMatch(End(Run({"-instal"})), "2: *'-instal' is unknown; use -install*");
  EXPECT_EQ(Journal(), "");
  Tell("refuses");
  ExpectMatch(End(Run({}, {variable_})), "1: *could not start*");
  fs::remove(bin_ / "refuses");
  Tell("lingers");
  Tell("ends");
  ExpectMatch(End(Run({"-noservice"})), "1: *did not end in time*");
  ExpectMatch(ServiceLog(), "*has ended with a failure\r\n");
  // Long since, had it said that it is ready.
  EXPECT_EQ(manager_.Output(), "");
}

TEST_F(Service, ShowsItsLogWhenItIsDebugged) {
  RunningProgram service = Run({"--debug"});
  EXPECT_TRUE(Eventually(
      [&] { return Matches(service.Errors(), "*test: at work\n*"); }));
  service.Send(SIGINT);
  EXPECT_EQ(service.WaitForEnd(), 0);
  ExpectMatch(service.Errors(), "*kiv-test service: has ended\n*");
}

TEST_F(Service, IsSetUpThroughSystemctl) {
  ExpectMatch(Ask("-install"), "0: *installed as " + unit_.string() + "*");
  EXPECT_EQ(Asked(), "--user daemon-reload\n--user enable " UNIT "\n");
  ExpectMatch(ReadTestFile(unit_),
              "*\nDescription=A service of the tests\n*"
              "\nExecStart=\"" KIV_TEST_SERVICE
              "\" \"/*/service/bin\""
              "\nWorkingDirectory=/*/service/bin\n*");
  const char* const actions[][2] = {
      {"-start", "--user start " UNIT "\n"},
      {"-stop", "--user stop " UNIT "\n"},
      {"-uninstall", "--user disable --now " UNIT "\n--user daemon-reload\n"}};
  for (const auto& [action, asked] : actions) {
    ExpectMatch(Ask(action), "0: *");
    EXPECT_EQ(Asked(), asked);
  }
  EXPECT_FALSE(fs::exists(unit_));
  EXPECT_EQ(ServiceLog(), "") << "none of it is the service's own life";
}

TEST_F(Service, LeavesNothingHalfDoneAndWhatIsNotItsOwn) {
  for (const char* action : {"-uninstall", "-start", "-stop"})
    ExpectMatch(Ask(action), "1: *not installed*");
  EXPECT_EQ(Asked(), "");
  ExpectMatch(Ask("-install", "enable"), "1: *could not be installed*");
  EXPECT_FALSE(fs::exists(unit_));
  ExpectMatch(Ask("-install"), "0: *");
  ExpectMatch(Ask("-start", "start"), "1: *did not start*");
  ExpectMatch(Ask("-uninstall", "disable"), "1: *");
  EXPECT_TRUE(fs::exists(unit_));
  WriteTestFile(unit_, "[Unit]\n");
  for (const char* action : {"-install", "-uninstall"})
    ExpectMatch(Ask(action), "1: *not written by -install*");
  EXPECT_EQ(ReadTestFile(unit_), "[Unit]\n");
}

TEST_F(Service, LivesUnderAServiceManager) {
  std::string reason;
  const auto manager = UserServiceManager::Start(reason);
  if (manager == nullptr) GTEST_SKIP() << "no service manager: " << reason;
  const auto run = [&](const char* action) {
    const Words words{KIV_TEST_SERVICE, bin_, "-user", action};
    ExpectMatch(End(manager->Run(words)), "0: *");
  };
  const auto show = [&](const std::string& property) {
    return manager->Ask({"show", "--value", "--property=" + property, UNIT});
  };
  run("-install");
  run("-start");
  // Type=notify: started means that it said so.
  EXPECT_EQ(Journal(), "start\n");
  EXPECT_TRUE(Eventually([&] { return show("StatusText") == "at work"; }));
  EXPECT_EQ(show("WatchdogUSec"), "30s");
  ExpectMatch(ServiceLog(), "*, for the service manager\r\n*");
  // One that was killed is started again.
  manager->Ask({"kill", "--signal=KILL", UNIT});
  EXPECT_TRUE(Eventually([this] { return Journal() == "start\nstart\n"; }));
  run("-stop");
  EXPECT_EQ(Journal(), "start\nstart\nstop\n");
  run("-uninstall");
}

}  // namespace
}  // namespace kiv::testing
