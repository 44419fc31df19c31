// kiv store as users run it.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kiv_session.h"

namespace kiv::testing {
namespace {

namespace fs = std::filesystem;

// 订单, 客户 and 京A·镕0017, in UTF-8.
#define ORDER "\xE8\xAE\xA2\xE5\x8D\x95"
#define CUSTOMER "\xE5\xAE\xA2\xE6\x88\xB7"
#define PLATE "\xE4\xBA\xAC\x41\xC2\xB7\xE9\x95\x95\x30\x30\x31\x37"

constexpr char kSchema[] =
    "<?xml version='1.0' encoding='UTF-8'?>\n"
    "<s><complexType name='" ORDER
    "'><sequence>"
    "<element name='id' type='int'/><element name='" CUSTOMER
    "' type='string'/>"
    "<element name='tons' type='double'/><element name='due' type='dateTime'/>"
    "<element name='paid' type='boolean'/>"
    "</sequence></complexType></s>";
#define HEADER "id," CUSTOMER ",tons,due,paid\n"
constexpr char kRows[] =
    HEADER "1," PLATE
           ",0.1,2004-01-31T09:05:07.1234567,true\n"
           "2,\"a \"\"b\"\", c\",-1e+100,1753-01-01T00:00:00,false\n"
           "-2147483648,\"line\nfeed\",,,\n"
           ",\"\",0,9999-12-31T23:59:59,true\n";

class KivStore : public KivSession<> {
 protected:
  KivStore() : KivSession("store") {
    variable_ = "KIV_STORE=ado:ado:Driver=SQLite3;Database=store.db";
    WriteTestFile("types.xsd", kSchema);
    WriteTestFile("rows.csv", kRows);
  }

  void FillOrders() {
    Expect({{"create " ORDER " types.xsd -c", ""},
            {"import " ORDER " rows.csv", "! 4 rows imported\n"}});
  }

