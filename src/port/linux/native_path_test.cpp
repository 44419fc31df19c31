#include "port/native_path.h"

#include <gtest/gtest.h>

namespace kiv::port {
namespace {

TEST(NativePath, BecomesTheSystemsForm) {
  const struct {
    const char* name;
    std::string native;
    const char* system;
  } cases[] = {{"Empty", "", ""},
               {"BothSeparators", "..\\conf/queue.xml", "../conf/queue.xml"},
               {"LongPathPrefix", "\\\\?\\\\srv\\x", "/srv/x"},
               {"LongPathPrefixGeneric", "//?/c:/x", "c:/x"},
               {"LongPathPrefixServer", "\\\\?\\UNC\\srv\\x", "//srv/x"},
               {"PrefixOnlyInFront", "a\\\\?\\b", "a//?/b"},
               {"Drive", "c:\\x", "c:/x"},
               {"Chinese", "\xD6\xD0\\\xB9\xFA", "\xE4\xB8\xAD/\xE5\x9B\xBD"},
               {"SecondByteBackslash", "\x81\x5C\\x", "\xE4\xB9\x97/x"},
               {"LeadByteAlone", "a\x81", "a\xEF\xBF\xBD"},
               {"Nul", std::string("a\0b", 3), "a?b"}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(SystemPath(row.native), row.system);
  }
}

TEST(LocalPath, ShowsWhatItCannotHoldAsQuestionMarks) {
  EXPECT_EQ(LocalPath("/\xE4\xB8\xAD/x"), "/\xD6\xD0/x");
  EXPECT_EQ(LocalPath("/a/\xF0\x9F\x98\x80.txt"), "/a/?.txt");
  EXPECT_EQ(LocalPath("..\\..\\x"), "..?..?x");
  EXPECT_EQ(LocalPath("a\xFFz"), "a?z");
}

}  // namespace
}  // namespace kiv::port
