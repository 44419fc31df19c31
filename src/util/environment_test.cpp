#include "kiv/environment.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "port/clock.h"

namespace kiv {
namespace {

TEST(Environment, FallsBackForNoNameAndNoVariableAndSetsTheEmptyValue) {
  const char* const fallback = "fallback";
  for (const char* name : {static_cast<const char*>(nullptr), "", "KIV_NEVER"})
    EXPECT_EQ(getenv(name, fallback), fallback);
  const char16_t* const wide_fallback = u"fallback";
  EXPECT_EQ(getenv(u"", wide_fallback), wide_fallback);
  EXPECT_EQ(getenv(u"KIV_NEVER", wide_fallback), wide_fallback);
  EXPECT_TRUE(putenv("KIV_TEST_EMPTY", nullptr));
  EXPECT_STREQ(getenv("KIV_TEST_EMPTY", fallback), "");
  for (const char* bad : {static_cast<const char*>(nullptr), "", "KIV=TEST"})
    EXPECT_FALSE(putenv(bad, "x"));
}

// The system holds UTF-8; a value that is none is taken for local text.
TEST(Environment, ValuesAreInTheLocalEncodingHereAndInUtf8There) {
  ASSERT_TRUE(putenv("KIV_TEST_TEXT", "\xD6\xD0\x80"));
  EXPECT_STREQ(std::getenv("KIV_TEST_TEXT"), "\xE4\xB8\xAD\xE2\x82\xAC");
  EXPECT_STREQ(getenv("KIV_TEST_TEXT", ""), "\xD6\xD0\x80");
  EXPECT_EQ(std::u16string(getenv(u"KIV_TEST_TEXT", u"")), u"\u4E2D\u20AC");
  ::setenv("KIV_TEST_TEXT", "\xD6\xD0", 1);
  EXPECT_STREQ(getenv("KIV_TEST_TEXT", ""), "\xD6\xD0");
  EXPECT_EQ(std::u16string(getenv(u"KIV_TEST_TEXT", u"")), u"\u4E2D");
  // Wide text keeps what the local encoding lacks.
  ::setenv("KIV_TEST_\xC3\xAB", "\xC3\xAB\xF0\x9F\x98\x80", 1);
  EXPECT_EQ(std::u16string(getenv(u"KIV_TEST_\u00EB", u"")),
            u"\u00EB\U0001F600");
}

TEST(Environment, AValueHandedOutOutlivesTheNextOne) {
  constexpr char kValue[] = "old value, long enough to be on the heap";
  putenv("KIV_TEST_OLD", kValue);
  const char* const old = getenv("KIV_TEST_OLD", nullptr);
  for (int i = 0; i < 100; ++i)
    putenv("KIV_TEST_OLD", std::to_string(i).c_str());
  EXPECT_STREQ(old, kValue);
}

TEST(Environment, ThreadsMaySetAndGetAtOnce) {
  std::atomic<int> bad = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t, &bad] {
      for (int i = 0; i < 500; ++i) {
        const std::string own =
            "KIV_TEST_" + std::to_string(t) + "_" + std::to_string(i);
        putenv(own.c_str(), "value");
        putenv("KIV_TEST_SHARED", i % 2 ? "one" : "another");
        const std::string shared = getenv("KIV_TEST_SHARED", "");
        bad += shared != "one" && shared != "another";
        bad += std::string(getenv(own.c_str(), "")) != "value";
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(bad, 0);
}

// Three hours east of UTC, without a local form for years it cannot tell.
class EastClock : public port::Clock {
 public:
  explicit EastClock(long long unix_ticks) : unix_ticks_(unix_ticks) {}
  long long UnixTicks() const override { return unix_ticks_; }
  bool LocalTime(std::time_t second, std::tm& out) const override {
    if (second < -1'000'000) return false;
    const std::time_t local = second + 3 * 3600;
    return gmtime_r(&local, &out) != nullptr;
  }

 private:
  long long unix_ticks_;
};

TEST(Time, NowIsTheLocalClockFromYearOne) {
  const std::tuple<long long, long long, long> rows[] = {
      // 1970-01-01 00:00:00.25 UTC is 03:00:00.25 there.
      {2'500'000, 621'356'076'002'500'000, 0},
      // 2024-02-29 22:30 UTC: the next day there.
      {17'092'458'000'000'000, 638'448'534'000'000'000, 1'709'245'800},
      // Seconds before 1970 round down.
      {-1, 621'356'075'999'999'999, -1}};
  for (const auto& [unix_ticks, ticks, unix_seconds] : rows) {
    const EastClock clock(unix_ticks);
    const port::ClockOverride override_clock(clock);
    EXPECT_EQ(now(), ticks);
    long seconds = 7;
    EXPECT_EQ(kiv::time(&seconds), unix_seconds);
    EXPECT_EQ(seconds, unix_seconds);
    EXPECT_EQ(kiv::time(nullptr), unix_seconds);
  }
}

TEST(Time, SleepOfNoTimeReturnsAtOnce) {
  const auto start = std::chrono::steady_clock::now();
  kiv::sleep(-5);
  kiv::sleep(0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
}

TEST(Time, LocaltimeIsTheThreadsOwnAndNullWhenItCannot) {
  const EastClock clock(0);
  const port::ClockOverride override_clock(clock);
  const long fine = 0;
  const long refused = -2'000'000;
  const std::tm* const fields = kiv::localtime(&fine);
  ASSERT_NE(fields, nullptr);
  EXPECT_EQ(fields->tm_hour, 3);
  EXPECT_EQ(kiv::localtime(&refused), nullptr);
  EXPECT_EQ(kiv::localtime(nullptr), nullptr);
  std::thread([&] { EXPECT_NE(kiv::localtime(&fine), fields); }).join();
}

}  // namespace
}  // namespace kiv
