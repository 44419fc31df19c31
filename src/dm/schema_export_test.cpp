// Struct types as schemas, and back.
#include <random>

#include "dm/schema_testing.h"
#include "dm/struct_testing.h"

namespace dm {
namespace {

// "dm::metadata_to_xsd_record 错误，" and "dm::struct_to_xsd_record 错误，"
#define TO_XSD "dm::metadata_to_xsd_record \xB4\xED\xCE\xF3\xA3\xAC"
#define STRUCT "dm::struct_to_xsd_record \xB4\xED\xCE\xF3\xA3\xAC"
// "创建 ", "失败。" and "类型"
#define CREATE "\xB4\xB4\xBD\xA8 "
#define FAILED "\xCA\xA7\xB0\xDC\xA1\xA3"
#define TYPE "\xC0\xE0\xD0\xCD"
// "创建 Dom 文档的内容失败。"
constexpr char kContentNotCreated[] =
    TO_XSD CREATE "Dom \xCE\xC4\xB5\xB5\xB5\xC4\xC4\xDA\xC8\xDD" FAILED;

std::string Entry(const std::string& text) {
  return kObjectError + text + "\n";
}

StructPtr With(const char* name, void* field) {
  return NewStructType({{name, field}});
}

StructPtr WithInt() { return With("a", dm_o_int32_metadata()); }

class SchemaExport : public SchemaTest {
 protected:
  static std::string ShownAgain(const std::string& schema) {
    return ShownType(BuildFrom(schema).get());
  }
};

TEST_F(SchemaExport, WritesTypesUnderTheirSchemaNames) {
  std::string fields;
  for (const char* const type : {"int", "short", "long", "byte", "boolean",
                                 "float", "double", "string", "hexBinary"}) {
    fields += std::string("<xsd:element name=\"a\" type=\"") + type + "\"/>";
  }
  const std::string schema =
      "<?xml version=\"1.0\" encoding=\"GB2312\" standalone=\"no\" ?>"
      "<xsd:schema id=\"System.Struct\" "
      "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">"
      "<xsd:element name=\"System.Struct\">"
      "<xsd:complexType><xsd:sequence>" +
      fields +
      "<xsd:element name=\"j\"><xsd:complexType><xsd:sequence>"
      "<xsd:element name=\"when\" type=\"dateTime\"/>"
      "</xsd:sequence></xsd:complexType></xsd:element>"
      "</xsd:sequence></xsd:complexType></xsd:element></xsd:schema>";
  EXPECT_EQ(Exported(BuildFrom(schema).get()), schema);
  EXPECT_EQ(LogText(), "");
}

TEST_F(SchemaExport, WritesAFileUnderTheNameAskedForWholeOrNotAtAll) {
  const StructPtr type = WithInt(), unwritten = With("a", dm_o_guid_metadata());
  constexpr char kName[] = "\xB6\xA9\xB5\xA5";
  kiv::WriteTestFile("types.xsd", "old");
  EXPECT_FALSE(dm_o_metadata_to_xsd_file(unwritten.get(), kName, "types.xsd"));
  EXPECT_EQ(kiv::ReadTestFile("types.xsd"), "old");
  ASSERT_TRUE(dm_o_metadata_to_xsd_file(type.get(), kName, "types.xsd"));
  ASSERT_TRUE(dm_o_declare_from_uri("types.xsd", 0, false));
  EXPECT_TRUE(StructPtr::Take(dm_o_struct_metadata_from_uri("types.xsd", 0)));
  EXPECT_EQ(ShownType(dm_o_get_metadata(kName)), ShownType(type.get()));
  const Any text = Any::Take(dm_o_metadata_to_xsd_as(type.get(), kName));
  EXPECT_EQ(kiv::ReadTestFile("types.xsd"), TextOf(text.get()));
  EXPECT_EQ(dm_o_get_ref(text.get()), 1);
  EXPECT_FALSE(dm_o_metadata_to_xsd_as(type.get(), ""));
  EXPECT_FALSE(dm_o_metadata_to_xsd_file(type.get(), "T", ""));
  EXPECT_FALSE(dm_o_metadata_to_xsd_file(type.get(), "T", "no/types.xsd"));
  // "写入文件 '...' 失败。"
  EXPECT_TRUE(Logged().ends_with(
      Entry(TO_XSD "\xD0\xB4\xC8\xEB\xCE\xC4\xBC\xFE 'no/types.xsd' " FAILED
                   "No such file or directory")))
      << Logged();
}

TEST_F(SchemaExport, RefusesANameThatNoIdCanBeAndLifeAfterTheEnd) {
  const StructPtr type = WithInt();
  EXPECT_FALSE(dm_o_metadata_to_xsd_as(type.get(), "a\x01"));
  // "创建 schema 节点的 id 属性 'a\x01' 失败。"
  const std::string log = Logged();
  EXPECT_TRUE(
      log.ends_with(Entry(TO_XSD CREATE "schema \xBD\xDA\xB5\xE3\xB5\xC4 id "
                                        "\xCA\xF4\xD0\xD4 'a\\x01' " FAILED)))
      << log;
  kiv::StopData();
  EXPECT_FALSE(dm_o_metadata_to_xsd(type.get(), 0));
  // "创建 Dom 文档失败。"
  EXPECT_EQ(Logged(), log + Entry(TO_XSD CREATE "Dom \xCE\xC4\xB5\xB5" FAILED));
}

TEST_F(SchemaExport, RefusesOptionsAndWhatIsNoStructType) {
  EXPECT_FALSE(dm_o_metadata_to_xsd(NewStructType().get(), 1));  // no word
  // "传入对象必须是一个 Struct 的类型对象"
  const std::string entry = Entry(
      TO_XSD
      "\xB4\xAB\xC8\xEB\xB6\xD4\xCF\xF3\xB1\xD8\xD0\xEB\xCA\xC7\xD2\xBB\xB8"
      "\xF6 Struct \xB5\xC4" TYPE "\xB6\xD4\xCF\xF3");
  EXPECT_FALSE(dm_o_metadata_to_xsd(dm_o_int32_metadata(), 0));
  EXPECT_FALSE(dm_o_metadata_to_xsd(NewInstance(NewStructType()).get(), 0));
  EXPECT_EQ(Logged(), entry + entry);
}

TEST_F(SchemaExport, RefusesFieldsOfTypesThatNoSchemaKnows) {
  const StructPtr inner = With("\xD6\xD0\n", dm_o_guid_metadata());
  EXPECT_EQ(Exported(With("outer", inner.get()).get()), "(none)");
  // "'...' 字段为 '...'类型，该类型不支持 XmlSchema。"
  EXPECT_EQ(
      Logged(),
      Entry(STRUCT "'\xD6\xD0\\n' \xD7\xD6\xB6\xCE\xCE\xAA 'System.Guid'" TYPE
                   "\xA3\xAC\xB8\xC3" TYPE
                   "\xB2\xBB\xD6\xA7\xB3\xD6 XmlSchema\xA1\xA3"));
}

// What would come back as another name is refused instead.
TEST_F(SchemaExport, NamesComeBackAsTheyAreOrNotAtAll) {
  const StructPtr structure = NewStructType();
  // Chinese, second bytes that look like ASCII, the Euro.
  for (const char* const name : {"\xB6\xA9\xB5\xA5", "\x95\x7C\x81\x5C", "\x80",
                                 "<a b=\"&'>", " a\tb\nc\r "}) {
    const StructPtr type =
        NewStructType({{name, dm_o_int32_metadata()}, {name, structure.get()}});
    EXPECT_EQ(ShownAgain(Exported(type.get())), ShownType(type.get()));
  }
  EXPECT_EQ(LogText(), "");
  // "创建 complexType/sequence/element 节点的name属性= '"
  const std::string refusal = STRUCT CREATE
      "complexType/sequence/element \xBD\xDA\xB5\xE3\xB5\xC4name"
      "\xCA\xF4\xD0\xD4= '";
  for (void* const field : {dm_o_int32_metadata(), structure.get()}) {
    EXPECT_EQ(Exported(With("a\xB6", field).get()), "(none)");
    EXPECT_EQ(Exported(With("a\x01", field).get()), "(none)");
    EXPECT_TRUE(Logged().ends_with(refusal + "a\\x01\n")) << Logged();
  }
}

TEST_F(SchemaExport, RefusesWhatIsTooDeepToRead) {
  StructPtr type = NewStructType();
  for (int i = 1; i < 332; ++i) type = With("a", type.get());
  EXPECT_EQ(ShownAgain(Exported(type.get())), ShownType(type.get()));
  type = With("a", With("a", type.get()).get());
  EXPECT_EQ(Exported(type.get()), "(none)");
  EXPECT_TRUE(Logged().ends_with(Entry(kContentNotCreated))) << Logged();
}

TEST_F(SchemaExport, CountsWhatIsWrittenAgainstTheLimit) {
  const std::size_t limit = kiv::DomParser::MaxBytes();
  kiv::DomParser::SetMaxBytes(10'000);
  // Few types that stand for many fields.
  StructPtr doubled = WithInt();
  for (int i = 0; i < 8; ++i) {
    doubled = NewStructType({{"a", doubled.get()}, {"b", doubled.get()}});
  }
  EXPECT_EQ(Exported(doubled.get()), "(none)");
  EXPECT_EQ(Logged(), Entry(kContentNotCreated));
  // To the byte; every "&" of a name is written as five.
  StructPtr empties = NewStructType();
  for (int i = 0; i < 50; ++i) {
    dm_o_struct_metadata_append(empties.get(), "&", NewStructType().get());
  }
  const std::string text = Exported(empties.get());
  kiv::DomParser::SetMaxBytes(text.size());
  EXPECT_EQ(ShownAgain(Exported(empties.get())), ShownType(empties.get()));
  kiv::DomParser::SetMaxBytes(text.size() - 1);
  EXPECT_EQ(Exported(empties.get()), "(none)");
  kiv::DomParser::SetMaxBytes(limit);
}

TEST_F(SchemaExport, EveryStructTypeComesBackEqual) {
  RandomTypeLimits limits;
  limits.only_schema_types = true;
  for (unsigned seed = 0; seed < 3000; ++seed) {
    std::mt19937 random(seed);
    const StructPtr type = RandomStructType(random, limits);
    ASSERT_EQ(ShownAgain(Exported(type.get())), ShownType(type.get())) << seed;
  }
}

}  // namespace
}  // namespace dm
