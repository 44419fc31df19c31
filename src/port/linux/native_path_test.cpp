#include "port/native_path.h"

#include <gtest/gtest.h>

namespace kiv::port {
namespace {

TEST(NativePath, BecomesTheSystemsForm) {
  const std::pair<std::string, const char*> cases[] = {
      {"", ""},
      {"..\\conf/queue.xml", "../conf/queue.xml"},
      {"\\\\?\\\\srv\\x", "/srv/x"},
      {"//?/c:/x", "c:/x"},
      {"\\\\?\\UNC\\srv\\x", "//srv/x"},
      {"a\\\\?\\b", "a//?/b"},
      {"\xD6\xD0\\\xB9\xFA", "\xE4\xB8\xAD/\xE5\x9B\xBD"},
      {"\x81\x5C\\x", "\xE4\xB9\x97/x"},
      {"a\x81", "a\xEF\xBF\xBD"},
      {std::string("a\0b", 3), "a?b"}};
  for (const auto& [native, system] : cases)
    EXPECT_EQ(SystemPath(native), system);
}

TEST(LocalPath, ShowsWhatItCannotHoldAsQuestionMarks) {
  EXPECT_EQ(LocalPath("/\xE4\xB8\xAD/x"), "/\xD6\xD0/x");
  EXPECT_EQ(LocalPath("/a/\xF0\x9F\x98\x80.txt"), "/a/?.txt");
  EXPECT_EQ(LocalPath("..\\..\\x"), "..?..?x");
  EXPECT_EQ(LocalPath("a\xFFz"), "a?z");
}

}  // namespace
}  // namespace kiv::port
