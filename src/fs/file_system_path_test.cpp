#include "kiv/file_system_path.h"

#include <gmock/gmock.h>

#include <iterator>
#include <tuple>
#include <utility>
#include <vector>

namespace kiv {
namespace {

TEST(FileSystemPath, BuildsTheCanonicalText) {
  // As portable text and as native; "!" in front: the append fails, and what is
  // behind it was taken.
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"a//b", "a/b", "a/b"},
      {"a\\/b", "!", "a/b"},
      {"c:\\x\\y", "!c:", "c:/x/y"},
      {"\\\\srv\\share", "!", "//srv/share"},
      {"//srv//x", "//srv/x", "//srv/x"},
      {"///x", "//x", "//x"},
      {"a/b/../c", "a/c", "a/c"},
      {"a/..", "", ""},
      {"c:/a/../..", "c:/..", "c:/.."},
      {"c:a/..", "c:", "c:"},
      {"x/../..", "..", ".."},
      // A parent eats the server, too.
      {"//srv/../x", "/x", "/x"},
      // Behind a ":" no "/" is put.
      {"x/ab:/c", "!x/", "x/ab:c"},
      {"a/./b", "!a/", "a/./b"},
      {"a/ b", "!a/", "a/ b"},
      {"a/b\x1F", "!a/", "a/b\x1F"},
      {std::string("a/b\0c/d", 7), "!a/b", "!a/b"}};
  for (const auto& [source, as_portable, as_native] : cases) {
    SCOPED_TRACE(source);
    testing::internal::CaptureStderr();
    FileSystemPath portable, native;
    const bool fits = portable.m_path_append(source, FileSystemPath::portable);
    const bool is_native = native.m_path_append(source, FileSystemPath::native);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ((fits ? "" : "!") + portable.string(), as_portable);
    EXPECT_EQ((is_native ? "" : "!") + native.string(), as_native);
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
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"a", "", "a"},
      {"a", "/b", "a/b"},
      {"c:", "b", "c:b"},
      {"//srv", "b", "//srv/b"},
      {"a/b", "../../../c", "../c"},
      // A root is not looked for behind text that is there: it
      // comes as it is.
      {"a", "c:/x", "ac:/x"},
      {"a", "//srv/x", "a//srv/x"},
      {"a", "b*|", "a/b*|"}};
  for (const auto& [text, more, joined] : cases) {
    const FileSystemPath path(text, FileSystemPath::native);
    EXPECT_EQ((path / FileSystemPath(more, FileSystemPath::native)).string(),
              joined);
  }
}

TEST(FileSystemPath, AppendsAPartOfItself) {
  FileSystemPath path("some/folder/with/a/name");
  EXPECT_TRUE(path.m_path_append(path.string(), FileSystemPath::portable));
  EXPECT_EQ(path.string(), "some/folder/with/a/name/some/folder/with/a/name");
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
  EXPECT_TRUE(FileSystemPath(static_cast<const wchar_t*>(nullptr)).empty());
  EXPECT_EQ(FileSystemPath(u"a/\u4E2D").string(), "a/\xD6\xD0");
  EXPECT_EQ(FileSystemPath(L"a\\\U0001F600", FileSystemPath::native).string(),
            "a/?");
  // The format is accepted and not consulted.
  const FileSystemPath wide(WideString(u"a\\b"), FileSystemPath::portable);
  EXPECT_EQ(wide.string(), "a/b");
  EXPECT_EQ(wide.native_file_string(), "a\\b");
}

TEST(FileSystemPath, PartsAreReadFromTheText) {
  // Root name, root directory, relative path, branch and leaf, "-" where it has
  // none; "!" behind a complete path.
  const std::pair<const char*, const char*> cases[] = {
      {"", "- - - - - "},
      {"a/b", "- - a/b a b "},
      {"abc", "- - abc - abc "},
      {"/", "- / - / - "},
      {"/srv/x", "- / srv/x /srv x "},
      {"c:", "c: - - c: - "},
      {"c:x", "c: - x c: x "},
      {"c:/x", "c: / x c:/ x !"},
      {"com1:", "com1: - - com1: - !"},
      {"//srv", "//srv / - / srv !"},
      {"//srv/share/x", "//srv / share/x //srv/share x !"},
      // The first ":" ends a root name wherever it stands.
      {"/d/a:b", "/d/a: / b /d a:b "},
      {"..", "- - .. - .. "}};
  const auto part = [](bool is_there, const std::string& text) {
    return (is_there ? text : "-") + " ";
  };
  for (const auto& [text, parts] : cases) {
    const FileSystemPath path(text, FileSystemPath::native);
    EXPECT_EQ(path.string(), text);
    EXPECT_EQ(
        part(path.has_root_name(), path.root_name()) +
            part(path.has_root_directory(), path.root_directory()) +
            part(path.has_relative_path(), path.relative_path().string()) +
            part(path.has_branch_path(), path.branch_path().string()) +
            part(path.has_leaf(), path.leaf()) +
            (path.is_complete() ? "!" : ""),
        parts)
        << text;
    EXPECT_EQ(path.root_path().string(),
              path.root_name() + path.root_directory());
    EXPECT_EQ(path.has_root_path(), !path.root_path().empty());
  }
}

TEST(FileSystemPath, SplitsTheLeafAtItsLastDot) {
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"dir/archive.tar.gz", "archive.tar", "gz"},
      {"dir.d/README", "README", ""},
      {"dir/.hidden", "", "hidden"},
      {"dir/end.", "end", ""}};
  for (const auto& [text, name, ext] : cases) {
    EXPECT_EQ(FileSystemPath(text).leaf_name_not_ext(), name);
    EXPECT_EQ(FileSystemPath(text).leaf_ext(true), ext);
  }
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

TEST(FileSystemPathIterator, WalksBothWaysAndStaysAtEitherEnd) {
  using Elements = std::vector<std::string>;
  const std::pair<const char*, Elements> cases[] = {
      {"", {}},
      {"/", {"/"}},
      {"a/b", {"a", "b"}},
      {"/a/b", {"/", "a", "b"}},
      {"c:/a", {"c:", "/", "a"}},
      {"//srv", {"//srv"}},
      {"//srv/a/b", {"//srv", "/", "a", "b"}},
      {"../..", {"..", ".."}},
      {"/d/a:b", {"/d/a:", "b"}},
      {"a/name-too-long-to-stand-in-the-iterator/b",
       {"a", "name-too-long-to-stand-in-the-iterator", "b"}}};
  for (const auto& [text, elements] : cases) {
    const FileSystemPath path(text, FileSystemPath::native);
    EXPECT_EQ(Elements(path.begin(), path.end()), elements);
    // An iterator that lives for one step gives an element that outlives it.
    EXPECT_EQ(Elements(std::make_reverse_iterator(path.end()),
                       std::make_reverse_iterator(path.begin())),
              Elements(elements.rbegin(), elements.rend()));
  }
  const FileSystemPath path("a/b");
  auto element = path.begin();
  EXPECT_EQ(*element++, "a");
  EXPECT_EQ(*element--, "b");
  EXPECT_EQ(--element, path.begin());
  EXPECT_EQ(++ ++ ++element, path.end());
  EXPECT_NE(path.begin(), FileSystemPath("a/c").begin());
}

}  // namespace
}  // namespace kiv
