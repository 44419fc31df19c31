#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "testing/xquery_values.h"
#include "xdb/tree/tree.h"
#include "xdb/tree/tree_builder.h"
#include "xdb/xquery/values/sequence_type.h"

namespace kiv::xdb::xq {
namespace {

// <a x="1"><?p q?><b>text</b><!--c--></a>, its nodes in document order.
class NodeMatch : public ::testing::Test {
 protected:
  enum : std::uint32_t {
    kDocument,
    kA,
    kX,
    kInstruction,
    kB,
    kText,
    kComment,
    kNodeCount
  };

  NodeMatch() {
    auto dictionary = std::make_shared<Dictionary>();
    GrowingPaths paths(*dictionary);
    TreeBuilder builder(paths);
    const XmlAttribute x{{"", "", "x"}, "1"};
    builder.StartElement({"p", "uri", "a"}, {}, {&x, 1});
    builder.ProcessingInstruction("p", "q");
    builder.StartElement({"", "", "b"}, {}, {});
    builder.Text("text");
    builder.EndElement();
    builder.Comment("c");
    builder.EndElement();
    const auto bytes = std::make_shared<std::string>();
    builder.TakeTree(*bytes);
    held_ = Counted::Make<HeldTree>(
        0, std::make_shared<Tree>(dictionary, bytes, *bytes), 1u);
  }
  ~NodeMatch() override { held_->Drop(); }

  // The nodes that match, by number.
  std::vector<std::uint32_t> Matching(const ItemType& type) const {
    std::vector<std::uint32_t> matching;
    for (std::uint32_t node = 0; node < kNodeCount; ++node)
      if (Matches(Item::OfNode(held_, node), type)) matching.push_back(node);
    return matching;
  }

  static ItemType Named(ItemKind kind, QName name, Type type = Type::None) {
    ItemType named = ItemType::OfKind(kind);
    if (!name.local.empty()) named.name = std::make_shared<QName>(name);
    named.type = type;
    return named;
  }

  using Nodes = std::vector<std::uint32_t>;
  const HeldTree* held_;
};

TEST_F(NodeMatch, GoesByKindNameAndType) {
  using enum ItemKind;
  EXPECT_EQ(Matching(ItemType::OfKind(Item)).size(), kNodeCount);
  EXPECT_EQ(Matching(ItemType::OfKind(Node)).size(), kNodeCount);
  EXPECT_EQ(Matching(ItemType::OfAtomic(Type::AnyAtomic)), Nodes{});
  EXPECT_EQ(Matching(ItemType::OfKind(Element)), (Nodes{kA, kB}));
  EXPECT_EQ(Matching(ItemType::OfKind(Attribute)), Nodes{kX});
  EXPECT_EQ(Matching(ItemType::OfKind(Text)), Nodes{kText});
  EXPECT_EQ(Matching(ItemType::OfKind(Comment)), Nodes{kComment});
  EXPECT_EQ(Matching(Named(Element, {"other", "uri", "a"})), Nodes{kA});
  EXPECT_EQ(Matching(Named(Element, {"p", "", "a"})), Nodes{});
  EXPECT_EQ(Matching(Named(Element, {}, Type::Untyped)), (Nodes{kA, kB}));
  EXPECT_EQ(Matching(Named(Element, {}, Type::AnyType)), (Nodes{kA, kB}));
  EXPECT_EQ(Matching(Named(Element, {}, Type::String)), Nodes{});
  EXPECT_EQ(Matching(Named(Attribute, {"", "", "x"}, Type::AnyAtomic)),
            Nodes{kX});
  EXPECT_EQ(Matching(Named(Attribute, {}, Type::Untyped)), Nodes{});
  EXPECT_EQ(Matching(Named(ProcessingInstruction, {"", "", "p"})),
            Nodes{kInstruction});
  EXPECT_EQ(Matching(Named(ProcessingInstruction, {"", "", "q"})), Nodes{});
}

TEST_F(NodeMatch, LooksAtTheElementOfADocument) {
  const auto document = [](ItemType root) {
    ItemType type = ItemType::OfKind(ItemKind::Document);
    type.root = std::make_shared<ItemType>(std::move(root));
    return type;
  };
  EXPECT_EQ(Matching(ItemType::OfKind(ItemKind::Document)), Nodes{kDocument});
  EXPECT_EQ(Matching(document(Named(ItemKind::Element, {"", "uri", "a"}))),
            Nodes{kDocument});
  EXPECT_EQ(Matching(document(Named(ItemKind::Element, {"", "", "b"}))),
            Nodes{});
}

TEST_F(NodeMatch, TextItemsKeepTheTree) {
  const std::int64_t before = ValueMemory::OfThisThread().used_bytes;
  Item text = Item::OfTreeText(held_, kB);
  EXPECT_EQ(kiv::testing::Shown(text), "untypedAtomic text");
  EXPECT_EQ(Item::OfTreeText(held_, kX).AsText(), "1");
  const Item as_string = Cast(text, Type::String);
  EXPECT_EQ(as_string.AsText().data(), text.AsText().data());
  EXPECT_EQ(ValueMemory::OfThisThread().used_bytes, before);
}

}  // namespace
}  // namespace kiv::xdb::xq
