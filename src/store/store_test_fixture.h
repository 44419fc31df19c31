#ifndef STORE_STORE_TEST_FIXTURE_H_
#define STORE_STORE_TEST_FIXTURE_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "dm/data_runtime.h"
#include "dm/object.h"
#include "kiv/store/factory.h"
#include "port/test_folder.h"
#include "testing/test_log.h"
#include "util/runtime.h"

namespace kiv::store {

using Any = dm::ObjectPtr<int*>;
using StructPtr = dm::ObjectPtr<dm::StructType>;

// A started library in a folder of its own, with its log.
class StoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    StartValues();
    ASSERT_TRUE(StartData());
  }
  void TearDown() override {
    StopData();
    StopValues();
  }

  static std::shared_ptr<Connection> Make(const std::string& text) {
    return Factory().CreateConnection(text);
  }
  // Whether the log has just this entry, but for its time; `text` in the local
  // encoding.
  bool Logged(const std::string& category, const std::string& source,
              const std::string& text) const {
    return log_.Count("[" + category + "] " + source + ": " + text + "\r\n") ==
           1;
  }
  bool LoggedError(const std::string& text) const {
    return Logged(kError, "db", text);
  }
  bool LoggedErrorThatBegins(const std::string& text) const {
    return log_.Has(std::string("[") + kError + "] db: " + text);
  }

  static constexpr char kError[] = "\xB4\xED\xCE\xF3";    // 错误
  static constexpr char kWarning[] = "\xBE\xAF\xB8\xE6";  // 警告

  TestFolder folder_;
  const kiv::testing::TestLog log_{folder_.path()};
};

}  // namespace kiv::store

#endif  // STORE_STORE_TEST_FIXTURE_H_
