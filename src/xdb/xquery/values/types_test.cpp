#include "xdb/xquery/values/types.h"

#include <gtest/gtest.h>

namespace kiv::xdb::xq {
namespace {

TEST(Types, DeriveAsTheSchemaSays) {
  EXPECT_TRUE(DerivesFrom(Type::UnsignedByte, Type::NonNegativeInteger));
  EXPECT_TRUE(DerivesFrom(Type::UnsignedByte, Type::Decimal));
  EXPECT_TRUE(DerivesFrom(Type::Entity, Type::Name));
  EXPECT_TRUE(DerivesFrom(Type::NmToken, Type::NmToken));
  EXPECT_TRUE(DerivesFrom(Type::DayTimeDuration, Type::Duration));
  EXPECT_TRUE(DerivesFrom(Type::UntypedAtomic, Type::AnySimpleType));
  EXPECT_FALSE(DerivesFrom(Type::UnsignedByte, Type::Long));
  EXPECT_FALSE(DerivesFrom(Type::NmToken, Type::Name));
  EXPECT_FALSE(DerivesFrom(Type::UntypedAtomic, Type::String));
  EXPECT_FALSE(DerivesFrom(Type::IdRefs, Type::AnyAtomic));
  EXPECT_FALSE(DerivesFrom(Type::Node, Type::AnyType));
}

TEST(Types, HaveANearestCommonAncestor) {
  EXPECT_EQ(CommonAncestor(Type::UnsignedInt, Type::PositiveInteger),
            Type::NonNegativeInteger);
  EXPECT_EQ(CommonAncestor(Type::Byte, Type::UnsignedByte), Type::Integer);
  EXPECT_EQ(CommonAncestor(Type::Float, Type::Decimal), Type::AnyAtomic);
  EXPECT_EQ(CommonAncestor(Type::Token, Type::String), Type::String);
}

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
  EXPECT_EQ(TypeNamed("Integer"), Type::None);
  EXPECT_EQ(TypeNamed(""), Type::None);
}

}  // namespace
}  // namespace kiv::xdb::xq
