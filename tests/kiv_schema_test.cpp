// kiv schema as users run it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "port/test_folder.h"
#include "testing/running_program.h"

namespace kiv::testing {
namespace {

using Words = std::vector<std::string>;

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

class KivSchema : public ::testing::Test {
 protected:
  KivSchema() {
    WriteTestFile("types.xsd", kTypes);
    WriteTestFile("faulty.xsd", kFaulty);
  }

  struct Answer {
    int code;
    std::string output;
    std::string errors;
  };
  static Answer Run(Words arguments) {
    arguments.insert(arguments.begin(), "schema");
    RunningProgram kiv(KIV_PROGRAM, arguments, {.variables = {"NO_COLOR=1"}});
    const int code = kiv.WaitForEnd();
    return {code, kiv.Output(), kiv.Errors()};
  }

  const TestFolder folder_;
};

TEST_F(KivSchema, ChecksFilesAndLeavesNoLogBehind) {
  const Answer good = Run({"check", "types.xsd"});
  EXPECT_EQ(good.code, 0) << good.errors;
  EXPECT_EQ(good.output,
            "types.xsd:2: declared: complexType " VEHICLE
            ": record of 2 fields, 65 bytes\n"
            "types.xsd:4: declared: complexType Weighing: record of 3 fields, "
            "119 bytes\n"
            "types.xsd:4: declared: element weighing: record of 3 fields, 119 "
            "bytes\n");
  const Answer bad = Run({"check", "./faulty.xsd", "missing.xsd"});
  EXPECT_EQ(bad.code, 1);
  EXPECT_EQ(bad.output,
            "./faulty.xsd:1: declared: complexType Good: record of 1 field, 40 "
            "bytes\n"
            "./faulty.xsd:2: refused: complexType Bad: a field without a name: "
            "it has the attribute \"ref\", which is not supported\n"
            "missing.xsd: fault: No such file or directory\n");
  EXPECT_FALSE(std::filesystem::exists("Logfiles"));
}

TEST_F(KivSchema, ListsTheLayoutOfRecords) {
  const Answer one = Run({"list", "types.xsd", "--type", "weighing"});
  EXPECT_EQ(one.code, 0) << one.errors;
  EXPECT_EQ(one.output,
            "offset  size  name       type\n"
            "         119  weighing   Weighing\n"
            "     0    12    ticket   System.Int32\n"
            "    12    65    vehicle  " VEHICLE
            "\n"
            "    77    26    place    record\n"
            "     0    10      gate   System.Int16\n");
  const Answer all = Run({"list", "types.xsd"});
  EXPECT_EQ(all.code, 0);
  EXPECT_NE(all.output.find("dateTime"), std::string::npos);
  // Once, though the record has two names.
  EXPECT_EQ(all.output.find("ticket"), all.output.rfind("ticket"));
  EXPECT_NE(Run({"list", "--help"}).output.find("inner record"),
            std::string::npos);
  EXPECT_EQ(Run({"list"}).code, 0);
  EXPECT_EQ(Run({"list", "types.xsd", "--type", "x"}).code, 1);
  EXPECT_EQ(Run({"list", "faulty.xsd"}).code, 1);
}

TEST_F(KivSchema, ExportsATypeThatCanBeDeclaredAgain) {
  const Answer shown = Run({"export", VEHICLE, "types.xsd"});
  EXPECT_EQ(shown.code, 0) << shown.errors;
  EXPECT_NE(shown.output.find("id=\"" VEHICLE_GB "\""), std::string::npos)
      << shown.output;
  const Answer written =
      Run({"export", "Weighing", "types.xsd", "--output", "out.xsd"});
  EXPECT_EQ(written.code, 0) << written.errors;
  EXPECT_EQ(written.output, "");
  EXPECT_EQ(Run({"check", "out.xsd"}).output,
            "out.xsd:1: declared: element Weighing: record of 3 fields, 119 "
            "bytes\n");
}

TEST_F(KivSchema, ExportLeavesTheOldFileToItsReaders) {
  std::ofstream("out.xsd") << "old";
  std::ifstream reader("out.xsd");
  EXPECT_EQ(Run({"export", "Weighing", "types.xsd", "-o", "out.xsd"}).code, 0);
  std::string text;
  std::getline(reader, text);
  EXPECT_EQ(text, "old");
  EXPECT_EQ(Run({"check", "out.xsd"}).code, 0);
  for (const auto& entry : std::filesystem::directory_iterator("."))
    EXPECT_FALSE(entry.path().filename().string().starts_with(".kiv-"));
}

TEST_F(KivSchema, SaysWhyATypeCannotBeExported) {
  const Answer guid = Run({"export", "Good", "faulty.xsd"});
  EXPECT_EQ(guid.code, 1);
  EXPECT_EQ(guid.output, "");
  EXPECT_NE(guid.errors.find("'System.Guid'"), std::string::npos)
      << guid.errors;
  EXPECT_EQ(Run({"export", "Nothing", "types.xsd"}).code, 1);
  EXPECT_EQ(Run({"export", "int", "types.xsd"}).code, 1);
  // A face: no name that the library's paths can say.
  EXPECT_EQ(
      Run({"export", "Weighing", "types.xsd", "-o", "\xF0\x9F\x98\x80"}).code,
      1);
  EXPECT_FALSE(std::filesystem::exists("?"));
  const Answer unwritten =
      Run({"export", "Weighing", "types.xsd", "-o", "no/out.xsd"});
  EXPECT_EQ(unwritten.code, 1);
  EXPECT_NE(unwritten.errors.find("No such file"), std::string::npos)
      << unwritten.errors;
}

TEST_F(KivSchema, WrongUsageIsTwo) {
  for (const Words& arguments :
       {Words{}, Words{"check"}, Words{"export", "Weighing"}, Words{"import"},
        Words{"list", "--loud"}}) {
    const Answer answer = Run(arguments);
    EXPECT_EQ(answer.code, 2);
    EXPECT_NE(answer.errors, "");
  }
}

}  // namespace
}  // namespace kiv::testing
