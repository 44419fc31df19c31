// What the tests start must not outlive them, however they end: a run that is
// killed would leave brokers behind, and senders that fill the disk.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "testing/broker.h"
#include "testing/running_program.h"

namespace kiv::testing {
namespace {

// A process of its own that starts something, tells a number of it, and waits
// for its end.
class OtherTest {
 public:
  template <class Starting>
  explicit OtherTest(Starting start) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    process_ = ::fork();
    if (process_ == 0) {
      const auto started = start([&ends](int number) {
        if (::write(ends[1], &number, sizeof number) < 0) ::_exit(1);
      });
      for (;;) ::pause();
    }
    ::close(ends[1]);
    if (::read(ends[0], &number_, sizeof number_) != sizeof number_)
      ADD_FAILURE() << "the other test does not start";
    ::close(ends[0]);
  }
  ~OtherTest() { Kill(); }
  OtherTest(const OtherTest&) = delete;
  OtherTest& operator=(const OtherTest&) = delete;

  int Number() const { return number_; }
  void Kill() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    process_ = -1;
  }

 private:
  pid_t process_ = -1;
  int number_ = -1;
};

TEST(ProgramOfATest, EndsWithATestThatIsKilled) {
  const TestFolder folder;
  OtherTest other([](auto tell) {
    auto program = std::make_unique<RunningProgram>(
        "/bin/sh", std::vector<std::string>{"-c", "echo $$; exec sleep 3600"},
        RunningProgram::Surroundings{});
    program->WaitForOutput("\n");
    tell(std::stoi(program->Output()));
    return program;
  });
  const pid_t program = other.Number();
  ASSERT_EQ(::kill(program, 0), 0);
  other.Kill();
  // Dead, even if nobody has taken note of it.
  EXPECT_TRUE(Eventually([&] {
    const std::string state =
        ReadTestFile("/proc/" + std::to_string(program) + "/stat");
    return state.empty() || state.find(") Z ") != std::string::npos;
  }));
}

// Whose surroundings name the folder.
int ProgramsWithFolder(const std::filesystem::path& folder) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string surroundings = ReadTestFile(entry.path() / "environ");
    count += surroundings.find(folder.string()) != std::string::npos ? 1 : 0;
  }
  return count;
}

TEST(BrokerOfATest, EndsWithATestThatIsKilled) {
  if (!Broker::IsInstalled()) GTEST_SKIP() << Broker::kWhyNot;
  const TestFolder folder;
  OtherTest other([&folder](auto tell) {
    // Nobody else removes what a killed test leaves behind.
    ::setenv("TMPDIR", folder.path().c_str(), 1);
    auto broker = std::make_unique<Broker>();
    tell(broker->Port());
    return broker;
  });
  ASSERT_TRUE(Broker::IsAt(other.Number()));
  ASSERT_GE(ProgramsWithFolder(folder.path()), 2);
  other.Kill();
  EXPECT_TRUE(
      Eventually([&] { return ProgramsWithFolder(folder.path()) == 0; }));
  EXPECT_FALSE(Broker::IsAt(other.Number()));
}

}  // namespace
}  // namespace kiv::testing
