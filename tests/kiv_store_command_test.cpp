// kiv store as users run it.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "port/test_folder.h"
#include "testing/kiv_command.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;

// 订单, 客户 and 京A·镕0017, in UTF-8.
#define ORDER "\xE8\xAE\xA2\xE5\x8D\x95"
#define CUSTOMER "\xE5\xAE\xA2\xE6\x88\xB7"
#define PLATE "\xE4\xBA\xAC\x41\xC2\xB7\xE9\x95\x95\x30\x30\x31\x37"

constexpr char kSqlite[] = "KIV_STORE=ado:ado:Driver=SQLite3;Database=store.db";
constexpr char kSchema[] =
    "<?xml version='1.0' encoding='UTF-8'?>\n"
    "<s><complexType name='" ORDER
    "'><sequence>"
    "<element name='id' type='int'/><element name='" CUSTOMER
    "' type='string'/>"
    "<element name='tons' type='double'/><element name='due' type='dateTime'/>"
    "<element name='paid' type='boolean'/>"
    "</sequence></complexType></s>";
constexpr char kRows[] =
    "id," CUSTOMER
    ",tons,due,paid\n"
    "1," PLATE
    ",0.1,2004-01-31T09:05:07.1234567,true\n"
    "2,\"a \"\"b\"\", c\",-1e+100,1753-01-01T00:00:00,false\n"
    "-2147483648,\"line\nfeed\",,,\n"
    ",\"\",0,9999-12-31T23:59:59,true\n";

class KivStore : public KivCommand<> {
 protected:
  KivStore() : KivCommand("store") { variable_ = kSqlite; }

  void MakeOrders() {
    WriteTestFile("types.xsd", kSchema);
    ASSERT_EQ(Run({"create", ORDER, "types.xsd", "-c"}), 0) << errors_;
    EXPECT_EQ(errors_, "");
  }
  void FillOrders() {
    MakeOrders();
    WriteTestFile("rows.csv", kRows);
    ASSERT_EQ(Run({"import", ORDER, "rows.csv"}), 0) << errors_;
  }

  const TestFolder folder_;
};

TEST_F(KivStore, MakesATableFromASchema) {
  EXPECT_TRUE(
      Fails({"tables"}, "kiv store tables: the store cannot be opened"));
  EXPECT_FALSE(fs::exists("store.db"));
  MakeOrders();
  EXPECT_EQ(Run({"tables"}), 0);
  EXPECT_EQ(output_, ORDER "\n");
  EXPECT_EQ(Run({"columns", ORDER}), 0);
  EXPECT_EQ(output_,
            "name  type             size  null\n"
            "id    System.Int32           null\n" CUSTOMER
            "  System.String      50  null\n"
            "tons  System.Double          null\n"
            "due   System.DateTime        null\n"
            "paid  System.Boolean         null\n");
  EXPECT_EQ(Run({"ping"}), 0);
  EXPECT_EQ(output_.substr(0, 15), "open, 1 table, ");
  EXPECT_TRUE(Fails({"create", ORDER, "types.xsd"}, "already"));
  EXPECT_TRUE(Fails({"create", "t", "types.xsd"}, "no record type is named"));
  EXPECT_TRUE(Fails({"create", "t", "missing.xsd"}, "missing.xsd"));
  EXPECT_EQ(Run({"create", "t", "types.xsd", "-t", ORDER, "--text-length=9"}),
            0);
  EXPECT_EQ(Run({"columns", "t"}), 0);
  EXPECT_NE(output_.find("System.String       9"), std::string::npos);
  EXPECT_FALSE(fs::exists("Logfiles"));
}

TEST_F(KivStore, RowsComeOutAsTheyWentIn) {
  FillOrders();
  EXPECT_EQ(errors_, "4 rows imported\n");
  EXPECT_EQ(Run({"dump", ORDER}), 0) << errors_;
  EXPECT_EQ(output_, kRows);
  EXPECT_EQ(Run({"dump", ORDER, "-o", "copy.csv"}), 0) << errors_;
  EXPECT_EQ(errors_, "4 rows written\n");
  EXPECT_EQ(ReadTestFile("copy.csv"), kRows);
  EXPECT_FALSE(fs::exists("copy.csv.part"));
  // Both ways through a pipe.
  EXPECT_EQ(Shell("$KIV store create copy types.xsd -t " ORDER
                  " && $KIV store dump " ORDER " | $KIV store import copy -"),
            0)
      << errors_;
  EXPECT_EQ(Run({"dump", "copy"}), 0);
  EXPECT_EQ(output_, kRows);
}

