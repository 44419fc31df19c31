#include "kiv/file_system.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "port/test_folder.h"

namespace kiv {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::UnorderedElementsAre;

constexpr char kChineseName[] = "\xD6\xD0\xB9\xFA.txt";  // 中国
constexpr char kChineseNameUtf8[] = "\xE4\xB8\xAD\xE5\x9B\xBD.txt";

FileSystemPath Native(const std::string& text) {
  return {text, FileSystemPath::native};
}

class FileSystemTest : public testing::Test {
 protected:
  // The texts of the entries, in no order.
  static std::vector<std::string> List(const char* folder) {
    std::vector<std::string> names;
    for (Directory_Iterator entry{folder}; entry != Directory_Iterator();
         ++entry)
      names.push_back(entry->string());
    return names;
  }

  template <class Action>
  static std::string WhatIsThrown(Action action) {
    try {
      action();
    } catch (const std::exception& error) {
      return error.what();
    }
    return "nothing";
  }

  TestFolder folder_;
};

TEST_F(FileSystemTest, TellsFilesFromFoldersThroughLinks) {
  WriteTestFile("file", "x");
  fs::create_directory("folder");
  fs::create_directory_symlink("folder", "link");
  fs::create_symlink("nowhere", "dangling");
  ASSERT_EQ(::mkfifo("pipe", 0600), 0);
  fs::create_directories("full/empty");
  const auto kind = [](const char* name) {
    const FileSystemPath path(name);
    return std::string(FileSystem::exists(path) ? "e" : "-") +
           (FileSystem::is_directory(path) ? "d" : "-") +
           (FileSystem::is_file(path) ? "f" : "-") +
           (FileSystem::is_empty(path) ? "0" : "-");
  };
  const std::pair<const char*, const char*> kinds[] = {
      {"file", "e-f-"}, {"folder", "ed-0"},   {"link", "ed-0"},
      {"pipe", "e-f0"}, {"dangling", "----"}, {"file/below", "----"},
      {"", "----"},     {"full", "ed--"}};
  for (const auto& [name, expected] : kinds)
    EXPECT_EQ(kind(name), expected) << name;
}

TEST_F(FileSystemTest, NamesOnDiskAreUtf8) {
  const FileSystemPath folder("\xC4\xBF\xC2\xBC");  // 目录
  EXPECT_TRUE(FileSystem::create_directory(folder));
  const fs::path utf8("\xE7\x9B\xAE\xE5\xBD\x95");
  WriteTestFile(utf8 / kChineseNameUtf8, "x");
  const FileSystemPath file = folder / kChineseName;
  EXPECT_TRUE(FileSystem::is_file(file));
  EXPECT_THAT(List(folder.string().c_str()),
              UnorderedElementsAre(file.string()));
  EXPECT_TRUE(FileSystem::rename(file, kChineseName));
  for (const bool is_free : {true, false})
    EXPECT_EQ(FileSystem::copy_file(kChineseName, "copy"), is_free);
  EXPECT_EQ(ReadTestFile("copy") + ReadTestFile(kChineseNameUtf8), "xx");
}

TEST_F(FileSystemTest, InitialPathStaysTheFirst) {
  const std::string initial = FileSystem::initial_path().string();
  fs::create_directory("other");
  fs::current_path("other");
  EXPECT_EQ(FileSystem::initial_path().string(), initial);
}

TEST_F(FileSystemTest, MakesFoldersFromTheTop) {
  WriteTestFile("file");
  // A drive is a name here, and what is there is enough.
  for (const char* name : {"a/b/c", "a/b/c", "", "c:/x", "file"})
    EXPECT_TRUE(FileSystem::create_directories(Native(name))) << name;
  EXPECT_TRUE(fs::is_directory("a/b/c"));
  EXPECT_TRUE(fs::is_directory("c:/x"));
  EXPECT_FALSE(FileSystem::create_directories("file/x/y"));
  EXPECT_FALSE(FileSystem::create_directory("a"));
  std::string deep = "deep";
  for (int i = 0; i < 50000; ++i) deep += "/d";
  EXPECT_FALSE(FileSystem::create_directories(deep));
  EXPECT_FALSE(fs::exists("deep")) << "left something behind";
}

TEST_F(FileSystemTest, RemovesOneObjectAndNeverWhatALinkLeadsTo) {
  fs::create_directories("full/sub");
  WriteTestFile("file");
  fs::create_directory_symlink("full", "link");
  EXPECT_FALSE(FileSystem::remove("full"));
  for (const char* name : {"missing", "file/below", "link", "file"}) {
    EXPECT_TRUE(FileSystem::remove(name)) << name;
    EXPECT_FALSE(fs::exists(fs::symlink_status(name))) << name;
  }
  EXPECT_TRUE(FileSystem::remove("full/sub"));
}

TEST_F(FileSystemTest, CompletesPathsAgainstTheCurrentFolder) {
  const std::string here = folder_.path().string();
  EXPECT_EQ(FileSystem::current_path().string(), here);
  EXPECT_EQ(FileSystem::system_complete(FileSystemPath()).string(), "");
  EXPECT_EQ(FileSystem::system_complete(Native("a/./b/../c\\")).string(),
            here + "/a/c");
  EXPECT_EQ(FileSystem::system_complete(Native("/x/../../y")).string(), "/y");
  const std::string longest = "/" + std::string(259, 'x');
  EXPECT_EQ(FileSystem::system_complete(Native(longest)).string(), longest);
  EXPECT_EQ(
      WhatIsThrown([&] { FileSystem::system_complete(Native(longest + "x")); }),
      "FileSystem::system_complete");
}

TEST_F(FileSystemTest, NamesNoFolderThatIsGoneOrThatItsTextsCannotHold) {
  for (const char* const name :
       {"gone", "\xF0\x9F\x98\x80", "a\xFFz", "b\\s"}) {
    SCOPED_TRACE(name);
    const fs::path folder = folder_.path() / name;
    fs::create_directory(folder);
    fs::current_path(folder);
    if (folder.filename() == "gone") fs::remove(folder);
    EXPECT_EQ(WhatIsThrown([] { FileSystem::current_path(); }),
              "FileSystem::current_path");
    EXPECT_EQ(WhatIsThrown([] { FileSystem::system_complete(Native("x")); }),
              "FileSystem::system_complete");
    EXPECT_EQ(FileSystem::system_complete(Native("/x")).string(), "/x");
  }
  // In the local encoding its second byte is that of a "\".
  const char name[] = "\xE8\xAA\xA0";  // 誠
  fs::current_path(folder_.path());
  fs::create_directory(name);
  fs::current_path(name);
  EXPECT_EQ(FileSystem::current_path().leaf(), "\xD5\x5C");
}

TEST(FileSystem, CompletesAgainstABase) {
  const auto complete = [](const char* path, const char* base) {
    return FileSystem::complete(Native(path), Native(base)).string();
  };
  EXPECT_EQ(complete("", "c:/b"), "");
  EXPECT_EQ(complete("d:/x", "c:/b"), "d:/x");
  EXPECT_EQ(complete("../x", "c:/b"), "c:/x");
  EXPECT_EQ(complete("/x", "//srv/b"), "//srv/x");
  EXPECT_EQ(complete("/x", "/b"), "/x");
  EXPECT_EQ(complete("d:x", "c:/b"), "c:/bd:x");
}

TEST_F(FileSystemTest, IteratesOverEveryNameAsItIs) {
  EXPECT_EQ(Directory_Iterator(), Directory_Iterator());
  fs::create_directory("empty");
  EXPECT_EQ(Directory_Iterator("empty"), Directory_Iterator());
  fs::create_directory("d");
  for (const char* name : {"a:b", "..data", " blank ", "new\nline", "x*?",
                           "e:", kChineseNameUtf8, "back\\slash", "\xFF\xFE"})
    WriteTestFile(fs::path("d") / name, name);
  // Two names hold what our texts cannot; what is left of them leads nowhere.
  EXPECT_THAT(List("d"), UnorderedElementsAre(
                             "d/a:b", "d/..data", "d/ blank ", "d/new\nline",
                             "d/x*?", "d/e:", std::string("d/") + kChineseName,
                             "d/back?slash", "d/??"));
  std::size_t found = 0;
  for (Directory_Iterator entry{"d"}; entry != Directory_Iterator(); ++entry)
    found += FileSystem::is_file(*entry) ? 1 : 0;
  EXPECT_EQ(found, 7U);
  EXPECT_EQ(FileSystem::remove_all("missing"), 0U);
  EXPECT_EQ(FileSystem::remove_all(FileSystemPath()), 0U);
  EXPECT_EQ(FileSystem::remove_all("d"), 10U);
  EXPECT_FALSE(fs::exists("d"));
}

TEST_F(FileSystemTest, CopiesOfAnIteratorShareTheirPosition) {
  fs::create_directories("d/one");
  fs::create_directories("d/two");
  Directory_Iterator entry{"d"};
  const Directory_Iterator copy = entry;
  const std::string first = entry->string();
  EXPECT_EQ((*entry++).string(), first);
  EXPECT_NE(copy->string(), first);
  EXPECT_NE(Directory_Iterator("d"), entry);
  EXPECT_EQ(++entry, Directory_Iterator());
  EXPECT_EQ(copy, Directory_Iterator());
  EXPECT_EQ(++entry, Directory_Iterator());
}

TEST_F(FileSystemTest, IteratingNoFolderThrows) {
  WriteTestFile("file");
  for (const char* path : {"", "missing", "file"}) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(WhatIsThrown([&] { Directory_Iterator{path}; }),
              "dm::Directory_Iterator constructor");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Directory_Iterator constructor Failed\n");
  }
}

