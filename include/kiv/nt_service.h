#ifndef KIV_NT_SERVICE_H_
#define KIV_NT_SERVICE_H_

#include <memory>
#include <string>
#include <vector>

#include "kiv/export.h"
#include "kiv/file_system_path.h"
#include "kiv/log.h"

namespace kiv {

// A program that the system runs as a service, and that installs, removes,
// starts and stops itself from its command line. A program derives from it,
// overrides the three steps and ends with
//
//   int main(int argc, char** argv) {
//     kiv::GlobalInit();
//     const int exit_code = Weighbridge().Main(argc, argv);
//     kiv::GlobalUninit();
//     return exit_code;
//   }
//
// Here the system's service manager is systemd. Texts are in the local
// encoding; what is said to the user goes to the standard streams as UTF-8.
class KIV_API NTService {
 public:
  enum class Action {
    Run,        // as the service manager starts it, or by hand
    Install,    // write the unit and have it started with the system
    Uninstall,  // stop it and take the unit away
    Start,
    Stop,
    Debug,     // run in the foreground, the log on standard error as well
    NoService  // run in the foreground, saying nothing to a service manager
  };

  // Installed services are known by their names: "weighbridge" becomes the unit
  // weighbridge.service, with what a unit's name cannot hold written _NN.
  explicit NTService(const std::string& name,
                     const std::string& description = "");
  virtual ~NTService();
  NTService(const NTService&) = delete;
  NTService& operator=(const NTService&) = delete;

  const std::string& Name() const;

  // The working folder, bin/ beside conf/; the program file's when none is set.
  void SetFolder(const FileSystemPath& folder);
  // What the service manager starts the program with, beside its file.
  void SetArguments(const std::vector<std::string>& arguments);
  // Belongs to the user's own service manager rather than the machine's; for
  // everybody but root that is so anyway.
  void SetOfUser(bool is_of_user);

  // Reads "-install", "-uninstall", "-start", "-stop", "-debug", "-noservice"
  // and "-user" (SetOfUser), carries it out and gives the program's exit code:
  // 0 done, 1 failed, 2 wrong usage. Without a switch it runs.
  int Main(int argc, const char* const* argv);
  int Execute(Action action);
  // The switches that name an action, also as "--install" or "/install" and in
  // any case. False for other words.
  static bool ReadSwitch(const char* word, Action& action);

  // Any thread: OnRun is to return.
  void RequestStop();

 protected:
  // The service runs once this has given true, and whoever started it is told
  // so. In the working folder, as are the others, and on the thread of Main.
  virtual bool OnStart();
  // Returns when the service ends. Whatever it does, it calls WaitForStop again
  // and again; by default it does nothing else.
  virtual void OnRun();
  // Not called when OnStart failed. False makes the exit code 1.
  virtual bool OnStop();

  // Waits, and gives true when a stop was asked for: by the service manager,
  // SIGINT, SIGTERM, SIGHUP or RequestStop. For OnRun alone. Every call tells
  // the service manager that the service lives; one that falls silent for 30
  // seconds is killed and started again.
  bool WaitForStop(int timeout_ms);
  // What systemctl status shows beside the state.
  void ShowStatus(const std::string& text);
  // Below LogFiles/VornService/ of the working folder, one file a day: how the
  // service started and ended.
  Log& ServiceLog();

 private:
  struct Impl;

  int Run(Action action);
  bool RunSteps();

  std::unique_ptr<Impl> impl_;
};

}  // namespace kiv

#endif  // KIV_NT_SERVICE_H_
