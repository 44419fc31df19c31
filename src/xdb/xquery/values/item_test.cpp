#include "xdb/xquery/values/item.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "testing/xquery_values.h"
#include "xdb/tree/tree.h"
#include "xdb/tree/tree_builder.h"

namespace kiv::xdb::xq {
namespace {

using kiv::testing::Shown;
using kiv::testing::ValueOf;

// One of each way in which an item holds its value.
std::vector<Item> EachKind() {
  std::vector<Item> items;
  for (const char* text :
       {"boolean true", "integer 5", "integer 99999999999999999999",
        "decimal 0.1234567890123456789012", "double 2.5", "string ",
        "string text", "hexBinary 00FF", "time 23:59:59.999999+14:00",
        "dateTime -0001-12-31T00:00:00.123456789012345678Z",
        "yearMonthDuration -P1Y", "dayTimeDuration -PT0.000000001S",
        "dayTimeDuration PT0.000000000000000001S", "duration P1MT1S"})
    items.push_back(ValueOf(text));
  items.push_back(Item::OfQName({"p", "uri", "local"}));
  items.push_back(Item());
  return items;
}

TEST(Item, KeepsItsValueThroughCopiesAndMoves) {
  const std::int64_t before = ValueMemory::OfThisThread().used_bytes;
  {
    for (const Item& item : EachKind()) {
      const std::string shown = Shown(item);
      SCOPED_TRACE(shown);
      Item copy(item);
      Item moved(std::move(copy));
      Item assigned = Item::OfText("other");
      assigned = moved;
      const Item& self = assigned;
      assigned = self;
      Item last;
      last = std::move(assigned);
      for (const Item& one : {item, moved, last, last.Borrowed()})
        EXPECT_EQ(Shown(one), shown);
      EXPECT_FALSE(item.Borrowed().IsCounted());
    }
  }
  EXPECT_EQ(ValueMemory::OfThisThread().used_bytes, before);
}

TEST(Item, TextOfATreeKeepsTheTree) {
  const auto dictionary = std::make_shared<Dictionary>();
  GrowingPaths paths(*dictionary);
  TreeBuilder builder(paths);
  const XmlAttribute x{{"", "", "x"}, "1"};
  builder.StartElement({"", "", "a"}, {}, {&x, 1});
  builder.Text("text");
  builder.EndElement();
  const auto bytes = std::make_shared<std::string>();
  builder.TakeTree(*bytes);
  const auto* const held = Counted::Make<HeldTree>(
      0, std::make_shared<Tree>(dictionary, bytes, *bytes), 1u);
  {
    const std::int64_t before = ValueMemory::OfThisThread().used_bytes;
    const Item text = Item::OfTreeText(held, 1);
    EXPECT_EQ(Shown(text), "untypedAtomic text");
    EXPECT_EQ(Item::OfTreeText(held, 2).AsText(), "1");
    const Item as_string = Cast(text, Type::String);
    EXPECT_EQ(as_string.AsText().data(), text.AsText().data());
    EXPECT_EQ(ValueMemory::OfThisThread().used_bytes, before);
  }
  held->Drop();
}

TEST(Item, PastTheLimitNoneIsMade) {
  ValueMemory& memory = ValueMemory::OfThisThread();
  const ValueMemory saved = memory;
  memory.limit_bytes = memory.used_bytes + 100'000;
  std::vector<Item> made;
  std::string code;
  try {
    while (made.size() < 1000)
      made.push_back(Item::OfText(std::string(1000, 'x')));
  } catch (const Error& error) {
    code = error.code();
  }
  EXPECT_EQ(code, "XPDY0130");
  EXPECT_GT(made.size(), 90u);
  EXPECT_LT(made.size(), 100u);
  made.clear();
  EXPECT_EQ(memory.used_bytes, saved.used_bytes);
  memory.limit_bytes = saved.limit_bytes;
}

}  // namespace
}  // namespace kiv::xdb::xq
