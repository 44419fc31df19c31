#include "service/service_setup.h"

#include <algorithm>
#include <iostream>

#include "kiv/file_system.h"
#include "port/file.h"
#include "port/native_path.h"
#include "port/program.h"
#include "port/read_file.h"
#include "service/service_unit.h"

namespace kiv {
namespace {

constexpr char kMachineFolder[] = "/etc/systemd/system";
// Of the serial ports.
constexpr char kPortGroup[] = "dialout";
constexpr std::size_t kLargestUnit = 65536;

bool IsOneLine(const std::string& text) {
  return std::none_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
  });
}

std::string UnitFolder(bool is_of_user) {
  if (!is_of_user) return kMachineFolder;
  const std::string settings = port::SettingsFolder();
  return settings.empty() ? settings : settings + "/systemd/user";
}

// bin/ lies in it.
std::string ServiceFolderOf(const std::string& working_folder) {
  const std::size_t slash = working_folder.find_last_of('/');
  return slash == std::string::npos || slash == 0
             ? working_folder
             : working_folder.substr(0, slash);
}

enum class UnitFile { Missing, Ours, Foreign };
UnitFile LookAt(const std::string& file) {
  std::string text;
  switch (port::ReadFileText(port::LocalPath(file), kLargestUnit, text)) {
    case port::FileRead::Whole:
      return text.starts_with(kUnitMark) ? UnitFile::Ours : UnitFile::Foreign;
    case port::FileRead::Failed:
      return port::IsNotFound(port::LastError()) ? UnitFile::Missing
                                                 : UnitFile::Foreign;
    default:
      return UnitFile::Foreign;
  }
}

// What the service needs beside its account. An account that may do everything
// needs nothing.
std::vector<std::string> GroupsFor(const std::string& account) {
  if (account.empty() || account == "root" || !port::IsGroup(kPortGroup))
    return {};
  return {kPortGroup};
}

}  // namespace

ServiceSetup::ServiceSetup(const std::string& name, bool is_of_user)
    : name_(name),
      unit_(UnitName(name)),
      is_of_user_(is_of_user || !port::IsSuperuser()) {
  const std::string folder = UnitFolder(is_of_user_);
  if (!folder.empty()) file_ = folder + '/' + unit_;
}

bool ServiceSetup::Install(const std::string& description,
                           const std::string& working_folder,
                           const std::vector<std::string>& arguments) const {
  if (file_.empty()) return Fault("there is no home folder to install it in");
  ServiceUnit unit;
  unit.description = description.empty() ? name_ : description;
  unit.command = arguments;
  unit.command.insert(unit.command.begin(), port::ProgramPath());
  unit.working_folder = working_folder;
  unit.service_folder = ServiceFolderOf(working_folder);
  unit.is_of_user = is_of_user_;
  if (!is_of_user_) {
    unit.account = port::OwnerOf(unit.service_folder);
    unit.groups = GroupsFor(unit.account);
  }
  const std::string text = UnitText(unit);
  if (!IsOneLine(unit.description + working_folder) ||
      !std::all_of(unit.command.begin(), unit.command.end(), IsOneLine))
    return Fault("a line break or another control character is in its texts");
  if (LookAt(file_) == UnitFile::Foreign)
    return Fault(file_ +
                 " is there and was not written by -install: give the service "
                 "another name, or take that file away");
  const std::string native = port::LocalPath(file_);
  FileSystem::create_directories(
      FileSystemPath(native, FileSystemPath::native).branch_path());
  if (!port::ReplaceFileText(native, text))
    return Fault(file_ +
                 " cannot be written: " + port::ErrorText(port::LastError()));
  if (!Control({"daemon-reload"}) || !Control({"enable", unit_})) {
    port::DeleteFileA(native);
    return Fault("it could not be installed");
  }
  if (!is_of_user_ && (unit.account.empty() || unit.account == "root"))
    Say("it will run as root: give " + unit.service_folder +
        " to an account of its own and install it again, and it runs as that");
  return Say("installed as " + file_ + "; -start starts it now");
}

bool ServiceSetup::Uninstall() const {
  switch (LookAt(file_)) {
    case UnitFile::Missing:
      return Fault("it is not installed: there is no " + file_);
    case UnitFile::Foreign:
      return Fault(file_ + " was not written by -install and stays");
    case UnitFile::Ours:
      break;
  }
  if (!Control({"disable", "--now", unit_}))
    return Fault("it could not be stopped, and stays installed");
  if (!port::DeleteFileA(port::LocalPath(file_)))
    return Fault(file_ +
                 " cannot be removed: " + port::ErrorText(port::LastError()));
  Control({"daemon-reload"});
  return Say("uninstalled");
}

bool ServiceSetup::Start() const {
  if (LookAt(file_) == UnitFile::Missing)
    return Fault("it is not installed: -install does that");
  if (Control({"start", unit_})) return Say("started");
  return Fault("it did not start: systemctl" + SwitchOfUser() + " status " +
               unit_ + " and its LogFiles/VornService/ say why");
}

bool ServiceSetup::Stop() const {
  if (LookAt(file_) == UnitFile::Missing)
    return Fault("it is not installed: -install does that");
  return Control({"stop", unit_}) ? Say("stopped")
                                  : Fault("it could not be stopped");
}

bool ServiceSetup::Control(std::vector<std::string> words) const {
  if (is_of_user_) words.insert(words.begin(), "--user");
  words.insert(words.begin(), "systemctl");
  std::cout.flush();
  const int exit_code = port::RunProgram(words);
  if (exit_code < 0) Fault("systemctl cannot be run");
  return exit_code == 0;
}

bool ServiceSetup::Say(const std::string& text) const {
  std::cout << name_ << ": " << text << '\n';
  return true;
}

bool ServiceSetup::Fault(const std::string& text) const {
  std::cerr << name_ << ": " << text << '\n';
  return false;
}

std::string ServiceSetup::SwitchOfUser() const {
  return is_of_user_ ? " --user" : "";
}

}  // namespace kiv