TEST_F(KivStore, DumpsXmlThatHoldsEverything) {
  FillOrders();
  ASSERT_EQ(Run({"query", "-x",
                 "update \"" ORDER "\" set \"" CUSTOMER
                 "\" = char(1) || '<&' where id = 2"}),
            0)
      << errors_;
  EXPECT_EQ(output_, "1 row changed\n");
  EXPECT_EQ(Run({"dump", ORDER, "--format", "xml"}), 0) << errors_;
  EXPECT_EQ(output_,
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<rows>\n"
            "  <row>\n    <field name=\"id\">1</field>\n"
            "    <field name=\"" CUSTOMER "\">" PLATE
            "</field>\n"
            "    <field name=\"tons\">0.1</field>\n"
            "    <field name=\"due\">2004-01-31T09:05:07.1234567</field>\n"
            "    <field name=\"paid\">true</field>\n  </row>\n"
            "  <row>\n    <field name=\"id\">2</field>\n"
            "    <field name=\"" CUSTOMER
            "\" hex=\"true\">013C26</field>\n"
            "    <field name=\"tons\">-1e+100</field>\n"
            "    <field name=\"due\">1753-01-01T00:00:00</field>\n"
            "    <field name=\"paid\">false</field>\n  </row>\n"
            "  <row>\n    <field name=\"id\">-2147483648</field>\n"
            "    <field name=\"" CUSTOMER
            "\">line&#10;feed</field>\n  </row>\n"
            "  <row>\n    <field name=\"" CUSTOMER
            "\"></field>\n"
            "    <field name=\"tons\">0</field>\n"
            "    <field name=\"due\">9999-12-31T23:59:59</field>\n"
            "    <field name=\"paid\">true</field>\n  </row>\n</rows>\n");
}

TEST_F(KivStore, DumpKeepsWhatTheLibrarysEncodingLacks) {
  MakeOrders();
  ASSERT_EQ(Run({"query", "-x",
                 "insert into \"" ORDER "\" (id, \"" CUSTOMER
                 "\") values (1, char(128512))"}),
            0)
      << errors_;
  EXPECT_EQ(Run({"dump", ORDER}), 0);
  EXPECT_EQ(output_, "id," CUSTOMER ",tons,due,paid\n1,\xF0\x9F\x98\x80,,,\n");
  WriteTestFile("rows.csv", output_);
  EXPECT_TRUE(Fails({"import", ORDER, "rows.csv"}, "line 2: "));
}

TEST_F(KivStore, ImportsAllRowsOrNone) {
  MakeOrders();
  const struct {
    const char* rows;
    const char* error;
  } cases[] = {
      {"", "the file is empty"},
      {"id,none\n1,2\n", "has no column 'none'"},
      {"id,id\n1,2\n", "'id' stands in the header twice"},
      {"id,tons\n1,2\n1\n", "line 3: 1 values for 2 columns"},
      {"id,tons\n1,2\nx,3\n", "line 3: 'x' is no System.Int32"},
      {"id\n1\n2147483648\n", "line 3: '2147483648' is no System.Int32"},
      {"due\n2004-01-31\n2004-02-31\n", "line 3: '2004-02-31' is no"},
      {"id," CUSTOMER "\n1,a\n2,\"b\n", "line 3: a quote is not closed"},
      {"id," CUSTOMER "\n1,a\n2,\"b\"c\n", "line 3: text stands behind"},
      {"id," CUSTOMER "\n1,a\n2,b\"c\"\n", "line 3: a quote stands inside"},
  };
  for (const auto& given : cases) {
    WriteTestFile("rows.csv", given.rows);
    EXPECT_TRUE(Fails({"import", ORDER, "rows.csv"}, given.error))
        << given.error << "\n"
        << errors_;
  }
  EXPECT_EQ(Run({"dump", ORDER}), 0);
  EXPECT_EQ(output_, "id," CUSTOMER ",tons,due,paid\n");
  EXPECT_TRUE(
      Fails({"import", "none", "rows.csv"}, "there is no table 'none'"));
  EXPECT_TRUE(Fails({"import", ORDER, "none.csv"}, "none.csv cannot be read"));
}

TEST_F(KivStore, AsksWithValuesAndShowsATableOnATerminal) {
  FillOrders();
  EXPECT_EQ(
      Run({"query", "select id from \"" ORDER "\" where \"" CUSTOMER "\" = ?",
           PLATE}),
      0)
      << errors_;
  EXPECT_EQ(output_, "id\n1\n");
  const PseudoTerminal terminal;
  EXPECT_EQ(Run({"query", "select id, tons from \"" ORDER
                          "\" where id is not null order by id"},
                &terminal),
            0);
  EXPECT_TRUE(Shows("-2147483648  null")) << output_;
  EXPECT_TRUE(Shows("3 rows")) << output_;
  EXPECT_TRUE(Fails({"query", "select nonsense"}, "the statement failed"));
  EXPECT_TRUE(Says("nonsense"));
  EXPECT_EQ(Run({"query", "-x", "delete from \"" ORDER "\""}), 0);
  EXPECT_EQ(output_, "4 rows changed\n");
}

