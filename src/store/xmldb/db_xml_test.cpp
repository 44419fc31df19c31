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

TEST_F(DbXml, TableIsThereAsSoonAsItIsMade) {
  EXPECT_FALSE(connection_->IsExistTable(kOrders));
  const auto made = connection_->CreateTable(kOrders);
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->GetName(), kOrders);
  EXPECT_FALSE(made->CompleteCreate());
  EXPECT_TRUE(connection_->IsExistTable(kOrders));
  const auto again = connection_->GetTable(kOrders);
  ASSERT_NE(again, nullptr);
  EXPECT_EQ(again->GetName(), kOrders);
  EXPECT_EQ(log_.Text(), "");
}

TEST_F(DbXml, TablesThatAreThereOrNotAreTold) {
  ASSERT_NE(connection_->CreateTable(kOrders), nullptr);
  EXPECT_EQ(connection_->CreateTable(kOrders), nullptr);
  // 订单' 已经存在。
  EXPECT_TRUE(
      LoggedError("DbXmlConnection::GetTable Failed:  '\xB6\xA9\xB5\xA5' "
                  "\xD2\xD1\xBE\xAD\xB4\xE6\xD4\xDA\xA1\xA3"));
  EXPECT_EQ(connection_->GetTable("none"), nullptr);
  // ' 不存在。
  EXPECT_TRUE(
      LoggedError("DbXmlConnection::GetTable Failed:  'none' "
                  "\xB2\xBB\xB4\xE6\xD4\xDA\xA1\xA3"));
  EXPECT_EQ(connection_->GetTable(""), nullptr);
  // 不能为空。
  EXPECT_TRUE(
      LoggedError("DbXmlConnection::GetTable Failed: name "
                  "\xB2\xBB\xC4\xDC\xCE\xAA\xBF\xD5\xA1\xA3"));
  EXPECT_EQ(connection_->CreateTable(""), nullptr);
  // 不能为空。
  EXPECT_TRUE(
      LoggedError("DbXmlConnection::CreateTable Failed: name "
                  "\xB2\xBB\xC4\xDC\xCE\xAA\xBF\xD5\xA1\xA3"));
  EXPECT_FALSE(connection_->DeleteTable(""));
  // 不能为空。
  EXPECT_TRUE(
      LoggedError("DbXmlConnection::DeleteTable Failed: name "
                  "\xB2\xBB\xC4\xDC\xCE\xAA\xBF\xD5\xA1\xA3"));
  EXPECT_TRUE(connection_->DeleteTable("none"));
  EXPECT_EQ(connection_->CreateTable("0xAB"), nullptr);
  // ')失败。
  EXPECT_TRUE(
      LoggedError("DbXmlConnection::CreateTable Failed: "
                  "o->SetName('0xAB')\xCA\xA7\xB0\xDC\xA1\xA3"));
}

TEST_F(DbXml, TableIsDeletedOnceNobodyHoldsIt) {
  connection_->CreateTable("t").reset();
  EXPECT_TRUE(connection_->DeleteTable("t"));
  EXPECT_FALSE(connection_->IsExistTable("t"));
}

TEST_F(DbXml, BrokenContainerIsNoTable) {
  WriteTestFile("store/broken.xdb", "no container");
  EXPECT_EQ(connection_->GetTable("broken"), nullptr);
  // ')失败。
  EXPECT_TRUE(
      LoggedError("DbXmlConnection::GetTable Failed: "
                  "o->GetTable('broken')\xCA\xA7\xB0\xDC\xA1\xA3"));
}

TEST_F(DbXml, ColumnsAreCheckedAndNotKept) {
  const auto table = connection_->CreateTable("t");
  EXPECT_TRUE(table->CreateColumn("c", Any(dm_o_int32_metadata()), 0));
  EXPECT_EQ(log_.Text(), "");
  EXPECT_EQ(table->GetColumnCount(), 0);
  EXPECT_FALSE(table->HasColumn("c"));
  // ')失败。
  EXPECT_TRUE(
      LoggedError("DbXmlTable::GetColumn Failed: "
                  "o->GetColumn('c')\xCA\xA7\xB0\xDC\xA1\xA3"));
  EXPECT_EQ(table->GetColumn(7), nullptr);
  // ')失败。
  EXPECT_TRUE(
      LoggedError("DbXmlTable::GetColumn Failed: "
                  "o->GetColumn('7')\xCA\xA7\xB0\xDC\xA1\xA3"));
  EXPECT_EQ(table->GetColumn(""), nullptr);
  // 不能为空。
  EXPECT_TRUE(
      LoggedError("DbXmlTable::GetColumn Failed: name "
                  "\xB2\xBB\xC4\xDC\xCE\xAA\xBF\xD5\xA1\xA3"));
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