  const TestFolder folder_;
};

TEST_F(KivStore, MakesATableFromASchema) {
  Expect({{"tables", "1: ! kiv store tables: the store cannot be opened*"}});
  EXPECT_FALSE(fs::exists("store.db"));
  Expect({{"create " ORDER " types.xsd -c", ""},
          {"tables", ORDER "\n"},
          {"columns " ORDER,
           "name  type             size  null\n"
           "id    System.Int32           null\n" CUSTOMER
           "  System.String      50  null\n"
           "tons  System.Double          null\n"
           "due   System.DateTime        null\n"
           "paid  System.Boolean         null\n"},
          {"ping", "open, 1 table, *"},
          {"create " ORDER " types.xsd", "1: ! *already*"},
          {"create t types.xsd", "1: ! *no record type is named*"},
          {"create t types.xsd -t " ORDER " --text-length=9", ""},
          {"columns t", "*System.String       9*"}});
  EXPECT_FALSE(fs::exists("Logfiles"));
}

#define FIELD "    <field name=\"" CUSTOMER "\""
TEST_F(KivStore, RowsComeOutAsTheyWentIn) {
  FillOrders();
  // Both ways through a pipe; XML holds everything.
  Expect({{"dump " ORDER, kRows},
          {"create copy types.xsd -t " ORDER " && $KIV store dump " ORDER
           " | $KIV store import copy -",
           "! 4 rows imported\n"},
          {"dump copy", kRows},
          {"query -x \"update " ORDER " set " CUSTOMER
           " = char(1) || '<&' where id = 2\"",
           "1 row changed\n"},
          {"query --format xml 'select id, " CUSTOMER " from " ORDER "'",
           "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<rows>\n"
           "  <row>\n    <field name=\"id\">1</field>\n" FIELD ">" PLATE
           "</field>\n  </row>\n"
           "  <row>\n    <field name=\"id\">2</field>\n" FIELD
           " hex=\"true\">013C26</field>\n  </row>\n"
           "  <row>\n    <field name=\"id\">-2147483648</field>\n" FIELD
           ">line&#10;feed</field>\n  </row>\n"
           "  <row>\n" FIELD "></field>\n  </row>\n</rows>\n"}});
}

TEST_F(KivStore, ImportsAllRowsOrNone) {
  Expect({{"create " ORDER " types.xsd -c", ""}});
  const char* const cases[][2] = {
      {"", "the file is empty"},
      {"id,none\n1,2\n", "has no column 'none'"},
      {"id,id\n1,2\n", "'id' stands in the header twice"},
      {"id,tons\n1,2\n1\n", "line 3: 1 values for 2 columns"},
      {"id\n1\n2147483648\n", "line 3: '2147483648' is no System.Int32"},
      {"due\n2004-01-31\n2004-02-31\n", "line 3: '2004-02-31' is no"},
      {"id," CUSTOMER "\n1,a\n2,\"b\n", "line 3: a quote is not closed"},
      {"id," CUSTOMER "\n1,a\n2,\"b\"c\n", "line 3: text stands behind"},
      {"id," CUSTOMER "\n1,a\n2,b\"c\"\n", "line 3: a quote stands inside"}};
  for (const auto& [rows, error] : cases) {
    WriteTestFile("rows.csv", rows);
    Expect(
        {{"import " ORDER " rows.csv", std::string("1: ! *") + error + "*"}});
  }
  Expect(
      {{"dump " ORDER, HEADER},
       {"import none rows.csv", "1: ! *there is no table 'none'*"},
       {"import " ORDER " none.csv", "1: ! *none.csv cannot be read*"},
       // What the library's encoding lacks comes out, and not in.
       {"query -x 'insert into " ORDER " (" CUSTOMER ") values (char(128512))'",
        "1 row changed\n"},
       {"dump " ORDER " -o rows.csv", "! 1 row written\n"},
       {"import " ORDER " rows.csv", "1: ! *line 2: *"}});
  EXPECT_EQ(ReadTestFile("rows.csv"), HEADER ",\xF0\x9F\x98\x80,,,\n");
}

TEST_F(KivStore, AsksWithValuesAndShowsATableOnATerminal) {
  FillOrders();
  Expect(
      {{"query 'select id from " ORDER " where " CUSTOMER " = ?' '" PLATE "'",
        "id\n1\n"},
       {"query 'select nonsense'", "1: ! *the statement failed*nonsense*"}});
  const PseudoTerminal terminal;
  Run({"query", "select id, tons from " ORDER " order by id"}, &terminal);
  EXPECT_TRUE(Shows("-2147483648  null")) << output_;
  EXPECT_TRUE(Shows("4 rows")) << output_;
}

TEST_F(KivStore, TakesTheTextFromWhereItIsAndShowsNoPassword) {
  FillOrders();
  variable_ = "KIV_STORE=";
  WriteTestFile("where", "ado:ado:Driver=SQLite3;Database=store.db\r\n");
  WriteTestFile("empty", "\n");
  WriteTestFile("password", "geheim2\n");
  Expect(
      {{"tables -f where", ORDER "\n"},
       {"-C 'ado:access:Driver=SQLite3;Database=store.db' tables", ORDER "\n"},
       {"ping", "1: ! *KIV_STORE*"},
       {"-f empty ping", "1: ! *empty has no connection text*"},
       {"-C nonsense ping", "1: ! *that is no connection text*"},
       {"-C 'ado:none:Driver=SQLite3;PWD=geheim' ping",
        "1: ! *PWD=[*][*][*]*"}});
  EXPECT_FALSE(Says("geheim"));
  Expect(
      {{"-C 'ado:ado:Driver=SQLite3;Database=none.db;PWD=geheim' "
        "--password-file password ping",
        "1: ! *cannot be opened*"}});
  EXPECT_FALSE(Says("geheim"));
  // Documents are for kiv xdb.
  variable_ = "KIV_STORE=xmldb:documents";
  Expect({{"create " ORDER " types.xsd -c", ""},
          {"tables", ORDER "\n"},
          {"dump " ORDER, "1: ! *see kiv xdb*"}});
}

TEST_F(KivStore, ReplacesAFileAndNothingElse) {
  FillOrders();
  WriteTestFile("copy.csv", "older");
  fs::permissions("copy.csv", fs::perms(0600));
  fs::create_symlink("copy.csv", "link");
  Expect({{"dump " ORDER " -o link && test -L link", "! 4 rows written\n"},
          {"dump " ORDER " > /dev/full", "1: ! *standard output cannot be*"},
          {"dump " ORDER " -o none/x.csv", "1: ! *none/x.csv*"}});
  EXPECT_EQ(Shell("mkfifo pipe; { cat pipe > got & } && $KIV store dump " ORDER
                  " -o pipe; wait; test -p pipe"),
            0);
  EXPECT_EQ(ReadTestFile("copy.csv"), kRows);
  EXPECT_EQ(fs::status("copy.csv").permissions(), fs::perms(0600));
  EXPECT_EQ(ReadTestFile("got"), kRows);
  // Nothing stays beside them.
  EXPECT_EQ(Shell("test \"$(ls | grep copy.csv)\" = copy.csv"), 0);
}

TEST_F(KivStore, DumpsNoPartOfADamagedTable) {
  Expect(
      {{"create " ORDER " types.xsd -c", ""},
       {"query -x 'insert into " ORDER " (id) with recursive n(i) as (select "
        "1 union all select i + 1 from n where i < 90000) select * from n'",
        "90000 rows changed\n"}});
  std::string file = ReadTestFile("store.db");
  file.replace(file.size() / 2, 8192, std::string(8192, '\xFF'));
  WriteTestFile("store.db", file);
  Expect({{"dump " ORDER " -o copy.csv", "1: ! *malformed*"},
          {"query 'select * from " ORDER "'", "1: *malformed*"}});
  EXPECT_FALSE(fs::exists("copy.csv"));
}

}  // namespace
}  // namespace kiv::testing
