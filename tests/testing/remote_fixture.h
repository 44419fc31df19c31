#ifndef TESTING_REMOTE_FIXTURE_H_
#define TESTING_REMOTE_FIXTURE_H_

#include <gtest/gtest.h>

#include <filesystem>

#include "kiv/startup.h"
#include "port/test_folder.h"
#include "testing/remote_servant.h"
#include "testing/test_log.h"

namespace kiv::testing {

// A fresh service folder, bin/ the current one, and the library running.
class RemoteTest : public ::testing::Test {
 protected:
  RemoteTest() {
    GlobalInit();
    std::filesystem::create_directory("conf");
    std::filesystem::create_directory("bin");
    std::filesystem::current_path("bin");
  }
  ~RemoteTest() override { GlobalUninit(); }

  const TestFolder folder_;
  const TestLog log_{folder_.path() / "bin"};
};

}  // namespace kiv::testing

#endif  // TESTING_REMOTE_FIXTURE_H_
