#include "xdb/environment_opening.h"

#include <functional>
#include <utility>

#include "xdb/container/store_error.h"
#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

constexpr char kFirstTry[] =
    "XDbManager::ConstructEnv DbException: '/home/x' - broken. "
    "\xCA\xD4\xCD\xBC\xD0\xDE\xB8\xB4...";
constexpr char kSecondTry[] =
    "XDbManager::ConstructEnv DbException: '/home/x' - broken. "
    "\xD4\xD9\xB4\xCE\xCA\xD4\xCD\xBC\xD0\xDE\xB8\xB4...";
constexpr char kFirstFailed[] =
    "XDbManager::ConstructEnv DbException: \xCA\xD4\xCD\xBC\xD0\xDE\xB8\xB4"
    "'/home/x'\xCA\xB1\xD2\xEC\xB3\xA3\xA3\xBA no repair";
constexpr char kSecondFailed[] =
    "XDbManager::ConstructEnv DbException: "
    "\xD4\xD9\xB4\xCE\xCA\xD4\xCD\xBC\xD0\xDE\xB8\xB4"
    "'/home/x'\xCA\xB1\xD2\xEC\xB3\xA3\xA3\xBA no repair";
constexpr char kGivenUp[] =
    "XDbManager::ConstructEnv DbException: '/home/x' - broken\r\n";

// Opens after so many repairs; writes down what is asked of it.
class FakeEnvironment final : public OpeningEnvironment {
 public:
  int Open() override {
    calls += 'o';
    if (failure) failure();
    if (repairs < repairs_needed)
      throw StoreError(Failure::NeedsRecovery, "broken", -30973);
    return code;
  }
  void Repair(bool is_catastrophic) override {
    calls += is_catastrophic ? 'C' : 'r';
    ++repairs;
    if (repair_fails) throw StoreError(Failure::Other, "no repair");
  }
  std::string ErrorText() const override { return error_text; }

  int repairs_needed = 0;
  bool repair_fails = false;
  int code = 0;
  std::string error_text;
  std::function<void()> failure;
  std::string calls;
  int repairs = 0;
};

using OpenWithRepairTest = XDbTest;

TEST_F(OpenWithRepairTest, RepairsInTwoStagesAndGivesUpBehindThem) {
  constexpr const char* kCalls[] = {"o", "oro", "oroCo", "oroCo"};
  for (int needed = 0; needed < 4; ++needed) {
    SCOPED_TRACE(needed);
    FakeEnvironment environment;
    environment.repairs_needed = needed;
    EXPECT_EQ(OpenWithRepair(environment, "/home/x"), needed < 3);
    EXPECT_EQ(environment.calls, kCalls[needed]);
    EXPECT_EQ(LogText().empty(), needed == 0);
    EXPECT_EQ(Logged(kFirstTry), needed > 0);
    EXPECT_EQ(Logged(kSecondTry), needed > 1);
    EXPECT_EQ(Logged(kGivenUp), needed > 2);
  }
}

TEST_F(OpenWithRepairTest, GoesOnWhenARepairFails) {
  FakeEnvironment environment;
  environment.repairs_needed = 3;
  environment.repair_fails = true;
  EXPECT_FALSE(OpenWithRepair(environment, "/home/x"));
  EXPECT_EQ(environment.calls, "oroCo");
  ExpectLogged(kFirstFailed);
  ExpectLogged(kSecondFailed);
}

TEST_F(OpenWithRepairTest, LeavesAloneWhatNoRepairHelps) {
  FakeEnvironment refused;
  refused.code = 22;
  EXPECT_FALSE(OpenWithRepair(refused, "/home/x"));
  ExpectLogged("XDbManager::ConstructEnv open failed: '/home/x' - return 22\r");
  refused.error_text = "the password is wrong";
  EXPECT_FALSE(OpenWithRepair(refused, "/home/x"));
  ExpectLogged(
      "XDbManager::ConstructEnv open failed: '/home/x' - return 22: the "
      "password is wrong");
  EXPECT_EQ(refused.calls, "oo");

  const std::pair<std::function<void()>, const char*> kFailures[] = {
      {[] { throw StoreError(Failure::OutOfSpace, "full disk"); },
       "'/home/x' - full disk"},
      {[] { throw std::runtime_error("foreign"); }, "'/home/x' - foreign"},
      {[] { throw 1; }, "\r"}};
  for (const auto& [failure, text] : kFailures) {
    FakeEnvironment other;
    other.failure = failure;
    EXPECT_FALSE(OpenWithRepair(other, "/home/x"));
    ExpectLogged(std::string("XDbManager::ConstructEnv exception: ") + text);
    EXPECT_EQ(other.calls, "o");
  }
}

}  // namespace
}  // namespace kiv::xdb
