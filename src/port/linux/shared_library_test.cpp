#include "port/shared_library.h"

#include <elf.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <tuple>

#include "port/test_folder.h"

namespace kiv::port {
namespace {

namespace fs = std::filesystem;

TEST(ModuleOnDisk, IsFoundUnderTheNameThatWindowsWrote) {
  // Files with blanks between, what is wanted, and what is found.
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"P.DLL", "P.DLL", "P.DLL"},
      {"Lib/Proc.dll", "LIB\\PROC.DLL", "Lib/Proc.dll"},
      {"lib/proc.so", "LIB/PROC.DLL", "lib/proc.so"},
      {"lib/libproc.so", "LIB/PROC.DLL", "lib/libproc.so"},
      {"libproc.so", "./LIBPROC.SO.DLL", "libproc.so"},
      {"PROC.DLL proc.so libproc.so", "PROC.DLL", "PROC.DLL"},
      {"LIB/p.so lib/p.so", "LIB/P.DLL", "LIB/p.so"},
      {"lib/p.so bin/x", "bin/../LIB/P.DLL", "bin/../lib/p.so"},
      {"p.so/x", "P.DLL", "missing"},
      {"lib", "LIB/P.DLL", "missing"},
      {"proc2.so", "PROC.DLL", "missing"},
      {"", "", "missing"}};
  std::string found, reason;
  for (const auto& [names, wanted, expected] : cases) {
    const TestFolder folder;
    std::istringstream files(names);
    for (std::string file; files >> file;) {
      fs::create_directories(fs::path("./" + file).parent_path());
      WriteTestFile(file);
    }
    if (FindModule(wanted, found, reason) == ModuleLookup::Missing)
      found = "missing";
    EXPECT_EQ(found, expected) << wanted << reason;
  }
  const TestFolder folder;
  WriteTestFile("proc.so");
  WriteTestFile("libproc.so");
  EXPECT_EQ(FindModule("PROC.DLL", found, reason), ModuleLookup::Ambiguous);
  EXPECT_NE(reason.find("'proc.so'"), std::string::npos) << reason;
  EXPECT_NE(reason.find("'libproc.so'"), std::string::npos) << reason;
}

class LibraryTrust : public ::testing::Test {
 protected:
  void SetUp() override {
    ::unsetenv("KIV_MODULE_TRUST");
    fs::create_directory("lib");
    fs::copy_file(KIV_TEST_PROCESSOR, "lib/p.so");
    ASSERT_EQ(::chmod("lib", 0755), 0);
    ASSERT_EQ(::chmod("lib/p.so", 0755), 0);
  }
  void TearDown() override { ::unsetenv("KIV_MODULE_TRUST"); }

  bool Loads() {
    reason_.clear();
    return SharedLibrary::Open("LIB/P.DLL", reason_) != nullptr;
  }
  bool IsRefusedFor(const std::string& what) {
    return !Loads() && reason_.find("refused") != std::string::npos &&
           reason_.find(what) != std::string::npos;
  }

  const TestFolder folder_;
  std::string reason_;
};

TEST_F(LibraryTrust, RefusesAWorldWritableFileOrFolder) {
  EXPECT_TRUE(Loads()) << reason_;
  ASSERT_EQ(::chmod("lib/p.so", 0757), 0);
  EXPECT_TRUE(IsRefusedFor("everybody")) << reason_;
  ASSERT_EQ(::chmod("lib/p.so", 0755), 0);
  ASSERT_EQ(::chmod("lib", 01777), 0);
  ::setenv("KIV_MODULE_TRUST", "all", 1);
  EXPECT_TRUE(IsRefusedFor("everybody")) << reason_;
  ::setenv("KIV_MODULE_TRUST", "any", 1);
  EXPECT_TRUE(Loads()) << reason_;
}

TEST_F(LibraryTrust, LooksAtEveryFolderOnTheWay) {
  fs::create_directories("srv/app/real");
  fs::rename("lib/p.so", "srv/app/real/p.so");
  fs::remove("lib");
  // A link in the middle of the path, and back through a parent.
  fs::create_symlink(folder_.path() / "srv/app/real/../real", "lib");
  EXPECT_TRUE(Loads()) << reason_;
  for (const char* folder : {"srv", "srv/app"}) {
    ASSERT_EQ(::chmod(folder, 0777), 0);
    EXPECT_TRUE(IsRefusedFor("/" + std::string(folder) + "' may be written"))
        << reason_;
    // Others may add to it, but not replace what is ours.
    ASSERT_EQ(::chmod(folder, 01777), 0);
    EXPECT_TRUE(Loads()) << reason_;
    ASSERT_EQ(::chmod(folder, 0755), 0);
  }
  // Where the link lies counts as well as where it leads.
  ASSERT_EQ(::chmod(".", 0777), 0);
  EXPECT_TRUE(IsRefusedFor(folder_.path().string() + "' may be written"))
      << reason_;
  ASSERT_EQ(::chmod(".", 0755), 0);
  // And where the file itself is a link.
  fs::create_directory("open");
  fs::rename("lib/p.so", "open/real.so");
  fs::create_symlink("../../../open/real.so", "srv/app/real/p.so");
  EXPECT_TRUE(Loads()) << reason_;
  ASSERT_EQ(::chmod("open", 0777), 0);
  EXPECT_TRUE(IsRefusedFor("/open'")) << reason_;
}

TEST_F(LibraryTrust, RefusesForeignOwnersAndGroups) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to give files away";
  constexpr unsigned kOther = 4711;
  ASSERT_EQ(::chmod("lib/p.so", 0775), 0);
  EXPECT_TRUE(Loads()) << reason_;
  ASSERT_EQ(::chown("lib/p.so", 0, kOther), 0);
  EXPECT_TRUE(IsRefusedFor("group 4711")) << reason_;
  ASSERT_EQ(::chmod("lib/p.so", 0755), 0);
  EXPECT_TRUE(Loads()) << reason_;
  // The owner of a link, and of a folder further up, decides what lies there.
  fs::rename("lib", "real");
  fs::create_symlink("real", "lib");
  EXPECT_TRUE(Loads()) << reason_;
  for (const char* name : {"lib", "real", "."}) {
    ASSERT_EQ(::lchown(name, kOther, 0), 0);
    EXPECT_TRUE(IsRefusedFor("belongs to user 4711")) << name << reason_;
    ASSERT_EQ(::lchown(name, 0, 0), 0);
  }
}

TEST(SharedLibraryOpen, SaysWhyAFileIsNoLibraryOfOurs) {
  const TestFolder folder;
  const std::tuple<const char*, std::string, const char*> cases[] = {
      {"empty.so", "", "the file is empty"},
      {"windows.dll", std::string("MZ\x90\0", 4), "a Windows library"},
      {"text.so", "#!/bin/sh\nexit 0\n", "no shared library"},
      {"short.so", ELFMAG, "broken off"}};
  std::string reason;
  for (const auto& [name, bytes, expected] : cases) {
    WriteTestFile(name, bytes);
    EXPECT_EQ(SharedLibrary::Open(name, reason), nullptr) << name;
    EXPECT_NE(reason.find(expected), std::string::npos) << name << reason;
  }
  ASSERT_EQ(::mkfifo("fifo.so", 0700), 0);
  EXPECT_EQ(SharedLibrary::Open("fifo.so", reason), nullptr);
  EXPECT_EQ(reason, "this is no file");
}

}  // namespace
}  // namespace kiv::port
