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

// The constructs of a schema.
std::string Restricts(const std::string& base) {
  return "<restriction base='" + base + "'/>";
}
std::string Simple(const std::string& name, const std::string& base) {
  return "<simpleType name='" + name + "'>" + Restricts(base) + "</simpleType>";
}
std::string Complex(const std::string& name, const std::string& inside) {
  return "<complexType name='" + name + "'>" + inside + "</complexType>";
}
std::string Record(const std::string& name, const std::string& fields = "") {
  return Complex(name, "<sequence>" + fields + "</sequence>");
}
std::string Extends(const std::string& base, const std::string& inside = "") {
  return "<simpleContent><extension base='" + base + "'>" + inside +
         "</extension></simpleContent>";
}
// A field, or a declaration of its own.
std::string Element(const std::string& name, const std::string& type) {
  return "<element name='" + name + "' type='" + type + "'/>";
}
std::string ElementOf(const std::string& name, const std::string& inside) {
  return "<element name='" + name + "'>" + inside + "</element>";
}

// What is registered under the name "t" after a schema was declared.
struct DeclareCase {
  const char* name;
  std::string declarations;
  // As ShownType says of a struct, else the type name; null: nothing.
  const char* type = nullptr;
  bool done = false;
  bool replace = false;
};

constexpr bool kDone = true, kRefused = false, kReplace = true;

std::vector<DeclareCase> SimpleTypes() {
  return {
      {"Restriction",
       "<xsd:simpleType name='t'>" + Restricts("xsd:int") + "</xsd:simpleType>",
       "System.Int32", kDone},
      {"FirstRestrictionDecides",
       "<simpleType name='t'><annotation/>" + Restricts("x:short") +
           Restricts("int") + "</simpleType>",
       "System.Int16", kDone},
      {"FacetsArePassedOver",
       "<simpleType name='t'><restriction base='string'>"
       "<maxLength value='3'/></restriction></simpleType>",
       "System.String", kDone},
      {"NoRestriction", "<simpleType name='t'><list/></simpleType>"},
      {"NoBase", Simple("t", "")},
      {"OnlyAPrefix", Simple("t", "xsd:")},
      {"UnknownBase", Simple("t", "decimal")},
      {"NotUnderItsSchemaName", Simple("t", "hexBinary")},
      {"CaseCounts", Simple("t", "Int")},
      {"NoName", Simple("", "int")},
      {"Taken", Simple("t", "int") + Simple("t", "long"), "System.Int32"},
      {"Replaced", Simple("t", "int") + Simple("t", "long"), "System.Int64",
       kDone, kReplace},
      {"ReplacedByItself", Simple("t", "int") + Simple("t", "t"),
       "System.Int32", kDone, kReplace},
  };
}

std::vector<DeclareCase> ComplexTypes() {
  const std::string a = Element("a", "byte");
  return {
      {"Sequence",
       "<xsd:complexType name='t'><xsd:sequence>"
       "<xsd:element name='a' type='xsd:byte' minOccurs='0' default='7'/>"
       "<other name='no' type='int'/><xsd:element name='b' type='double'/>"
       "</xsd:sequence></xsd:complexType>",
       "a@0+9 System.Byte;b@9+16 System.Double;", kDone},
      {"EmptySequence", Record("t"), "", kDone},
      {"TwoFieldsOfOneName", Record("t", a + Element("a", "int")),
       "a@0+9 System.Byte;a@9+12 System.Int32;", kDone},
      {"SimpleBeforeComplexFieldType",
       Record("t", ElementOf("a", Record("") + Simple("", "short"))),
       "a@0+10 System.Int16;", kDone},
      {"RecordInside", Record("t", ElementOf("b", Record("", a))),
       "b@0+25{a@0+9 System.Byte;};", kDone},
      {"OneBeforeItIsKnown", Record("u") + Record("t", Element("a", "tns:u")),
       "a@0+16{};", kDone},
      {"OneBehindItIsNot", Record("t", Element("a", "u")) + Record("u")},
      {"ItselfIsNot", Record("t", Element("a", "t"))},
      {"FieldWithoutName", Record("t", "<element type='int'/>")},
      {"FieldWithoutType", Record("t", "<element name='a'/>")},
      {"FieldOfSimpleContent",
       Record("t", ElementOf("a", Complex("", Extends("int"))))},
      {"Taken", Record("t") + Record("t", a), ""},
      {"Replaced", Record("t") + Record("t", a), "a@0+9 System.Byte;", kDone,
       kReplace},
      // The old one is gone before the fields of the new one are read.
      {"ReplacedByARefusedOne", Record("t") + Record("t", Element("a", "t")),
       nullptr, kRefused, kReplace},
      {"ExtensionBeforeSequence",
       Complex("t", "<sequence/>" + Extends("xsd:float")), "System.Float",
       kDone},
      {"ExtensionWithAttribute",
       Complex("t",
               Extends("float", "<attribute name='u' type='x'/><attribute/>")),
       "System.Float", kDone},
      {"AttributeWithoutType",
       Complex("t", Extends("float", "<attribute name='u'/>"))},
      {"AttributeWithoutName",
       Complex("t", "<sequence/>" +
                        Extends("float", "<attribute name='' type='x'/>"))},
      {"ExtensionOfNothingLeavesTheSequence",
       Complex("t", Extends("") + "<sequence/>"), "", kDone},
      {"ExtensionOfUnknown", Complex("t", Extends("u") + "<sequence/>")},
      {"Choice", Complex("t", "<choice/>")},
  };
}

