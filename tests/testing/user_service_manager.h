#ifndef TESTING_USER_SERVICE_MANAGER_H_
#define TESTING_USER_SERVICE_MANAGER_H_

#include <sys/stat.h>

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
    reason = ::geteuid() != 0 ? "only root can make one"
             : ::access("/usr/lib/systemd/systemd", X_OK) != 0
                 ? "systemd is not installed"
                 : "";
    if (!reason.empty()) return nullptr;
    std::unique_ptr<UserServiceManager> manager(new UserServiceManager);
    const auto is_running = [&manager] {
      const std::string state = manager->Ask({"is-system-running"});
      return state == "running" || state == "degraded";
    };
    if (Eventually(is_running, std::chrono::seconds(10))) return manager;
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
  // The control group first: it takes whatever is in its group into a scope of
  // its own. Behind the end of it, and of all that it started, the group goes.
  static constexpr char kScript[] =
      R"(
if ! [ -d /run/systemd/system ]; then
  mkdir -p /run/systemd
  mount -t tmpfs none /run/systemd && mkdir /run/systemd/system || exit 1
fi
groups=
cd /sys/fs/cgroup
for group in $PWD/systemd $PWD/unified $PWD; do
  [ -w $group/cgroup.procs ] && mkdir $group/kiv-test.$$ || continue
  groups="$groups $group/kiv-test.$$"
done
[ -n "$groups" ] || exit 1
(for group in $groups; do echo 0 >$group/cgroup.procs; done
 exec /usr/lib/systemd/systemd --user) &
trap 'kill $!' TERM
while kill -0 $! 2>/dev/null; do wait $!; done
for group in $groups; do find $group -depth -type d -exec rmdir {} +; done
)";

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

  const std::filesystem::path folder_;
  RunningProgram process_;
};

}  // namespace kiv::testing

#endif  // TESTING_USER_SERVICE_MANAGER_H_
