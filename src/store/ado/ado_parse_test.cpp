#include <sstream>

#include "kiv/store/ado_connection.h"
#include "kiv/strings.h"
#include "store/store_test_fixture.h"

namespace kiv::store {
namespace {

struct BodyCase {
  const char* name;
  const char* body;
  // The entries of the log, in order, a line each; BODY stands for what is
  // behind the colon at the start.
  const char* errors;
};

class AdoBody : public StoreTest,
                public ::testing::WithParamInterface<BodyCase> {};

TEST_P(AdoBody, IsRefusedWithItsReason) {
  const std::string body = GetParam().body;
  EXPECT_EQ(AdoConnection::CreateConnection(body), nullptr);
  const std::string text = log_.Text();
  std::size_t at = 0;
  std::istringstream errors(GetParam().errors);
  for (std::string error; std::getline(errors, error);) {
    string_replace(error, "BODY",
                   body.c_str() + (body.starts_with(':') ? 1 : 0));
    const std::string entry =
        std::string("[") + kError + "] db: " + error + "\r\n";
    const std::size_t found = text.find(entry, at);
    ASSERT_NE(found, std::string::npos) << error << "\n" << text;
    at = found + entry.size();
  }
  EXPECT_EQ(at, text.size()) << text;
}

#define CREATION "AdoConnection::CreateConnection Failed: "
#define ANALYSING "\xB7\xD6\xCE\xF6"  // 分析
#define FAULT "\xB4\xED\xCE\xF3"      // 错误
#define UNREAD CREATION ANALYSING " 'BODY' " FAULT
// ') 失败，, the reason, and 分析'...' 错误，无法取得存储标识
#define NO_STORE(reason)                                             \
  "AdoConnection::ParseDbms('BODY') \xCA\xA7\xB0\xDC\xA3\xAC" reason \
  "\n" CREATION ANALYSING "'BODY' " FAULT                            \
  "\xA3\xAC\xCE\xDE\xB7\xA8\xC8\xA1\xB5\xC3\xB4\xE6\xB4\xA2\xB1\xEA\xCA\xB6"
// 没找到 Provider 关键字。
#define NO_PROVIDER                        \
  NO_STORE(                                \
      "\xC3\xBB\xD5\xD2\xB5\xBD Provider " \
      "\xB9\xD8\xBC\xFC\xD7\xD6\xA1\xA3")
//  Provider= 后的意外结尾。
#define EARLY_END   \
  NO_STORE(         \
      " Provider= " \
      "\xBA\xF3\xB5\xC4\xD2\xE2\xCD\xE2\xBD\xE1\xCE\xB2\xA1\xA3")

INSTANTIATE_TEST_SUITE_P(
    Faults, AdoBody,
    ::testing::Values(
        // 连接串不允许为空
        BodyCase{"Empty", "",
                 CREATION "\xC1\xAC\xBD\xD3\xB4\xAE\xB2\xBB\xD4\xCA\xD0\xED"
                          "\xCE\xAA\xBF\xD5"},
        BodyCase{"WithoutColon", "access",
                 CREATION ANALYSING " 'BODY' dbms " FAULT},
        // 0x3A is no second byte, but 0x5C is
        BodyCase{"ColonInsideOfACharacter", "\x81\x5C",
                 CREATION ANALYSING " 'BODY' dbms " FAULT},
        BodyCase{"NothingBehindTheColon", "access:", UNREAD "3"},
        BodyCase{"BlanksBehindTheColon", "access:  ", UNREAD "5"},
        BodyCase{"UnknownDbms", "Access:Data Source=x", UNREAD "99"},
        BodyCase{"PasswordInIt", "none:PWD={a};b",
                 CREATION ANALYSING " 'none:PWD=***;b' " FAULT "99"},
        BodyCase{"NoProvider", ":Data Source=x", NO_PROVIDER},
        BodyCase{"OtherProvider", ":Provider=Other;x=y", NO_PROVIDER},
        BodyCase{"ProviderAtTheEnd", ":Provider", EARLY_END},
        BodyCase{"NothingButBlanksBehindTheEqualsSign",
                 ":Provider =  ", EARLY_END},
        BodyCase{"NoEqualsSign", ":Provider SQLOLEDB", EARLY_END}),
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
