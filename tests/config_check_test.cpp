// What kiv check-config tells of a queue file, on real libraries and lines.
#include "kiv/mq/config_check.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "kiv/startup.h"
#include "kiv/strings.h"
#include "port/serial_port.h"
#include "testing/pseudo_terminal.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"

namespace kiv::testing {
namespace {

using mq::ConfigFinding;
using Severity = mq::ConfigFinding::Severity;

class ConfigCheck : public ::testing::Test {
 protected:
  ConfigCheck() { GlobalInit(); }
  ~ConfigCheck() override { GlobalUninit(); }

  std::vector<ConfigFinding> CheckFile(const std::string& text) {
    service_.WriteQueueFile(text);
    return mq::CheckConfig(
        FileSystemPath("../conf/queue.xml", FileSystemPath::native));
  }
  std::vector<ConfigFinding> CheckQueue(const std::string& attributes,
                                        const std::string& inside = "") {
    return CheckFile("<s><queues><q " + attributes + ">" + inside +
                     "</q></queues></s>");
  }
  // A serial line and a processor that are there.
  std::string Good() const {
    return "type='com' processor='dll://../lib/worker:Record' name='" +
           line_.Device() + "'";
  }

  ServiceFolder service_;
  const PseudoTerminal line_;
  const TestProcessor processor_{"../lib/libworker.so"};
};

bool Has(const std::vector<ConfigFinding>& findings, Severity severity,
         const std::string& part) {
  for (const ConfigFinding& finding : findings) {
    if (finding.severity == severity &&
        finding.text.find(part) != std::string::npos)
      return true;
  }
  return false;
}

TEST_F(ConfigCheck, FindsNothingAgainstAQueueThatWorksUnlessItsPortIsInUse) {
  const auto findings = CheckQueue(Good());
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_EQ(findings[0].severity, Severity::Good);
  EXPECT_EQ(findings[0].queue, line_.Device());
  std::string reason;
  const auto held = port::SerialPort::Open(line_.Device(), reason);
  ASSERT_NE(held, nullptr) << reason;
  EXPECT_TRUE(Has(CheckQueue(Good()), Severity::Fault, "in use"));
}

TEST_F(ConfigCheck, NamesTheLineOfEveryQueue) {
  const auto findings = CheckFile(
      "<s>\n<other><deep/></other>\n<queues>\n"
      "<q type='x' name='a'><duration><r from='1' to='2'/></duration></q>\n"
      "\n"
      "<q type='y'\n name='b'/>\n"
      "</queues>\n</s>");
  ASSERT_EQ(findings.size(), 2u);
  EXPECT_EQ(findings[0].queue, "a");
  EXPECT_EQ(findings[0].line, 4u);
  EXPECT_EQ(findings[1].queue, "b");
  EXPECT_EQ(findings[1].line, 7u);  // where its tag ends
}

struct FaultCase {
  const char* name;
  const char* attributes;  // GOOD stands for those of a queue that works
  const char* part;        // of the finding's text
  const char* inside = "";
  Severity severity = Severity::Fault;
};

class ConfigCheckFinds : public ConfigCheck,
                         public ::testing::WithParamInterface<FaultCase> {};

TEST_P(ConfigCheckFinds, TheFault) {
  const FaultCase& fault = GetParam();
  std::string attributes = fault.attributes;
  string_replace(attributes, "GOOD", Good().c_str());
  const auto findings = CheckQueue(attributes, fault.inside);
  EXPECT_TRUE(Has(findings, fault.severity, fault.part));
  EXPECT_EQ(Has(findings, Severity::Good, ""),
            fault.severity == Severity::Warning);
}

#define COM1 "type='com' name='COM1' "
#define MSMQ "type='msmq' name='a' "
INSTANTIATE_TEST_SUITE_P(
    Queue, ConfigCheckFinds,
    ::testing::Values(
        FaultCase{"NoType", "name='a'", "no \"type\""},
        FaultCase{"UpperCaseType", "type='COM' name='a'",
                  "unknown type \"COM\""},
        FaultCase{"EmptyName",
                  "type='com' name='' processor='dll://../lib/worker:Record'",
                  "no \"name\""},
        FaultCase{"TextForTimes", "GOOD", "holds \"08:00-18:30\"",
                  "<duration> 08:00-18:30 </duration>"},
        FaultCase{"NoReader", MSMQ "processor='x'", "no \"reader\""},
        FaultCase{"UnknownReader", MSMQ "reader='Serial'",
                  "unknown reader \"Serial\""},
        FaultCase{"NeverRead", MSMQ "reader='serial'", "has no \"duration\""},
        FaultCase{"OnlyBadRanges", MSMQ "reader='serial'",
                  "holds no time range",
                  "<duration><r from='25:00:00' to='26:00:00'/></duration>"},
        FaultCase{"NoProcessor", COM1, "no \"processor\""},
        FaultCase{"ForeignProtocol", COM1 "processor='DLL://x:y'",
                  "is not understood"},
        FaultCase{"NoFunction", COM1 "processor='dll://x'",
                  "names no function"},
        FaultCase{"NoLibrary", COM1 "processor='dll://x:y'", "is not there"},
        FaultCase{"NoSuchFunction",
                  COM1 "processor='dll://../lib/worker:Missing'",
                  "no function \"Missing\""},
        FaultCase{"NoPort", "type='com' name='COMx' processor='dll://x:y'",
                  "is no port"},
        FaultCase{"PortMissing",
                  "type='com' name='/nowhere/tty' processor='dll://x:y'",
                  "/nowhere/tty"},
        FaultCase{"CutTime", "GOOD", "read as \"18:30:0\"",
                  "<duration><r from='8:00:00' to='18:30:00'/></duration>",
                  Severity::Warning},
        FaultCase{"BackwardTime", "GOOD", "backwards",
                  "<duration><r from='22:00:00' to='06:00:00'/></duration>",
                  Severity::Warning},
        FaultCase{"WrongCase", "GOOD baudrate='9600'", "write \"BaudRate\"", "",
                  Severity::Warning},
        FaultCase{"WrongCaseInside", "GOOD Baudrate='9600'",
                  "write \"BaudRate\"", "", Severity::Warning},
        FaultCase{"RefusedSetting", "GOOD DataLength='9'", "DataLength 9", "",
                  Severity::Warning}),
    [](const auto& row) { return row.param.name; });

// Links and variables are names of a port as good as its node.
TEST_F(ConfigCheck, FindsTwoQueuesOnOnePortUnderWhateverNames) {
  LinkTo("../gate", line_.Device());
  ::setenv("KIV_COM77", "../gate", 1);
  const auto queue = [](const std::string& name) {
    return "<q type='com' processor='dll://../lib/worker:Record' name='" +
           name + "'/>\n";
  };
  const auto gate = service_.path() / "gate";
  const PseudoTerminal other;
  const auto findings =
      CheckFile("<s><queues>\n" + queue(line_.Device()) + queue("COM77") +
                queue(other.Device()) + queue(gate.string()) +
                queue("/nowhere/a") + queue("/nowhere/b") + "</queues></s>");
  ::unsetenv("KIV_COM77");
  std::vector<std::string> taken;
  for (const ConfigFinding& finding : findings)
    if (finding.text.starts_with("uses the same port as queue \"" +
                                 line_.Device() + "\" of line 2: "))
      taken.push_back(std::to_string(finding.line) + " " + finding.queue);
  EXPECT_EQ(taken, (std::vector<std::string>{"3 COM77", "5 " + gate.string()}));
  EXPECT_EQ(findings.size(), 6u);
}

TEST_F(ConfigCheck, SaysWhatIsWrongWithTheFile) {
  EXPECT_TRUE(Has(mq::CheckConfig(FileSystemPath("../conf/none.xml",
                                                 FileSystemPath::native)),
                  Severity::Fault, "not there"));
  EXPECT_TRUE(Has(CheckFile("<s/>"), Severity::Fault, "no element \"queues\""));
  EXPECT_TRUE(Has(CheckFile("<s><queues/></s>"), Severity::Fault, "empty"));
  const auto broken = CheckFile("<s>\n<queues></s>");
  ASSERT_EQ(broken.size(), 1u);
  EXPECT_EQ(broken[0].severity, Severity::Fault);
  EXPECT_EQ(broken[0].line, 2u);
  EXPECT_NE(broken[0].text.find("column 1"), std::string::npos)
      << broken[0].text;
}

}  // namespace
}  // namespace kiv::testing
