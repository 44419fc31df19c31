#include "kiv/environment.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "port/clock.h"
#include "port/system.h"

namespace kiv {
namespace {

TEST(Environment, FallsBackForNoNameAndNoVariableAndSetsTheEmptyValue) {
  const char* const fallback = "fallback";
  EXPECT_EQ(getenv(static_cast<const char*>(nullptr), fallback), fallback);
  EXPECT_EQ(getenv("", fallback), fallback);
  EXPECT_EQ(getenv("KIV_TEST_NEVER_SET", fallback), fallback);
  EXPECT_EQ(getenv("KIV_TEST_NEVER_SET", nullptr), nullptr);
  const char16_t* const wide_fallback = u"fallback";
  EXPECT_EQ(getenv(u"", wide_fallback), wide_fallback);
  EXPECT_EQ(getenv(u"KIV_TEST_NEVER_SET", wide_fallback), wide_fallback);
  EXPECT_TRUE(putenv("KIV_TEST_EMPTY", nullptr));
  EXPECT_STREQ(getenv("KIV_TEST_EMPTY", "fallback"), "");
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
  putenv("KIV_TEST_OLD", "old value, long enough to be on the heap");
  const char* const old = getenv("KIV_TEST_OLD", nullptr);
  for (int i = 0; i < 100; ++i)
    putenv("KIV_TEST_OLD", std::to_string(i).c_str());
  EXPECT_STREQ(old, "old value, long enough to be on the heap");
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
        if (shared != "one" && shared != "another") ++bad;
        if (std::string(getenv(own.c_str(), "")) != "value") ++bad;
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
  {
    // 1970-01-01 00:00:00.25 UTC is 03:00:00.25 there.
    const EastClock clock(2'500'000);
    const port::ClockOverride override_clock(clock);
    EXPECT_EQ(now(), 621'355'968'000'000'000 + 108'000'000'000 + 2'500'000);
    long seconds = -1;
    EXPECT_EQ(kiv::time(&seconds), 0);
    EXPECT_EQ(seconds, 0);
    EXPECT_EQ(kiv::time(nullptr), 0);
    EXPECT_EQ(kiv::localtime(&seconds)->tm_hour, 3);
  }
  {
    // 2024-02-29 22:30 UTC: the next day there.
    const EastClock clock(1'709'245'800LL * 10'000'000);
    const port::ClockOverride override_clock(clock);
    EXPECT_EQ(now(), 638'448'534'000'000'000);
  }
  // Seconds before 1970 round down.
  const EastClock clock(-1);
  const port::ClockOverride override_clock(clock);
  EXPECT_EQ(kiv::time(nullptr), -1);
  EXPECT_EQ(now(), 621'355'968'000'000'000 + 108'000'000'000 - 1);
}

TEST(Time, LocaltimeAnswersNullWhenItCannot) {
  const EastClock clock(0);
  const port::ClockOverride override_clock(clock);
  const long fine = 0;
  const long refused = -2'000'000;
  const std::tm* const fields = kiv::localtime(&fine);
  ASSERT_NE(fields, nullptr);
  EXPECT_EQ(kiv::localtime(&refused), nullptr);
  EXPECT_EQ(kiv::localtime(nullptr), nullptr);
  EXPECT_EQ(fields->tm_year, 70);
  const std::tm* other = nullptr;
  std::thread([&] { other = kiv::localtime(&fine); }).join();
  EXPECT_NE(other, fields);
}

TEST(Sleep, TakesSecondsAndNothingBelowOne) {
  using Steady = std::chrono::steady_clock;
  const auto start = Steady::now();
  kiv::sleep(0);
  kiv::sleep(-5);
  EXPECT_LT(Steady::now() - start, std::chrono::milliseconds(900));
  kiv::sleep(1);
  EXPECT_GE(Steady::now() - start, std::chrono::milliseconds(990));
}

TEST(Identity, UuidHasItsFormAndTheAddressIsTheSystems) {
  std::string uuid = "old";
  generateUUID(uuid);
  ASSERT_EQ(uuid.size(), 36u);
  EXPECT_EQ(uuid.find_first_not_of("0123456789abcdef-"), std::string::npos);
  std::string address = "old";
  get_local_ip_str(address);
  EXPECT_EQ(address, port::LocalIpv4());
}

}  // namespace
}  // namespace kiv
