// Struct types as schemas, and back.
#include <random>
#include <vector>

#include "dm/schema_testing.h"
#include "dm/struct_testing.h"

namespace dm {
namespace {

// "dm::metadata_to_xsd_record 错误，" and "dm::struct_to_xsd_record 错误，"
#define TO_XSD "dm::metadata_to_xsd_record \xB4\xED\xCE\xF3\xA3\xAC"
#define STRUCT "dm::struct_to_xsd_record \xB4\xED\xCE\xF3\xA3\xAC"
// "创建 Dom 文档的内容失败。"
constexpr char kContentNotCreated[] = TO_XSD
    "\xB4\xB4\xBD\xA8 Dom "
    "\xCE\xC4\xB5\xB5\xB5\xC4\xC4\xDA\xC8\xDD\xCA\xA7\xB0\xDC\xA1\xA3";

std::string Entry(const std::string& text) {
  return std::string(kObjectError) + text + "\n";
}

using SchemaExport = SchemaTest;

StructPtr With(const char* name, void* field) {
  return NewStructType({{name, field}});
}

TEST_F(SchemaExport, WritesEveryTypeThatASchemaCanSay) {
  const StructPtr inner = With("when", dm_o_datetime_metadata());
  const StructPtr type = NewStructType({{"a", dm_o_int32_metadata()},
                                        {"b", dm_o_int16_metadata()},
                                        {"c", dm_o_int64_metadata()},
                                        {"d", dm_o_byte_metadata()},
                                        {"e", dm_o_bool_metadata()},
                                        {"f", dm_o_float_metadata()},
                                        {"g", dm_o_double_metadata()},
                                        {"h", dm_o_ansi_string_metadata()},
                                        {"i", dm_o_binary_metadata()},
                                        {"j", inner.get()}});
  EXPECT_EQ(Exported(type.get()),
            "<?xml version=\"1.0\" encoding=\"GB2312\" standalone=\"no\" ?>"
            "<xsd:schema id=\"System.Struct\" "
            "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">"
            "<xsd:element name=\"System.Struct\">"
            "<xsd:complexType><xsd:sequence>"
            "<xsd:element name=\"a\" type=\"int\"/>"
            "<xsd:element name=\"b\" type=\"short\"/>"
            "<xsd:element name=\"c\" type=\"long\"/>"
            "<xsd:element name=\"d\" type=\"byte\"/>"
            "<xsd:element name=\"e\" type=\"boolean\"/>"
            "<xsd:element name=\"f\" type=\"float\"/>"
            "<xsd:element name=\"g\" type=\"double\"/>"
            "<xsd:element name=\"h\" type=\"string\"/>"
            "<xsd:element name=\"i\" type=\"hexBinary\"/>"
            "<xsd:element name=\"j\"><xsd:complexType><xsd:sequence>"
            "<xsd:element name=\"when\" type=\"dateTime\"/>"
            "</xsd:sequence></xsd:complexType></xsd:element>"
            "</xsd:sequence></xsd:complexType></xsd:element></xsd:schema>");
  EXPECT_EQ(LogText(), "");
}

TEST_F(SchemaExport, GivesAStringOfTheCallersUnderTheNameAskedFor) {
  const StructPtr type = With("a", dm_o_int32_metadata());
  const Any text =
      Any::Take(dm_o_metadata_to_xsd_as(type.get(), "\xB6\xA9\xB5\xA5"));
  ASSERT_TRUE(text);
  EXPECT_EQ(text.object().GetTypeId(), DM_STRING);
  EXPECT_EQ(dm_o_get_ref(text.get()), 1);
  ASSERT_TRUE(dm_o_declare_from_mem(
      dm_o_string_text(text.get()),
      static_cast<unsigned>(dm_o_string_size(text.get())), 0, false));
  EXPECT_EQ(ShownType(dm_o_get_metadata("\xB6\xA9\xB5\xA5")),
            ShownType(type.get()));
  EXPECT_EQ(ShownType(BuildFrom(TextOf(text.get())).get()),
            ShownType(type.get()));
  EXPECT_FALSE(dm_o_metadata_to_xsd_as(type.get(), ""));
  EXPECT_FALSE(dm_o_metadata_to_xsd_as(type.get(), nullptr));
}

TEST_F(SchemaExport, WritesAFileWholeOrNotAtAll) {
  const StructPtr type = With("a", dm_o_int32_metadata());
  kiv::WriteTestFile("types.xsd", "old");
  const StructPtr unwritten = With("a", dm_o_guid_metadata());
  EXPECT_FALSE(dm_o_metadata_to_xsd_file(unwritten.get(), "T", "types.xsd"));
  EXPECT_EQ(kiv::ReadTestFile("types.xsd"), "old");
  ASSERT_TRUE(dm_o_metadata_to_xsd_file(type.get(), "T", "types.xsd"));
  EXPECT_EQ(kiv::ReadTestFile("types.xsd"),
            TextOf(Any::Take(dm_o_metadata_to_xsd_as(type.get(), "T")).get()));
  const std::string before = Logged();
  EXPECT_FALSE(dm_o_metadata_to_xsd_file(type.get(), "T", "no/types.xsd"));
  EXPECT_NE(Logged().find("'no/types.xsd'", before.size()), std::string::npos);
  for (const char* const path : {"", static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(dm_o_metadata_to_xsd_file(type.get(), "T", path));
    EXPECT_FALSE(dm_o_metadata_to_xsd_file(type.get(), path, "types.xsd"));
  }
}

TEST_F(SchemaExport, RefusesANameThatNoIdCanBeAndLifeAfterTheEnd) {
  const StructPtr type = With("a", dm_o_int32_metadata());
  EXPECT_FALSE(dm_o_metadata_to_xsd_as(type.get(), "a\x01"));
  // "创建 schema 节点的 id 属性 '" and "' 失败。"
  std::string log = Logged();
  EXPECT_TRUE(log.ends_with(Entry(TO_XSD "\xB4\xB4\xBD\xA8 schema "
                                         "\xBD\xDA\xB5\xE3\xB5\xC4 id "
                                         "\xCA\xF4\xD0\xD4 'a\\x01' "
                                         "\xCA\xA7\xB0\xDC\xA1\xA3")))
      << log;
  kiv::StopData();
  EXPECT_FALSE(dm_o_metadata_to_xsd(type.get(), 0));
  // "创建 Dom 文档失败。"
  EXPECT_EQ(Logged(), log + Entry(TO_XSD "\xB4\xB4\xBD\xA8 Dom "
                                         "\xCE\xC4\xB5\xB5\xCA\xA7\xB0\xDC"
                                         "\xA1\xA3"));
}

TEST_F(SchemaExport, RefusesOptionsAndWhatIsNoStructType) {
  EXPECT_FALSE(dm_o_metadata_to_xsd(NewStructType().get(), 1));
  EXPECT_FALSE(dm_o_metadata_to_xsd(dm_o_int32_metadata(), 1));
  EXPECT_EQ(LogText(), "");  // without a word
  const Any instance = NewInstance(NewStructType()), text = NewText("x");
  const std::vector<const void*> others = {dm_o_int32_metadata(), text.get(),
                                           instance.get(), nullptr};
  std::string expected;
  for (const void* const other : others) {
    EXPECT_EQ(dm_o_metadata_to_xsd(other, 0), nullptr);
    // "传入对象必须是一个 Struct 的类型对象"
    expected += Entry(
        TO_XSD
        "\xB4\xAB\xC8\xEB\xB6\xD4\xCF\xF3\xB1\xD8\xD0\xEB\xCA\xC7\xD2\xBB\xB8"
        "\xF6 Struct \xB5\xC4\xC0\xE0\xD0\xCD\xB6\xD4\xCF\xF3");
  }
  EXPECT_EQ(Logged(), expected);
}

TEST_F(SchemaExport, RefusesFieldsOfTypesThatNoSchemaKnows) {
  std::string expected;
  for (void* const field :
       {dm_o_guid_metadata(), dm_o_value_vector_metadata(),
        dm_o_object_vector_metadata(), dm_o_object_pointer_metadata(),
        dm_o_data_pointer_metadata()}) {
    const StructPtr inner = With("\xD6\xD0\n", field);
    EXPECT_FALSE(dm_o_metadata_to_xsd(With("outer", inner.get()).get(), 0));
    // "' 字段为 '" and "'类型，该类型不支持 XmlSchema。"
    expected += Entry(
        std::string(STRUCT "'\xD6\xD0\\n' \xD7\xD6\xB6\xCE\xCE\xAA '") +
        dm_o_type_name_from_metadata(field) +
        "'\xC0\xE0\xD0\xCD\xA3\xAC\xB8\xC3\xC0\xE0\xD0\xCD\xB2\xBB\xD6\xA7\xB3"
        "\xD6 XmlSchema\xA1\xA3");
  }
  EXPECT_EQ(Logged(), expected);
}

// What would come back as another name is refused instead.
TEST_F(SchemaExport, NamesComeBackAsTheyAreOrNotAtAll) {
  const auto exported = [](const StructPtr& type, const char* name) {
    SCOPED_TRACE(name);
    const Any text = Any::Take(dm_o_metadata_to_xsd(type.get(), 0));
    if (!text) return false;
    const StructPtr built = BuildFrom(TextOf(text.get()));
    EXPECT_STREQ(dm_o_struct_metadata_field_name(built.get(), 0), name);
    return true;
  };
  const StructPtr structure = NewStructType();
  // Chinese, second bytes that look like ASCII, the Euro.
  for (const char* const name : {"\xB6\xA9\xB5\xA5", "\x95\x7C\x81\x5C", "\x80",
                                 "<a b=\"&'>", " a\tb\nc\r ", "a:b"}) {
    EXPECT_TRUE(exported(With(name, dm_o_int32_metadata()), name));
    EXPECT_TRUE(exported(With(name, structure.get()), name));
  }
  EXPECT_EQ(LogText(), "");
  // "创建 complexType/sequence/element 节点的name属性= '"
  const std::string refusal = STRUCT
      "\xB4\xB4\xBD\xA8 complexType/sequence/element "
      "\xBD\xDA\xB5\xE3\xB5\xC4name\xCA\xF4\xD0\xD4= '";
  for (const char* const name : {"a\x01", "a\xB6"}) {
    for (void* const field :
         {dm_o_int32_metadata(), static_cast<void*>(structure.get())}) {
      const std::size_t before = Logged().size();
      EXPECT_FALSE(exported(With(name, field), name));
      EXPECT_NE(Logged().find(refusal, before), std::string::npos);
    }
  }
}

TEST_F(SchemaExport, RefusesWhatIsTooDeepToRead) {
  StructPtr type = NewStructType();
  for (int i = 1; i < 332; ++i) type = With("a", type.get());
  EXPECT_EQ(ShownType(BuildFrom(Exported(type.get())).get()),
            ShownType(type.get()));
  type = With("a", With("a", type.get()).get());
  EXPECT_EQ(dm_o_metadata_to_xsd(type.get(), 0), nullptr);
  const std::string log = Logged();
  EXPECT_TRUE(log.ends_with(Entry(kContentNotCreated))) << log;
}

TEST_F(SchemaExport, CountsWhatIsWrittenAgainstTheLimit) {
  const std::size_t limit = kiv::DomParser::MaxBytes();
  kiv::DomParser::SetMaxBytes(10'000);
  // Few types that stand for many fields.
  StructPtr doubled = With("a", dm_o_int32_metadata());
  for (int i = 0; i < 8; ++i) {
    doubled = NewStructType({{"a", doubled.get()}, {"b", doubled.get()}});
  }
  EXPECT_FALSE(dm_o_metadata_to_xsd(doubled.get(), 0));
  // Every "&" is written as five bytes.
  const StructPtr marks =
      With(std::string(3'000, '&').c_str(), dm_o_int32_metadata());
  EXPECT_FALSE(dm_o_metadata_to_xsd(marks.get(), 0));
  EXPECT_EQ(Logged(), Entry(kContentNotCreated) + Entry(kContentNotCreated));
  // Empty structs, whose tags are most of the schema: to the byte.
  StructPtr empties = NewStructType();
  const StructPtr empty = NewStructType();
  for (int i = 0; i < 50; ++i) {
    dm_o_struct_metadata_append(empties.get(), "a", empty.get());
  }
  const std::string text = Exported(empties.get());
  kiv::DomParser::SetMaxBytes(text.size());
  EXPECT_EQ(ShownType(BuildFrom(Exported(empties.get())).get()),
            ShownType(empties.get()));
  kiv::DomParser::SetMaxBytes(text.size() - 1);
  EXPECT_FALSE(dm_o_metadata_to_xsd(empties.get(), 0));
  kiv::DomParser::SetMaxBytes(limit);
  EXPECT_NE(Exported(doubled.get()), "(none)");
}

void ExpectComesBack(unsigned seed) {
  std::mt19937 random(seed);
  RandomTypeLimits limits;
  limits.only_schema_types = seed % 16 != 0;
  const StructPtr type = RandomStructType(random, limits);
  const std::string shown = ShownType(type.get());
  bool has_foreign = false;
  for (const char* const foreign : {"Vector", "Pointer", "Guid"}) {
    has_foreign |= shown.find(foreign) != std::string::npos;
  }
  const Any text = Any::Take(dm_o_metadata_to_xsd(type.get(), 0));
  ASSERT_EQ(text.get() == nullptr, has_foreign);
  if (has_foreign) return;
  const StructPtr built = StructPtr::Take(dm_o_struct_metadata_from_mem(
      dm_o_string_text(text.get()),
      static_cast<unsigned>(dm_o_string_size(text.get())), 0));
  ASSERT_TRUE(built);
  ASSERT_EQ(ShownType(built.get()), shown);

  // Values go from an instance of one to an instance of the other, a field
  // each.
  const Any from = NewInstance(type), to = NewInstance(built);
  ASSERT_TRUE(from && to);
  ASSERT_EQ(from.object().GetObjectSize(), to.object().GetObjectSize());
  std::mt19937 again(seed + 1);
  const std::string filled = FillAtRandom(again, from.get());
  again.seed(seed + 1);
  ASSERT_EQ(FillAtRandom(again, to.get()), filled);
  ASSERT_EQ(Shown(to.get()), filled);
}

// KIV_STRUCT_SEEDS and KIV_STRUCT_FIRST as for the properties of structs.
TEST_F(SchemaExport, EveryStructTypeComesBackEqual) {
  const unsigned first = FromEnvironment("KIV_STRUCT_FIRST", 0);
  const unsigned seeds = FromEnvironment("KIV_STRUCT_SEEDS", 3000);
  for (unsigned seed = first; seed - first < seeds; ++seed) {
    ExpectComesBack(seed);
    if (HasFailure()) FAIL() << "seed " << seed;
  }
}

}  // namespace
}  // namespace dm
