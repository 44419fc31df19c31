#include "dm/schema_check.h"

#include <string>
#include <vector>

#include "dm/schema_testing.h"

namespace dm {
namespace {

using Outcome = SchemaFinding::Outcome;

class SchemaCheck : public SchemaTest {
 protected:
  static std::vector<std::string> Check(const std::string& text) {
    kiv::WriteTestFile("types.xsd", text);
    std::vector<std::string> lines;
    for (const SchemaFinding& finding : CheckSchema("types.xsd")) {
      lines.push_back(std::to_string(finding.line) + " " +
                      "+-?!"[static_cast<int>(finding.outcome)] +
                      finding.construct + " " + finding.name + ": " +
                      finding.text);
    }
    return lines;
  }
};

using Lines = std::vector<std::string>;

TEST_F(SchemaCheck, TellsOfEveryDeclarationInTheOrderTheyAreTried) {
  EXPECT_EQ(Check("<s>\n<element name='e' type='c'/>\n"
                  "<complexType name='c'><sequence>\n"
                  "<element name='a' type='t'/></sequence></complexType>\n"
                  "<simpleType name='t'><restriction base='byte'/>\n"
                  "</simpleType></s>"),
            (Lines{"5 +simpleType t: System.Byte, 9 bytes",
                   "3 +complexType c: record of 1 field, 25 bytes",
                   "2 +element e: record of 1 field, 25 bytes"}));
  EXPECT_NE(dm_o_get_metadata("e"), nullptr);
}

TEST_F(SchemaCheck, TellsWhatWasNotTried) {
  EXPECT_EQ(Check("<s><simpleType name='t'/>\n<complexType name='c'/>\n"
                  "<element name='e'/></s>"),
            (Lines{"1 -simpleType t: it has no \"restriction\" with a \"base\"",
                   "2 ?complexType c: a declaration of a group before this one "
                   "was refused",
                   "3 ?element e: a declaration of a group before this one was "
                   "refused"}));
}

#define FIELDS(fields) \
  "><complexType><sequence>" fields "</sequence></complexType>"

TEST_F(SchemaCheck, TellsTheReasonOfARefusal) {
  const struct {
    std::string inside;  // of an element "e"
    const char* reason;
  } cases[] = {
      {"type='xs:decimal'>",
       "unknown type \"decimal\": no built-in type, and no declaration has "
       "that "
       "name"},
      {"type='hexBinary'>", "unknown type \"hexBinary\": write System.Binary"},
      {"type='later'>",
       "unknown type \"later\": it is refused itself or declared later; simple "
       "types come first, then complex types, then elements, each in the order "
       "of the file"},
      {">", "it has no \"type\", and no type inside it"},
      {"><simpleType/>", "it has no \"restriction\" with a \"base\""},
      {"><complexType/>",
       "it has no \"sequence\", and no \"simpleContent\" with an \"extension\" "
       "that has a \"base\""},
      {FIELDS("<element name='a'" FIELDS(
           "<element name='b'/>") "</element><element name='c'/>"),
       "field \"a\": field \"b\": it has no \"type\", and no type inside it"},
      {FIELDS("<element type='int'/>"),
       "a field without a name: it must have one"},
  };
  for (const auto& [inside, reason] : cases) {
    SCOPED_TRACE(inside);
    ASSERT_TRUE(dm_o_reset_registry());
    const Lines lines =
        Check("<s><element name='e' " + inside +
              "</element><element name='later' type='int'/></s>");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], std::string("1 -element e: ") + reason);
  }
}

TEST_F(SchemaCheck, TellsWhatIsWrongWithTheFileAndWhere) {
  EXPECT_EQ(Check("<s>\n<e></s>"), (Lines{"2 ! : expected end of tag 'e'"}));
  EXPECT_EQ(Check("<s><include/></s>").size(), 1u);
  for (const char* const path :
       {"missing.xsd", "", static_cast<const char*>(nullptr)}) {
    const auto findings = CheckSchema(path);
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].outcome, Outcome::Fault);
    EXPECT_NE(findings[0].text, "");
  }

  EXPECT_EQ(Check("<s><!-- c -->\n<x><y/>text<z><w/></z></x>\n"
                  "<simpleType name='t'>\n<restriction base='int'/>"
                  "<y/></simpleType>\n<element name='e' type='t'/></s>"),
            (Lines{"3 +simpleType t: System.Int32, 12 bytes",
                   "5 +element e: System.Int32, 12 bytes"}));
}

TEST_F(SchemaCheck, TellsOfATypeThatNoFieldCanHave) {
  for (const dm_type_id_e id : {DM_STD_METADATA, DM_STRUCT_METADATA}) {
    ASSERT_TRUE(dm_o_add_std_metadata(id, "m", true));
    EXPECT_EQ(Check("<s><complexType name='c'><sequence><element name='a' "
                    "type='m'/></sequence></complexType></s>"),
              (Lines{std::string("1 -complexType c: field \"a\": no field can "
                                 "be a ") +
                     dm_o_type_info_from_id(id)->type_name}));
  }
}

// Names of their own inside an element, and of the schema for a type that has
// none; an element must have its own.
TEST_F(SchemaCheck, NamesWhatWasDeclared) {
  EXPECT_EQ(Check("<s name='t'><element name='e'><simpleType name='own'>"
                  "<restriction base='int'/></simpleType></element>"
                  "<simpleType><restriction base='int'/></simpleType></s>"),
            (Lines{"1 +simpleType t: System.Int32, 12 bytes",
                   "1 +element e: under the names inside it"}));
  EXPECT_EQ(Check("<s name='u'><element type='int'/></s>"),
            (Lines{"1 -element : it has no name"}));
}

}  // namespace
}  // namespace dm
