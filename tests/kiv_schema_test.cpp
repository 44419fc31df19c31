// kiv schema as users run it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "port/test_folder.h"
#include "testing/kiv_command.h"

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

class KivSchema : public KivCommand<> {
 protected:
  KivSchema() : KivCommand("schema") {
    WriteTestFile("types.xsd", kTypes);
    WriteTestFile("faulty.xsd", kFaulty);
  }

  const TestFolder folder_;
};

TEST_F(KivSchema, ChecksFilesAndLeavesNoLogBehind) {
  EXPECT_EQ(Run({"check", "types.xsd"}), 0) << errors_;
  EXPECT_EQ(output_,
            "types.xsd:2: declared: complexType " VEHICLE
            ": record of 2 fields, 65 bytes\n"
            "types.xsd:4: declared: complexType Weighing: record of 3 fields, "
            "119 bytes\n"
            "types.xsd:4: declared: element weighing: record of 3 fields, 119 "
            "bytes\n");
  EXPECT_EQ(Run({"check", "./faulty.xsd", "missing.xsd"}), 1);
  EXPECT_EQ(output_,
            "./faulty.xsd:1: declared: complexType Good: record of 1 field, 40 "
            "bytes\n"
            "./faulty.xsd:2: refused: complexType Bad: a field without a name: "
            "it has the attribute \"ref\", which is not supported\n"
            "missing.xsd: fault: No such file or directory\n");
  EXPECT_FALSE(std::filesystem::exists("Logfiles"));
}

TEST_F(KivSchema, ListsTheLayoutOfRecords) {
  EXPECT_EQ(Run({"list", "types.xsd", "--type", "weighing"}), 0) << errors_;
  EXPECT_EQ(output_,
            "offset  size  name       type\n"
            "         119  weighing   Weighing\n"
            "     0    12    ticket   System.Int32\n"
            "    12    65    vehicle  " VEHICLE
            "\n"
            "    77    26    place    record\n"
            "     0    10      gate   System.Int16\n");
  EXPECT_EQ(Run({"list", "types.xsd"}), 0);
  EXPECT_TRUE(Shows("dateTime"));
  // Once, though the record has two names.
  EXPECT_EQ(output_.find("ticket"), output_.rfind("ticket"));
  EXPECT_EQ(Run({"list", "--help"}), 0);
  EXPECT_TRUE(Shows("inner record"));
  EXPECT_EQ(Run({"list"}), 0);
  EXPECT_EQ(Run({"list", "types.xsd", "--type", "x"}), 1);
  EXPECT_EQ(Run({"list", "faulty.xsd"}), 1);
}

TEST_F(KivSchema, ExportsATypeThatCanBeDeclaredAgain) {
  EXPECT_EQ(Run({"export", VEHICLE, "types.xsd"}), 0) << errors_;
  EXPECT_TRUE(Shows("id=\"" VEHICLE_GB "\"")) << output_;
  // The old file is its readers'.
  std::ofstream("out.xsd") << "old";
  std::ifstream reader("out.xsd");
  EXPECT_EQ(Run({"export", "Weighing", "types.xsd", "--output", "out.xsd"}), 0)
      << errors_;
  EXPECT_EQ(output_, "");
  std::string text;
  std::getline(reader, text);
  EXPECT_EQ(text, "old");
  EXPECT_EQ(Run({"check", "out.xsd"}), 0);
  EXPECT_EQ(output_,
            "out.xsd:1: declared: element Weighing: record of 3 fields, 119 "
            "bytes\n");
  for (const auto& entry : std::filesystem::directory_iterator("."))
    EXPECT_FALSE(entry.path().filename().string().starts_with(".kiv-"));
}

TEST_F(KivSchema, SaysWhyATypeCannotBeExported) {
  EXPECT_TRUE(Fails({"export", "Good", "faulty.xsd"}, "'System.Guid'"))
      << errors_;
  EXPECT_EQ(output_, "");
  EXPECT_EQ(Run({"export", "Nothing", "types.xsd"}), 1);
  EXPECT_EQ(Run({"export", "int", "types.xsd"}), 1);
  // A face: no name that the library's paths can say.
  EXPECT_EQ(Run({"export", "Weighing", "types.xsd", "-o", "\xF0\x9F\x98\x80"}),
            1);
  EXPECT_FALSE(std::filesystem::exists("?"));
  EXPECT_TRUE(Fails({"export", "Weighing", "types.xsd", "-o", "no/out.xsd"},
                    "No such file"))
      << errors_;
}

TEST_F(KivSchema, WrongUsageIsTwo) {
  for (const Words& arguments :
       {Words{}, Words{"check"}, Words{"export", "Weighing"}, Words{"import"},
        Words{"list", "--loud"}}) {
    EXPECT_EQ(Run(arguments), 2);
    EXPECT_NE(errors_, "");
  }
}

}  // namespace
}  // namespace kiv::testing
