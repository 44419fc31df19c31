#include "port/system.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <array>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "port/clock.h"

namespace kiv::port {
namespace {

TEST(System, NamesTheModuleOfAnAddress) {
  static const int here = 0;
  EXPECT_EQ(ModuleFileName(&here),
            std::filesystem::read_symlink("/proc/self/exe").string());
  const std::string library =
      ModuleFileName(reinterpret_cast<const void*>(&std::setlocale));
  EXPECT_TRUE(library.starts_with("/")) << library;
  EXPECT_EQ(ModuleFileName(nullptr), "");
}

TEST(System, GivesAnAddressOrNothing) {
  const std::string address = LocalIpv4();
  in_addr parsed{};
  EXPECT_TRUE(address.empty() ||
              ::inet_pton(AF_INET, address.c_str(), &parsed) == 1)
      << address;
}

TEST(System, RandomBytesFillTheWholeBuffer) {
  std::array<unsigned char, 1000> bytes{};
  ASSERT_TRUE(RandomBytes(bytes.data(), bytes.size()));
  int zeros_at_the_end = 0;
  for (std::size_t i = bytes.size(); i-- > 0 && bytes[i] == 0;)
    ++zeros_at_the_end;
  EXPECT_LT(zeros_at_the_end, 8);
}

TEST(System, ASignalDoesNotCutTheSleepShort) {
  struct sigaction ignore {};
  struct sigaction before {};
  ignore.sa_handler = [](int) {};  // without SA_RESTART
  ::sigaction(SIGUSR1, &ignore, &before);
  const pthread_t sleeper = ::pthread_self();
  std::thread noise([&] {
    for (int i = 0; i < 20; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      ::pthread_kill(sleeper, SIGUSR1);
    }
  });
  const auto start = std::chrono::steady_clock::now();
  SleepSeconds(1);
  const auto slept = std::chrono::steady_clock::now() - start;
  noise.join();
  ::sigaction(SIGUSR1, &before, nullptr);
  EXPECT_GE(slept, std::chrono::seconds(1));
  EXPECT_LT(slept, std::chrono::milliseconds(1500));
  SleepSeconds(-5);
}

class FixedClock : public Clock {
 public:
  long long UnixTicks() const override { return 42; }
  bool LocalTime(std::time_t, std::tm&) const override { return false; }
};

TEST(Clock, IsTheSystemsUnlessOverridden) {
  const auto seconds = [] { return CurrentClock().UnixTicks() / 10'000'000; };
  const std::time_t before = std::time(nullptr);
  EXPECT_GE(seconds(), before);
  EXPECT_LE(seconds(), std::time(nullptr) + 1);
  {
    const FixedClock fixed;
    const ClockOverride override_clock(fixed);
    EXPECT_EQ(CurrentClock().UnixTicks(), 42);
  }
  std::tm local{};
  EXPECT_TRUE(CurrentClock().LocalTime(before, local));
  EXPECT_EQ(std::mktime(&local), before);
}

}  // namespace
}  // namespace kiv::port
