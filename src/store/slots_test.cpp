// Programs call the store by slot: the order of the virtual functions is part
// of the interface.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <numeric>
#include <type_traits>
#include <vector>

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

// They are all of the first slots, in this order.
template <class... Members>
void ExpectFirst(Members... members) {
  std::vector<int> expected(sizeof...(members));
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(std::vector<int>({Slot(members)...}), expected);
}

using Name = const std::string&;

TEST(StoreSlots, OfAConnection) {
  ExpectFirst(&Connection::Open, &Connection::Create, &Connection::IsExistTable,
              &Connection::GetTable, &Connection::CreateTable,
              &Connection::DeleteTable, &Connection::BeginTransaction);
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
  ExpectFirst(&Table::CompleteCreate, &Table::GetName,
              static_cast<Found (Table::*)(Name)>(&Table::GetColumn),
              static_cast<Found (Table::*)(long)>(&Table::GetColumn),
              &Table::CreateColumn, &Table::ReservedCreateColumn,
              &Table::DeleteColumn, &Table::CreateColumns,
              &Table::GetColumnCount, &Table::OpenRecordset,
              &Table::ReservedText, &Table::ColumnList, &Table::ReservedRow,
              &Table::ReservedRows, &Table::ReservedKey, &Table::GetRow);
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
  ExpectFirst(&Column::GetName, &Column::SetName, &Column::GetType,
              &Column::GetDefinedSize, &Column::SetDefinedSize,
              &Column::GetPrecision, &Column::SetPrecision,
              &Column::GetNumericScale, &Column::SetNumericScale,
              &Column::GetRelatedColumn, &Column::SetRelatedColumn,
              &Column::GetSortOrder, &Column::SetSortOrder,
              &Column::GetAttributes, &Column::SetAttributes, &Column::Handle);
  EXPECT_EQ(Slot(&Column::IsAllowNull), kNotVirtual);
}

TEST(StoreSlots, OfRowsAndTransactions) {
  using Found = std::shared_ptr<Field>;
  struct OpenFields : AdoFields {
    static int Of() { return Slot(&OpenFields::CreateFieldInstance); }
  };
  struct OpenRows : AdoRecordset {
    static int Of() { return Slot(&OpenRows::CreateFieldsInstance); }
  };
  ExpectFirst(&Field::Name, &Field::Value);
  ExpectFirst(static_cast<Found (Fields::*)(long)>(&Fields::Item),
              static_cast<Found (Fields::*)(Name)>(&Fields::Item),
              &Fields::Count);
  EXPECT_EQ(OpenFields::Of(), 3);
  ExpectFirst(&Recordset::MoveNext, &Recordset::IsEOF, &Recordset::GetFields);
  EXPECT_EQ(Slot(&AdoRecordset::LoadTable), 3);
  EXPECT_EQ(OpenRows::Of(), 4);
  ExpectFirst(&Transaction::Commit, &Transaction::Rollback);
  ExpectFirst(&Factory::CreateConnection);
}

TEST(StoreSlots, BasesAreDestroyedByTheirMakersAlone) {
  EXPECT_FALSE(std::is_destructible_v<Connection>);
  EXPECT_FALSE(std::is_destructible_v<Table>);
  EXPECT_FALSE(std::has_virtual_destructor_v<Column>);
  EXPECT_FALSE(std::has_virtual_destructor_v<Recordset>);
  // Nothing but the table of virtual functions.
  EXPECT_EQ(sizeof(Connection), sizeof(void*));
  EXPECT_EQ(sizeof(Table), sizeof(void*));
  // Arrays, which a program may measure.
  EXPECT_EQ(sizeof Factory::PROTOCOL_ADO, sizeof "ado");
  EXPECT_EQ(sizeof Factory::PROTOCOL_XMLDB, sizeof "xmldb");
}

}  // namespace
}  // namespace kiv::store
