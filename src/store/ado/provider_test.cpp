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
using ::testing::StartsWith;

const std::string kJet = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=";

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

TEST_F(Providers, GiveOdbcTheTextThatItKnows) {
  // An Access file is known by what is in it.
  WriteTestFile("a.mdb", std::string("\0\1\0\0Standard Jet DB\0", 20));
  WriteTestFile("b.mdb", std::string("\0\1\0\0Standard ACE DB\0", 20));
  WriteTestFile("s.mdb", "\0\1\0\0Stand");
  const auto free_tds = [](const std::string& text) {
    return "Driver=FreeTDS;" + text + ";ClientCharset=UTF-8;TDS_Version=7.4";
  };
  const struct {
    std::string text;
    std::string odbc;
    OpenMode mode = OpenMode::Existing;
  } rows[] = {
      {"Provider=SQLOLEDB;Data Source=h;Initial Catalog=d;User ID=u;Password=p",
       free_tds("Server=h;Database=d;UID=u;PWD=p")},
      {"provider = 'sqloledb.1' ; server=tcp:db1,1444 ; uid=u;pwd=\"a;b}\"; "
       "APP=kiv;Encrypt=yes",
       free_tds("Server=db1;Port=1444;UID=u;PWD={a;b}}};APP=kiv;"
                "Encryption=require")},
      {"Provider=SQLNCLI11;Data Source=.\\EXPRESS;Integrated Security=SSPI",
       free_tds("Server=localhost\\EXPRESS;Trusted_Connection=Yes")},
      {"Driver={SQL Server};Server=db1,1444;Database=d;UID=u;PWD=p",
       free_tds("Server=db1;Database=d;UID=u;PWD=p;Port=1444")},
      {"Provider=MSDASQL;Driver={PostgreSQL Unicode};Initial Catalog=d;PWD={;}",
       "Driver=PostgreSQL Unicode;Database=d;PWD={;};BoolsAsChar=0"},
      {"Driver=PostgreSQL ANSI;Server=h;BoolsAsChar=1",
       "Driver=PostgreSQL ANSI;Server=h;BoolsAsChar=1;"
       "ConnSettings={SET client_encoding TO 'UTF8'}"},
      {"Provider=Acme.1;Driver=Other;Data Source=h;Colour=red;"
       "Extended Properties='Colour=blue;Size=3'",
       "Driver=Other;Server=h;Colour=red;Size=3"},
      {"Extended Properties='DSN=MS Access Database;DBQ=a.mdb'",
       "Driver=MDBTools;DBQ=a.mdb"},
      {"Driver={Microsoft Access Driver (*.mdb)};DBQ=a.mdb",
       "Driver=MDBTools;DBQ=a.mdb"},
      {"Provider=Microsoft.ACE.OLEDB.12.0;Data Source='.\\b.mdb'",
       "Driver=MDBTools;DBQ=./b.mdb"},
      {kJet + "s.mdb", "Driver=SQLite3;Database=s.mdb;NoCreat=1;Timeout=10000"},
      {kJet + "new\\x.mdb", "Driver=SQLite3;Database=new/x.mdb;Timeout=10000",
       OpenMode::New},
      {"Driver=SQLite3;Database=:memory:",
       "Driver=SQLite3;Database=:memory:;Timeout=10000", OpenMode::New}};
  for (const auto& row : rows)
    EXPECT_EQ(OdbcText(row.text, row.mode), row.odbc);
  EXPECT_TRUE(
      TargetOf(kJet + "a.mdb", "", "", OpenMode::Existing).is_read_only);
  // The arguments go before the text.
  EXPECT_EQ(OdbcText("Provider=MSOLEDBSQL;Data Source=(local);UID=a;PWD=b",
                     OpenMode::Existing, "c", "d"),
            free_tds("Server=localhost;UID=c;PWD=d"));
  Registered()["ODBC Driver 18 for SQL Server"] = "/opt/libmsodbcsql-18.so";
  EXPECT_EQ(OdbcText("Provider=SQLOLEDB;Data Source=h,1444;UID=u;PWD=p;"
                     "Encrypt=Yes;TrustServerCertificate=Yes"),
            "Driver=ODBC Driver 18 for SQL Server;Server={h,1444};UID=u;"
            "PWD=p;Encrypt=Yes;TrustServerCertificate=Yes");
}

TEST_F(Providers, MakeADatabaseThroughTheServersOwn) {
  const Target target =
      TargetOf("Provider=SQLOLEDB;Initial Catalog=d", "u", "p", OpenMode::New);
  EXPECT_THAT(target.server_text, HasSubstr("Database=master;"));
  EXPECT_EQ(target.database, "d");
  EXPECT_TRUE(target.driver.is_wide);
  EXPECT_EQ(target.driver.dialect, Dialect::SqlServer);
}

TEST_F(Providers, SayWhatIsWrongAndNoPassword) {
  WriteTestFile("small.mdb");
  const auto no_database = "the Database is missing";
  const struct {
    std::string text;
    const char* fault;
    OpenMode mode = OpenMode::Existing;
  } rows[] = {
      {kJet + "missing.mdb", "the file 'missing.mdb'"},
      {kJet + "small.mdb", "is there already", OpenMode::New},
      {kJet + "'a;b.mdb'", "a file name with ';'", OpenMode::New},
      {kJet, "Data Source is missing"},
      {kJet + folder_.path().string(), "a folder"},
      // Its driver would make one that goes when the connection does.
      {"Driver=SQLite3", no_database},
      {"Driver=SQLite3;Database=", no_database},
      {"Driver=SQLite3;DBQ=x", no_database, OpenMode::New},
      {"Provider=Acme.1;Colour=red", "neither a driver nor a data source"},
      {"Provider=Acme.1;Data Source=nowhere", "no ODBC data source 'nowhere'"},
      {"Driver={Acme};PWD=Secret", "'Acme' is not installed"},
      {"Provider=SQLOLEDB;Password='Secret", "cannot be read"},
      {"Password=Secret;x", "cannot be read"},
      {"Provider=MSDASQL;Extended Properties='PWD={Secret'", "cannot be read"}};
  for (const auto& row : rows)
    EXPECT_THAT(OdbcText(row.text, row.mode),
                AllOf(StartsWith("failed: "), HasSubstr(row.fault),
                      Not(HasSubstr("Secret"))));
}

// It is found by its file, or its package is named.
TEST_F(Providers, FindADriverThatNobodyRegistered) {
  Registered().clear();
  EXPECT_THAT(OdbcText("Driver={PostgreSQL Unicode};Server=h"),
              ::testing::AnyOf(HasSubstr("Driver=/usr/"),
                               HasSubstr("install the package odbc-post")));
}

}  // namespace
}  // namespace kiv::store::ado
