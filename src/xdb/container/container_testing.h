#ifndef XDB_CONTAINER_CONTAINER_TESTING_H_
#define XDB_CONTAINER_CONTAINER_TESTING_H_

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "port/test_folder.h"
#include "util/runtime.h"
#include "xdb/container/container.h"
#include "xdb/container/store_error.h"

// For tests.
namespace kiv::xdb {

inline constexpr EnvironmentSwitches kWhole = {
    .thread = true, .lock = true, .log = true, .transactions = true};
inline constexpr ContainerSwitches kCreate = {
    .create = true, .encrypted = true, .thread = true, .transactional = true};

// An environment with one container in a fresh folder.
class ContainerTest : public testing::Test {
 protected:
  ContainerTest() {
    StartValues();
    Open();
  }
  ~ContainerTest() override {
    Close();
    StopValues();
  }

  void Open(const std::string& password = "") {
    std::filesystem::create_directory("home");
    environment_ = std::make_shared<Environment>();
    const int code = environment_->Open("home", kWhole, password);
    ASSERT_EQ(code, 0) << environment_->ErrorText();
    container_ = OpenContainer(environment_, "orders.xdb", kCreate);
  }
  void Close() {
    container_.reset();
    environment_.reset();
  }

  // As another process has it: nothing in memory is shared.
  std::shared_ptr<Container> OpenAgain() {
    return OpenContainer(environment_, "orders.xdb", kCreate);
  }

  static std::vector<std::string> Names(const Container& container,
                                        Transaction* transaction = nullptr) {
    std::vector<std::string> names;
    container.EachName(
        [&](const std::string& name) {
          names.push_back(name);
          return true;
        },
        transaction);
    return names;
  }

  // All documents, each as "name=content;".
  static std::string Documents(const Container& container) {
    std::string text;
    for (const std::string& name : Names(container))
      text += name + "=" + container.Get(name, nullptr) + ";";
    return text;
  }
  // And it is sound.
  void ExpectDocuments(const std::string& expected) const {
    EXPECT_EQ(Documents(*container_), expected);
    EXPECT_THAT(container_->Verify(), testing::IsEmpty());
  }

  // What `call` throws; Other with "nothing" when it does not.
  template <class Call>
  static StoreError Thrown(Call call) {
    try {
      call();
    } catch (const StoreError& error) {
      return error;
    }
    return StoreError(Failure::Other, "nothing");
  }

  TestFolder folder_;
  std::shared_ptr<Environment> environment_;
  std::shared_ptr<Container> container_;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_CONTAINER_TESTING_H_