std::vector<DeclareCase> ElementsAndOrders() {
  const std::string two = Simple("", "int") + Simple("", "long");
  return {
      {"Alias", Element("t", "xsd:dateTime"), "System.DateTime", kDone},
      {"UnknownType", "<element name='t' type='u'>" + two + "</element>"},
      {"EmptyTypeIsUnknown",
       "<element name='t' type=''>" + Record("") + "</element>"},
      {"NoName", "<element type='int'/>"},
      {"Complex", ElementOf("t", Record("")), "", kDone},
      {"SimpleBeforeComplex", ElementOf("t", Record("") + Simple("", "int")),
       "System.Int32", kDone},
      {"EverySimple", ElementOf("t", two), "System.Int32"},
      {"EverySimpleReplacing", ElementOf("t", two), "System.Int64", kDone,
       kReplace},
      {"OwnNameBeforeTheElements", ElementOf("e", Simple("t", "int")),
       "System.Int32", kDone},
      {"NoType", "<element name='t'/>"},
      {"Reference", "<element name='t' ref='int'/>"},
      // Simple types first, then complex types, then elements.
      {"Groups",
       Element("t", "c") + Record("c", Element("a", "s")) + Simple("s", "byte"),
       "a@0+9 System.Byte;", kDone},
      {"AllOfAGroupAreTried", "<element/>" + Element("t", "int"),
       "System.Int32"},
      {"NoGroupBehindAFailedSimpleType", "<simpleType/>" + Record("t")},
      {"NoElementsBehindAFailedComplexType",
       "<complexType/>" + Element("t", "int")},
      {"NothingToDeclare", "<include/>text", nullptr, kDone},
      {"NotBelowOthers", "<redefine>" + Element("t", "int") + "</redefine>",
       nullptr, kDone},
  };
}

using SchemaImport = SchemaTest;

TEST_F(SchemaImport, RegistersOrRefuses) {
  for (const auto& rows : {SimpleTypes(), ComplexTypes(), ElementsAndOrders()})
    for (const DeclareCase& row : rows) {
      SCOPED_TRACE(row.name);
      ASSERT_TRUE(dm_o_reset_registry());
      EXPECT_EQ(Declare(row.declarations, row.replace), row.done);
      void* const type = dm_o_get_metadata("t");
      EXPECT_EQ(type != nullptr, row.type != nullptr);
      if (type == nullptr || row.type == nullptr) continue;
      EXPECT_EQ(dm_o_is_struct_type_from_metadata(type)
                    ? ShownType(type)
                    : dm_o_type_name_from_metadata(type),
                row.type);
    }
}

// An element is another name of the same type. The names are in the local
// encoding, where a second byte looks like "|" or "\".
TEST_F(SchemaImport, TakesChineseNames) {
  ASSERT_TRUE(
      Declare(Record("\xB6\xA9\xB5\xA5", Element("\x95\x7C\x81\x5C", "int")) +
              Element("e", "x:\xB6\xA9\xB5\xA5")));
  EXPECT_EQ(ShownType(dm_o_get_metadata("\xB6\xA9\xB5\xA5")),
            "\x95\x7C\x81\x5C@0+12 System.Int32;");
  EXPECT_EQ(dm_o_get_metadata("e"), dm_o_get_metadata("\xB6\xA9\xB5\xA5"));
  EXPECT_EQ(dm_o_get_ref(dm_o_get_metadata("e")), 2);
}

TEST_F(SchemaImport, LogsEveryReferenceAndRefusesWhatNoDocumentMayHold) {
  EXPECT_FALSE(
      Declare("<complexType name='t'><sequence>"
              "<element ref='a'/><element name='b' type='unknown'/>"
              "<element name='c' ref=''><complexType><sequence/>"
              "</complexType></element>"
              "<element name='d' type='int' ref='a'/>"
              "</sequence></complexType>"));
  const std::string entry = std::string(kObjectError) + kSequenceRef + "\n";
  EXPECT_EQ(Logged(), entry + entry);

  EXPECT_FALSE(Declare("<element name='t' type='int'>"));
  const std::string text =
      "<!DOCTYPE s [<!ENTITY e 'int'>]><s><element name='t' type='&e;'/></s>";
  EXPECT_FALSE(dm_o_declare_from_mem(
      text.data(), static_cast<unsigned>(text.size()), 0, false));
  EXPECT_EQ(dm_o_get_metadata("t"), nullptr);
}

