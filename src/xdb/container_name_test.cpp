#include "xdb/container_name.h"

#include "kiv/xdb.h"
#include "xdb/query_testing.h"

namespace kiv::xdb {
namespace {

TEST(ContainerName, HasItsFileAndComesBack) {
  constexpr struct {
    const char* container;
    const char* file;
    const char* back;
  } kRows[] = {
      {"0", "0.xdb", "0"},
      {"a.b", "a.b.xdb", "a.b"},
      {"dir/\xB6\xA9\xB5\xA5", "dir\\0xB6A9B5A5.xdb", "dir\\\xB6\xA9\xB5\xA5"},
      {"\xB6\xA9\xB5\xA5/a", "\xB6\xA9\xB5\xA5\\a.xdb", "\xB6\xA9\xB5\xA5\\a"},
      // The second byte of a character is like a separator.
      {"a\x81\x5Cz", "0x61815C7A.xdb", "a\x81\x5Cz"},
      {"/srv/db/x", "\\srv\\db\\x.xdb", "\\srv\\db\\x"},
      {"a/../b", "b.xdb", "b"},
      {"dir/0xZZ!", "dir\\0xZZ!.xdb", ""},
  };
  for (const auto& row : kRows) {
    std::string file;
    EXPECT_TRUE(XDbManager::CheckDbName(row.container, file)) << row.container;
    EXPECT_EQ(file, row.file);
    EXPECT_EQ(ContainerOfFile(file), row.back);
  }
  for (const char* const refused :
       {"0Xabc", "0xdir/a", "", "a/..", static_cast<const char*>(nullptr)}) {
    std::string file = "untouched";
    EXPECT_FALSE(XDbManager::CheckDbName(refused, file));
    EXPECT_EQ(file, "untouched");
  }
  EXPECT_EQ(ContainerOfFile("0XB6A9b5a5.xdb"), "\xB6\xA9\xB5\xA5");
  EXPECT_EQ(ContainerOfFile("0x.xdb"), "0x");
  EXPECT_EQ(ContainerOfFile("0x1.xdb"), "");
  EXPECT_EQ(ContainerOfFile(""), "");
}

}  // namespace
}  // namespace kiv::xdb