TEST_F(FileSystemTest, FindsFilesDepthFirst) {
  FileSystemPath found("untouched");
  const auto find = [&](const char* top, const char* name) {
    return FileSystem::find_file(top, name, found);
  };
  fs::create_directories("top/sub/deep");
  WriteTestFile("top/sub/deep/wanted");
  // Searching these without an end would take 2 to the 40th steps.
  fs::create_directory_symlink("..", "top/sub/up");
  fs::create_directory_symlink("../..", "top/sub/deep/up");
  fs::create_symlink("nowhere", "top/dangling");
  EXPECT_FALSE(find("missing", "x"));
  EXPECT_FALSE(find("top", "WANTED"));
  EXPECT_FALSE(find("top", "deep"));
  EXPECT_EQ(found.string(), "untouched");
  EXPECT_TRUE(find("top", "wanted"));
  EXPECT_TRUE(FileSystem::is_file(found));
  EXPECT_TRUE(find("top", "dangling")) << "unreadable attributes are no folder";
}

TEST_F(FileSystemTest, AFolderThatMayNotBeReadHoldsNothingToFind) {
  fs::create_directories("top/locked");
  WriteTestFile("top/locked/wanted");
  fs::permissions(".", fs::perms(0755));
  fs::permissions("top/locked", fs::perms::none);
  const auto as_a_user = [] {
    if (::geteuid() == 0 && ::setuid(65534) != 0) std::exit(2);
    FileSystemPath found;
    std::exit(FileSystem::find_file("top", "wanted", found) ||
              FileSystem::is_empty("top/locked"));
  };
  EXPECT_EXIT(as_a_user(), testing::ExitedWithCode(0), "");
  fs::permissions("top/locked", fs::perms(0700));
}

