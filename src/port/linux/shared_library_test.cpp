#include "port/shared_library.h"

#include <elf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>

#include "port/test_folder.h"

namespace kiv::port {
namespace {

namespace fs = std::filesystem;

TEST(ModuleOnDisk, IsFoundUnderTheNameThatWindowsWrote) {
  const struct {
    const char* name;
    std::string files;  // with blanks between
    const char* wanted;
    const char* found;  // null: not found
  } cases[] = {
      {"AsWritten", "P.DLL", "P.DLL", "P.DLL"},
      {"OtherCase", "Lib/Proc.dll", "LIB\\PROC.DLL", "Lib/Proc.dll"},
      {"SoForDll", "lib/proc.so", "LIB/PROC.DLL", "lib/proc.so"},
      {"LibPrefix", "lib/libproc.so", "LIB/PROC.DLL", "lib/libproc.so"},
      {"SoWasWritten", "libproc.so", "./LIBPROC.SO.DLL", "libproc.so"},
      {"ExactWins", "PROC.DLL proc.so libproc.so", "PROC.DLL", "PROC.DLL"},
      {"ExactFolderWins", "LIB/p.so lib/p.so", "LIB/P.DLL", "LIB/p.so"},
      {"Parent", "lib/p.so bin/x", "bin/../LIB/P.DLL", "bin/../lib/p.so"},
      {"FolderIsNoModule", "p.so/x", "P.DLL", nullptr},
      {"FileIsNoFolder", "lib", "LIB/P.DLL", nullptr},
      {"OtherName", "proc2.so", "PROC.DLL", nullptr},
      {"Empty", "", "", nullptr}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const TestFolder folder;
    std::istringstream files(row.files);
    for (std::string file; files >> file;) {
      fs::create_directories(fs::path("./" + file).parent_path());
      WriteTestFile(file);
    }
    std::string found, reason;
    const ModuleLookup result = FindModule(row.wanted, found, reason);
    EXPECT_EQ(result, row.found == nullptr ? ModuleLookup::Missing
                                           : ModuleLookup::Found)
        << reason;
    if (row.found != nullptr) {
      EXPECT_EQ(found, row.found);
    }
  }
}

TEST(ModuleOnDiskTwice, IsRefusedAndBothAreNamed) {
  const TestFolder folder;
  WriteTestFile("proc.so");
  WriteTestFile("libproc.so");
  std::string found;
  std::string reason;
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
  EXPECT_TRUE(IsRefusedFor("everybody")) << reason_;
  ::setenv("KIV_MODULE_TRUST", "all", 1);
  EXPECT_TRUE(IsRefusedFor("everybody")) << reason_;
  ::setenv("KIV_MODULE_TRUST", "any", 1);
  EXPECT_TRUE(Loads()) << reason_;
}

TEST_F(LibraryTrust, LooksAtTheFolderThatALinkLeadsTo) {
  fs::create_directory("open");
  fs::rename("lib/p.so", "open/real.so");
  fs::create_symlink("../open/real.so", "lib/p.so");
  EXPECT_TRUE(Loads()) << reason_;
  ASSERT_EQ(::chmod("open", 0777), 0);
  EXPECT_TRUE(IsRefusedFor("/open'")) << reason_;
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
  ASSERT_EQ(::chown("lib", kOther, 0), 0);
  EXPECT_TRUE(IsRefusedFor("user 4711")) << reason_;
  ASSERT_EQ(::chown("lib", 0, 0), 0);

  // The owner of a link, and of a folder further up, decides what lies there.
  fs::rename("lib", "real");
  fs::create_symlink("real", "lib");
  EXPECT_TRUE(Loads()) << reason_;
  ASSERT_EQ(::lchown("lib", kOther, 0), 0);
  EXPECT_TRUE(IsRefusedFor("/lib' belongs to user 4711")) << reason_;
  ASSERT_EQ(::lchown("lib", 0, 0), 0);
  ASSERT_EQ(::chown(".", kOther, 0), 0);
  EXPECT_TRUE(IsRefusedFor("user 4711")) << reason_;
}

TEST(SharedLibraryOpen, SaysWhyAFileIsNoLibraryOfOurs) {
  const TestFolder folder;
  const std::string whole = ReadTestFile(KIV_TEST_PROCESSOR);
  std::string narrow = whole.substr(0, 4096);
  narrow[4] = 1;
  const struct {
    const char* name;
    std::string bytes;
    const char* reason;
  } cases[] = {
      {"empty.so", "", "the file is empty"},
      {"windows.dll", std::string("MZ\x90\0", 4), "a Windows library"},
      {"text.so", "#!/bin/sh\nexit 0\n", "no shared library"},
      {"short.so", ELFMAG, "broken off"},
      {"narrow.so", narrow, "another machine"},
  };
  for (const auto& file : cases) {
    WriteTestFile(file.name, file.bytes);
    std::string reason;
    EXPECT_EQ(SharedLibrary::Open(file.name, reason), nullptr) << file.name;
    EXPECT_NE(reason.find(file.reason), std::string::npos)
        << file.name << ": " << reason;
  }
  ASSERT_EQ(::mkfifo("fifo.so", 0700), 0);
  std::string reason;
  EXPECT_EQ(SharedLibrary::Open("fifo.so", reason), nullptr);
  EXPECT_EQ(reason, "this is no file");
}

}  // namespace
}  // namespace kiv::port
