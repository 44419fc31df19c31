#include "port/shared_library.h"

#include <elf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "port/test_folder.h"

namespace kiv::port {
namespace {

namespace fs = std::filesystem;

struct LookupCase {
  const char* name;
  std::vector<const char*> files;
  const char* wanted;
  const char* found;  // null: not found
};

class ModuleOnDisk : public ::testing::TestWithParam<LookupCase> {};

TEST_P(ModuleOnDisk, IsFoundUnderTheNameThatWindowsWrote) {
  const TestFolder folder;
  for (const char* file : GetParam().files) {
    fs::create_directories(fs::path("./" + std::string(file)).parent_path());
    WriteTestFile(file);
  }
  std::string found;
  std::string reason;
  const ModuleLookup result = FindModule(GetParam().wanted, found, reason);
  if (GetParam().found == nullptr) {
    EXPECT_EQ(result, ModuleLookup::Missing) << found;
  } else {
    EXPECT_EQ(result, ModuleLookup::Found) << reason;
    EXPECT_EQ(found, GetParam().found);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Path, ModuleOnDisk,
    ::testing::Values(
        LookupCase{"AsWritten", {"P.DLL"}, "P.DLL", "P.DLL"},
        LookupCase{
            "OtherCase", {"Lib/Proc.dll"}, "LIB\\PROC.DLL", "Lib/Proc.dll"},
        LookupCase{"SoForDll", {"lib/proc.so"}, "LIB/PROC.DLL", "lib/proc.so"},
        LookupCase{
            "LibPrefix", {"lib/libproc.so"}, "LIB/PROC.DLL", "lib/libproc.so"},
        LookupCase{
            "SoWasWritten", {"libproc.so"}, "./LIBPROC.SO.DLL", "libproc.so"},
        LookupCase{"ExactWins",
                   {"PROC.DLL", "proc.so", "libproc.so"},
                   "PROC.DLL",
                   "PROC.DLL"},
        LookupCase{"ExactFolderWins",
                   {"LIB/p.so", "lib/p.so"},
                   "LIB/P.DLL",
                   "LIB/p.so"},
        LookupCase{"Parent",
                   {"lib/p.so", "bin/x"},
                   "bin/../LIB/P.DLL",
                   "bin/../lib/p.so"},
        LookupCase{"FolderIsNoModule", {"p.so/x"}, "P.DLL", nullptr},
        LookupCase{"FileIsNoFolder", {"lib"}, "LIB/P.DLL", nullptr},
        LookupCase{"OtherName", {"proc2.so"}, "PROC.DLL", nullptr},
        LookupCase{"Empty", {}, "", nullptr}),
    [](const auto& test) { return test.param.name; });

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

TEST_F(LibraryTrust, TakesAFileThatOnlyItsOwnerMayWrite) {
  EXPECT_TRUE(Loads()) << reason_;
}

TEST_F(LibraryTrust, RefusesAWorldWritableFileOrFolder) {
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
  struct Case {
    const char* name;
    std::string bytes;
    const char* reason;
  };
  const std::string whole = ReadTestFile(KIV_TEST_PROCESSOR);
  std::string arm = whole.substr(0, 4096);
  arm[18] = '\xB7';
  arm[19] = 0;
  std::string narrow = arm;
  narrow[4] = 1;
  const Case cases[] = {
      {"empty.so", "", "the file is empty"},
      {"windows.dll", std::string("MZ\x90\0", 4), "a Windows library"},
      {"text.so", "#!/bin/sh\nexit 0\n", "no shared library"},
      {"short.so", ELFMAG, "broken off"},
      {"half.so", whole.substr(0, 2000), "broken off"},
      {"arm.so", arm, "another machine (ELF machine 183"},
      {"narrow.so", narrow, "another machine"},
  };
  for (const Case& file : cases) {
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

TEST(SharedLibrarySymbol, IsLookedUpByItsExactName) {
  const TestFolder folder;
  fs::copy_file(KIV_TEST_PROCESSOR, "p.so");
  ::chmod("p.so", 0700);
  std::string reason;
  const auto library = SharedLibrary::Open("p.so", reason);
  ASSERT_NE(library, nullptr) << reason;
  EXPECT_NE(library->Symbol("Record", reason), nullptr);
  EXPECT_EQ(library->Symbol("record", reason), nullptr);
  EXPECT_NE(reason.find("record"), std::string::npos) << reason;
}

}  // namespace
}  // namespace kiv::port