TEST_F(FileSystemTest, PathVariableGetsAFolderInFrontOnce) {
  const std::string before = std::getenv("PATH");
  // Holds what our texts cannot.
  const std::string old = "/usr/bin:/opt/\xF0\x9F\x98\x80";
  const std::string here = folder_.path().string();
  ::setenv("PATH", old.c_str(), 1);
  WriteTestFile("module.so");
  EXPECT_FALSE(FileSystem::add_path_to_env(""));
  EXPECT_FALSE(FileSystem::add_path_to_env("/a:b")) << "would be two folders";
  // The last two: of a file, and a part of an entry.
  for (const std::string& path : {here, here, here + "\\module.so", "/usr"s})
    EXPECT_TRUE(FileSystem::add_path_to_env(path)) << path;
  EXPECT_STREQ(std::getenv("PATH"), (here + ":" + old).c_str());
  EXPECT_TRUE(FileSystem::add_path_to_env("/\xD6\xD0"));
  EXPECT_STREQ(std::getenv("PATH"),
               ("/\xE4\xB8\xAD:" + here + ":" + old).c_str());
  ::unsetenv("PATH");
  EXPECT_TRUE(FileSystem::add_path_to_env("/opt/x"));
  EXPECT_STREQ(std::getenv("PATH"), "/opt/x");
  ::setenv("PATH", before.c_str(), 1);
}

}  // namespace
}  // namespace kiv
