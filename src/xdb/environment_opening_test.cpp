#include "xdb/environment_opening.h"

#include <vector>

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

TEST_F(OpenWithRepairTest, OpensASoundOneOnce) {
  FakeEnvironment environment;
  EXPECT_TRUE(OpenWithRepair(environment, "/home/x"));
  EXPECT_EQ(environment.calls, "o");
  EXPECT_EQ(LogText(), "");
}

TEST_F(OpenWithRepairTest, RepairsInTwoStages) {
  FakeEnvironment once;
  once.repairs_needed = 1;
  EXPECT_TRUE(OpenWithRepair(once, "/home/x"));
  EXPECT_EQ(once.calls, "oro");
  EXPECT_TRUE(Logged(kFirstTry)) << LogText();
  EXPECT_FALSE(Logged(kSecondTry));

  FakeEnvironment twice;
  twice.repairs_needed = 2;
  EXPECT_TRUE(OpenWithRepair(twice, "/home/x"));
  EXPECT_EQ(twice.calls, "oroCo");
  EXPECT_TRUE(Logged(kSecondTry)) << LogText();
  EXPECT_FALSE(Logged(kGivenUp));
}

TEST_F(OpenWithRepairTest, GivesUpBehindTheSecondRepair) {
  FakeEnvironment environment;
  environment.repairs_needed = 3;
  EXPECT_FALSE(OpenWithRepair(environment, "/home/x"));
  EXPECT_EQ(environment.calls, "oroCo");
  EXPECT_TRUE(Logged(kGivenUp)) << LogText();
}

TEST_F(OpenWithRepairTest, GoesOnWhenARepairFails) {
  FakeEnvironment environment;
  environment.repairs_needed = 3;
  environment.repair_fails = true;
  EXPECT_FALSE(OpenWithRepair(environment, "/home/x"));
  EXPECT_EQ(environment.calls, "oroCo");
  EXPECT_TRUE(Logged(kFirstFailed)) << LogText();
  EXPECT_TRUE(Logged(kSecondFailed)) << LogText();
}

TEST_F(OpenWithRepairTest, LeavesAloneWhatNoRepairHelps) {
  FakeEnvironment refused;
  refused.code = 22;
  EXPECT_FALSE(OpenWithRepair(refused, "/home/x"));
  EXPECT_TRUE(
      Logged("XDbManager::ConstructEnv open failed: '/home/x' - return 22\r"))
      << LogText();
  refused.error_text = "the password is wrong";
  EXPECT_FALSE(OpenWithRepair(refused, "/home/x"));
  EXPECT_TRUE(
      Logged("XDbManager::ConstructEnv open failed: '/home/x' - return 22: the "
             "password is wrong"));
  EXPECT_EQ(refused.calls, "oo");

  FakeEnvironment other;
  other.failure = [] { throw StoreError(Failure::OutOfSpace, "full disk"); };
  EXPECT_FALSE(OpenWithRepair(other, "/home/x"));
  EXPECT_TRUE(
      Logged("XDbManager::ConstructEnv exception: '/home/x' - full disk"));
  other.failure = [] { throw std::runtime_error("foreign"); };
  EXPECT_FALSE(OpenWithRepair(other, "/home/x"));
  EXPECT_TRUE(
      Logged("XDbManager::ConstructEnv exception: '/home/x' - foreign"));
  other.failure = [] { throw 1; };
  EXPECT_FALSE(OpenWithRepair(other, "/home/x"));
  EXPECT_TRUE(Logged("XDbManager::ConstructEnv exception: \r"));
  EXPECT_EQ(other.calls, "ooo");
}

}  // namespace
}  // namespace kiv::xdb
