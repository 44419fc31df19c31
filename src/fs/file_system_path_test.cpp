#include "kiv/file_system_path.h"

#include <gmock/gmock.h>

#include <iterator>
#include <vector>

namespace kiv {
namespace {

using testing::ElementsAre;

std::vector<std::string> Elements(const FileSystemPath& path) {
  return {path.begin(), path.end()};
}

TEST(FileSystemPath, BuildsTheCanonicalText) {
  const struct {
    const char* name;
    std::string source;
    std::string portable;  // "!" in front: the append fails, holding the rest
    std::string native;
  } cases[] = {
      {"DoubledSeparator", "a//b", "a/b", "a/b"},
      {"TrailingSeparators", "a/b//", "a/b", "a/b"},
      {"BothSeparators", "a\\/b", "!", "a/b"},
      {"Drive", "c:\\x\\y", "!c:", "c:/x/y"},
      {"DriveInSlashes", "c:/x//y/", "c:/x/y", "c:/x/y"},
      {"NetworkBackslashes", "\\\\srv\\share", "!", "//srv/share"},
      {"NetworkDoubled", "//srv//x", "//srv/x", "//srv/x"},
      {"ThreeSeparators", "///x", "//x", "//x"},
      {"ParentFolds", "a/b/../c", "a/c", "a/c"},
      {"ParentFoldsAll", "a/..", "", ""},
      {"ParentBelowRoot", "/a/..", "/", "/"},
      {"ParentOfDrive", "c:/a/../..", "c:/..", "c:/.."},
      {"ParentOfDriveRelative", "c:a/..", "c:", "c:"},
      {"OneParentTooMany", "x/../..", "..", ".."},
      {"ParentEatsTheServer", "//srv/../x", "/x", "/x"},
      // Behind a ":" no "/" is put.
      {"NameEndsWithColon", "x/ab:/c", "!x/", "x/ab:c"},
      {"Dot", "a/./b", "!a/", "a/./b"},
      {"BlankInFront", "a/ b", "!a/", "a/ b"},
      {"BlankBehind", "a /b", "!", "a /b"},
      {"Control", "a/b\x1F", "!a/", "a/b\x1F"},
      {"Star", "a/*.txt", "!a/", "a/*.txt"},
      {"Bar", "a|b", "!", "a|b"},
      {"Nul", std::string("a/b\0c/d", 7), "!a/b", "!a/b"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    testing::internal::CaptureStderr();
    FileSystemPath portable;
    const bool fits =
        portable.m_path_append(c.source, FileSystemPath::portable);
    FileSystemPath native;
    const bool is_native =
        native.m_path_append(c.source, FileSystemPath::native);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ((fits ? "" : "!") + portable.string(), c.portable);
    EXPECT_EQ((is_native ? "" : "!") + native.string(), c.native);
    EXPECT_EQ(said.empty(), fits && is_native);
  }
}

TEST(FileSystemPath, KeepsACanonicalTextAsItIs) {
  testing::internal::CaptureStderr();
  for (const std::string text :
       {"", "/", "a/b.c", "a b/c d", "a/b.", "a/..b/...", "c:x",
        "com12:", "//srv", "//srv/share/x", "/../x", "../x", "../..",
        // A name that ends with "." is taken for "..".
        "a./..",
        // Second bytes that look like a separator or a forbidden character,
        // and a lead byte alone.
        "\x81\x5C/b", "//s\x81\x5C/x", "a\x81\x7C", "a\x81/b"}) {
    for (const auto format :
         {FileSystemPath::portable, FileSystemPath::native}) {
      FileSystemPath path;
      EXPECT_TRUE(path.m_path_append(text, format)) << text;
      EXPECT_EQ(path.string(), text);
    }
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(FileSystemPath, JoinsUnderTheNativeGrammar) {
  const struct {
    const char* name;
    const char* path;
    const char* more;
    const char* joined;
  } cases[] = {{"Names", "a", "b", "a/b"},
               {"Nothing", "a", "", "a"},
               {"ToNothing", "", "/b", "/b"},
               {"RootDirectoryIsDropped", "a", "/b", "a/b"},
               {"ToDrive", "c:", "/b", "c:/b"},
               {"ToDriveRelative", "c:", "b", "c:b"},
               {"ToServer", "//srv", "/b", "//srv/b"},
               {"ToServerRelative", "//srv", "b", "//srv/b"},
               {"ParentsFold", "a/b", "../../../c", "../c"},
               // A root is not looked for behind text that is there: it
               // comes as it is.
               {"DriveBehindName", "a", "c:/x", "ac:/x"},
               {"ServerBehindName", "a", "//srv/x", "a//srv/x"},
               {"UncheckedName", "a", "b*|", "a/b*|"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const FileSystemPath path(c.path, FileSystemPath::native);
    const FileSystemPath more(c.more, FileSystemPath::native);
    EXPECT_EQ((path / more).string(), c.joined);
    FileSystemPath changed = path;
    changed /= more;
    EXPECT_EQ(changed.string(), c.joined);
  }
}

TEST(FileSystemPath, AppendsAPartOfItself) {
  FileSystemPath path("some/folder/with/a/name");
  EXPECT_TRUE(path.m_path_append(path.string(), FileSystemPath::portable));
  EXPECT_EQ(path.string(), "some/folder/with/a/name/some/folder/with/a/name");
  const FileSystemPath& itself = path;
  path /= itself;
  EXPECT_EQ(path.string().size(), 95U);
}

TEST(FileSystemPath, SaysOnStandardErrorWhatIsWrong) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(FileSystemPath("a\\b").string(), "");
  EXPECT_EQ(FileSystemPath(std::string("a\0b", 3)).string(), "a");
  EXPECT_THAT(
      testing::internal::GetCapturedStderr(),
      testing::AllOf(
          testing::StartsWith(
              "FileSystemPath::m_path_append Failed: "
              "\xCE\xDE\xD0\xA7\xB5\xC4 name (a\\b) \xD4\xDA\xC2\xB7\xBE\xB6 "
              "(a\\b) \xD6\xD0\xA1\xA3\n"
              "FileSystemPath::m_path_append Failed: "
              "\xCE\xDE\xD0\xA7\xB5\xC4\xC2\xB7\xBE\xB6\xD3\xEF\xB7\xA8 (a"),
          testing::EndsWith("b\xA1\xA3\n")));
}

TEST(FileSystemPath, IsMadeFromEveryKindOfText) {
  EXPECT_TRUE(FileSystemPath(static_cast<const char*>(nullptr)).empty());
  EXPECT_TRUE(FileSystemPath(static_cast<const WideChar*>(nullptr)).empty());
  EXPECT_TRUE(FileSystemPath(static_cast<const wchar_t*>(nullptr),
                             FileSystemPath::native)
                  .empty());
  EXPECT_EQ(FileSystemPath(u"a/\u4E2D").string(), "a/\xD6\xD0");
  EXPECT_EQ(FileSystemPath(L"a/\u4E2D").string(), "a/\xD6\xD0");
  EXPECT_EQ(FileSystemPath(L"a\\\U0001F600", FileSystemPath::native).string(),
            "a/?");
  EXPECT_EQ(
      FileSystemPath(WideString(u"a\\b"), FileSystemPath::portable).string(),
      "a/b")
      << "the format is accepted and not consulted";
  EXPECT_EQ(FileSystemPath(std::wstring(L"a/b")).string(), "a/b");
  EXPECT_EQ(FileSystemPath("c:/x/y").native_file_string(), "c:\\x\\y");
  EXPECT_EQ(FileSystemPath("//s/x").native_directory_string(), "\\\\s\\x");
}

TEST(FileSystemPath, PartsAreReadFromTheText) {
  const struct {
    const char* name;
    const char* path;
    const char* root_name;
    const char* root_directory;
    const char* relative;
    const char* branch;
    const char* leaf;
    bool is_complete;
  } cases[] = {
      {"Empty", "", "", "", "", "", "", false},
      {"Relative", "a/b", "", "", "a/b", "a", "b", false},
      {"Name", "abc", "", "", "abc", "", "abc", false},
      {"Root", "/", "", "/", "", "/", "", false},
      {"Absolute", "/srv/x", "", "/", "srv/x", "/srv", "x", false},
      {"BelowRoot", "/x", "", "/", "x", "/", "x", false},
      {"Drive", "c:", "c:", "", "", "c:", "", false},
      {"DriveRelative", "c:x", "c:", "", "x", "c:", "x", false},
      {"DriveRoot", "c:/", "c:", "/", "", "c:/", "", true},
      {"DriveFile", "c:/x", "c:", "/", "x", "c:/", "x", true},
      {"Device", "com1:", "com1:", "", "", "com1:", "", true},
      {"Server", "//srv", "//srv", "/", "", "/", "srv", true},
      {"Share", "//srv/share", "//srv", "/", "share", "//srv/", "share", true},
      {"ShareFile", "//srv/share/x", "//srv", "/", "share/x", "//srv/share",
       "x", true},
      // The first ":" ends a root name wherever it stands.
      {"ColonInName", "/d/a:b", "/d/a:", "/", "b", "/d", "a:b", false},
      {"Parent", "..", "", "", "..", "", "..", false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const FileSystemPath path(c.path, FileSystemPath::native);
    ASSERT_EQ(path.string(), c.path);
    EXPECT_EQ(path.root_name(), c.root_name);
    EXPECT_EQ(path.root_directory(), c.root_directory);
    EXPECT_EQ(path.root_path().string(),
              std::string(c.root_name) + c.root_directory);
    EXPECT_EQ(path.relative_path().string(), c.relative);
    EXPECT_EQ(path.branch_path().string(), c.branch);
    EXPECT_EQ(path.leaf(), c.leaf);
    EXPECT_EQ(path.is_complete(), c.is_complete);
    EXPECT_EQ(path.has_root_name(), !path.root_name().empty());
    EXPECT_EQ(path.has_root_directory(), !path.root_directory().empty());
    EXPECT_EQ(path.has_root_path(), !path.root_path().empty());
    EXPECT_EQ(path.has_relative_path(), !path.relative_path().empty());
    EXPECT_EQ(path.has_branch_path(), !path.branch_path().empty());
    EXPECT_EQ(path.has_leaf(), !path.leaf().empty());
  }
}

TEST(FileSystemPath, SplitsTheLeafAtItsLastDot) {
  const auto parts = [](const char* text) {
    const FileSystemPath path(text, FileSystemPath::native);
    EXPECT_EQ(path.leaf_ext(true), path.leaf_ext(false));
    return path.leaf_name_not_ext() + "|" + path.leaf_ext();
  };
  EXPECT_EQ(parts("dir/archive.tar.gz"), "archive.tar|gz");
  EXPECT_EQ(parts("dir.d/README"), "README|");
  EXPECT_EQ(parts("dir/.hidden"), "|hidden");
  EXPECT_EQ(parts("dir/end."), "end|");
}

TEST(FileSystemPath, ReplacesTheLeaf) {
  const auto replaced = [](const char* text, const char* leaf) {
    FileSystemPath path(text, FileSystemPath::native);
    path.m_replace_leaf(leaf);
    return path.string();
  };
  EXPECT_EQ(replaced("dir/old.txt", "new.txt"), "dir/new.txt");
  EXPECT_EQ(replaced("old", "new"), "new");
  EXPECT_EQ(replaced("/old", "new"), "/new");
  EXPECT_EQ(replaced("c:old", "new"), "c:new");
  EXPECT_EQ(replaced("dir/old", ""), "dir");
  EXPECT_EQ(replaced("c:/old", nullptr), "c:/");
  FileSystemPath path("dir/name");
  path.m_replace_leaf(path.string().c_str() + 5);
  EXPECT_EQ(path.string(), "dir/ame");
}

TEST(FileSystemPathIterator, WalksRootNameRootDirectoryAndNames) {
  const auto elements = [](const char* text) {
    return Elements(FileSystemPath(text, FileSystemPath::native));
  };
  EXPECT_THAT(elements(""), ElementsAre());
  EXPECT_THAT(elements("/"), ElementsAre("/"));
  EXPECT_THAT(elements("a/b"), ElementsAre("a", "b"));
  EXPECT_THAT(elements("/a/b"), ElementsAre("/", "a", "b"));
  EXPECT_THAT(elements("c:/a"), ElementsAre("c:", "/", "a"));
  EXPECT_THAT(elements("c:a"), ElementsAre("c:", "a"));
  EXPECT_THAT(elements("//srv"), ElementsAre("//srv"));
  EXPECT_THAT(elements("//srv/a/b"), ElementsAre("//srv", "/", "a", "b"));
  EXPECT_THAT(elements("../.."), ElementsAre("..", ".."));
}

TEST(FileSystemPathIterator, WalksBackTheSameWay) {
  for (const char* text : {"/", "a", "a/b/c", "/a", "c:/a/b", "c:a", "c:",
                           "//srv", "//srv/", "//srv/a", "/d/a:b", "ab:c/d",
                           "a/name-too-long-to-stand-in-the-iterator/b"}) {
    const FileSystemPath path(text, FileSystemPath::native);
    std::vector<std::string> back;
    for (auto element = path.end(); element != path.begin();)
      back.insert(back.begin(), *--element);
    EXPECT_EQ(back, Elements(path)) << text;
    // An iterator that lives for one step gives an element that outlives it.
    EXPECT_EQ(
        std::vector<std::string>(std::make_reverse_iterator(path.end()),
                                 std::make_reverse_iterator(path.begin())),
        std::vector<std::string>(back.rbegin(), back.rend()))
        << text;
  }
}

TEST(FileSystemPathIterator, StaysAtEitherEnd) {
  const FileSystemPath path("a/b");
  auto element = path.begin();
  EXPECT_EQ(*element++, "a");
  EXPECT_EQ(element->size(), 1U);
  EXPECT_EQ(*element--, "b");
  EXPECT_EQ(--element, path.begin());
  EXPECT_EQ(++ ++ ++element, path.end());
  EXPECT_NE(path.begin(), FileSystemPath("a/c").begin());
}

}  // namespace
}  // namespace kiv
