#include <typeinfo>

#include "kiv/store/ado_connection.h"
#include "store/store_test_fixture.h"

namespace kiv::store {
namespace {

struct BodyCase {
  const char* name;
  const char* body;
  // The entries of the log, in order.
  std::vector<std::string> errors;
};

class AdoBody : public StoreTest,
                public ::testing::WithParamInterface<BodyCase> {};

TEST_P(AdoBody, IsRefusedWithItsReason) {
  EXPECT_EQ(AdoConnection::CreateConnection(GetParam().body), nullptr);
  const std::string text = log_.Text();
  std::size_t at = 0;
  for (const std::string& error : GetParam().errors) {
    const std::string entry =
        std::string("[") + kError + "] db: " + error + "\r\n";
    const std::size_t found = text.find(entry, at);
    ASSERT_NE(found, std::string::npos) << error << "\n" << text;
    at = found + entry.size();
  }
  EXPECT_EQ(at, text.size()) << text;
}

INSTANTIATE_TEST_SUITE_P(
    Faults, AdoBody,
    ::testing::Values(
        BodyCase{"Empty",
                 "",
                 // 连接串不允许为空
                 {"AdoConnection::CreateConnection Failed: "
                  "\xC1\xAC\xBD\xD3\xB4\xAE\xB2\xBB\xD4\xCA\xD0\xED\xCE\xAA\xBF"
                  "\xD5"}},
        BodyCase{"WithoutColon",
                 "access",
                 // 分析 'access' dbms 错误
                 {"AdoConnection::CreateConnection Failed: \xB7\xD6\xCE\xF6 "
                  "'access' dbms \xB4\xED\xCE\xF3"}},
        BodyCase{"ColonInsideOfACharacter",
                 // 0x3A is no second byte, but 0x5C is
                 "\x81\x5C",
                 // 分析 ' ' dbms 错误
                 {"AdoConnection::CreateConnection Failed: \xB7\xD6\xCE\xF6 "
                  "'\x81\x5C' dbms \xB4\xED\xCE\xF3"}},
        BodyCase{"NothingBehindTheColon",
                 "access:",
                 // 分析 'access:' 错误3
                 {"AdoConnection::CreateConnection Failed: \xB7\xD6\xCE\xF6 "
                  "'access:' \xB4\xED\xCE\xF3"
                  "3"}},
        BodyCase{"BlanksBehindTheColon",
                 "access:  ",
                 // 分析 'access:  ' 错误5
                 {"AdoConnection::CreateConnection Failed: \xB7\xD6\xCE\xF6 "
                  "'access:  ' \xB4\xED\xCE\xF3"
                  "5"}},
        BodyCase{"UnknownDbms",
                 "Access:Data Source=x",
                 // 分析 'Access:Data Source=x' 错误99
                 {"AdoConnection::CreateConnection Failed: \xB7\xD6\xCE\xF6 "
                  "'Access:Data Source=x' \xB4\xED\xCE\xF3"
                  "99"}},
        BodyCase{"PasswordInIt",
                 "none:PWD={a};b",
                 // 分析 'none:PWD=***;b' 错误99
                 {"AdoConnection::CreateConnection Failed: \xB7\xD6\xCE\xF6 "
                  "'none:PWD=***;b' \xB4\xED\xCE\xF3"
                  "99"}},
        BodyCase{"NoProvider",
                 ":Data Source=x",
                 // ') 失败，没找到 Provider 关键字。
                 {"AdoConnection::ParseDbms('Data Source=x') "
                  "\xCA\xA7\xB0\xDC\xA3\xAC\xC3\xBB\xD5\xD2\xB5\xBD Provider "
                  "\xB9\xD8\xBC\xFC\xD7\xD6\xA1\xA3",
                  // 分析'Data Source=x' 错误，无法取得存储标识
                  "AdoConnection::CreateConnection Failed: "
                  "\xB7\xD6\xCE\xF6'Data Source=x' "
                  "\xB4\xED\xCE\xF3\xA3\xAC\xCE\xDE\xB7\xA8\xC8\xA1\xB5\xC3\xB4"
                  "\xE6\xB4\xA2\xB1\xEA\xCA\xB6"}},
        BodyCase{"OtherProvider",
                 ":Provider=Other;x=y",
                 // ') 失败，没找到 Provider 关键字。
                 {"AdoConnection::ParseDbms('Provider=Other;x=y') "
                  "\xCA\xA7\xB0\xDC\xA3\xAC\xC3\xBB\xD5\xD2\xB5\xBD Provider "
                  "\xB9\xD8\xBC\xFC\xD7\xD6\xA1\xA3",
                  // 分析'Provider=Other;x=y' 错误，无法取得存储标识
                  "AdoConnection::CreateConnection Failed: "
                  "\xB7\xD6\xCE\xF6'Provider=Other;x=y' "
                  "\xB4\xED\xCE\xF3\xA3\xAC\xCE\xDE\xB7\xA8\xC8\xA1\xB5\xC3\xB4"
                  "\xE6\xB4\xA2\xB1\xEA\xCA\xB6"}},
        BodyCase{"ProviderAtTheEnd",
                 ":Provider",
                 // ') 失败， Provider= 后的意外结尾。
                 {"AdoConnection::ParseDbms('Provider') "
                  "\xCA\xA7\xB0\xDC\xA3\xAC Provider= "
                  "\xBA\xF3\xB5\xC4\xD2\xE2\xCD\xE2\xBD\xE1\xCE\xB2\xA1\xA3",
                  // 分析'Provider' 错误，无法取得存储标识
                  "AdoConnection::CreateConnection Failed: "
                  "\xB7\xD6\xCE\xF6'Provider' "
                  "\xB4\xED\xCE\xF3\xA3\xAC\xCE\xDE\xB7\xA8\xC8\xA1\xB5\xC3\xB4"
                  "\xE6\xB4\xA2\xB1\xEA\xCA\xB6"}},
        BodyCase{"NothingButBlanksBehindTheEqualsSign",
                 ":Provider =  ",
                 // ') 失败， Provider= 后的意外结尾。
                 {"AdoConnection::ParseDbms('Provider =  ') "
                  "\xCA\xA7\xB0\xDC\xA3\xAC Provider= "
                  "\xBA\xF3\xB5\xC4\xD2\xE2\xCD\xE2\xBD\xE1\xCE\xB2\xA1\xA3",
                  // 分析'Provider =  ' 错误，无法取得存储标识
                  "AdoConnection::CreateConnection Failed: "
                  "\xB7\xD6\xCE\xF6'Provider =  ' "
                  "\xB4\xED\xCE\xF3\xA3\xAC\xCE\xDE\xB7\xA8\xC8\xA1\xB5\xC3\xB4"
                  "\xE6\xB4\xA2\xB1\xEA\xCA\xB6"}},
        BodyCase{"NoEqualsSign",
                 ":Provider SQLOLEDB",
                 // ') 失败， Provider= 后的意外结尾。
                 {"AdoConnection::ParseDbms('Provider SQLOLEDB') "
                  "\xCA\xA7\xB0\xDC\xA3\xAC Provider= "
                  "\xBA\xF3\xB5\xC4\xD2\xE2\xCD\xE2\xBD\xE1\xCE\xB2\xA1\xA3",
                  // 分析'Provider SQLOLEDB' 错误，无法取得存储标识
                  "AdoConnection::CreateConnection Failed: "
                  "\xB7\xD6\xCE\xF6'Provider SQLOLEDB' "
                  "\xB4\xED\xCE\xF3\xA3\xAC\xCE\xDE\xB7\xA8\xC8\xA1\xB5\xC3\xB4"
                  "\xE6\xB4\xA2\xB1\xEA\xCA\xB6"}}),
    [](const auto& given) { return given.param.name; });

enum class Kind { None, Generic, Access, MsSql };

struct ProviderCase {
  const char* name;
  const char* body;
  Kind kind;
};

class AdoProvider : public StoreTest,
                    public ::testing::WithParamInterface<ProviderCase> {};

Kind KindOf(const std::shared_ptr<Connection>& connection) {
  if (!connection) return Kind::None;
  if (std::dynamic_pointer_cast<AccessAdoConnection>(connection))
    return Kind::Access;
  if (std::dynamic_pointer_cast<MsSqlAdoConnection>(connection))
    return Kind::MsSql;
  return Kind::Generic;
}

TEST_P(AdoProvider, ChoosesTheClass) {
  EXPECT_EQ(KindOf(AdoConnection::CreateConnection(GetParam().body)),
            GetParam().kind)
      << log_.Text();
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, AdoProvider,
    ::testing::Values(
        ProviderCase{"WordAdo", "ado:x", Kind::Generic},
        ProviderCase{"WordAccess", "access:x", Kind::Access},
        ProviderCase{"WordMsSql", " mssql :x", Kind::MsSql},
        ProviderCase{"SqlServer", ":Provider=SQLOLEDB.1;Server=s", Kind::MsSql},
        ProviderCase{"AccessInQuotes",
                     ":provider  =  'microsoft.jet.oledb.4.0';data source=a",
                     Kind::Access},
        ProviderCase{"DoubleQuotes", ":Provider=\"Microsoft.Jet.OLEDB.4.0\"",
                     Kind::Access},
        ProviderCase{"QuotesWithoutEnd", ":Provider='SQLOLEDB", Kind::MsSql},
        ProviderCase{"EmptyFirst", ":Provider=;Provider=SQLOLEDB", Kind::MsSql},
        ProviderCase{"OtherFirst", ":Provider=x;Provider=SQLOLEDB",
                     Kind::MsSql},
        ProviderCase{"OdbcWithAccess",
                     ":Extended Properties=\"DSN=MS Access Database;DBQ=a\";"
                     "Provider=MSDASQL.1",
                     Kind::Access},
        ProviderCase{"OdbcWithoutAccess",
                     ":Provider=MSDASQL;Extended Properties='DSN=x'",
                     Kind::None}),
    [](const auto& given) { return given.param.name; });

TEST_F(StoreTest, OdbcWithoutAccessIsRefusedThoughItWasTakenForAdo) {
  std::string dbms = "before";
  EXPECT_FALSE(AdoConnection::ParseDbms(
      "Provider=MSDASQL;Extended Properties='DSN=x;PWD=secret'", dbms));
  EXPECT_EQ(dbms, "ado");
  EXPECT_TRUE(Logged(
      kWarning, "db",
      // '') 使用OLE DB Provider for ODBC Drivers，有可能在执行的过程中有问题。
      "AdoConnection::ParseDbms('Provider=MSDASQL;Extended "
      "Properties='DSN=x;PWD=***'') \xCA\xB9\xD3\xC3OLE DB Provider for ODBC "
      "Drivers\xA3\xAC\xD3\xD0\xBF\xC9\xC4\xDC\xD4\xDA\xD6\xB4\xD0\xD0\xB5\xC4"
      "\xB9\xFD\xB3\xCC\xD6\xD0\xD3\xD0\xCE\xCA\xCC\xE2\xA1\xA3"));
  // '') 失败，没找到 Provider 关键字。
  EXPECT_TRUE(
      LoggedError("AdoConnection::ParseDbms('Provider=MSDASQL;Extended "
                  "Properties='DSN=x;PWD=***'') "
                  "\xCA\xA7\xB0\xDC\xA3\xAC\xC3\xBB\xD5\xD2\xB5\xBD Provider "
                  "\xB9\xD8\xBC\xFC\xD7\xD6\xA1\xA3"));
  EXPECT_FALSE(log_.Has("secret"));
}

}  // namespace
}  // namespace kiv::store
