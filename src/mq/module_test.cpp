#include "kiv/module/module.h"

#include <gtest/gtest.h>

#include <string>

#include "testing/service_folder.h"
#include "testing/test_processor.h"
#include "util/runtime.h"

namespace kiv::module {
namespace {

class ProcessorModule : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { StartValues(); }
  static void TearDownTestSuite() { StopValues(); }

  const testing::ServiceFolder service_;
  testing::TestProcessor processor_{"../lib/libparse.so"};
};

TEST_F(ProcessorModule, CallsTheFunctionAsLongAsOneModuleLives) {
  auto first = Module::create("dll://../lib/parse.dll:Record");
  const auto parse = Module::create("dll://..\\Lib\\Parse:Record:ignored");
  ASSERT_TRUE(first != nullptr && parse != nullptr) << service_.log.Text();
  first.reset();
  int given = 0;
  void* seen = nullptr;
  processor_.answer = [&seen](std::string_view message, void* context) {
    seen = context;
    return message.size() == 3;
  };
  EXPECT_TRUE(parse->process_mem("a\0b", 3, &given));
  EXPECT_EQ(seen, &given);
  EXPECT_FALSE(parse->process_mem("ab", 2, nullptr));
  EXPECT_EQ(processor_.Messages(),
            (std::vector<std::string>{{"a\0b", 3}, "ab"}));
}

TEST_F(ProcessorModule, IsNotMadeOfABadDescription) {
  for (const char* const text :
       {static_cast<const char*>(nullptr), "", "../lib/parse:Record", "dll://"})
    EXPECT_EQ(Module::create(text), nullptr);
  EXPECT_EQ(service_.log.Text(), "");
  // 无效的格式。, 不允许为空。 and 文件没找到。
  for (const auto& [text, message] :
       {std::pair("DLL://../lib/parse:Record",
                  "'DLL://../lib/parse:Record' "
                  "\xCE\xDE\xD0\xA7\xB5\xC4\xB8\xF1\xCA\xBD\xA1\xA3"),
        {"dll://../lib/parse",
         " func \xB2\xBB\xD4\xCA\xD0\xED\xCE\xAA\xBF\xD5\xA1\xA3"},
        {"dll://../conf:Record",
         " '../CONF.DLL' \xCE\xC4\xBC\xFE\xC3\xBB\xD5\xD2\xB5\xBD\xA1\xA3"}}) {
    EXPECT_EQ(Module::create(text), nullptr) << text;
    EXPECT_TRUE(service_.log.Has(
        std::string("[\xB4\xED\xCE\xF3] module: Module::create Failed, ") +
        message + "\r\n"))
        << service_.log.Text();
  }
}

}  // namespace
}  // namespace kiv::module
