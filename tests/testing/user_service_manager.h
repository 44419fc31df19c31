#ifndef TESTING_USER_SERVICE_MANAGER_H_
#define TESTING_USER_SERVICE_MANAGER_H_

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "testing/running_program.h"

namespace kiv::testing {

// A service manager of a user's, of this test alone: its units, its sockets and
// its control group are its own, and it ends with its object. It needs root,
// and a machine that lets it make a mount name space and a control group.
//
// Where the system was not booted with systemd, it is shown the folder by which
// systemd knows that it was.
class UserServiceManager {
 public:
  // Null where none can be had; `reason` then says why.
  static std::unique_ptr<UserServiceManager> Start(std::string& reason) {
    if (::geteuid() != 0) {
      reason = "only root can make one";
      return nullptr;
    }
    if (::access(kProgram, X_OK) != 0) {
      reason = "systemd is not installed";
      return nullptr;
    }
    std::unique_ptr<UserServiceManager> manager(new UserServiceManager);
    if (manager->WaitUntilRunning()) return manager;
    reason = "it does not start: " + manager->process_.Errors();
    return nullptr;
  }
  ~UserServiceManager() {
    // It ends its units, and the script behind it removes its control group.
    process_.Send(SIGTERM);
    process_.WaitForEnd();
  }

  // A program that has to do with it: in its name space, where it is found.
  RunningProgram Run(std::vector<std::string> words) const {
    words.insert(
        words.begin(),
        {"--mount=/proc/" + std::to_string(process_.Id()) + "/ns/mnt", "--"});
    return RunningProgram("/usr/bin/nsenter", words,
                          {.files = folder_, .variables = Variables()});
  }
  // systemctl's answer, on one line.
  std::string Ask(std::vector<std::string> words) const {
    words.insert(words.begin(), {"systemctl", "--user"});
    RunningProgram systemctl = Run(words);
    systemctl.WaitForEnd();
    std::string answer = systemctl.Output();
    while (answer.ends_with('\n')) answer.pop_back();
    return answer;
  }

 private:
  static constexpr char kProgram[] = "/usr/lib/systemd/systemd";
  // The control group first: it takes whatever is in its group into a scope of
  // its own. Behind the end of it, and of all that it started, the group goes.
  static constexpr char kScript[] =
      "if ! [ -d /run/systemd/system ]; then\n"
      "  mkdir -p /run/systemd\n"
      "  mount -t tmpfs none /run/systemd && mkdir /run/systemd/system || exit "
      "1\n"
      "fi\n"
      "groups=\n"
      "for group in /sys/fs/cgroup/systemd /sys/fs/cgroup/unified "
      "/sys/fs/cgroup; do\n"
      "  [ -w $group/cgroup.procs ] && mkdir $group/kiv-test.$$ || continue\n"
      "  groups=\"$groups $group/kiv-test.$$\"\n"
      "done\n"
      "[ -n \"$groups\" ] || exit 1\n"
      "(for group in $groups; do echo 0 >$group/cgroup.procs; done\n"
      " exec /usr/lib/systemd/systemd --user) &\n"
      "manager=$!\n"
      "trap 'kill $manager' TERM\n"
      "while kill -0 $manager 2>/dev/null; do wait $manager; done\n"
      "for group in $groups; do find $group -depth -type d -exec rmdir {} +; "
      "done\n";

  UserServiceManager()
      : folder_(std::filesystem::current_path() / "service-manager"),
        process_(
            "/usr/bin/unshare",
            {"--mount", "--propagation", "private", "/bin/sh", "-c", kScript},
            {.files = Made(folder_), .variables = Variables()}) {}

  std::vector<std::string> Variables() const {
    return {"XDG_RUNTIME_DIR=" + (folder_ / "run").string(),
            "XDG_CONFIG_HOME=" + (folder_ / "config").string()};
  }
  static std::filesystem::path Made(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder / "run");
    std::filesystem::create_directories(folder / "config");
    ::chmod((folder / "run").c_str(), 0700);
    return folder;
  }
  bool WaitUntilRunning() const {
    return Eventually(
        [this] {
          const std::string state = Ask({"is-system-running"});
          return state == "running" || state == "degraded";
        },
        std::chrono::seconds(10));
  }

  const std::filesystem::path folder_;
  RunningProgram process_;
};

}  // namespace kiv::testing

#endif  // TESTING_USER_SERVICE_MANAGER_H_
