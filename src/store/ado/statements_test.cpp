#include "store/ado/statements.h"

#include <gtest/gtest.h>
#include <sql.h>
#include <sqlext.h>

#include "store/ado/column_types.h"

namespace kiv::store::ado {
namespace {

// A driver that is only asked.
class Language : public SqlLanguage {
 public:
  Language(Dialect dialect, const char* quote, const char* escape = "\\")
      : SqlLanguage(dialect) {
    SetMarks(quote, escape);
  }
  const std::vector<TypeName>& TypeNames() override { return types; }

  std::vector<TypeName> types;
};

std::shared_ptr<Column> Make(const std::string& name, DataType type,
                             long size = 0, long attributes = adColNullable) {
  auto column = std::make_shared<Column>();
  column->SetName(name);
  column->SetType(type);
  column->SetDefinedSize(size);
  column->SetAttributes(attributes);
  return column;
}

// \xB6\xA9\xB5\xA5 is 订单, and \xE8\xAE\xA2\xE5\x8D\x95 the same in UTF-8.
constexpr char kOrders[] = "\xB6\xA9\xB5\xA5";

TEST(Statements, OfSqlServer) {
  Language language(Dialect::SqlServer, "\"");
  EXPECT_EQ(
      CreateTableStatement(
          kOrders,
          {Make("id", adInteger, 0, 0), Make("na\"me", adVarWChar, 50),
           Make("memo", adLongVarWChar), Make("flag", adBoolean),
           Make("b", adUnsignedTinyInt), Make("big", adBigInt),
           Make("f", adSingle), Make("d", adDouble), Make("g", adGUID),
           Make("at", adDBTimeStamp), Make("raw", adVarBinary, 8000),
           Make("rest", adVarBinary)},
          language),
      "CREATE TABLE \"\xE8\xAE\xA2\xE5\x8D\x95\" (\"id\" int NOT NULL, "
      "\"na\"\"me\" nvarchar(50) NULL, \"memo\" nvarchar(max) NULL, "
      "\"flag\" bit NULL, \"b\" tinyint NULL, \"big\" bigint NULL, "
      "\"f\" real NULL, \"d\" float(53) NULL, \"g\" uniqueidentifier NULL, "
      "\"at\" datetime2 NULL, \"raw\" varbinary(8000) NULL, "
      "\"rest\" varbinary(max) NULL)");
  EXPECT_EQ(DropTableStatement("a", language), "DROP TABLE \"a\"");
  EXPECT_EQ(AddColumnStatement("a", *Make("b", adInteger), language),
            "ALTER TABLE \"a\" ADD \"b\" int NULL");
  EXPECT_EQ(DropColumnStatement("a", "b", language),
            "ALTER TABLE \"a\" DROP COLUMN \"b\"");
  EXPECT_EQ(RenameTableStatement("a'b", "c'd", language),
            "EXEC sp_rename N'\"a''b\"', N'c''d'");
  EXPECT_EQ(RenameColumnStatement("a", "b", "c", language),
            "EXEC sp_rename N'\"a\".\"b\"', N'c', 'COLUMN'");
  EXPECT_EQ(CreateDatabaseStatement("x\"y", language),
            "CREATE DATABASE \"x\"\"y\"");
}

// Nothing keeps a name apart from the statement around it.
TEST(Statements, WithoutAQuoteCharacterTakeSimpleNamesOnly) {
  Language language(Dialect::Generic, "");
  EXPECT_EQ(DropTableStatement("a_1", language), "DROP TABLE a_1");
  EXPECT_EQ(DropTableStatement(kOrders, language),
            "DROP TABLE \xE8\xAE\xA2\xE5\x8D\x95");
  for (const char* const name : {"a b", "x; drop table y", "a-b", "1a", "a.b"})
    EXPECT_THROW(DropTableStatement(name, language), _com_error) << name;
}

TEST(Statements, OfAccess) {
  Language language(Dialect::Access, "`");
  EXPECT_EQ(
      CreateTableStatement("a`b",
                           {Make("id", adInteger), Make("t", adVarWChar, 50),
                            Make("m", adLongVarWChar), Make("y", adBoolean),
                            Make("b", adUnsignedTinyInt), Make("d", adDouble),
                            Make("at", adDBTimeStamp), Make("g", adGUID)},
                           language),
      "CREATE TABLE `a``b` (`id` LONG NULL, `t` TEXT(50) NULL, `m` MEMO "
      "NULL, `y` BIT NULL, `b` BYTE NULL, `d` DOUBLE NULL, `at` DATETIME "
      "NULL, `g` GUID NULL)");
}

TEST(Statements, OfAnUnknownDatabaseUseTheWordsOfItsDriver) {
  Language language(Dialect::Generic, "\"");
  language.types = {{SQL_INTEGER, "INT32", ""},
                    {SQL_VARCHAR, "VARTEXT", "length"},
                    {SQL_NUMERIC, "NUMBER", "precision,scale"},
                    {SQL_DOUBLE, "DOUBLE PRECISION", ""}};
  const auto words = [&](const std::shared_ptr<Column>& column) {
    return TypeWords(*column, language);
  };
  EXPECT_EQ(words(Make("a", adInteger)), "INT32");
  EXPECT_EQ(words(Make("a", adVarWChar, 20)), "VARTEXT(20)");
  EXPECT_EQ(words(Make("a", adSingle)), "DOUBLE PRECISION");
  const auto number = Make("a", adNumeric);
  number->SetPrecision(10);
  number->SetNumericScale(2);
  EXPECT_EQ(words(number), "NUMBER(10,2)");
  EXPECT_THROW(words(Make("a", adGUID)), _com_error);
}

TEST(SqlLanguage, MarksNamesAndPatternsAsTheDriverSays) {
  const Language language(Dialect::Sqlite, "\"");
  EXPECT_EQ(language.Pattern("a_b%c"), "a\\_b\\%c");
  // An escape character is found as any character.
  EXPECT_EQ(language.Pattern("a\\b"), "a_b");
  EXPECT_EQ(Language(Dialect::Access, "`", "").Pattern("a_b%c"), "a_b_c");
  EXPECT_EQ(Language(Dialect::SqlServer, "[").Quoted("a]b[c"), "[a]]b[c]");
}

TEST(SqlLanguage, CaseCountsWhereTheDatabaseMindsIt) {
  const Language sqlite(Dialect::Sqlite, "\"");
  const Language postgres(Dialect::PostgreSql, "\"");
  EXPECT_TRUE(sqlite.IsSameName("Orders", "oRDERS"));
  EXPECT_FALSE(postgres.IsSameName("Orders", "orders"));
}

}  // namespace
}  // namespace kiv::store::ado
