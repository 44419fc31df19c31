#include "port/program.h"

#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>

#include "port/environment.h"
#include "port/linux/descriptor.h"

namespace kiv::port {
namespace {

constexpr std::size_t kAccountRoom = 16384;

std::string HomeFolder() {
  std::string home;
  if (GetEnvironmentUtf8("HOME", home) && !home.empty()) return home;
  passwd entry{};
  passwd* found = nullptr;
  std::string room(kAccountRoom, '\0');
  ::getpwuid_r(::geteuid(), &entry, room.data(), room.size(), &found);
  return found != nullptr ? found->pw_dir : "";
}

}  // namespace

std::string ProgramPath() {
  char file[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", file, sizeof file);
  return length > 0 ? std::string(file, static_cast<std::size_t>(length))
                    : std::string();
}

int RunProgram(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  for (const std::string& word : words)
    arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  pid_t process = 0;
  if (::posix_spawnp(&process, arguments[0], nullptr, nullptr, arguments.data(),
                     environ) != 0)
    return -1;
  int status = 0;
  if (Retry([&] { return ::waitpid(process, &status, 0); }) != process)
    return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool IsSuperuser() { return ::geteuid() == 0; }

std::string SettingsFolder() {
  std::string folder;
  if (GetEnvironmentUtf8("XDG_CONFIG_HOME", folder) && folder.starts_with('/'))
    return folder;
  folder = HomeFolder();
  return folder.empty() ? folder : folder + "/.config";
}

std::string OwnerOf(const std::string& path) {
  struct stat entry {};
  if (::stat(path.c_str(), &entry) != 0) return {};
  passwd account{};
  passwd* found = nullptr;
  std::string room(kAccountRoom, '\0');
  ::getpwuid_r(entry.st_uid, &account, room.data(), room.size(), &found);
  return found != nullptr ? found->pw_name : "";
}

bool IsGroup(const std::string& name) {
  group account{};
  group* found = nullptr;
  std::string room(kAccountRoom, '\0');
  ::getgrnam_r(name.c_str(), &account, room.data(), room.size(), &found);
  return found != nullptr;
}

}  // namespace kiv::port
