// Types from schemas: what is declared, what is refused, and in which order.
#include <vector>

#include "dm/schema_testing.h"
#include "dm/struct_testing.h"

namespace dm {
namespace {

// " 不支持 有 ref 属性的 element 标签."
constexpr char kReferenceRefused[] =
    " \xB2\xBB\xD6\xA7\xB3\xD6 \xD3\xD0 ref "
    "\xCA\xF4\xD0\xD4\xB5\xC4 element \xB1\xEA\xC7\xA9.\n";

// The constructs of a schema.
std::string Simple(const std::string& name, const std::string& base) {
  return "<simpleType name='" + name + "'><restriction base='" + base +
         "'/></simpleType>";
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

constexpr bool kDone = true, kRefused = false, kReplace = true;
constexpr char kInt[] = "System.Int32", kByteField[] = "a@0+9 System.Byte;";
constexpr char kNone[] = "(none)";

// What is registered under the name "t" after a schema was declared.
struct DeclareCase {
  const char* name;
  std::string declarations;
  // As ShownType says of a struct, else the type name.
  const char* type = kNone;
  bool done = false;
  bool replace = false;
};

// Refusals of which schema_check_test.cpp reads the reasons stand there.
std::vector<DeclareCase> Cases() {
  const std::string a = Element("a", "byte");
  const std::string whole = "<attribute name='u' type='x'/><attribute/>";
  const std::string twice = Simple("t", "int") + Simple("t", "long");
  const std::string two = Simple("", "int") + Simple("", "long");
  return {
      // Simple types.
      {"FirstRestrictionDecides",
       "<x:simpleType name='t'><annotation/><restriction base='x:short'/>"
       "<restriction base='int'/></x:simpleType>",
       "System.Int16", kDone},
      {"OnlyAPrefix", Simple("t", "xsd:")},
      {"Taken", twice, kInt},
      {"Replaced", twice, "System.Int64", kDone, kReplace},
      {"Itself", Simple("t", "int") + Simple("t", "t"), kInt, kDone, kReplace},
      // Complex types.
      {"Sequence",
       "<xsd:complexType name='t'><xsd:sequence>"
       "<xsd:element name='a' type='xsd:byte' minOccurs='0' default='7'/>"
       "<other name='no' type='int'/><xsd:element name='b' type='double'/>"
       "</xsd:sequence></xsd:complexType>",
       "a@0+9 System.Byte;b@9+16 System.Double;", kDone},
      {"Empty", Record("t"), "", kDone},
      {"TwoFieldsOfOneName", Record("t", a + Element("a", "int")),
       "a@0+9 System.Byte;a@9+12 System.Int32;", kDone},
      {"SimpleField",
       Record("t", ElementOf("a", Record("") + Simple("", "byte"))), kByteField,
       kDone},
      {"RecordInside", Record("t", ElementOf("b", Record("", a))),
       "b@0+25{a@0+9 System.Byte;};", kDone},
      {"FieldOfKnownType", Record("u") + Record("t", Element("a", "x:u")),
       "a@0+16{};", kDone},
      {"Extends", Record("t", ElementOf("a", Complex("", Extends("int"))))},
      {"Taken", Record("t") + Record("t", a), ""},
      {"Replaced", Record("t") + Record("t", a), kByteField, kDone, kReplace},
      // The old one is gone before the fields of the new one are read.
      {"ReplacedByARefused", Record("t") + Record("t", Element("a", "t")),
       kNone, kRefused, kReplace},
      {"ExtensionFirst", Complex("t", "<sequence/>" + Extends("int", whole)),
       kInt, kDone},
      {"AttributeWithoutType",
       Complex("t", "<sequence/>" + Extends("int", "<attribute name='u'/>"))},
      {"NoAttribute", Complex("t", Extends("int", "<attribute type='x'/>"))},
      {"ExtendsNone", Complex("t", Extends("") + "<sequence/>"), "", kDone},
      // Elements.
      // A second byte looks like "|" or "\\".
      {"Chinese",
       Record("\xB6\xA9", Element("\x95\x7C\x81\x5C", "int")) +
           Element("t", "x:\xB6\xA9"),
       "\x95\x7C\x81\x5C@0+12 System.Int32;", kDone},
      {"UnknownType", "<element name='t' type='u'>" + two + "</element>"},
      {"Complex", ElementOf("t", Record("")), "", kDone},
      {"SimpleBeforeComplex", ElementOf("t", Record("") + Simple("", "int")),
       kInt, kDone},
      {"EverySimple", ElementOf("t", two), kInt},
      {"OwnName", ElementOf("e", Simple("t", "int")), kInt, kDone},
      // Simple types first, then complex types, then elements.
      {"Groups",
       Element("t", "c") + Record("c", Element("a", "s")) + Simple("s", "byte"),
       kByteField, kDone},
      {"AllOfAGroupAreTried", "<element/>" + Element("t", "int"), kInt},
      {"NoGroupBehindARefusal", "<simpleType/>" + Record("t")},
      {"NoElementsBehindARefusal", "<complexType/>" + Element("t", "int")},
      {"NothingToDeclare", "<include/>text", kNone, kDone},
      {"NotBelow", "<a>" + Element("t", "int") + "</a>", kNone, kDone},
  };
}

std::string TypeText(const void* type) {
  if (type == nullptr) return kNone;
  return dm_o_is_struct_type_from_metadata(type)
             ? ShownType(type)
             : dm_o_type_name_from_metadata(type);
}

using SchemaImport = SchemaTest;

TEST_F(SchemaImport, RegistersOrRefuses) {
  for (const DeclareCase& row : Cases()) {
    SCOPED_TRACE(row.name);
    ASSERT_TRUE(dm_o_reset_registry());
    EXPECT_EQ(Declare(row.declarations, row.replace), row.done);
    EXPECT_EQ(TypeText(dm_o_get_metadata("t")), row.type);
  }
}

TEST_F(SchemaImport, LogsEveryReference) {
  EXPECT_FALSE(
      Declare(Record("t",
                     "<element ref='a'/><element name='b' type='unknown'/>"
                     "<element name='c' ref=''><complexType/></element>")));
  const std::string entry = std::string(kObjectError) +
                            "load_metadata_from_element" + kReferenceRefused;
  EXPECT_EQ(Logged(), entry + entry);
}

TEST_F(SchemaImport, BuildsWithoutANameWhatAnElementStandsFor) {
  dm_registry_t* const registry = dm_o_registry();
  ASSERT_TRUE(Declare(Record("known")));
  const auto type_of = [&](const std::string& text) {
    const Any type =
        Any::Take(dm_o_metadata_from_schema_element(registry, Parse(text), 0));
    return TypeText(type.get());
  };
  const auto struct_of = [&](const std::string& text) {
    const Any type = Any::Take(
        dm_o_struct_metadata_from_schema_element(registry, Parse(text), 0));
    return TypeText(type.get());
  };
  EXPECT_EQ(type_of("<e type='xsd:int' ref='x'/>"), kInt);
  EXPECT_EQ(struct_of("<e type='int'/>"), kNone);
  EXPECT_EQ(struct_of("<e type='known'/>"), "");
  EXPECT_EQ(type_of("<e type='hexBinary'/>"), kNone);
  EXPECT_EQ(type_of(ElementOf("e", Simple("", "int"))), kInt);
  EXPECT_EQ(type_of(ElementOf("e", Record("", Element("a", "byte")))),
            kByteField);
  EXPECT_EQ(LogText(), "");
  EXPECT_EQ(type_of("<e name='a' ref='b'/>"), kNone);
  EXPECT_EQ(Logged(), std::string(kObjectError) +
                          "dm_o_metadata_from_schema_element" +
                          kReferenceRefused);
}

TEST_F(SchemaImport, HandsOutAReferenceOfTheCallers) {
  dm_registry_t* const registry = dm_o_registry();
  void* const shared = dm_o_metadata_from_schema_simpleType(
      registry, {}, Parse(Simple("", "int")));
  EXPECT_EQ(shared, dm_o_int32_metadata());
  const int count = dm_o_get_ref(shared);
  dm_o_inner_release(shared);
  EXPECT_EQ(dm_o_get_ref(shared), count - 1);

  const auto complex =
      StructPtr::Take(dm_o_struct_metadata_from_schema_complexType(
          registry, {}, Parse(Record("unused", Element("a", "byte"))), 0));
  EXPECT_EQ(dm_o_get_ref(complex.get()), 1);
  EXPECT_EQ(dm_o_get_metadata("unused"), nullptr);
  EXPECT_TRUE(StructPtr::Take(dm_o_struct_metadata_from_schema_sequence(
      registry, Parse("<s>" + Element("a", "byte") + "</s>"), 0)));
}

// The schema is found by its "id"; what a declaration says of it is nothing.
TEST_F(SchemaImport, BuildsTheElementThatTheSchemaIsNamedAfter) {
  const auto build = [](const std::string& id, const std::string& inside) {
    return TypeText(
        BuildFrom("<schema " + id + ">" + inside + "</schema>").get());
  };
  const std::string record =
      ElementOf("r", Record("", Element("a", "hexBinary")));
  EXPECT_EQ(build("id='r'", Element("q", "int") + record),
            "a@0+40 System.Binary;");
  EXPECT_EQ(build("", record), kNone);
  EXPECT_EQ(build("id=''", Element("", "int") + record), kNone);
  EXPECT_EQ(build("id='r'", Element("r", "int")), kNone);
  EXPECT_EQ(dm_o_get_metadata("r"), nullptr);
  EXPECT_EQ(dm_o_get_metadata("hexBinary"), nullptr);
}

TEST_F(SchemaImport, AnswersFalseToNothing) {
  const kiv::DomElement none;
  const kiv::DomElement some = Parse("<e name='t' type='int'/>");
  const auto sweep = [&](dm_registry_t* names, const kiv::DomElement& element) {
    EXPECT_FALSE(
        dm_o_declare_from_schema_simpleType(names, none, element, 0, true) ||
        dm_o_declare_from_schema_complexType(names, none, element, 0, true) ||
        dm_o_declare_from_schema_element(names, element, 0, true) ||
        dm_o_metadata_from_schema_element(names, element, 0) ||
        dm_o_metadata_from_schema_simpleType(names, none, element) ||
        dm_o_struct_metadata_from_schema_element(names, element, 0) ||
        dm_o_struct_metadata_from_schema_complexType(names, none, element, 0) ||
        dm_o_struct_metadata_from_schema_sequence(names, element, 0));
  };
  sweep(dm_o_registry(), none);
  sweep(nullptr, some);
  EXPECT_FALSE(dm_o_declare_from_schema(none, 0, true));
  EXPECT_FALSE(dm_o_struct_metadata_from_schema(none, 0));
  EXPECT_FALSE(dm_o_declare_from_mem(nullptr, 7, 0, true));
  EXPECT_FALSE(dm_o_struct_metadata_from_mem(nullptr, 7, 0));
  EXPECT_FALSE(dm_o_declare_from_uri(nullptr, 0, true));
  EXPECT_FALSE(dm_o_struct_metadata_from_uri("missing.xsd", 0));

  kiv::StopData();
  EXPECT_FALSE(Declare(Element("t", "int")));
  EXPECT_FALSE(dm_o_declare_from_uri("x", 0, true));
}

// In a tree that a program built; a document may not be as deep.
TEST_F(SchemaImport, StopsAtTheDepthOfStructs) {
  const auto built = [](unsigned levels) {
    kiv::DomDocument document;
    kiv::DomElement element, type, sequence;
    kiv::DomDocument::CreateDocument(document);
    document.CreateDocumentElement("element", element);
    const kiv::DomElement root = element;
    for (unsigned i = 0; i < levels; ++i) {
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
}

}  // namespace
}  // namespace dm
