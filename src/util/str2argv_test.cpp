#include "kiv/str2argv.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kiv {
namespace {

std::vector<std::string> Entries(const Str2Argv& split) {
  return {split.Argv(), split.Argv() + split.Argc()};
}

TEST(CommandLine, IsCutAtEverySpace) {
  const struct {
    const char* name;
    std::string line;
    std::vector<std::string> entries;
  } cases[] = {{"Empty", "", {}},
               {"One", "run", {"run"}},
               {"Doubled", "a  b", {"a", "", "b"}},
               {"Trailing", "a ", {"a", ""}},
               {"LeadingLosesTheLast", " a b", {"", "a"}},
               {"SpaceAlone", " ", {""}},
               {"TwoSpaces", "  ", {"", ""}},
               {"NoQuotesNoTabs", "\"a b\"\tc", {"\"a", "b\"\tc"}},
               {"Chinese", "\xB4\xED \xCE\xF3", {"\xB4\xED", "\xCE\xF3"}},
               {"LongPiece",
                std::string(511, 'x') + " " + std::string(5000, 'y'),
                {std::string(511, 'x'), std::string(5000, 'y')}}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const Str2Argv split = row.line.c_str();
    EXPECT_EQ(Entries(split), row.entries);
    if (split.Argc() > 0) {
      EXPECT_EQ(split.Argv()[split.Argc()], nullptr);
    }
  }
}

TEST(Str2Argv, InitDropsTheOldVectorEvenWhenTheLineIsOneOfItsEntries) {
  Str2Argv split("first a b");
  split.Init(split.Argv()[0]);
  EXPECT_EQ(Entries(split), std::vector<std::string>{"first"});
  split.Init(nullptr);
  EXPECT_EQ(split.Argc(), 0);
  EXPECT_EQ(split.Argv(), nullptr);
}

TEST(Str2Argv, TheStaticFormTakesANullLine) {
  char** argv = reinterpret_cast<char**>(1);
  int argc = 5;
  Str2Argv::str_to_argv(nullptr, &argv, &argc);
  EXPECT_EQ(argc, 0);
  EXPECT_EQ(argv, nullptr);
  Str2Argv::free_argv(argv, argc);
  Str2Argv::str_to_argv("", &argv, &argc);
  EXPECT_EQ(argc, 1);
  EXPECT_STREQ(argv[0], "");
  Str2Argv::free_argv(argv, argc);
}

}  // namespace
}  // namespace kiv
