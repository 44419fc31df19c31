#include "port/native_path.h"

#include <gtest/gtest.h>

namespace kiv::port {
namespace {

struct PathCase {
  const char* name;
  std::string native;
  const char* system;
};

class NativePath : public testing::TestWithParam<PathCase> {};

TEST_P(NativePath, BecomesTheSystemsForm) {
  EXPECT_EQ(SystemPath(GetParam().native), GetParam().system);
}

INSTANTIATE_TEST_SUITE_P(
    Text, NativePath,
    testing::Values(
        PathCase{"Empty", "", ""},
        PathCase{"BothSeparators", "..\\conf/queue.xml", "../conf/queue.xml"},
        PathCase{"LongPathPrefix", "\\\\?\\\\srv\\x", "/srv/x"},
        PathCase{"LongPathPrefixGeneric", "//?/c:/x", "c:/x"},
        PathCase{"LongPathPrefixServer", "\\\\?\\UNC\\srv\\x", "//srv/x"},
        PathCase{"PrefixOnlyInFront", "a\\\\?\\b", "a//?/b"},
        PathCase{"Drive", "c:\\x", "c:/x"},
        PathCase{"Chinese", "\xD6\xD0\\\xB9\xFA", "\xE4\xB8\xAD/\xE5\x9B\xBD"},
        PathCase{"SecondByteBackslash", "\x81\x5C\\x", "\xE4\xB9\x97/x"},
        PathCase{"LeadByteAlone", "a\x81", "a\xEF\xBF\xBD"},
        PathCase{"Nul", std::string("a\0b", 3), "a?b"}),
    [](const auto& row) { return row.param.name; });

TEST(LocalPath, ShowsWhatItCannotHoldAsQuestionMarks) {
  EXPECT_EQ(LocalPath("/\xE4\xB8\xAD/x"), "/\xD6\xD0/x");
  EXPECT_EQ(LocalPath("/a/\xF0\x9F\x98\x80.txt"), "/a/?.txt");
  EXPECT_EQ(LocalPath("..\\..\\x"), "..?..?x");
  EXPECT_EQ(LocalPath("a\xFFz"), "a?z");
}

}  // namespace
}  // namespace kiv::port
