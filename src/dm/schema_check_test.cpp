#include "dm/schema_check.h"

#include <string>

#include "dm/schema_testing.h"

namespace dm {
namespace {

class SchemaCheck : public SchemaTest {
 protected:
  static std::string Check(const std::string& declarations,
                           const char* path = "types.xsd") {
    kiv::WriteTestFile("types.xsd", "<s name='n'>" + declarations + "</s>");
    std::string text;
    for (const SchemaFinding& finding : CheckSchema(path)) {
      text += std::to_string(finding.line) + " " +
              "+-?!"[static_cast<int>(finding.outcome)] + finding.construct +
              " " + finding.name + ": " + finding.text + "\n";
    }
    return text;
  }
};

#define INT_TYPE(name) \
  "<simpleType" name "><restriction base='int'/></simpleType>"
#define FIELDS(fields) \
  "<complexType name='c'><sequence>" fields "</sequence></complexType>"

TEST_F(SchemaCheck, TellsOfEveryDeclarationInTheOrderTheyAreTried) {
  EXPECT_EQ(
      Check("\n<element name='e' type='c'/>\n<!-- c -->"
            "<x><y/>text<z><w/></z></x>" FIELDS(
                "\n<element name='a' type='t'/>") "\n" INT_TYPE(" name='t'")),
      "5 +simpleType t: System.Int32, 12 bytes\n"
      "3 +complexType c: record of 1 field, 28 bytes\n"
      "2 +element e: record of 1 field, 28 bytes\n");
}

TEST_F(SchemaCheck, TellsWhatWasNotTried) {
  const std::string reason =
      ": a declaration of a group before this one was refused\n";
  EXPECT_EQ(Check("<simpleType name='t'/>\n<complexType name='c'/>\n"
                  "<element name='e'/>"),
            "1 -simpleType t: it has no \"restriction\" with a \"base\"\n"
            "2 ?complexType c" +
                reason + "3 ?element e" + reason);
}

TEST_F(SchemaCheck, TellsTheReasonOfARefusal) {
  // What is inside of an element "e".
  const std::pair<std::string, std::string> cases[] = {
      {"type='xs:decimal'>",
       "unknown type \"decimal\": no built-in type, and no declaration has "
       "that name"},
      {"type='hexBinary'>", "unknown type \"hexBinary\": write System.Binary"},
      {"type='later'>",
       "unknown type \"later\": it is refused itself or declared later; simple "
       "types come first, then complex types, then elements, each in the order "
       "of the file"},
      {">", "it has no \"type\", and no type inside it"},
      {"><complexType/>",
       "it has no \"sequence\", and no \"simpleContent\" with an \"extension\" "
       "that has a \"base\""},
      {">" FIELDS("<element name='a'>" FIELDS(
           "<element name='b'/>") "</element><element name='c'/>"),
       "field \"a\": field \"b\": it has no \"type\", and no type inside it"},
      {">" FIELDS("<element type='int'/>"),
       "a field without a name: it must have one"},
      {">" FIELDS("<element name='a' type='m'/>"),
       "field \"a\": no field can be a System.StructMetadata"},
  };
  for (const auto& [inside, reason] : cases) {
    ASSERT_TRUE(dm_o_reset_registry());
    ASSERT_TRUE(dm_o_add_std_metadata(DM_STRUCT_METADATA, "m", true));
    EXPECT_EQ(Check("<element name='e' " + inside +
                    "</element><element name='later' type='int'/>"),
              "1 -element e: " + reason +
                  "\n1 +element later: System.Int32, 12 bytes\n");
  }
}

TEST_F(SchemaCheck, TellsWhatIsWrongWithTheFileAndWhere) {
  EXPECT_EQ(Check("\n<e>"), "2 ! : expected end of tag 'e'\n");
  EXPECT_EQ(Check("<include/>"),
            "0 ! : it holds no simple type, complex type or element to "
            "declare\n");
  EXPECT_EQ(Check("", "missing.xsd"), "0 ! : No such file or directory\n");
  EXPECT_EQ(Check("", nullptr), "0 ! : no file is named\n");
}

// Names of their own inside an element, and of the schema for a type that has
// none; an element must have its own.
TEST_F(SchemaCheck, NamesWhatWasDeclared) {
  EXPECT_EQ(
      Check("<element name='e'>" INT_TYPE(" name='own'") "</element>" INT_TYPE(
          "") "<element type='int'/>"),
      "1 +simpleType n: System.Int32, 12 bytes\n"
      "1 +element e: under the names inside it\n"
      "1 -element : it has no name\n");
}

}  // namespace
}  // namespace dm
