// A log of a program's own: a folder, a layout, and entries of every kind.
//
// The layout puts a counter in front of every entry. The program reads the file
// back and exits with 1 when it does not hold what was written.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <stdexcept>
#include <string>

#include "kiv/log.h"
#include "kiv/startup.h"

namespace {

class CountingLog : public kiv::Log {
 protected:
  // One file for all days.
  void BuildFilename(std::string& name) const override { name = "scales.txt"; }

  // Runs under the log's lock: the counter needs none of its own.
  void BuildOutput(const char* message, const char* source,
                   const char* category, bool /*time_only*/,
                   std::ostream& out) override {
    out << ++entries_ << " [" << category << "] " << source << ": " << message
        << "\r\n";
  }

 private:
  int entries_ = 0;
};

constexpr char kExpected[] =
    "1 [information] scales: ready\r\n"
    "2 [information] scales: \xB3\xD3\r\n"  // 秤
    "3 [error] scales: line 4 C++ \xD2\xEC\xB3\xA3\xA3\xBAno weight\r\n"
    "4 [error] scales: refused 'x\\r\\n9 [information] scales: fake'\r\n";

std::string Contents(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

int main() {
  kiv::GlobalInit();
  const auto folder =
      std::filesystem::temp_directory_path() / "kiv_example_log_entries";
  std::filesystem::remove_all(folder);
  {
    CountingLog log;
    if (!log.Open(kiv::FileSystemPath(folder.string()), true)) return 1;
    const kiv::FileSystemPath none;  // the log is open: entries name no folder
    log.Output("ready", "scales", "information", none, true);
    log.Output(u"\u79E4", u"scales", u"information", none, true);
    log.Output("line 4", std::runtime_error("no weight"), "scales", "error",
               none, true);
    // Foreign text cannot fake an entry.
    log.Output("refused 'x\r\n9 [information] scales: fake'", "scales", "error",
               none, true);
  }  // written at the latest here
  const std::string contents = Contents(folder / "scales.txt");
  std::fputs(contents.c_str(), stdout);
  std::filesystem::remove_all(folder);
  kiv::GlobalUninit();
  return contents == kExpected ? 0 : 1;
}
