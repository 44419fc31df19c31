#include "kiv/str2argv.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace kiv {
namespace {

std::vector<std::string> Entries(const Str2Argv& split) {
  return {split.Argv(), split.Argv() + split.Argc()};
}

TEST(Str2Argv, CutsTheLineAtEverySpace) {
  const std::string longest(5000, 'y');
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"", {}},
      {"run", {"run"}},
      {"a  b", {"a", "", "b"}},
      {"a ", {"a", ""}},
      // One in front loses the last.
      {" a b", {"", "a"}},
      {" ", {""}},
      {"\"a b\"\tc", {"\"a", "b\"\tc"}},
      {"\xB4\xED \xCE\xF3", {"\xB4\xED", "\xCE\xF3"}},
      {"x " + longest, {"x", longest}}};
  for (const auto& [line, entries] : cases) {
    const Str2Argv split = line.c_str();
    EXPECT_EQ(Entries(split), entries) << line;
    EXPECT_TRUE(split.Argc() == 0 || split.Argv()[split.Argc()] == nullptr);
  }
}

TEST(Str2Argv, InitDropsTheOldVectorEvenWhenTheLineIsOneOfItsEntries) {
  Str2Argv split("first a b");
  split.Init(split.Argv()[0]);
  EXPECT_EQ(Entries(split), std::vector<std::string>{"first"});
  split.Init(nullptr);
  EXPECT_EQ(split.Argc(), 0);
  EXPECT_EQ(split.Argv(), nullptr);
  // The static form gives an empty line one entry.
  char** argv = nullptr;
  int argc = 5;
  Str2Argv::str_to_argv(nullptr, &argv, &argc);
  EXPECT_EQ(argc, 0);
  Str2Argv::str_to_argv("", &argv, &argc);
  EXPECT_EQ(argc, 1);
  EXPECT_STREQ(argv[0], "");
  Str2Argv::free_argv(argv, argc);
}

}  // namespace
}  // namespace kiv
