#include "kiv/store/db_xml.h"
#include "dm/dm.h"
#include "store/store_test_fixture.h"

namespace kiv::store {
namespace {

// 订单
constexpr char kOrders[] = "\xB6\xA9\xB5\xA5";

class DbXml : public StoreTest {
 protected:
  void SetUp() override {
    StoreTest::SetUp();
    connection_ = Make("xmldb://store");
    ASSERT_NE(connection_, nullptr);
    ASSERT_TRUE(connection_->OpenOrCreate("", ""));
  }

  std::shared_ptr<Connection> connection_;
};

TEST_F(DbXml, ConnectionWithoutAFolderDoesNotOpen) {
  const auto nowhere = Make("xmldb:");
  ASSERT_NE(nowhere, nullptr);
  EXPECT_FALSE(nowhere->Open("", ""));
  EXPECT_FALSE(nowhere->Create("", ""));
  EXPECT_EQ(log_.Text(), "");
}

TEST_F(DbXml, TwoHalvesOfAPasswordMakeOne) {
  {
    const auto made = Make("xmldb:secret");
    ASSERT_TRUE(made->Create("one", "two"));
    ASSERT_NE(made->CreateTable("t"), nullptr);
  }
  EXPECT_FALSE(Make("xmldb:secret")->Open("", ""));
  EXPECT_FALSE(Make("xmldb:secret")->Open("one", ""));
  const auto opened = Make("xmldb:secret");
  EXPECT_TRUE(opened->Open("onet", "wo"));
  EXPECT_TRUE(opened->IsExistTable("t"));
}

TEST_F(DbXml, TableIsThereFromItsCreationToItsDeletion) {
  EXPECT_FALSE(connection_->IsExistTable(kOrders));
  auto made = connection_->CreateTable(kOrders);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->GetName(), kOrders);
  EXPECT_FALSE(made->CompleteCreate());
  EXPECT_TRUE(connection_->IsExistTable(kOrders));
  auto again = connection_->GetTable(kOrders);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->GetName(), kOrders);
  made.reset();
  again.reset();
  EXPECT_TRUE(connection_->DeleteTable(kOrders));
  EXPECT_FALSE(connection_->IsExistTable(kOrders));
  EXPECT_EQ(log_.Text(), "");
}

#define FAILED "\xCA\xA7\xB0\xDC\xA1\xA3"  // 失败。
#define MUST_NOT_BE_EMPTY \
  "\xB2\xBB\xC4\xDC\xCE\xAA\xBF\xD5\xA1\xA3"  // 不能为空。

TEST_F(DbXml, TablesThatAreThereOrNotAreTold) {
  WriteTestFile("store/broken.xdb", "no container");
  ASSERT_NE(connection_->CreateTable(kOrders), nullptr);
  EXPECT_EQ(connection_->CreateTable(kOrders), nullptr);
  for (const char* const name : {"none", "", "broken"})
    EXPECT_EQ(connection_->GetTable(name), nullptr) << name;
  for (const char* const name : {"", "0xAB"})
    EXPECT_EQ(connection_->CreateTable(name), nullptr) << name;
  EXPECT_FALSE(connection_->DeleteTable(""));
  EXPECT_TRUE(connection_->DeleteTable("none"));
  for (const std::string text :
       {// 订单' 已经存在。
        "GetTable Failed:  '\xB6\xA9\xB5\xA5' "
        "\xD2\xD1\xBE\xAD\xB4\xE6\xD4\xDA\xA1\xA3",
        // ' 不存在。
        "GetTable Failed:  'none' \xB2\xBB\xB4\xE6\xD4\xDA\xA1\xA3",
        "GetTable Failed: name " MUST_NOT_BE_EMPTY,
        "CreateTable Failed: name " MUST_NOT_BE_EMPTY,
        "DeleteTable Failed: name " MUST_NOT_BE_EMPTY,
        "CreateTable Failed: o->SetName('0xAB')" FAILED,
        "GetTable Failed: o->GetTable('broken')" FAILED})
    EXPECT_TRUE(LoggedError("DbXmlConnection::" + text)) << text;
}

TEST_F(DbXml, NameWithANulIsNotThatOfAnotherTable) {
  connection_->CreateTable("t").reset();
  const std::string name("t\0u", 3);
  EXPECT_FALSE(connection_->IsExistTable(name));
  EXPECT_EQ(connection_->GetTable(name), nullptr);
  EXPECT_EQ(connection_->CreateTable(name), nullptr);
  EXPECT_TRUE(connection_->DeleteTable(name));
  EXPECT_TRUE(connection_->IsExistTable("t"));
}

TEST_F(DbXml, ColumnsAreCheckedAndNotKept) {
  const auto table = connection_->CreateTable("t");
  EXPECT_TRUE(table->CreateColumn("c", Any(dm_o_int32_metadata()), 0));
  EXPECT_EQ(log_.Text(), "");
  EXPECT_EQ(table->GetColumnCount(), 0);
  EXPECT_FALSE(table->HasColumn("c"));
  EXPECT_EQ(table->GetColumn(7), nullptr);
  EXPECT_EQ(table->GetColumn(""), nullptr);
  for (const std::string text :
       {"o->GetColumn('c')" FAILED, "o->GetColumn('7')" FAILED,
        "name " MUST_NOT_BE_EMPTY})
    EXPECT_TRUE(LoggedError("DbXmlTable::GetColumn Failed: " + text)) << text;
  EXPECT_FALSE(table->DeleteColumn("c"));
  EXPECT_EQ(table->OpenRecordset(), nullptr);
  EXPECT_EQ(table->ColumnList({}, {}), "");
}

TEST_F(DbXml, TransactionMakesChangesTogether) {
  const auto table =
      std::dynamic_pointer_cast<DbXmlTable>(connection_->CreateTable("t"));
  const auto change = [&](const std::string& name) {
    auto begun = std::dynamic_pointer_cast<DbXmlTransaction>(
        connection_->BeginTransaction());
    auto& manager =
        std::dynamic_pointer_cast<DbXmlConnection>(connection_)->GetManager();
    XDbUpdateContext context;
    std::string document = name;
    EXPECT_TRUE(manager.CreateUpdateContext(context));
    EXPECT_TRUE(context.SetTransaction(begun->GetTransaction()));
    EXPECT_TRUE(table->GetContainer().PutDocument(document, "<a/>", context));
    return begun;
  };
  EXPECT_TRUE(change("kept")->Commit());
  EXPECT_TRUE(change("rolled back")->Rollback());
  change("dropped");
  std::vector<std::string> names;
  table->GetContainer().EachDocumentName([&](const std::string& name) {
    names.push_back(name);
    return true;
  });
  EXPECT_EQ(names, std::vector<std::string>{"kept"});
}

TEST_F(DbXml, TransactionNeedsAnOpenStore) {
  const auto closed = Make("xmldb:other");
  EXPECT_EQ(closed->BeginTransaction(), nullptr);
  EXPECT_TRUE(LoggedError("DbXmlConnection::BeginTransaction Failed"));
  EXPECT_EQ(closed->CreateTable("t"), nullptr);
}

TEST_F(DbXml, TableWorksOnWithoutItsConnection) {
  const auto table =
      std::dynamic_pointer_cast<DbXmlTable>(connection_->CreateTable("t"));
  connection_.reset();
  EXPECT_TRUE(table->GetContainer().put("<a/>"));
  EXPECT_EQ(table->GetName(), "t");
}

}  // namespace
}  // namespace kiv::store
