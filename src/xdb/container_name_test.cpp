#include "xdb/container_name.h"

#include "kiv/xdb.h"
#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

struct NameCase {
  const char* name;
  const char* container;
  const char* file;  // null: refused
  const char* back;  // null: the container's name
};

class ContainerName : public testing::TestWithParam<NameCase> {};

TEST_P(ContainerName, HasItsFileAndComesBack) {
  const NameCase& expected = GetParam();
  std::string file = "untouched";
  const bool is_named = XDbManager::CheckDbName(expected.container, file);
  ASSERT_EQ(is_named, expected.file != nullptr);
  EXPECT_EQ(file, is_named ? expected.file : "untouched");
  if (is_named) {
    EXPECT_EQ(ContainerOfFile(file),
              expected.back != nullptr ? expected.back : expected.container);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Name, ContainerName,
    testing::Values(
        NameCase{"Plain", "orders", "orders.xdb", nullptr},
        NameCase{"Zero", "0", "0.xdb", nullptr},
        NameCase{"WithDots", "a.b", "a.b.xdb", nullptr},
        NameCase{"Chinese", "\xB6\xA9\xB5\xA5", "0xB6A9B5A5.xdb", nullptr},
        NameCase{"ChineseInFolder", "dir/\xB6\xA9\xB5\xA5",
                 "dir\\0xB6A9B5A5.xdb", "dir\\\xB6\xA9\xB5\xA5"},
        NameCase{"ChineseFolder", "\xB6\xA9\xB5\xA5/a",
                 "\xB6\xA9\xB5\xA5\\a.xdb", "\xB6\xA9\xB5\xA5\\a"},
        NameCase{"TrailByteLikeSeparator",
                 "a\x81\x5C"
                 "b",
                 "0x61815C62.xdb", nullptr},
        NameCase{"Mixed", "a\xB6\xA9", "0x61B6A9.xdb", nullptr},
        NameCase{"Absolute", "/srv/db/x", "\\srv\\db\\x.xdb", "\\srv\\db\\x"},
        NameCase{"Backslash", "dir\\x", "dir\\x.xdb", "dir\\x"},
        NameCase{"Folded", "a/../b", "b.xdb", "b"},
        NameCase{"HexInFolder", "dir/0xZZ!", "dir\\0xZZ!.xdb", ""},
        NameCase{"Hex", "0xabc", nullptr, nullptr},
        NameCase{"UpperHex", "0Xabc", nullptr, nullptr},
        NameCase{"HexFolder", "0xdir/a", nullptr, nullptr},
        NameCase{"Empty", "", nullptr, nullptr},
        NameCase{"Null", nullptr, nullptr, nullptr},
        NameCase{"NothingLeft", "a/..", nullptr, nullptr},
        NameCase{"Root", "/", nullptr, nullptr}),
    [](const auto& row) { return row.param.name; });

TEST(ContainerNameOfFile, DecodesHexadecimalOfEitherCase) {
  EXPECT_EQ(ContainerOfFile("0XB6A9b5a5.xdb"), "\xB6\xA9\xB5\xA5");
  EXPECT_EQ(ContainerOfFile("0x.xdb"), "0x");
  EXPECT_EQ(ContainerOfFile("0x1.xdb"), "");
  EXPECT_EQ(ContainerOfFile(""), "");
}

}  // namespace
}  // namespace kiv::xdb
