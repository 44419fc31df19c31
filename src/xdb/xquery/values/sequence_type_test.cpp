#include "xdb/xquery/values/sequence_type.h"

#include <gtest/gtest.h>

#include "xdb/xquery/values/types.h"

namespace kiv::xdb::xq {
namespace {

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

// The runs that the questions of types.h rely on: by derivation, each type is
// where the question puts it.
TEST(Types, LieInTheRunsOfTheirKind) {
  for (std::size_t i = static_cast<std::size_t>(Type::AnyAtomic) + 1;
       i < kTypeCount; ++i) {
    const auto type = static_cast<Type>(i);
    SCOPED_TRACE(NameOf(type));
    EXPECT_EQ(TypeNamed(LocalNameOf(type)), type);
    EXPECT_EQ(IsString(type), DerivesFrom(type, Type::String));
    EXPECT_EQ(IsInteger(type), DerivesFrom(type, Type::Integer));
    EXPECT_EQ(IsDecimal(type), DerivesFrom(type, Type::Decimal));
    EXPECT_EQ(IsDuration(type), DerivesFrom(type, Type::Duration));
    EXPECT_TRUE(DerivesFrom(type, PrimitiveOf(type)));
  }
  EXPECT_EQ(CommonAncestor(Type::UnsignedInt, Type::PositiveInteger),
            Type::NonNegativeInteger);
  EXPECT_EQ(CommonAncestor(Type::Float, Type::Decimal), Type::AnyAtomic);
}

TEST(SequenceType, PrintsAsItIsWritten) {
  EXPECT_EQ(
      ToText({Named(kElement, "a", Type::AnyType, true), Occurrence::Optional}),
      "element(a, xs:anyType?)?");
  EXPECT_EQ(ToText(Named(ItemKind::Attribute, "", Type::UntypedAtomic)),
            "attribute(*, xs:untypedAtomic)");
  EXPECT_EQ(ToText(DocumentOf(Named(kElement, "a"))),
            "document-node(element(a))");
  EXPECT_EQ(ToText({ItemType{}, Occurrence::Empty}), "empty-sequence()");
  EXPECT_EQ(ToText({ItemType{}, Occurrence::ZeroOrMore}), "item()*");
}

TEST(SequenceType, SubtypesAreKnownWithoutValues) {
  const auto atomic = ItemType::OfAtomic;
  const auto of_kind = ItemType::OfKind;
  const ItemType a = Named(kElement, "a");
  const struct {
    ItemType type;
    ItemType other;
    bool is_subtype;
  } kRows[] = {
      {atomic(Type::Byte), atomic(Type::Decimal), true},
      {atomic(Type::Byte), atomic(Type::UnsignedByte), false},
      {atomic(Type::String), of_kind(ItemKind::Node), false},
      {a, of_kind(ItemKind::Node), true},
      {a, Named(ItemKind::Attribute, "a"), false},
      {a, Named(kElement, "b"), false},
      {Named(kElement, "a", Type::Untyped), Named(kElement, "a", Type::AnyType),
       true},
      // Any type takes what is nil.
      {a, Named(kElement, "a", Type::AnyType, true), true},
      {a, Named(kElement, "a", Type::AnyType), false},
      {DocumentOf(a), DocumentOf(Named(kElement, "")), true},
      {of_kind(ItemKind::Document), DocumentOf(Named(kElement, "")), false},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(ToText(row.type) + " and " + ToText(row.other));
    EXPECT_EQ(IsSubtype(row.type, row.other), row.is_subtype);
    const ItemType both = UnionOf(row.type, row.other);
    EXPECT_TRUE(IsSubtype(row.type, both));
    EXPECT_TRUE(IsSubtype(row.other, both));
  }
}

// Every rule about occurrences, by counting up to three items.
TEST(SequenceType, OccurrencesAreSetsOfCounts) {
  constexpr std::size_t kMost = 3;
  constexpr Occurrence kAll[] = {Occurrence::Empty, Occurrence::One,
                                 Occurrence::Optional, Occurrence::ZeroOrMore,
                                 Occurrence::OneOrMore};
  for (const Occurrence left : kAll) {
    for (const Occurrence right : kAll) {
      bool is_subset = true;
      for (std::size_t i = 0; i <= kMost; ++i) {
        if (!Allows(left, i)) continue;
        is_subset = is_subset && Allows(right, i);
        EXPECT_TRUE(Allows(UnionOf(left, right), i));
        for (std::size_t j = 0; j <= kMost; ++j) {
          if (!Allows(right, j)) continue;
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
  EXPECT_EQ(ProductOf(Occurrence::Optional, Occurrence::One),
            Occurrence::Optional);
  EXPECT_EQ(UnionOf(Occurrence::Empty, Occurrence::OneOrMore),
            Occurrence::ZeroOrMore);
}

TEST(SequenceType, TheEmptySequenceSaysNothingAboutItems) {
  const SequenceType empty{ItemType{}, Occurrence::Empty};
  const SequenceType one{ItemType::OfAtomic(Type::Integer), Occurrence::One};
  EXPECT_TRUE(IsSubtype(empty, UnionOf(empty, one)));
  EXPECT_EQ(ToText(UnionOf(empty, one)), "xs:integer?");
  EXPECT_EQ(ToText(SumOf(one, empty)), "xs:integer");
}

}  // namespace
}  // namespace kiv::xdb::xq
