#include "xml/element_lines.h"

#include "xml/xml_testing.h"

namespace kiv {
namespace {

using ElementLines = XmlTest;

// A path that begins with "." and cannot be resolved is not read as it stands.
TEST_F(ElementLines, AreReadOfThePathsThatTheParserTakes) {
  for (const char* const file : {"document.xml", ".hidden"})
    WriteTestFile(file, "<a>\n<b\n/></a>");
  const struct {
    const char* path;
    bool is_taken;
  } rows[] = {{"document.xml", true},    {"./document.xml", true},
              {".\\document.xml", true}, {".hidden", false},
              {"missing.xml", false},    {"", false}};
  for (const auto& row : rows) {
    EXPECT_EQ(parser_.parseURI(row.path, document_), row.is_taken) << row.path;
    EXPECT_EQ(ReadElementLines(row.path).size(), row.is_taken ? 2u : 0u)
        << row.path;
  }
  EXPECT_EQ(ReadElementLines("./document.xml"), (std::vector<unsigned>{1, 3}));
}

}  // namespace
}  // namespace kiv
