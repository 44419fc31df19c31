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
  EXPECT_FALSE(Make("xmldb:")->OpenOrCreate("", ""));
  EXPECT_EQ(log_.Text(), "");
}

TEST_F(DbXml, TwoHalvesOfAPasswordMakeOne) {
  const char* const text = "xmldb:secret";
  ASSERT_TRUE(Make(text)->Create("one", "two"));
  EXPECT_FALSE(Make(text)->Open("", ""));
  EXPECT_FALSE(Make(text)->Open("one", ""));
  EXPECT_TRUE(Make(text)->Open("onet", "wo"));
}

TEST_F(DbXml, TableIsThereFromItsCreationToItsDeletion) {
  auto made = connection_->CreateTable(kOrders);
  ASSERT_NE(made, nullptr);
  EXPECT_FALSE(made->CompleteCreate());
  EXPECT_EQ(connection_->GetTable(kOrders)->GetName(), kOrders);
  made.reset();
  EXPECT_TRUE(connection_->DeleteTable(kOrders));
  EXPECT_FALSE(connection_->IsExistTable(kOrders));
  EXPECT_EQ(log_.Text(), "");
}

const std::string kFailed = "\xCA\xA7\xB0\xDC\xA1\xA3";  // 失败。
const std::string kEmptyName =
    "name \xB2\xBB\xC4\xDC\xCE\xAA\xBF\xD5\xA1\xA3";  // 不能为空。

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
  for (const std::string& text :
       {// 订单' 已经存在。
        std::string("GetTable Failed:  '\xB6\xA9\xB5\xA5' "
                    "\xD2\xD1\xBE\xAD\xB4\xE6\xD4\xDA\xA1\xA3"),
        // ' 不存在。
        std::string(
            "GetTable Failed:  'none' \xB2\xBB\xB4\xE6\xD4\xDA\xA1\xA3"),
        "GetTable Failed: " + kEmptyName, "CreateTable Failed: " + kEmptyName,
        "DeleteTable Failed: " + kEmptyName,
        "CreateTable Failed: o->SetName('0xAB')" + kFailed,
        "GetTable Failed: o->GetTable('broken')" + kFailed})
    EXPECT_TRUE(LoggedError("DbXmlConnection::" + text)) << text;
}

TEST_F(DbXml, NameWithANulIsNotThatOfAnotherTable) {
  connection_->CreateTable("t").reset();
  const std::string name("t\0u", 3);
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
  EXPECT_EQ(table->GetColumn("c"), nullptr);
  EXPECT_EQ(table->GetColumn(7), nullptr);
  EXPECT_EQ(table->GetColumn(""), nullptr);
  for (const std::string& text : {"o->GetColumn('c')" + kFailed,
                                  "o->GetColumn('7')" + kFailed, kEmptyName})
    EXPECT_TRUE(LoggedError("DbXmlTable::GetColumn Failed: " + text)) << text;
  EXPECT_EQ(table->OpenRecordset(), nullptr);
}

TEST_F(DbXml, TransactionMakesChangesTogether) {
  const auto table =
      std::dynamic_pointer_cast<DbXmlTable>(connection_->CreateTable("t"));
  auto& manager =
      std::dynamic_pointer_cast<DbXmlConnection>(connection_)->GetManager();
  const auto change = [&](std::string name) {
    auto begun = std::dynamic_pointer_cast<DbXmlTransaction>(
        connection_->BeginTransaction());
    XDbUpdateContext context;
    EXPECT_TRUE(manager.CreateUpdateContext(context));
    EXPECT_TRUE(context.SetTransaction(begun->GetTransaction()));
    EXPECT_TRUE(table->GetContainer().PutDocument(name, "<a/>", context));
    return begun;
  };
  EXPECT_TRUE(change("kept")->Commit());
  EXPECT_TRUE(change("rolled back")->Rollback());
  change("dropped");
  std::string names;
  table->GetContainer().EachDocumentName([&](const std::string& name) {
    names += name + ";";
    return true;
  });
  EXPECT_EQ(names, "kept;");
}

TEST_F(DbXml, TransactionNeedsAnOpenStore) {
  EXPECT_EQ(Make("xmldb:other")->BeginTransaction(), nullptr);
  EXPECT_TRUE(LoggedError("DbXmlConnection::BeginTransaction Failed"));
}

TEST_F(DbXml, TableWorksOnWithoutItsConnection) {
  const auto table =
      std::dynamic_pointer_cast<DbXmlTable>(connection_->CreateTable("t"));
  connection_.reset();
  EXPECT_TRUE(table->GetContainer().put("<a/>"));
}

}  // namespace
}  // namespace kiv::store
