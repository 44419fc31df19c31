// Foreign text in a message cannot fake an entry or reach a terminal: one call
// gives one line, whatever is in it.
#include <stdexcept>
#include <string>

#include "gtest/gtest.h"
#include "kiv/encoding.h"
#include "util/log_entry.h"
#include "util/log_test_fixture.h"

namespace kiv {
namespace {

class Scenario08Log : public LogTest {
 protected:
  // The day's file after one call.
  template <typename Call>
  std::string After(Call&& call) {
    std::filesystem::remove(In(kDay));
    Log log;
    log.Open(Folder(), true);
    call(log);
    log.Close();
    return Text(In(kDay));
  }
};

TEST_F(Scenario08Log, GivesExactlyOneLine) {
  const struct {
    const char* name;
    std::string text;
    std::string shown;
  } cases[] = {
      {"FakeEntry", "x\r\n00:00:00 [c] s: fake", "x\\r\\n00:00:00 [c] s: fake"},
      {"TerminalSequence", "\x1B[2J\x1B]0;title\x07",
       "\\x1B[2J\\x1B]0;title\\x07"},
      {"LeadByteInFrontOfTheLineBreak", "x\xB4\r\n\xFE\n",
       "x\\xB4\\r\\n\\xFE\\n"},
      // 错, whose second half would pair with a byte put before it
      {"BrokenBeforeWhole", "\xFF\xB4\xED\x81", "\\xFF\xB4\xED\\x81"},
      {"BackspaceAndDelete", "ab\b\b\x7F", "ab\\x08\\x08\\x7F"}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.name);
    const char* const text = row.text.c_str();
    const std::string& shown = row.shown;
    const FileSystemPath none;
    EXPECT_EQ(After([&](Log& log) { log.Output(text, "s", "c", none, true); }),
              "12:00:00 [c] s: " + shown + "\r\n");
    EXPECT_EQ(After([&](Log& log) { log.Output("m", text, text, none, true); }),
              "12:00:00 [" + shown + "] " + shown + ": m\r\n");
    EXPECT_EQ(
        After([&](Log& log) {
          log.Output("m", std::runtime_error(text), "s", "c", none, true);
        }),
        // C++ 异常：
        "12:00:00 [c] s: m C++ \xD2\xEC\xB3\xA3\xA3\xBA" + shown + "\r\n");
    EXPECT_EQ(After([&](Log&) {
                Log::Instance().Open(Folder(), true);
                LogPlain("s", "value '" + Shown(text) + "'");
                Log::Instance().Close();
              }),
              "12:00:00 s: value '" + shown + "'\r\n");
  }
}

TEST_F(Scenario08Log, ShowsWideAndUtf8TextTheSame) {
  const FileSystemPath none;
  const std::string line = "12:00:00 [c\\n] s\\t: a\\r\\nb\\x1B\r\n";
  EXPECT_EQ(After([&](Log& log) {
              log.Output(u"a\r\nb\x1B", u"s\t", u"c\n", none, true);
            }),
            line);
  EXPECT_EQ(After([&](Log& log) {
              log.OutputUTF8("a\r\nb\x1B", "s\t", "c\n", none, true);
            }),
            line);
  EXPECT_EQ(After([&](Log& log) {
              log.Output("m", _com_error(1, {u"s\r\n", u"d\x1B"}), "", "", none,
                         true);
            }),
            "12:00:00 m 1 s\\r\\n d\\x1B\r\n");
}

}  // namespace
}  // namespace kiv
