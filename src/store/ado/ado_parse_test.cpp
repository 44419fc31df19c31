#include <typeinfo>
#include <vector>

#include "kiv/store/ado_connection.h"
#include "store/store_test_fixture.h"

namespace kiv::store {
namespace {

using AdoBody = StoreTest;
using Errors = std::vector<std::string>;

// 失败，
constexpr char kFailed[] = "') \xCA\xA7\xB0\xDC\xA3\xAC";
// 没找到 Provider 关键字。
constexpr char kNoProvider[] =
    "\xC3\xBB\xD5\xD2\xB5\xBD Provider \xB9\xD8\xBC\xFC\xD7\xD6\xA1\xA3";

TEST_F(AdoBody, IsRefusedWithItsReasons) {
  const std::string creation = "AdoConnection::CreateConnection Failed: ";
  // 分析, and 错误
  const std::string analysing = creation + "\xB7\xD6\xCE\xF6";
  const std::string fault = "' \xB4\xED\xCE\xF3";
  const auto unread = [&](const std::string& body, const std::string& number) {
    return Errors{analysing + " '" + body + fault + number};
  };
  const auto no_store = [&](const std::string& body, const char* reason) {
    return Errors{"AdoConnection::ParseDbms('" + body + kFailed + reason,
                  // ，无法取得存储标识
                  analysing + "'" + body + fault +
                      "\xA3\xAC\xCE\xDE\xB7\xA8\xC8\xA1\xB5\xC3\xB4\xE6\xB4\xA2"
                      "\xB1\xEA\xCA\xB6"};
  };
  //  Provider= 后的意外结尾。
  const char* const early_end =
      " Provider= \xBA\xF3\xB5\xC4\xD2\xE2\xCD\xE2\xBD\xE1\xCE\xB2\xA1\xA3";
  const std::pair<const char*, Errors> rows[] = {
      // 连接串不允许为空
      {"",
       {creation +
        "\xC1\xAC\xBD\xD3\xB4\xAE\xB2\xBB\xD4\xCA\xD0\xED\xCE\xAA\xBF\xD5"}},
      {"access", {analysing + " 'access' dbms \xB4\xED\xCE\xF3"}},
      {"access:", unread("access:", "3")},
      {"access:  ", unread("access:  ", "5")},
      {"Access:Data Source=x", unread("Access:Data Source=x", "99")},
      {"none:PWD={a};b", unread("none:PWD=***;b", "99")},
      {":Provider=Other;x=y", no_store("Provider=Other;x=y", kNoProvider)},
      {":Provider", no_store("Provider", early_end)},
      {":Provider =  ", no_store("Provider =  ", early_end)},
      {":Provider SQLOLEDB", no_store("Provider SQLOLEDB", early_end)}};
  int entries = 0;
  for (const auto& [body, errors] : rows) {
    EXPECT_EQ(AdoConnection::CreateConnection(body), nullptr);
    for (const std::string& error : errors)
      EXPECT_TRUE(LoggedError(error)) << error << "\n" << log_.Text();
    entries += static_cast<int>(errors.size());
  }
  EXPECT_EQ(log_.Count("\n"), entries) << log_.Text();
}

TEST_F(AdoBody, ChoosesTheClass) {
  const struct {
    const char* body;
    const std::type_info& type;
  } rows[] = {
      {"ado:x", typeid(AdoConnection)},
      {" mssql :x", typeid(MsSqlAdoConnection)},
      {":Provider=SQLOLEDB.1;Server=s", typeid(MsSqlAdoConnection)},
      {":provider  =  'microsoft.jet.oledb.4.0';data source=a",
       typeid(AccessAdoConnection)},
      {":Provider=\"Microsoft.Jet.OLEDB.4.0\"", typeid(AccessAdoConnection)},
      {":Provider='SQLOLEDB", typeid(MsSqlAdoConnection)},
      {":Provider=;Provider=SQLOLEDB", typeid(MsSqlAdoConnection)},
      {":Extended Properties=\"DSN=MS Access Database;DBQ=a\";"
       "Provider=MSDASQL.1",
       typeid(AccessAdoConnection)}};
  for (const auto& row : rows) {
    const auto made = AdoConnection::CreateConnection(row.body);
    ASSERT_NE(made, nullptr) << row.body << log_.Text();
    const Connection& connection = *made;
    EXPECT_EQ(typeid(connection), row.type) << row.body;
  }
}

TEST_F(AdoBody, OfOdbcWithoutAccessIsRefusedThoughItWasTakenForAdo) {
  std::string dbms = "before";
  EXPECT_FALSE(AdoConnection::ParseDbms(
      "Provider=MSDASQL;Extended Properties='DSN=x;PWD=secret'", dbms));
  EXPECT_EQ(dbms, "ado");
  const std::string start =
      "AdoConnection::ParseDbms('Provider=MSDASQL;Extended "
      "Properties='DSN=x;PWD=***'";
  EXPECT_TRUE(Logged(
      kWarning, "db",
      // 使用OLE DB Provider for ODBC Drivers，有可能在执行的过程中有问题。
      start +
          "') \xCA\xB9\xD3\xC3OLE DB Provider for ODBC Drivers\xA3\xAC\xD3\xD0"
          "\xBF\xC9\xC4\xDC\xD4\xDA\xD6\xB4\xD0\xD0\xB5\xC4\xB9\xFD\xB3\xCC\xD6"
          "\xD0\xD3\xD0\xCE\xCA\xCC\xE2\xA1\xA3"));
  EXPECT_TRUE(LoggedError(start + kFailed + kNoProvider));
}

}  // namespace
}  // namespace kiv::store
