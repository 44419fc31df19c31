// Processors that cannot be loaded, must not be loaded, or fail.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "kiv/module/dll_file_module.h"
#include "kiv/startup.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"

namespace kiv {
namespace {

using module::Module;

// [错误] module: DllFileModule 构造函数无法装载 '
constexpr char kNotLoaded[] =
    "[\xB4\xED\xCE\xF3] module: DllFileModule "
    "\xB9\xB9\xD4\xEC\xBA\xAF\xCA\xFD\xCE\xDE\xB7\xA8\xD7\xB0\xD4\xD8 "
    "'..\\LIB\\";
// 在执行客户代码时遇到异常
constexpr char kThrew[] =
    "DllFileModule::process_mem \xD4\xDA\xD6\xB4\xD0\xD0\xBF\xCD\xBB\xA7\xB4"
    "\xFA\xC2\xEB\xCA\xB1\xD3\xF6\xB5\xBD\xD2\xEC\xB3\xA3";

class Scenario16Module : public ::testing::Test {
 protected:
  Scenario16Module() { GlobalInit(); }
  ~Scenario16Module() override { GlobalUninit(); }

  // A module that is made but does nothing, and why.
  void ExpectDead(const std::string& description, const std::string& reason) {
    const auto made = Module::create(("dll://../lib/" + description).c_str());
    ASSERT_NE(made, nullptr) << service_.log.Text();
    EXPECT_FALSE(made->process_mem("x", 1, nullptr));
    EXPECT_TRUE(service_.log.Has(kNotLoaded + reason)) << service_.log.Text();
  }
  static void WriteLibrary(const char* file, const std::string& bytes) {
    WriteTestFile(file, bytes);
    ::chmod(file, 0700);
  }

  const testing::ServiceFolder service_;
  testing::TestProcessor processor_{"../lib/p.so"};
};

TEST_F(Scenario16Module, ThatCannotBeUsedSaysWhy) {
  EXPECT_EQ(Module::create("dll://../lib/q:Record"), nullptr);
  EXPECT_TRUE(
      service_.log.Has("module: Module::create Failed,  "
                       "'../LIB/Q.DLL'"));
  const std::string library = ReadTestFile(KIV_TEST_PROCESSOR);
  const std::string arm("\xB7\0", 2);
  WriteLibrary("../lib/arm.so", std::string(library).replace(18, 2, arm));
  ExpectDead("arm:Record",
             "ARM.DLL': the library is built for another machine");
  WriteLibrary("../lib/half.so", library.substr(0, 2000));
  ExpectDead("half:Record", "HALF.DLL': the file is broken off");
  // 文件中的 and 函数, then the loader's words.
  ExpectDead("p:record",
             "P.DLL' \xCE\xC4\xBC\xFE\xD6\xD0\xB5\xC4 "
             "'record'\xBA\xAF\xCA\xFD: ");
  EXPECT_TRUE(service_.log.Has("undefined symbol: record"));
}

TEST_F(Scenario16Module, InAFolderThatAnybodyMayWriteIsRefused) {
  ASSERT_EQ(::chmod("../lib", 01777), 0);
  ExpectDead("p:Record", "P.DLL': refused, since '" +
                             (service_.path() / "lib").string() +
                             "' may be written by everybody");
  EXPECT_TRUE(service_.log.Has("KIV_MODULE_TRUST=any"));
  EXPECT_TRUE(processor_.Messages().empty());
}

TEST_F(Scenario16Module, ThatThrowsFailsTheMessageAndNothingElse) {
  for (const char* const function : {"p:Throw", "p:ThrowNumber"}) {
    const auto made =
        Module::create((std::string("dll://../lib/") + function).c_str());
    ASSERT_NE(made, nullptr);
    for (int i = 0; i < 2; ++i)
      EXPECT_FALSE(made->process_mem("x", 1, nullptr));
  }
  EXPECT_EQ(service_.log.Count(std::string(kThrew) + ": out of paper\r\n"), 2);
  EXPECT_EQ(service_.log.Count(std::string(kThrew) + "\r\n"), 2);
}

}  // namespace
}  // namespace kiv