TEST_F(KivStore, TakesTheTextFromWhereItIsAndShowsNoPassword) {
  MakeOrders();
  variable_ = "KIV_STORE=";
  EXPECT_TRUE(Fails({"tables"}, "KIV_STORE"));
  WriteTestFile("where", "ado:ado:Driver=SQLite3;Database=store.db\r\n");
  EXPECT_EQ(Run({"-f", "where", "tables"}), 0);
  EXPECT_EQ(Run({"tables", "-f", "where"}), 0);
  EXPECT_EQ(Run({"-C", "ado:access:Driver=SQLite3;Database=store.db", "ping"}),
            0);
  EXPECT_EQ(Run({"-C", "x", "-f", "where", "ping"}), 2);
  WriteTestFile("empty", "\n");
  EXPECT_TRUE(Fails({"-f", "empty", "ping"}, "empty has no connection text"));
  EXPECT_TRUE(Fails({"-C", "nonsense", "ping"}, "that is no connection text"));
  EXPECT_TRUE(
      Fails({"-C", "ado:none:Driver=SQLite3;PWD=geheim", "ping"}, "PWD=***"));
  EXPECT_FALSE(Says("geheim"));
  WriteTestFile("password", "geheim2\n");
  EXPECT_TRUE(Fails({"-C", "ado:ado:Driver=SQLite3;Database=none.db;PWD=geheim",
                     "--password-file", "password", "ping"},
                    "cannot be opened"));
  EXPECT_FALSE(Says("geheim"));
}

TEST_F(KivStore, LeavesDocumentsToKivXdb) {
  variable_ = "KIV_STORE=xmldb:documents";
  WriteTestFile("types.xsd", kSchema);
  EXPECT_EQ(Run({"create", ORDER, "types.xsd", "-c"}), 0) << errors_;
  EXPECT_EQ(Run({"tables"}), 0);
  EXPECT_EQ(output_, ORDER "\n");
  EXPECT_EQ(Run({"ping"}), 0);
  EXPECT_TRUE(Fails({"columns", ORDER}, "see kiv xdb"));
  EXPECT_TRUE(Fails({"dump", ORDER}, "see kiv xdb"));
}

TEST_F(KivStore, ReplacesAFileAndNothingElse) {
  FillOrders();
  WriteTestFile("copy.csv", "older");
  fs::permissions("copy.csv", fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink("copy.csv", "link");
  EXPECT_EQ(Run({"dump", ORDER, "-o", "link"}), 0) << errors_;
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_EQ(ReadTestFile("copy.csv"), kRows);
  EXPECT_EQ(fs::status("copy.csv").permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(
      Shell("mkfifo pipe && { cat pipe > got & } && $KIV store dump " ORDER
            " -o pipe; wait; test -p pipe"),
      0)
      << errors_;
  EXPECT_EQ(ReadTestFile("got"), kRows);
  EXPECT_EQ(Shell("$KIV store dump " ORDER " > /dev/full"), 1);
  EXPECT_TRUE(Says("standard output cannot be written"));
  // Nothing stays beside them.
  EXPECT_TRUE(Fails({"dump", ORDER, "-o", "none/x.csv"}, "none/x.csv"));
  std::size_t files = 0;
  for (const auto& entry : fs::directory_iterator("."))
    files += entry.path().string().find("copy.csv") != std::string::npos;
  EXPECT_EQ(files, 1U);
}

TEST_F(KivStore, DumpsNoPartOfADamagedTable) {
  MakeOrders();
  std::string rows = "id," CUSTOMER "\n";
  for (int i = 0; i < 20000; ++i)
    rows += std::to_string(i) + ",customer of this row\n";
  WriteTestFile("rows.csv", rows);
  ASSERT_EQ(Run({"import", ORDER, "rows.csv"}), 0) << errors_;
  std::string file = ReadTestFile("store.db");
  ASSERT_GT(file.size(), 100000u);
  file.replace(file.size() / 2, 8192, std::string(8192, '\xFF'));
  WriteTestFile("store.db", file);
  EXPECT_TRUE(Fails({"dump", ORDER, "-o", "copy.csv"}, "malformed")) << errors_;
  EXPECT_FALSE(fs::exists("copy.csv"));
  EXPECT_TRUE(Fails({"query", "select * from \"" ORDER "\""}, "malformed"))
      << errors_;
}

}  // namespace
}  // namespace kiv::testing