TEST_F(SchemaImport, BuildsWithoutANameWhatAnElementStandsFor) {
  dm_registry_t* const registry = dm_o_registry();
  const auto type_of = [&](const std::string& text) {
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
  EXPECT_EQ(type_of(ElementOf("e", Simple("", "byte"))), "System.Byte");
  EXPECT_EQ(type_of(ElementOf("e", Record("", Element("a", "byte")))),
            "a@0+9 System.Byte;");
  EXPECT_EQ(type_of("<e/>"), "(none)");
  EXPECT_EQ(LogText(), "");
  EXPECT_EQ(type_of("<e name='a' ref='b'/>"), "(none)");
  EXPECT_EQ(Logged(), std::string(kObjectError) + kElementRef + "\n");

  // The caller's reference is one of its own.
  void* const shared = dm_o_metadata_from_schema_simpleType(
      registry, {}, Parse(Simple("", "int")));
  EXPECT_EQ(shared, dm_o_int32_metadata());
  const int count = dm_o_get_ref(shared);
  dm_o_inner_release(shared);
  EXPECT_EQ(dm_o_get_ref(shared), count - 1);
}

TEST_F(SchemaImport, BuildsStructsOnly) {
  dm_registry_t* const registry = dm_o_registry();
  ASSERT_TRUE(Declare(Record("known")));
  const auto from_element = [&](const std::string& text) {
    return StructPtr::Take(
        dm_o_struct_metadata_from_schema_element(registry, Parse(text), 0));
  };
  EXPECT_EQ(from_element("<e type='known'/>").get(),
            dm_o_get_metadata("known"));
  EXPECT_FALSE(from_element("<e type='int'/>"));
  EXPECT_FALSE(from_element(ElementOf("e", Simple("", "int"))));
  const auto complex =
      StructPtr::Take(dm_o_struct_metadata_from_schema_complexType(
          registry, {}, Parse(Record("unused", Element("a", "byte"))), 0));
  EXPECT_EQ(ShownType(complex.get()), "a@0+9 System.Byte;");
  EXPECT_EQ(dm_o_get_ref(complex.get()), 1);
  EXPECT_EQ(dm_o_get_metadata("unused"), nullptr);
  EXPECT_EQ(dm_o_struct_metadata_from_schema_complexType(
                registry, {}, Parse(Complex("c", Extends("known"))), 0),
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
      ElementOf("r", Record("", Element("a", "hexBinary")));
  EXPECT_EQ(build("id='r'", "<element name='q' type='int'/>" + record),
            "a@0+40 System.Binary;");
  EXPECT_EQ(build("", record), "(none)");
  EXPECT_EQ(build("id=''", "<element name='' type='int'/>" + record), "(none)");
  EXPECT_EQ(build("id='q'", record), "(none)");
  EXPECT_EQ(build("id='r'", Record("r")), "(none)");
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
       {"missing.xsd", ".", "", static_cast<const char*>(nullptr)}) {
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
    EXPECT_FALSE(dm_o_metadata_from_schema_element(names, element, 0));
    EXPECT_FALSE(dm_o_metadata_from_schema_simpleType(names, none, element));
    EXPECT_FALSE(dm_o_struct_metadata_from_schema_element(names, element, 0));
    EXPECT_FALSE(
        dm_o_struct_metadata_from_schema_complexType(names, none, element, 0));
    EXPECT_FALSE(dm_o_struct_metadata_from_schema_sequence(names, element, 0));
  };
  sweep(registry, none);
  sweep(nullptr, some);
  EXPECT_FALSE(dm_o_declare_from_schema(none, 0, true));
  EXPECT_FALSE(dm_o_struct_metadata_from_schema(none, 0));
  EXPECT_FALSE(dm_o_declare_from_mem(nullptr, 7, 0, true));
  EXPECT_FALSE(dm_o_declare_from_mem("", 0, 0, true));
  EXPECT_FALSE(dm_o_struct_metadata_from_mem(nullptr, 7, 0));

  kiv::StopData();
  EXPECT_FALSE(dm_o_declare_from_schema(some, 0, true));
  EXPECT_FALSE(Declare("<element name='t' type='int'/>"));
  EXPECT_FALSE(dm_o_declare_from_uri("x", 0, true));
  EXPECT_FALSE(BuildFrom("<schema id='e'><element name='e'/></schema>"));
}

// --- Schemas that mean harm --------------------------------------------------

std::string Doubling(unsigned levels) {
  std::string text = Record("d0", Element("a", "double"));
  for (unsigned i = 1; i <= levels; ++i) {
    const std::string before = "d" + std::to_string(i - 1);
    text += Record("d" + std::to_string(i),
                   Element("a", before) + Element("b", before));
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
  std::string fields;
  for (int i = 0; i < 50'000; ++i) fields += Element("a", "int");
  std::string text = Record("wide", fields);
  for (int i = 0; i < 20'000; ++i) {
    text += Element("e" + std::to_string(i), "wide");
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

}  // namespace
}  // namespace dm
