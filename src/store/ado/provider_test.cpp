#include "store/ado/provider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <utility>

#include "port/test_folder.h"
#include "store/ado/connection_text.h"

namespace kiv::store::ado {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;

// Drivers as odbcinst.ini would name them, so that the texts do not depend on
// what is installed.
std::map<std::string, std::string>& Registered() {
  static std::map<std::string, std::string> drivers;
  return drivers;
}

class Providers : public ::testing::Test {
 protected:
  Providers() {
    Registered() = {{"FreeTDS", "libtdsodbc.so"},
                    {"SQLite3", "libsqlite3odbc.so"},
                    {"MDBTools", "libmdbodbc.so"},
                    {"PostgreSQL Unicode", "psqlodbcw.so"},
                    {"PostgreSQL ANSI", "psqlodbca.so"},
                    {"Other", "libotherodbc.so"}};
  }
  ~Providers() override { ReplaceSettings(before_); }

  static std::string OdbcText(const std::string& text,
                              OpenMode mode = OpenMode::Existing,
                              const std::string& user = "",
                              const std::string& password = "") {
    try {
      return TargetOf(text, user, password, mode).odbc_text;
    } catch (const _com_error& error) {
      return "failed: " + DescriptionOf(error);
    }
  }

  const TestFolder folder_;

