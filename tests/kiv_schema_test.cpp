// kiv schema as users run it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "kiv_session.h"

namespace kiv::testing {
namespace {

// 车辆 in UTF-8 and in GB2312.
#define VEHICLE "\xE8\xBD\xA6\xE8\xBE\x86"
#define VEHICLE_GB "\xB3\xB5\xC1\xBE"

constexpr char kTypes[] =
    "<?xml version='1.0' encoding='UTF-8'?>\n"
    "<s><complexType name='" VEHICLE
    "'><sequence>\n"
    "<element name='plate' type='string'/><element name='axles' type='byte'/>"
    "</sequence></complexType>\n"
    "<complexType name='Weighing'><sequence>"
    "<element name='ticket' type='int'/>"
    "<element name='vehicle' type='" VEHICLE
    "'/>"
    "<element name='place'><complexType><sequence>"
    "<element name='gate' type='short'/>"
    "</sequence></complexType></element></sequence></complexType>"
    "<element name='weighing' type='Weighing'/></s>";
constexpr char kFaulty[] =
    "<s><complexType name='Good'><sequence>"
    "<element name='id' type='System.Guid'/></sequence></complexType>\n"
    "<complexType name='Bad'><sequence><element ref='x'/></sequence>"
    "</complexType></s>";

class KivSchema : public KivSession<> {
 protected:
  KivSchema() : KivSession("schema") {
    WriteTestFile("types.xsd", kTypes);
    WriteTestFile("faulty.xsd", kFaulty);
  }

  const TestFolder folder_;
};

TEST_F(KivSchema, ChecksFilesAndLeavesNoLogBehind) {
  Expect({{"check types.xsd ./faulty.xsd missing.xsd",
           "1: types.xsd:2: declared: complexType " VEHICLE
           ": record of 2 fields, 65 bytes\n*\n"
           "./faulty.xsd:2: refused: complexType Bad: *\"ref\", which is not "
           "supported\nmissing.xsd: fault: No such file or directory\n"}});
  EXPECT_FALSE(std::filesystem::exists("Logfiles"));
}

TEST_F(KivSchema, ListsTheLayoutOfRecords) {
  Expect({{"list types.xsd --type weighing",
           "offset  size  name       type\n"
           "         119  weighing   Weighing\n"
           "     0    12    ticket   System.Int32\n"
           "    12    65    vehicle  " VEHICLE "\n"
           "    77    26    place    record\n"
           "     0    10      gate   System.Int16\n"},
          {"list types.xsd --type x", "1: ! *no type is named x;*"},
          {"list types.xsd", "*dateTime*"}});
  // Once, though the record has two names.
  EXPECT_EQ(output_.find("ticket"), output_.rfind("ticket"));
}

TEST_F(KivSchema, ExportsATypeThatCanBeDeclaredAgain) {
  // The old file is its readers'.
  WriteTestFile("out.xsd", "old");
  std::ifstream reader("out.xsd");
  Expect(
      {{"export " VEHICLE " types.xsd", "*id=\"" VEHICLE_GB "\"*"},
       {"export Weighing types.xsd --output out.xsd", ""},
       {"check out.xsd", "*element Weighing: record of 3 fields, 119 bytes\n"},
       {"export Good faulty.xsd", "1: ! *'System.Guid'*"},
       {"export int types.xsd", "1: ! kiv schema export: int is not *"},
       // A face: no name that the library's paths can say.
       {"export Weighing types.xsd -o \xF0\x9F\x98\x80", "1: ! *GB2312*"},
       {"export Weighing types.xsd -o no/x", "1: ! *No such file*"}});
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), "old");
  EXPECT_FALSE(std::filesystem::exists("?"));
  EXPECT_EQ(Shell("ls -A | grep ^[.]kiv-"), 1) << output_;
}

}  // namespace
}  // namespace kiv::testing
