#include "xdb/xquery/values/sequence_type.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testing/xquery_values.h"

namespace kiv::xdb::xq {
namespace {

using kiv::testing::ValueOf;

ItemType Named(ItemKind kind, const char* local, Type type = Type::None,
               bool is_nillable = false) {
  ItemType named = ItemType::OfKind(kind);
  if (*local) named.name = std::make_shared<QName>(QName{"", "", local});
  named.type = type;
  named.is_nillable = is_nillable;
  return named;
}

ItemType DocumentOf(ItemType root) {
  ItemType document = ItemType::OfKind(ItemKind::Document);
  document.root = std::make_shared<ItemType>(std::move(root));
  return document;
}

constexpr ItemKind kElement = ItemKind::Element;
constexpr Occurrence kOccurrences[] = {
    Occurrence::Empty, Occurrence::One, Occurrence::Optional,
    Occurrence::ZeroOrMore, Occurrence::OneOrMore};

TEST(SequenceType, PrintsAsItIsWritten) {
  EXPECT_EQ(
      ToText({ItemType::OfAtomic(Type::UnsignedByte), Occurrence::OneOrMore}),
      "xs:unsignedByte+");
  EXPECT_EQ(
      ToText({Named(kElement, "a", Type::AnyType, true), Occurrence::Optional}),
      "element(a, xs:anyType?)?");
  EXPECT_EQ(ToText(Named(ItemKind::Attribute, "", Type::UntypedAtomic)),
            "attribute(*, xs:untypedAtomic)");
  EXPECT_EQ(ToText(DocumentOf(Named(kElement, "a"))),
            "document-node(element(a))");
  EXPECT_EQ(ToText(Named(ItemKind::ProcessingInstruction, "p")),
            "processing-instruction(p)");
  EXPECT_EQ(ToText({ItemType{}, Occurrence::Empty}), "empty-sequence()");
  EXPECT_EQ(ToText({ItemType{}, Occurrence::ZeroOrMore}), "item()*");
}

TEST(SequenceType, MatchesAtomicValues) {
  const Sequence bytes = {ValueOf("byte 1"), ValueOf("byte 2")};
  const auto matches = [](const Sequence& items, Type type, Occurrence count) {
    return Matches(items, {ItemType::OfAtomic(type), count});
  };
  EXPECT_TRUE(matches(bytes, Type::Short, Occurrence::OneOrMore));
  EXPECT_FALSE(matches(bytes, Type::Short, Occurrence::Optional));
  EXPECT_FALSE(matches(bytes, Type::UnsignedByte, Occurrence::ZeroOrMore));
  EXPECT_TRUE(matches({}, Type::Short, Occurrence::Optional));
  EXPECT_FALSE(matches({}, Type::Short, Occurrence::One));
  EXPECT_TRUE(matches({}, Type::Short, Occurrence::Empty));
  EXPECT_TRUE(Matches(bytes[0], ItemType::OfKind(ItemKind::Item)));
  EXPECT_FALSE(Matches(bytes[0], ItemType::OfKind(ItemKind::Node)));
}

struct SubtypeCase {
  const char* name;
  ItemType type;
  ItemType other;
  bool is_subtype;
};

class Subtype : public ::testing::TestWithParam<SubtypeCase> {};

TEST_P(Subtype, IsKnownWithoutValues) {
  const SubtypeCase& row = GetParam();
  EXPECT_EQ(IsSubtype(row.type, row.other), row.is_subtype);
  const ItemType both = UnionOf(row.type, row.other);
  EXPECT_TRUE(IsSubtype(row.type, both));
  EXPECT_TRUE(IsSubtype(row.other, both));
}

INSTANTIATE_TEST_SUITE_P(
    Items, Subtype,
    ::testing::Values(
        SubtypeCase{"Derived", ItemType::OfAtomic(Type::Byte),
                    ItemType::OfAtomic(Type::Decimal), true},
        SubtypeCase{"Base", ItemType::OfAtomic(Type::Decimal),
                    ItemType::OfAtomic(Type::Byte), false},
        SubtypeCase{"Siblings", ItemType::OfAtomic(Type::Byte),
                    ItemType::OfAtomic(Type::UnsignedByte), false},
        SubtypeCase{"AtomicAndNode", ItemType::OfAtomic(Type::String),
                    ItemType::OfKind(ItemKind::Node), false},
        SubtypeCase{"NodeIsItem", ItemType::OfKind(ItemKind::Node), ItemType{},
                    true},
        SubtypeCase{"ElementIsNode", Named(kElement, "a"),
                    ItemType::OfKind(ItemKind::Node), true},
        SubtypeCase{"ElementAndAttribute", Named(kElement, "a"),
                    Named(ItemKind::Attribute, "a"), false},
        SubtypeCase{"Name", Named(kElement, "a"), Named(kElement, ""), true},
        SubtypeCase{"OtherName", Named(kElement, "a"), Named(kElement, "b"),
                    false},
        SubtypeCase{"LessType", Named(kElement, "a", Type::Untyped),
                    Named(kElement, "a", Type::AnyType), true},
        SubtypeCase{"AnyTypeTakesNil", Named(kElement, "a"),
                    Named(kElement, "a", Type::AnyType, true), true},
        SubtypeCase{"NotNil", Named(kElement, "a"),
                    Named(kElement, "a", Type::AnyType), false},
        SubtypeCase{"Root", DocumentOf(Named(kElement, "a")),
                    DocumentOf(Named(kElement, "")), true},
        SubtypeCase{"AnyRoot", ItemType::OfKind(ItemKind::Document),
                    DocumentOf(Named(kElement, "")), false}),
    [](const auto& row) { return row.param.name; });

// Every rule about occurrences, by counting up to three items.
TEST(SequenceType, OccurrencesAreSetsOfCounts) {
  constexpr std::size_t kMost = 3;
  for (const Occurrence left : kOccurrences) {
    for (const Occurrence right : kOccurrences) {
      bool is_subset = true;
      for (std::size_t i = 0; i <= kMost; ++i) {
        if (Allows(left, i) && !Allows(right, i)) is_subset = false;
        if (Allows(left, i)) {
          EXPECT_TRUE(Allows(UnionOf(left, right), i));
        }
        for (std::size_t j = 0; j <= kMost; ++j) {
          if (!Allows(left, i) || !Allows(right, j)) continue;
          EXPECT_TRUE(Allows(SumOf(left, right), i + j));
          EXPECT_TRUE(Allows(ProductOf(left, right), i * j));
        }
      }
      EXPECT_EQ(IsSubtype(SequenceType{ItemType{}, left},
                          SequenceType{ItemType{}, right}),
                is_subset);
    }
  }
  EXPECT_EQ(SumOf(Occurrence::One, Occurrence::ZeroOrMore),
            Occurrence::OneOrMore);
  EXPECT_EQ(SumOf(Occurrence::Empty, Occurrence::Optional),
            Occurrence::Optional);
  EXPECT_EQ(ProductOf(Occurrence::Optional, Occurrence::One),
            Occurrence::Optional);
  EXPECT_EQ(UnionOf(Occurrence::Empty, Occurrence::OneOrMore),
            Occurrence::ZeroOrMore);
}

TEST(SequenceType, TheEmptySequenceSaysNothingAboutItems) {
  const SequenceType empty{ItemType{}, Occurrence::Empty};
  const SequenceType one{ItemType::OfAtomic(Type::Integer), Occurrence::One};
  EXPECT_TRUE(IsSubtype(
      empty, {ItemType::OfAtomic(Type::Integer), Occurrence::Optional}));
  EXPECT_EQ(ToText(UnionOf(empty, one)), "xs:integer?");
  EXPECT_EQ(ToText(SumOf(one, empty)), "xs:integer");
}

}  // namespace
}  // namespace kiv::xdb::xq
