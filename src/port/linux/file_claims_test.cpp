#include "port/file_claims.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "port/file.h"
#include "port/linux/descriptor.h"
#include "port/test_folder.h"

namespace {

// What others do before the next file is opened below a folder.
std::function<void()> before_next_open;

}  // namespace

// Instead of the C library's, for this program.
extern "C" int openat(int folder, const char* name, int flags, ...) {
  if (before_next_open) std::exchange(before_next_open, nullptr)();
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list rest;
    va_start(rest, flags);
    mode = va_arg(rest, mode_t);
    va_end(rest);
  }
  return static_cast<int>(::syscall(SYS_openat, folder, name, flags, mode));
}

namespace kiv::port {
namespace {

namespace fs = std::filesystem;
using Certainty = ChangeRecord::Certainty;
using Outcome = FileClaims::Outcome;

class Claims : public ::testing::Test {
 protected:
  Claims() {
    fs::create_directories("in/sub");
    claims_ = FileClaims::Open("in", reason_);
  }
  void SetUp() override { ASSERT_NE(claims_, nullptr) << reason_; }

  FileClaims::Taking Take(const std::string& name,
                          Certainty certainty = Certainty::Closed) {
    constexpr std::size_t kMostBytes = 1000;
    return claims_->Take(name, certainty, kMostBytes, bytes_);
  }

  const TestFolder folder_;
  std::string reason_;
  std::unique_ptr<FileClaims> claims_;
  std::string bytes_;
};

// The writer comes to its end between the look by name and the opening.
TEST_F(Claims, TakeAFileAsItsWriterLeftIt) {
  Descriptor writer(::open("in/file", O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  EXPECT_TRUE(WriteAll(writer.get(), "begins, "));
  EXPECT_EQ(Take("file", Certainty::Found).outcome, Outcome::BeingWritten);
  before_next_open = [&] {
    EXPECT_TRUE(WriteAll(writer.get(), "ends"));
    EXPECT_TRUE(writer.Close());
  };
  const FileClaims::Taking taking = Take("file", Certainty::Found);
  EXPECT_EQ(taking.outcome, Outcome::Taken) << taking.reason;
  EXPECT_EQ(bytes_, "begins, ends");
  EXPECT_FALSE(claims_->HasChanged(taking.claim));
}

// Whoever holds the file gives it back in his own time.
TEST_F(Claims, WaitForWhoHoldsTheFile) {
  WriteTestFile("in/held", "held");
  {
    const Descriptor holder(::open("in/held", O_RDWR | O_CLOEXEC));
    // He is asked for it by a signal; one that does nothing.
    ASSERT_EQ(::fcntl(holder.get(), F_SETSIG, SIGURG), 0);
    if (::fcntl(holder.get(), F_SETLEASE, F_WRLCK) != 0)
      GTEST_SKIP() << "the file system knows no leases";
    EXPECT_EQ(Take("held").outcome, Outcome::BeingWritten);
    EXPECT_TRUE(fs::exists("in/held"));
  }
  EXPECT_EQ(Take("held").outcome, Outcome::Taken);
  EXPECT_EQ(bytes_, "held");
}

TEST_F(Claims, LeaveFilesThatCannotBeOpenedNowForLater) {
  for (const std::string name : {"file", "sub/file"}) {
    WriteTestFile("in/" + name);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const FileClaims::Taking taking = Take(name);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(taking.outcome, Outcome::Refused);
    EXPECT_EQ(taking.reason, "it cannot be opened now: Too many open files");
    EXPECT_EQ(Take(name).outcome, Outcome::Taken);
  }
}

// Linked by another user's program, which then took the first name away: nobody
// closes it, and a host without rights is not told who writes it.
TEST_F(Claims, AreUnsureOfANewNameOfAnothersFile) {
  WriteTestFile("in/file", "whole");
  if (::chown("in/file", 65534, 65534) != 0)
    GTEST_SKIP() << "a file of another user needs the right to give one away";
  std::thread([&] {
    // Of this thread alone.
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct rights[2]{};
    ASSERT_EQ(::syscall(SYS_capget, &header, rights), 0);
    rights[0].effective &= ~(1U << CAP_LEASE);
    ASSERT_EQ(::syscall(SYS_capset, &header, rights), 0);
    EXPECT_EQ(Take("file", Certainty::Created).outcome, Outcome::Unsure);
    EXPECT_EQ(Take("file", Certainty::Found).outcome, Outcome::Unsure);
    EXPECT_EQ(Take("file", Certainty::Stable).outcome, Outcome::Taken);
  }).join();
}

TEST_F(Claims, ThatSomebodyTookAwayAreNotFound) {
  for (const std::string name : {"file", "sub/file"}) {
    WriteTestFile("in/" + name);
    const FileClaims::Taking taking = Take(name);
    ASSERT_EQ(taking.outcome, Outcome::Taken);
    for (const auto& run : fs::directory_iterator("in/.processing"))
      fs::remove_all(run.path() / "1");
    EXPECT_FALSE(claims_->Delete(taking.claim));
    EXPECT_TRUE(IsNotFound(LastError())) << name;
    EXPECT_FALSE(claims_->MoveToDone(taking.claim));
    EXPECT_TRUE(IsNotFound(LastError())) << name;
    // The next file is not lost with the folders of claims.
    WriteTestFile("in/" + name);
    EXPECT_EQ(Take(name).outcome, Outcome::Lost);
    EXPECT_TRUE(fs::exists("in/" + name));
    claims_ = FileClaims::Open("in", reason_);
  }
}

TEST_F(Claims, AreThereStillWhereAFileIsInTheWay) {
  WriteTestFile("in/file");
  const FileClaims::Taking taking = Take("file");
  ASSERT_EQ(taking.outcome, Outcome::Taken);
  fs::remove_all("in/.failed");
  WriteTestFile("in/.failed");
  EXPECT_FALSE(claims_->MoveToFailed(taking.claim, "why"));
  EXPECT_FALSE(IsNotFound(LastError()));
  fs::remove("in/.failed");
  EXPECT_TRUE(claims_->MoveToFailed(taking.claim, "why"));
}

}  // namespace
}  // namespace kiv::port
