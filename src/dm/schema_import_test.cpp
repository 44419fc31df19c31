// Types from schemas: what is declared, what is refused, and in which order.
#include <filesystem>
#include <vector>

#include "dm/schema_testing.h"
#include "dm/struct_testing.h"

namespace dm {
namespace {

constexpr char kSequenceRef[] =
    "load_metadata_from_element \xB2\xBB\xD6\xA7\xB3\xD6 \xD3\xD0 ref "
    "\xCA\xF4\xD0\xD4\xB5\xC4 element \xB1\xEA\xC7\xA9.";
constexpr char kElementRef[] =
    "dm_o_metadata_from_schema_element \xB2\xBB\xD6\xA7\xB3\xD6 \xD3\xD0 ref "
    "\xCA\xF4\xD0\xD4\xB5\xC4 element \xB1\xEA\xC7\xA9.";

// What is registered under the name "t" after a schema was declared.
struct DeclareCase {
  const char* name;
  const char* declarations;
  bool done;
  // As ShownType says of a struct, else the type name; null: nothing.
  const char* type;
  bool replace = false;
};

class Declaration : public SchemaTest,
                    public testing::WithParamInterface<DeclareCase> {};

TEST_P(Declaration, RegistersOrRefuses) {
  const DeclareCase& row = GetParam();
  EXPECT_EQ(Declare(row.declarations, row.replace), row.done);
  void* const type = dm_o_get_metadata("t");
  if (row.type == nullptr) {
    EXPECT_EQ(type, nullptr);
    return;
  }
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(dm_o_is_struct_type_from_metadata(type)
                ? ShownType(type)
                : dm_o_type_name_from_metadata(type),
            row.type);
}

#define RESTRICTS(base) "<restriction base='" base "'/>"
#define EXTENDS(base, inside)                         \
  "<simpleContent><extension base='" base "'>" inside \
  "</extension></simpleContent>"

INSTANTIATE_TEST_SUITE_P(
    SimpleType, Declaration,
    testing::Values(
        DeclareCase{"Restriction",
                    "<xsd:simpleType name='t'>" RESTRICTS(
                        "xsd:int") "</xsd:simpleType>",
                    true, "System.Int32"},
        DeclareCase{"FirstRestrictionDecides",
                    "<simpleType name='t'><annotation/>" RESTRICTS("x:short")
                        RESTRICTS("int") "</simpleType>",
                    true, "System.Int16"},
        DeclareCase{"FacetsArePassedOver",
                    "<simpleType name='t'><restriction base='string'>"
                    "<maxLength value='3'/></restriction></simpleType>",
                    true, "System.String"},
        DeclareCase{"NoRestriction",
                    "<simpleType name='t'><list/></simpleType>", false,
                    nullptr},
        DeclareCase{"NoBase",
                    "<simpleType name='t'>" RESTRICTS("") "</simpleType>",
                    false, nullptr},
        DeclareCase{"OnlyAPrefix",
                    "<simpleType name='t'>" RESTRICTS("xsd:") "</simpleType>",
                    false, nullptr},
        DeclareCase{
            "UnknownBase",
            "<simpleType name='t'>" RESTRICTS("decimal") "</simpleType>", false,
            nullptr},
        DeclareCase{
            "NameNotUnderItsSchemaName",
            "<simpleType name='t'>" RESTRICTS("hexBinary") "</simpleType>",
            false, nullptr},
        DeclareCase{"CaseCounts",
                    "<simpleType name='t'>" RESTRICTS("Int") "</simpleType>",
                    false, nullptr},
        DeclareCase{"TagCaseCounts",
                    "<SimpleType name='t'>" RESTRICTS("int") "</SimpleType>",
                    true, nullptr},
        DeclareCase{"NoName", "<simpleType>" RESTRICTS("int") "</simpleType>",
                    false, nullptr},
        DeclareCase{"TakenName",
                    "<simpleType name='t'>" RESTRICTS(
                        "int") "</simpleType>"
                               "<simpleType name='t'>" RESTRICTS(
                                   "long") "</simpleType>",
                    false, "System.Int32"},
        DeclareCase{"ReplacedName",
                    "<simpleType name='t'>" RESTRICTS(
                        "int") "</simpleType>"
                               "<simpleType name='t'>" RESTRICTS(
                                   "long") "</simpleType>",
                    true, "System.Int64", true},
        DeclareCase{
            "ReplacedByItself",
            "<simpleType name='t'>" RESTRICTS(
                "int") "</simpleType>"
                       "<simpleType name='t'>" RESTRICTS("t") "</simpleType>",
            true, "System.Int32", true}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    ComplexType, Declaration,
    testing::Values(
        DeclareCase{"Sequence",
                    "<xsd:complexType name='t'><xsd:sequence>"
                    "<xsd:element name='a' type='xsd:byte'/>"
                    "<other name='no' type='int'/>"
                    "<xsd:element name='b' type='double'/>"
                    "</xsd:sequence></xsd:complexType>",
                    true, "a@0+9 System.Byte;b@9+16 System.Double;"},
        DeclareCase{"EmptySequence",
                    "<complexType name='t'><sequence/></complexType>", true,
                    ""},
        DeclareCase{"TwoFieldsOfOneName",
                    "<complexType name='t'><sequence><element name='a' "
                    "type='byte'/><element name='a' type='int'/></sequence>"
                    "</complexType>",
                    true, "a@0+9 System.Byte;a@9+12 System.Int32;"},
        DeclareCase{
            "SimpleFieldType",
            "<complexType name='t'><sequence><element name='a'>"
            "<simpleType>" RESTRICTS("short") "</simpleType></element>"
                                              "</sequence></complexType>",
            true, "a@0+10 System.Int16;"},
        DeclareCase{
            "SimpleBeforeComplexFieldType",
            "<complexType name='t'><sequence><element name='a'>"
            "<complexType><sequence/></complexType>"
            "<simpleType>" RESTRICTS("short") "</simpleType></element>"
                                              "</sequence></complexType>",
            true, "a@0+10 System.Int16;"},
        DeclareCase{"StructInside",
                    "<complexType name='t'><sequence><element name='a'>"
                    "<complexType><sequence><element name='b' type='byte'/>"
                    "</sequence></complexType></element></sequence>"
                    "</complexType>",
                    true, "a@0+25{b@0+9 System.Byte;};"},
        DeclareCase{"OccurrencesAreNotRead",
                    "<complexType name='t'><sequence><element name='a' "
                    "type='byte' minOccurs='0' maxOccurs='9' default='7'/>"
                    "</sequence></complexType>",
                    true, "a@0+9 System.Byte;"},
        DeclareCase{"OneBeforeItIsKnown",
                    "<complexType name='u'><sequence/></complexType>"
                    "<complexType name='t'><sequence><element name='a' "
                    "type='tns:u'/></sequence></complexType>",
                    true, "a@0+16{};"},
        DeclareCase{"OneBehindItIsNot",
                    "<complexType name='t'><sequence><element name='a' "
                    "type='u'/></sequence></complexType>"
                    "<complexType name='u'><sequence/></complexType>",
                    false, nullptr},
        DeclareCase{"ItselfIsNot",
                    "<complexType name='t'><sequence><element name='a' "
                    "type='t'/></sequence></complexType>",
                    false, nullptr},
        DeclareCase{"FieldWithoutName",
                    "<complexType name='t'><sequence><element type='int'/>"
                    "</sequence></complexType>",
                    false, nullptr},
        DeclareCase{"FieldWithoutType",
                    "<complexType name='t'><sequence><element name='a'/>"
                    "</sequence></complexType>",
                    false, nullptr},
        DeclareCase{
            "FieldOfSimpleContent",
            "<complexType name='t'><sequence><element name='a'>"
            "<complexType>" EXTENDS("int",
                                    "") "</complexType>"
                                        "</element></sequence></complexType>",
            false, nullptr},
        DeclareCase{"Taken",
                    "<complexType name='t'><sequence/></complexType>"
                    "<complexType name='t'><sequence><element name='a' "
                    "type='int'/></sequence></complexType>",
                    false, ""},
        DeclareCase{"Replaced",
                    "<complexType name='t'><sequence/></complexType>"
                    "<complexType name='t'><sequence><element name='a' "
                    "type='byte'/></sequence></complexType>",
                    true, "a@0+9 System.Byte;", true},
        // The old one is gone before the fields of the new one are read.
        DeclareCase{"ReplacedByARefusedOne",
                    "<complexType name='t'><sequence/></complexType>"
                    "<complexType name='t'><sequence><element name='a' "
                    "type='t'/></sequence></complexType>",
                    false, nullptr, true},
        DeclareCase{
            "Extension",
            "<complexType name='t'>" EXTENDS("xsd:float", "") "</complexType>",
            true, "System.Float"},
        DeclareCase{
            "ExtensionBeforeSequence",
            "<complexType name='t'><sequence/>" EXTENDS("float",
                                                        "") "</complexType>",
            true, "System.Float"},
        DeclareCase{
            "ExtensionWithAttribute",
            "<complexType name='t'>" EXTENDS(
                "float", "<attribute name='u' type='x'/>") "</complexType>",
            true, "System.Float"},
        DeclareCase{"AttributeWithoutType",
                    "<complexType name='t'>" EXTENDS(
                        "float", "<attribute name='u'/>") "</complexType>",
                    false, nullptr},
        DeclareCase{
            "AttributeWithoutName",
            "<complexType name='t'><sequence/>" EXTENDS(
                "float", "<attribute name='' type='x'/>") "</complexType>",
            false, nullptr},
        DeclareCase{
            "OnlyTheFirstAttributeCounts",
            "<complexType name='t'>" EXTENDS(
                "float",
                "<attribute name='u' type='x'/><attribute/>") "</complexType>",
            true, "System.Float"},
        DeclareCase{
            "ExtensionOfNothingLeavesTheSequence",
            "<complexType name='t'>" EXTENDS("",
                                             "") "<sequence/></complexType>",
            true, ""},
        DeclareCase{
            "ExtensionOfUnknown",
            "<complexType name='t'>" EXTENDS("u",
                                             "") "<sequence/></complexType>",
            false, nullptr},
        DeclareCase{"Choice", "<complexType name='t'><choice/></complexType>",
                    false, nullptr}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Element, Declaration,
    testing::Values(
        DeclareCase{"Alias", "<element name='t' type='xsd:dateTime'/>", true,
                    "System.DateTime"},
        DeclareCase{"UnknownType",
                    "<element name='t' type='u'><simpleType>" RESTRICTS(
                        "int") "</simpleType></element>",
                    false, nullptr},
        DeclareCase{"NoName", "<element type='int'/>", false, nullptr},
        DeclareCase{"Simple",
                    "<element name='t'><simpleType>" RESTRICTS(
                        "int") "</simpleType></element>",
                    true, "System.Int32"},
        DeclareCase{"Complex",
                    "<element name='t'><complexType><sequence/></complexType>"
                    "</element>",
                    true, ""},
        DeclareCase{"EmptyTypeIsUnknown",
                    "<element name='t' type=''><complexType><sequence/>"
                    "</complexType></element>",
                    false, nullptr},
        DeclareCase{"PrefixAloneIsUnknown",
                    "<element name='t' type='xsd:'><complexType><sequence/>"
                    "</complexType></element>",
                    false, nullptr},
        DeclareCase{"SimpleBeforeComplex",
                    "<element name='t'><complexType><sequence/></complexType>"
                    "<simpleType>" RESTRICTS("int") "</simpleType></element>",
                    true, "System.Int32"},
        DeclareCase{
            "EverySimple",
            "<element name='t'><simpleType>" RESTRICTS(
                "int") "</simpleType><simpleType>" RESTRICTS("long") "</"
                                                                     "simpleTyp"
                                                                     "e></"
                                                                     "element>",
            false, "System.Int32"},
        DeclareCase{
            "EverySimpleReplacing",
            "<element name='t'><simpleType>" RESTRICTS(
                "int") "</simpleType><simpleType>" RESTRICTS("long") "</"
                                                                     "simpleTyp"
                                                                     "e></"
                                                                     "element>",
            true, "System.Int64", true},
        DeclareCase{"OwnNameBeforeTheElements",
                    "<element name='e'><simpleType name='t'>" RESTRICTS(
                        "int") "</simpleType></element>",
                    true, "System.Int32"},
        DeclareCase{"NoType", "<element name='t'/>", false, nullptr},
        DeclareCase{"Reference", "<element name='t' ref='int'/>", false,
                    nullptr}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Order, Declaration,
    testing::Values(
        DeclareCase{"Groups",
                    "<element name='t' type='c'/>"
                    "<complexType name='c'><sequence><element name='a' "
                    "type='s'/></sequence></complexType>"
                    "<simpleType name='s'>" RESTRICTS("byte") "</simpleType>",
                    true, "a@0+9 System.Byte;"},
        DeclareCase{"AllOfAGroupAreTried",
                    "<element/><element name='t' type='int'/>", false,
                    "System.Int32"},
        DeclareCase{"NoGroupBehindAFailedSimpleType",
                    "<simpleType/><complexType name='t'><sequence/>"
                    "</complexType>",
                    false, nullptr},
        DeclareCase{"NoElementsBehindAFailedComplexType",
                    "<complexType/><element name='t' type='int'/>", false,
                    nullptr},
        DeclareCase{"NothingToDeclare", "<include/>text", true, nullptr},
        DeclareCase{"NotBelowOthers",
                    "<redefine><element name='t' type='int'/></redefine>", true,
                    nullptr}),
    [](const auto& row) { return row.param.name; });

using SchemaImport = SchemaTest;

TEST_F(SchemaImport, AnElementIsAnotherNameOfTheSameType) {
  ASSERT_TRUE(
      Declare("<complexType name='Person'><sequence/></complexType>"
              "<element name='owner' type='Person'/>"));
  EXPECT_EQ(dm_o_get_metadata("owner"), dm_o_get_metadata("Person"));
  EXPECT_EQ(dm_o_get_ref(dm_o_get_metadata("owner")), 2);
}

// A name and a field in the local encoding, where a second byte looks like "|"
// or "\".
TEST_F(SchemaImport, TakesChineseNames) {
  ASSERT_TRUE(
      Declare("<complexType name='\xB6\xA9\xB5\xA5'><sequence>"
              "<element name='\x95\x7C\x81\x5C' type='int'/>"
              "</sequence></complexType>"
              "<element name='e' type='x:\xB6\xA9\xB5\xA5'/>"));
  EXPECT_EQ(ShownType(dm_o_get_metadata("\xB6\xA9\xB5\xA5")),
            "\x95\x7C\x81\x5C@0+12 System.Int32;");
  EXPECT_EQ(dm_o_get_metadata("e"), dm_o_get_metadata("\xB6\xA9\xB5\xA5"));
}

TEST_F(SchemaImport, LogsEveryReferenceAndNothingElse) {
  EXPECT_FALSE(
      Declare("<complexType name='t'><sequence>"
              "<element ref='a'/><element name='b' type='unknown'/>"
              "<element name='c' ref=''><complexType><sequence/>"
              "</complexType></element>"
              "<element name='d' type='int' ref='a'/>"
              "</sequence></complexType>"));
  EXPECT_EQ(dm_o_get_metadata("t"), nullptr);
  const std::string entry = std::string(kObjectError) + kSequenceRef + "\n";
  EXPECT_EQ(Logged(), entry + entry);
}

TEST_F(SchemaImport, BuildsWithoutANameWhatAnElementStandsFor) {
  dm_registry_t* const registry = dm_o_registry();
  const auto type_of = [&](const char* text) {
    const Any type =
        Any::Take(dm_o_metadata_from_schema_element(registry, Parse(text), 0));
    if (!type) return std::string("(none)");
    return dm_o_is_struct_type_from_metadata(type.get())
               ? ShownType(type.get())
               : std::string(dm_o_type_name_from_metadata(type.get()));
  };
  EXPECT_EQ(type_of("<e type='xsd:long' ref='x'/>"), "System.Int64");
  EXPECT_EQ(type_of("<e type='x'/>"), "(none)");
  EXPECT_EQ(type_of("<e type='hexBinary'/>"), "(none)");
  EXPECT_EQ(type_of("<e><simpleType>" RESTRICTS("byte") "</simpleType></e>"),
            "System.Byte");
  EXPECT_EQ(type_of("<e><complexType><sequence><element name='a' type='byte'/>"
                    "</sequence></complexType></e>"),
            "a@0+9 System.Byte;");
  EXPECT_EQ(type_of("<e/>"), "(none)");
  EXPECT_EQ(LogText(), "");
  EXPECT_EQ(type_of("<e name='a' ref='b'/>"), "(none)");
  EXPECT_EQ(Logged(), std::string(kObjectError) + kElementRef + "\n");

  // The caller's reference is one of its own.
  void* const shared = dm_o_metadata_from_schema_simpleType(
      registry, {}, Parse("<s>" RESTRICTS("int") "</s>"));
  EXPECT_EQ(shared, dm_o_int32_metadata());
  const int count = dm_o_get_ref(shared);
  dm_o_inner_release(shared);
  EXPECT_EQ(dm_o_get_ref(shared), count - 1);
}

TEST_F(SchemaImport, BuildsStructsOnly) {
  dm_registry_t* const registry = dm_o_registry();
  ASSERT_TRUE(Declare("<complexType name='known'><sequence/></complexType>"));
  const auto from_element = [&](const char* text) {
    return StructPtr::Take(
        dm_o_struct_metadata_from_schema_element(registry, Parse(text), 0));
  };
  EXPECT_EQ(from_element("<e type='known'/>").get(),
            dm_o_get_metadata("known"));
  EXPECT_FALSE(from_element("<e type='int'/>"));
  EXPECT_FALSE(
      from_element("<e><simpleType>" RESTRICTS("int") "</simpleType></e>"));
  const char kComplex[] =
      "<c name='unused'><sequence><element name='a' type='byte'/></sequence>"
      "</c>";
  const auto complex =
      StructPtr::Take(dm_o_struct_metadata_from_schema_complexType(
          registry, {}, Parse(kComplex), 0));
  EXPECT_EQ(ShownType(complex.get()), "a@0+9 System.Byte;");
  EXPECT_EQ(dm_o_get_ref(complex.get()), 1);
  EXPECT_EQ(dm_o_get_metadata("unused"), nullptr);
  EXPECT_EQ(dm_o_struct_metadata_from_schema_complexType(
                registry, {}, Parse("<c>" EXTENDS("known", "") "</c>"), 0),
            nullptr);
  const auto sequence =
      StructPtr::Take(dm_o_struct_metadata_from_schema_sequence(
          registry, Parse("<s><element name='a' type='int'/></s>"), 0));
  EXPECT_EQ(ShownType(sequence.get()), "a@0+12 System.Int32;");
}

// The schema is found by its "id"; what a declaration says of it is nothing.
TEST_F(SchemaImport, BuildsTheElementThatTheSchemaIsNamedAfter) {
  const auto build = [](const std::string& attributes,
                        const std::string& inside) {
    const StructPtr built =
        BuildFrom("<schema " + attributes + ">" + inside + "</schema>");
    return built ? ShownType(built.get()) : "(none)";
  };
  const std::string record =
      "<element name='r'><complexType><sequence><element name='a' "
      "type='hexBinary'/></sequence></complexType></element>";
  EXPECT_EQ(build("id='r'", "<element name='q' type='int'/>" + record),
            "a@0+40 System.Binary;");
  EXPECT_EQ(build("", record), "(none)");
  EXPECT_EQ(build("id=''", "<element name='' type='int'/>" + record), "(none)");
  EXPECT_EQ(build("id='q'", record), "(none)");
  EXPECT_EQ(build("id='r'", "<complexType name='r'><sequence/></complexType>"),
            "(none)");
  EXPECT_EQ(build("id='r'", "<element name='r' type='int'/>"), "(none)");
  EXPECT_EQ(build("id='r'", "<element name='r'/>" + record), "(none)");
  EXPECT_EQ(dm_o_get_metadata("r"), nullptr);
  EXPECT_EQ(dm_o_get_metadata("hexBinary"), nullptr);
}

TEST_F(SchemaImport, ReadsFiles) {
  kiv::WriteTestFile("types.xsd",
                     "<xsd:schema id='e' xmlns:xsd='http://x'>"
                     "<xsd:element name='e'><xsd:complexType><xsd:sequence/>"
                     "</xsd:complexType></xsd:element></xsd:schema>");
  EXPECT_TRUE(StructPtr::Take(dm_o_struct_metadata_from_uri("types.xsd", 0)));
  EXPECT_EQ(dm_o_get_metadata("e"), nullptr);
  EXPECT_TRUE(dm_o_declare_from_uri("./types.xsd", 0, false));
  EXPECT_NE(dm_o_get_metadata("e"), nullptr);
  EXPECT_FALSE(dm_o_declare_from_uri("./types.xsd", 0, false));
  EXPECT_TRUE(dm_o_declare_from_uri("./types.xsd", 0, true));
  for (const char* const path :
       {"missing.xsd", ".", "", (const char*)nullptr}) {
    EXPECT_FALSE(dm_o_declare_from_uri(path, 0, false));
    EXPECT_EQ(dm_o_struct_metadata_from_uri(path, 0), nullptr);
  }
}

TEST_F(SchemaImport, AnswersFalseToNothing) {
  dm_registry_t* const registry = dm_o_registry();
  const kiv::DomElement none;
  const kiv::DomElement some = Parse("<e name='t' type='int'/>");
  const auto sweep = [&](dm_registry_t* names, const kiv::DomElement& element) {
    EXPECT_FALSE(
        dm_o_declare_from_schema_simpleType(names, none, element, 0, true));
    EXPECT_FALSE(
        dm_o_declare_from_schema_complexType(names, none, element, 0, true));
    EXPECT_FALSE(dm_o_declare_from_schema_element(names, element, 0, true));
    EXPECT_EQ(dm_o_metadata_from_schema_element(names, element, 0), nullptr);
    EXPECT_EQ(dm_o_metadata_from_schema_simpleType(names, none, element),
              nullptr);
    EXPECT_EQ(dm_o_struct_metadata_from_schema_element(names, element, 0),
              nullptr);
    EXPECT_EQ(
        dm_o_struct_metadata_from_schema_complexType(names, none, element, 0),
        nullptr);
    EXPECT_EQ(dm_o_struct_metadata_from_schema_sequence(names, element, 0),
              nullptr);
  };
  sweep(registry, none);
  sweep(nullptr, some);
  EXPECT_FALSE(dm_o_declare_from_schema(none, 0, true));
  EXPECT_EQ(dm_o_struct_metadata_from_schema(none, 0), nullptr);
  EXPECT_FALSE(dm_o_declare_from_mem(nullptr, 7, 0, true));
  EXPECT_FALSE(dm_o_declare_from_mem("", 0, 0, true));
  EXPECT_EQ(dm_o_struct_metadata_from_mem(nullptr, 7, 0), nullptr);

  kiv::StopData();
  EXPECT_FALSE(dm_o_declare_from_schema(some, 0, true));
  EXPECT_FALSE(Declare("<element name='t' type='int'/>"));
  EXPECT_FALSE(dm_o_declare_from_uri("x", 0, true));
  EXPECT_FALSE(BuildFrom("<schema id='e'><element name='e'/></schema>"));
  EXPECT_EQ(dm_o_metadata_to_xsd(NewStructType().get(), 0), nullptr);
}

// --- Schemas that mean harm --------------------------------------------------

std::string Doubling(unsigned levels) {
  std::string text =
      "<complexType name='d0'><sequence><element name='a' "
      "type='double'/></sequence></complexType>";
  for (unsigned i = 1; i <= levels; ++i) {
    const std::string before = "d" + std::to_string(i - 1);
    text += "<complexType name='d" + std::to_string(i) +
            "'><sequence><element name='a' type='" + before +
            "'/><element name='b' type='" + before +
            "'/></sequence></complexType>";
  }
  return text;
}

TEST_F(SchemaImport, StopsTypesThatOutgrowMemory) {
  // 2^26 doubles and their structs fit into 4 GiB, 2^27 do not.
  EXPECT_FALSE(Declare(Doubling(40)));
  EXPECT_NE(dm_o_get_metadata("d26"), nullptr);
  EXPECT_EQ(dm_o_get_metadata("d27"), nullptr);
}

TEST_F(SchemaImport, TakesManyFieldsAndManyTypes) {
  std::string text = "<complexType name='wide'><sequence>";
  for (int i = 0; i < 50'000; ++i) text += "<element name='a' type='int'/>";
  text += "</sequence></complexType>";
  for (int i = 0; i < 20'000; ++i) {
    text += "<element name='e" + std::to_string(i) + "' type='wide'/>";
  }
  EXPECT_TRUE(Declare(text));
  EXPECT_EQ(dm_o_struct_metadata_field_count(dm_o_get_metadata("e19999")),
            50'000u);
}

// As deep as a document may be, and deeper than structs may be in a tree that a
// program built.
TEST_F(SchemaImport, StopsAtTheDepthOfStructs) {
  std::string text;
  for (int i = 0; i < 332; ++i) {
    text += "<element name='a'><complexType><sequence>";
  }
  for (int i = 0; i < 332; ++i) text += "</sequence></complexType></element>";
  EXPECT_TRUE(Declare(text));
  EXPECT_NE(dm_o_get_metadata("a"), nullptr);

  const auto built = [](unsigned levels) {
    kiv::DomDocument document;
    kiv::DomElement element;
    kiv::DomDocument::CreateDocument(document);
    document.CreateDocumentElement("element", element);
    const kiv::DomElement root = element;
    for (unsigned i = 0; i < levels; ++i) {
      kiv::DomElement type;
      kiv::DomElement sequence;
      element.CreateElement("complexType", type);
      type.CreateElement("sequence", sequence);
      if (i + 1 == levels) break;
      sequence.CreateElement("element", element);
      element.SetAttribute("name", "a");
    }
    return StructPtr::Take(
        dm_o_struct_metadata_from_schema_element(dm_o_registry(), root, 0));
  };
  EXPECT_TRUE(built(1000));
  EXPECT_FALSE(built(1001));
  EXPECT_FALSE(built(50'000));
}

TEST_F(SchemaImport, RefusesWhatNoDocumentMayHold) {
  EXPECT_FALSE(Declare("<element name='t' type='int'>"));
  const std::string text =
      "<!DOCTYPE s [<!ENTITY e 'int'>]><s><element name='t' type='&e;'/></s>";
  EXPECT_FALSE(dm_o_declare_from_mem(
      text.data(), static_cast<unsigned>(text.size()), 0, false));
  EXPECT_EQ(dm_o_get_metadata("t"), nullptr);
}

}  // namespace
}  // namespace dm
