#include "port/system.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <clocale>
#include <cstdlib>
#include <filesystem>

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

TEST(System, SignalsDoNotCutTheSleepShort) {
  struct sigaction ignore {};
  struct sigaction before {};
  ignore.sa_handler = [](int) {};  // without SA_RESTART
  ::sigaction(SIGALRM, &ignore, &before);
  ::ualarm(100'000, 100'000);
  const auto start = std::chrono::steady_clock::now();
  SleepSeconds(1);
  const auto slept = std::chrono::steady_clock::now() - start;
  ::ualarm(0, 0);
  ::sigaction(SIGALRM, &before, nullptr);
  EXPECT_GE(slept, std::chrono::seconds(1));
  EXPECT_LT(slept, std::chrono::milliseconds(1500));
  SleepSeconds(-5);
}

TEST(Clock, IsTheSystems) {
  const auto seconds = [] { return CurrentClock().UnixTicks() / 10'000'000; };
  const std::time_t before = std::time(nullptr);
  EXPECT_GE(seconds(), before);
  EXPECT_LE(seconds(), std::time(nullptr) + 1);
  std::tm local{};
  EXPECT_TRUE(CurrentClock().LocalTime(before, local));
  EXPECT_EQ(std::mktime(&local), before);
}

}  // namespace
}  // namespace kiv::port
