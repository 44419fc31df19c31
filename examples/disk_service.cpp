// A program that is a service: looks every minute how full the disk of its
// folder is, and logs when that is nearly full. Try it by hand, then install
// it:
//
//   disk_service -noservice        until Ctrl-C
//   disk_service -user -install
//   disk_service -user -start
#include <filesystem>
#include <string>

#include "kiv/log.h"
#include "kiv/nt_service.h"
#include "kiv/startup.h"

namespace {

class DiskWatch final : public kiv::NTService {
 public:
  DiskWatch() : NTService("disk-watch", "Says when the disk is nearly full") {}

 private:
  void OnRun() override {
    do {
      Look();
    } while (!WaitForStop(60'000));
  }

  void Look() {
    const auto space = std::filesystem::space(".");
    const auto percent = 100 - space.available * 100 / space.capacity;
    ShowStatus(std::to_string(percent) + " % used");
    if (percent < 95) return;
    kiv::Log::Instance().Output(
        ("the disk is " + std::to_string(percent) + " % full").c_str(),
        "disk-watch", "warning", kiv::FileSystemPath(), true);
    kiv::Log::Instance().LockedFlush();
  }
};

}  // namespace

int main(int argc, char** argv) {
  kiv::GlobalInit();
  const int exit_code = DiskWatch().Main(argc, argv);
  kiv::GlobalUninit();
  return exit_code;
}
