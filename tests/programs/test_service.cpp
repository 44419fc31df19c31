// A service as a program of its own: what it does is told by a file "journal"
// in its working folder, and how it misbehaves by files beside it.
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "kiv/nt_service.h"
#include "kiv/startup.h"

namespace {

bool IsThere(const char* name) { return std::filesystem::exists(name); }

void Write(const char* line) {
  std::ofstream("journal", std::ios::app) << line << '\n';
}

class TestService final : public kiv::NTService {
 public:
  TestService() : NTService("kiv-test service", "A service of the tests") {}

 private:
  bool OnStart() override {
    Write("start");
    return !IsThere("refuses");
  }
  void OnRun() override {
    ShowStatus("at work");
    kiv::Log::Instance().Output("at work", "test", "", kiv::FileSystemPath(),
                                true);
    while (!WaitForStop(20)) {
      if (IsThere("hangs")) ::sleep(60);
      if (IsThere("ends")) RequestStop();
    }
    Write("stop");
  }
  bool OnStop() override { return !IsThere("lingers"); }
};

}  // namespace

int main(int argc, char** argv) {
  kiv::GlobalInit();
  TestService service;
  int exit_code = 0;
  {
    // Behind the program's own words: the folder to work in.
    if (argc > 1 && std::filesystem::is_directory(argv[1])) {
      service.SetFolder(
          kiv::FileSystemPath(argv[1], kiv::FileSystemPath::native));
      service.SetArguments({argv[1]});
      --argc;
      ++argv;
    }
    exit_code = service.Main(argc, argv);
  }
  kiv::GlobalUninit();
  return exit_code;
}