 private:
  static std::string Read(const std::string& section, const char* key,
                          const char* file) {
    const bool asks_driver =
        std::string(key) == "Driver" && std::string(file) == "odbcinst.ini";
    const auto found = Registered().find(section);
    return asks_driver && found != Registered().end() ? found->second : "";
  }
  const ReadSetting before_ = ReplaceSettings(Read);
};

TEST_F(Providers, SqlServerGoesThroughFreeTds) {
  EXPECT_EQ(OdbcText("Provider=SQLOLEDB;Data Source=db1;Initial Catalog=shop;"
                     "User ID=sa;Password=p;Persist Security Info=True"),
            "Driver=FreeTDS;Server=db1;Database=shop;UID=sa;PWD=p;"
            "ClientCharset=UTF-8");
  EXPECT_EQ(OdbcText("provider = 'sqloledb.1' ; server=tcp:db1,1444 ; "
                     "uid=u;pwd=\"a;b}\"; APP=kiv;Encrypt=yes"),
            "Driver=FreeTDS;Server=db1;Port=1444;UID=u;PWD={a;b}}};APP=kiv;"
            "Encryption=require;ClientCharset=UTF-8");
  EXPECT_EQ(OdbcText("Provider=SQLNCLI11;Data Source=.\\EXPRESS;"
                     "Integrated Security=SSPI"),
            "Driver=FreeTDS;Server=localhost\\EXPRESS;Trusted_Connection=Yes;"
            "ClientCharset=UTF-8");
  // The arguments go before the text.
  EXPECT_EQ(OdbcText("Provider=MSOLEDBSQL;Data Source=(local);User ID=a;"
                     "Password=b",
                     OpenMode::Existing, "c", "d"),
            "Driver=FreeTDS;Server=localhost;UID=c;PWD=d;ClientCharset=UTF-8");
  const Target target =
      TargetOf("Provider=SQLOLEDB;Data Source=h;Initial Catalog=" +
                   std::string("\xB6\xA9\xB5\xA5") + ";User ID=u;Password=p",
               "", "", OpenMode::New);
  EXPECT_EQ(target.server_text,
            "Driver=FreeTDS;Server=h;Database=master;UID=u;PWD=p;"
            "ClientCharset=UTF-8");
  EXPECT_EQ(target.database, "\xE8\xAE\xA2\xE5\x8D\x95");
  EXPECT_TRUE(target.driver.is_wide);
  EXPECT_EQ(target.driver.dialect, Dialect::SqlServer);
}

TEST_F(Providers, SqlServerPrefersItsMakersDriver) {
  Registered()["ODBC Driver 18 for SQL Server"] = "/opt/libmsodbcsql-18.so";
  EXPECT_EQ(OdbcText("Provider=SQLOLEDB;Data Source=db1,1444;User ID=u;"
                     "Password=p;Encrypt=Yes;TrustServerCertificate=Yes"),
            "Driver=ODBC Driver 18 for SQL Server;Server={db1,1444};UID=u;"
            "PWD=p;Encrypt=Yes;TrustServerCertificate=Yes");
}

TEST_F(Providers, WindowsOdbcTextsFindTheirDriver) {
  EXPECT_EQ(OdbcText("Driver={SQL Server};Server=db1,1444;Database=d;UID=u;"
                     "PWD=p"),
            "Driver=FreeTDS;Server=db1;Database=d;UID=u;PWD=p;Port=1444;"
            "ClientCharset=UTF-8");
  WriteTestFile("a.mdb", std::string("\0\1\0\0Standard Jet DB\0", 20));
  EXPECT_EQ(OdbcText("Provider=MSDASQL;Extended Properties=\"DSN=MS Access "
                     "Database;DBQ=a.mdb\""),
            "Driver=MDBTools;DBQ=a.mdb");
  EXPECT_EQ(OdbcText("Driver={Microsoft Access Driver (*.mdb)};DBQ=a.mdb"),
            "Driver=MDBTools;DBQ=a.mdb");
}

TEST_F(Providers, JetLooksIntoTheFile) {
  WriteTestFile("jet.mdb", std::string("\0\1\0\0Standard Jet DB\0", 20));
  WriteTestFile("ace.accdb", std::string("\0\1\0\0Standard ACE DB\0", 20));
  WriteTestFile("small.mdb", "\0\1\0\0Stand");
  const std::string jet = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=";
  EXPECT_EQ(OdbcText(jet + "jet.mdb"), "Driver=MDBTools;DBQ=jet.mdb");
  EXPECT_EQ(
      OdbcText("Provider=Microsoft.ACE.OLEDB.12.0;Data Source='.\\ace.accdb'"),
      "Driver=MDBTools;DBQ=./ace.accdb");
  EXPECT_TRUE(
      TargetOf(jet + "jet.mdb", "", "", OpenMode::Existing).is_read_only);
  EXPECT_EQ(OdbcText(jet + "small.mdb"),
            "Driver=SQLite3;Database=small.mdb;NoCreat=1;Timeout=10000");
  EXPECT_EQ(OdbcText(jet + "new\\x.mdb", OpenMode::New),
            "Driver=SQLite3;Database=new/x.mdb;Timeout=10000");
  EXPECT_THAT(OdbcText(jet + "missing.mdb"),
              HasSubstr("failed: the file 'missing.mdb'"));
  EXPECT_THAT(OdbcText(jet + "small.mdb", OpenMode::New),
              HasSubstr("is there already"));
  EXPECT_THAT(OdbcText(jet + "'a;b.mdb'", OpenMode::New),
              HasSubstr("failed: a file name with ';'"));
  EXPECT_THAT(OdbcText(jet), HasSubstr("Data Source is missing"));
  EXPECT_THAT(OdbcText(jet + folder_.path().string()), HasSubstr("a folder"));
}

TEST_F(Providers, AnyOtherTextGoesToOdbc) {
  EXPECT_EQ(OdbcText("Provider=MSDASQL;Driver={PostgreSQL Unicode};Server=h;"
                     "Initial Catalog=d;User ID=u;Password={a;b}"),
            "Driver=PostgreSQL Unicode;Server=h;Database=d;UID=u;PWD={a;b};"
            "BoolsAsChar=0");
  EXPECT_EQ(OdbcText("Driver=PostgreSQL ANSI;Server=h;BoolsAsChar=1"),
            "Driver=PostgreSQL ANSI;Server=h;BoolsAsChar=1;"
            "ConnSettings={SET client_encoding TO 'UTF8'}");
  EXPECT_EQ(OdbcText("Provider=Acme.1;Driver=Other;Data Source=h;Colour=red;"
                     "Extended Properties='Colour=blue;Size=3'"),
            "Driver=Other;Server=h;Colour=red;Size=3");
  EXPECT_THAT(OdbcText("Provider=Acme.1;Colour=red"),
              HasSubstr("neither a driver nor a data source"));
  EXPECT_THAT(OdbcText("Provider=Acme.1;Data Source=nowhere"),
              HasSubstr("no ODBC data source 'nowhere'"));
}

TEST_F(Providers, AMissingDriverIsNamedWithItsPackage) {
  Registered().clear();
  EXPECT_THAT(OdbcText("Driver={Acme Driver};PWD=Secret"),
              AllOf(HasSubstr("'Acme Driver' is not installed"),
                    Not(HasSubstr("Secret"))));
  // Those of Debian are found by their files, or their packages are named.
  for (const auto& [text, package] :
       {std::pair("Driver={PostgreSQL Unicode};Server=h", "odbc-postgresql"),
        std::pair("Provider=SQLOLEDB;Data Source=h", "tdsodbc")}) {
    EXPECT_THAT(OdbcText(text),
                ::testing::AnyOf(
                    HasSubstr("Driver=/usr/"),
                    HasSubstr("install the package " + std::string(package))));
  }
}

TEST_F(Providers, ABrokenTextIsRefusedWithoutItsPassword) {
  for (const char* const text :
       {"Provider=SQLOLEDB;Password='Secret", "Password=Secret;x",
        "Provider=MSDASQL;Extended Properties='PWD={Secret'"}) {
    EXPECT_THAT(OdbcText(text),
                AllOf(HasSubstr("cannot be read"), Not(HasSubstr("Secret"))));
  }
}

}  // namespace
}  // namespace kiv::store::ado
