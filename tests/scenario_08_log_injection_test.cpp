// Foreign text in a message cannot fake an entry or reach a terminal: one call
// gives one line, whatever is in it.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "gmock/gmock.h"
#include "util/log_test_fixture.h"

namespace kiv {
namespace {

class Scenario08Log : public LogTest {};

TEST_F(Scenario08Log, GivesExactlyOneLineACall) {
  Log log;
  log.Open(Folder(), true);
  const FileSystemPath none;
  // The lead byte of a character in front of the line break, too.
  const char* const text = "x\r\n00:00:00 [c] s: fake\x1B[2J\xB4\n\xFF";
  log.Output(text, "s", "c", none, true);
  log.Output("m", text, text, none, true);
  log.Output("m", std::runtime_error(text), "s", "c", none, true);
  log.Output("m", _com_error(1, {u"s\r\n", u"d\x1B"}), "", "", none, true);
  log.Output(u"a\r\nb\x1B", u"s\t", u"c\n", none, true);
  log.OutputUTF8("a\r\nb\x1B", "s\t", "c\n", none, true);
  log.Close();
  const std::string shown = "x\\r\\n00:00:00 [c] s: fake\\x1B[2J\\xB4\\n\\xFF";
  EXPECT_THAT(
      Lines(In(kDay)),
      testing::ElementsAre(
          "12:00:00 [c] s: " + shown,
          "12:00:00 [" + shown + "] " + shown + ": m",
          // C++ 异常：
          "12:00:00 [c] s: m C++ \xD2\xEC\xB3\xA3\xA3\xBA" + shown,
          "12:00:00 m 1 s\\r\\n d\\x1B", "12:00:00 [c\\n] s\\t: a\\r\\nb\\x1B",
          "12:00:00 [c\\n] s\\t: a\\r\\nb\\x1B"));
}

}  // namespace
}  // namespace kiv
