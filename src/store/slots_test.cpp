// Programs call the store by slot: the order of the virtual functions is part
// of the interface.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "kiv/store/store.h"

namespace kiv::store {
namespace {

constexpr int kNotVirtual = -1;

// The place in the table of virtual functions, as the Itanium C++ ABI writes a
// pointer to a member.
template <class Member>
int Slot(Member member) {
  std::uintptr_t words[2];
  static_assert(sizeof member == sizeof words);
  std::memcpy(words, &member, sizeof words);
  return words[0] % 2 == 0 ? kNotVirtual
                           : static_cast<int>((words[0] - 1) / sizeof(void*));
}

using Name = const std::string&;

TEST(StoreSlots, OfAConnection) {
  EXPECT_EQ(Slot(&Connection::Open), 0);
  EXPECT_EQ(Slot(&Connection::Create), 1);
  EXPECT_EQ(Slot(&Connection::IsExistTable), 2);
  EXPECT_EQ(Slot(&Connection::GetTable), 3);
  EXPECT_EQ(Slot(&Connection::CreateTable), 4);
  EXPECT_EQ(Slot(&Connection::DeleteTable), 5);
  EXPECT_EQ(Slot(&Connection::BeginTransaction), 6);
  EXPECT_EQ(Slot(&Connection::OpenOrCreate), kNotVirtual);
  struct OpenAdo : AdoConnection {
    static int Of() { return Slot(&OpenAdo::CreateTableInstance); }
  };
  struct OpenXml : DbXmlConnection {
    static int Of() { return Slot(&OpenXml::CreateTableInstance); }
  };
  EXPECT_EQ(OpenAdo::Of(), 7);
  EXPECT_EQ(OpenXml::Of(), 7);
}

TEST(StoreSlots, OfATable) {
  using Found = std::shared_ptr<Column>;
  EXPECT_EQ(Slot(&Table::CompleteCreate), 0);
  EXPECT_EQ(Slot(&Table::GetName), 1);
  EXPECT_EQ(Slot<Found (Table::*)(Name)>(&Table::GetColumn), 2);
  EXPECT_EQ(Slot<Found (Table::*)(long)>(&Table::GetColumn), 3);
  EXPECT_EQ(Slot(&Table::CreateColumn), 4);
  EXPECT_EQ(Slot(&Table::ReservedCreateColumn), 5);
  EXPECT_EQ(Slot(&Table::DeleteColumn), 6);
  EXPECT_EQ(Slot(&Table::CreateColumns), 7);
  EXPECT_EQ(Slot(&Table::GetColumnCount), 8);
  EXPECT_EQ(Slot(&Table::OpenRecordset), 9);
  EXPECT_EQ(Slot(&Table::ReservedText), 10);
  EXPECT_EQ(Slot(&Table::ColumnList), 11);
  EXPECT_EQ(Slot(&Table::ReservedRow), 12);
  EXPECT_EQ(Slot(&Table::ReservedRows), 13);
  EXPECT_EQ(Slot(&Table::ReservedKey), 14);
  EXPECT_EQ(Slot(&Table::GetRow), 15);
  EXPECT_EQ(Slot(&Table::HasColumn), kNotVirtual);
  struct OpenAdo : AdoTable {
    static int Column() { return Slot(&OpenAdo::CreateColumnInstance); }
    static int Rows() { return Slot(&OpenAdo::CreateRecordsetInstance); }
  };
  struct OpenXml : DbXmlTable {
    static int Column() { return Slot(&OpenXml::CreateColumnInstance); }
    static int Rows() { return Slot(&OpenXml::CreateRecordsetInstance); }
  };
  EXPECT_EQ(OpenAdo::Column(), 16);
  EXPECT_EQ(OpenAdo::Rows(), 17);
  EXPECT_EQ(OpenXml::Column(), 16);
  EXPECT_EQ(OpenXml::Rows(), 17);
}

TEST(StoreSlots, OfAColumn) {
  EXPECT_EQ(Slot(&Column::GetName), 0);
  EXPECT_EQ(Slot(&Column::SetName), 1);
  EXPECT_EQ(Slot(&Column::GetType), 2);
  EXPECT_EQ(Slot(&Column::GetDefinedSize), 3);
  EXPECT_EQ(Slot(&Column::SetDefinedSize), 4);
  EXPECT_EQ(Slot(&Column::GetPrecision), 5);
  EXPECT_EQ(Slot(&Column::SetPrecision), 6);
  EXPECT_EQ(Slot(&Column::GetNumericScale), 7);
  EXPECT_EQ(Slot(&Column::SetNumericScale), 8);
  EXPECT_EQ(Slot(&Column::GetRelatedColumn), 9);
  EXPECT_EQ(Slot(&Column::SetRelatedColumn), 10);
  EXPECT_EQ(Slot(&Column::GetSortOrder), 11);
  EXPECT_EQ(Slot(&Column::SetSortOrder), 12);
  EXPECT_EQ(Slot(&Column::GetAttributes), 13);
  EXPECT_EQ(Slot(&Column::SetAttributes), 14);
  EXPECT_EQ(Slot(&Column::Handle), 15);
  EXPECT_EQ(Slot(&Column::IsAllowNull), kNotVirtual);
}

TEST(StoreSlots, OfRowsAndTransactions) {
  using Found = std::shared_ptr<Field>;
  EXPECT_EQ(Slot(&Field::Name), 0);
  EXPECT_EQ(Slot(&Field::Value), 1);
  EXPECT_EQ(Slot<Found (Fields::*)(long)>(&Fields::Item), 0);
  EXPECT_EQ(Slot<Found (Fields::*)(Name)>(&Fields::Item), 1);
  EXPECT_EQ(Slot(&Fields::Count), 2);
  struct OpenFields : AdoFields {
    static int Of() { return Slot(&OpenFields::CreateFieldInstance); }
  };
  EXPECT_EQ(OpenFields::Of(), 3);
  EXPECT_EQ(Slot(&Recordset::MoveNext), 0);
  EXPECT_EQ(Slot(&Recordset::IsEOF), 1);
  EXPECT_EQ(Slot(&Recordset::GetFields), 2);
  EXPECT_EQ(Slot(&AdoRecordset::LoadTable), 3);
  struct OpenRows : AdoRecordset {
    static int Of() { return Slot(&OpenRows::CreateFieldsInstance); }
  };
  EXPECT_EQ(OpenRows::Of(), 4);
  EXPECT_EQ(Slot(&Transaction::Commit), 0);
  EXPECT_EQ(Slot(&Transaction::Rollback), 1);
  EXPECT_EQ(Slot(&Factory::CreateConnection), 0);
}

TEST(StoreSlots, BasesAreDestroyedByTheirMakersAlone) {
  EXPECT_FALSE(std::is_destructible_v<Connection>);
  EXPECT_FALSE(std::is_destructible_v<Table>);
  EXPECT_FALSE(std::has_virtual_destructor_v<Connection>);
  EXPECT_FALSE(std::has_virtual_destructor_v<Table>);
  EXPECT_FALSE(std::has_virtual_destructor_v<Column>);
  EXPECT_FALSE(std::has_virtual_destructor_v<Field>);
  EXPECT_FALSE(std::has_virtual_destructor_v<Fields>);
  EXPECT_FALSE(std::has_virtual_destructor_v<Recordset>);
  EXPECT_FALSE(std::has_virtual_destructor_v<Transaction>);
  // Nothing but the table of virtual functions.
  EXPECT_EQ(sizeof(Connection), sizeof(void*));
  EXPECT_EQ(sizeof(Table), sizeof(void*));
  // Arrays, which a program may measure.
  EXPECT_EQ(sizeof Factory::PROTOCOL_ADO, sizeof "ado");
  EXPECT_STREQ(Factory::PROTOCOL_ADO, "ado");
  EXPECT_EQ(sizeof Factory::PROTOCOL_XMLDB, sizeof "xmldb");
  EXPECT_STREQ(Factory::PROTOCOL_XMLDB, "xmldb");
}

}  // namespace
}  // namespace kiv::store
