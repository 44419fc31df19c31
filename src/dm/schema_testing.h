#ifndef DM_SCHEMA_TESTING_H_
#define DM_SCHEMA_TESTING_H_

#include <sstream>
#include <string>

#include "dm/data_test_fixture.h"
#include "dm/schema.h"
#include "xml/xml_testing.h"

namespace dm {

// A data model and an XML platform that are started, and a log of their own.
class SchemaTest : public kiv::XmlTest {
 protected:
  void SetUp() override { ASSERT_TRUE(kiv::StartData()); }
  void TearDown() override { kiv::StopData(); }

  // What stands inside a schema, in GB2312.
  static std::string SchemaText(const std::string& declarations) {
    return "<?xml version='1.0' encoding='GB2312'?>"
           "<xsd:schema xmlns:xsd='http://www.w3.org/2001/XMLSchema'>" +
           declarations + "</xsd:schema>";
  }

  static bool Declare(const std::string& declarations, bool replace = false) {
    const std::string text = SchemaText(declarations);
    return dm_o_declare_from_mem(
        text.data(), static_cast<unsigned>(text.size()), 0, replace);
  }

  static StructPtr BuildFrom(const std::string& text) {
    return StructPtr::Take(dm_o_struct_metadata_from_mem(
        text.data(), static_cast<unsigned>(text.size()), 0));
  }

  // The entries of the log without their time stamps.
  static std::string Logged() {
    std::string text;
    std::istringstream log(LogText());
    for (std::string line; std::getline(log, line);) {
      if (line.ends_with('\r')) line.pop_back();
      text += line.substr(line.find(" [") + 1) + '\n';
    }
    return text;
  }
};

inline std::string Exported(const void* metadata) {
  const Any text = Any::Take(dm_o_metadata_to_xsd(metadata, 0));
  return text ? TextOf(text.get()) : "(none)";
}

// "[错误] Object: "
inline constexpr char kObjectError[] = "[\xB4\xED\xCE\xF3] Object: ";

}  // namespace dm

#endif  // DM_SCHEMA_TESTING_H_
