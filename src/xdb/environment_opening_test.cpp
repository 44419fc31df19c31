#include "xdb/environment_opening.h"

#include <functional>
#include <utility>

#include "xdb/container/store_error.h"
#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

const std::string kFailed = "XDbManager::ConstructEnv DbException: ";
const std::string kTry = "\xCA\xD4\xCD\xBC\xD0\xDE\xB8\xB4";  // 试图修复
const std::string kAgain = "\xD4\xD9\xB4\xCE";                // 再次
const std::string kException = "\xCA\xB1\xD2\xEC\xB3\xA3\xA3\xBA";  // 时异常：

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
    const std::string broken = kFailed + "'/home/x' - broken";
    EXPECT_EQ(Logged(broken + ". " + kTry + "..."), needed > 0);
    EXPECT_EQ(Logged(broken + ". " + kAgain + kTry + "..."), needed > 1);
    EXPECT_EQ(Logged(broken + "\r\n"), needed > 2);
  }
}

TEST_F(OpenWithRepairTest, GoesOnWhenARepairFails) {
  FakeEnvironment environment;
  environment.repairs_needed = 3;
  environment.repair_fails = true;
  EXPECT_FALSE(OpenWithRepair(environment, "/home/x"));
  EXPECT_EQ(environment.calls, "oroCo");
  const std::string end = "'/home/x'" + kException + " no repair";
  ExpectLogged(kFailed + kTry + end);
  ExpectLogged(kFailed + kAgain + kTry + end);
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
