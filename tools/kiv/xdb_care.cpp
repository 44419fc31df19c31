// kiv xdb: verify, recover, checkpoint and stat.
#include <iostream>
#include <string>
#include <vector>

#include "local_text.h"
#include "terminal.h"
#include "xdb_command.h"

namespace kiv_tool {
namespace {

Cell Number(unsigned long long value) {
  return {std::to_string(value), Color::Plain, true};
}

void PrintEnvironment(const kiv::XDbEnvironmentStatistics& state,
                      std::size_t unneeded) {
  std::cout << "cache: " << state.cache_bytes << " bytes\n"
            << "log files: " << state.log_file_count << ", " << state.log_bytes
            << " bytes, " << unneeded << " not needed\n"
            << "locks: " << state.lock_count << " held, at most "
            << state.max_lock_count << "\n"
            << "deadlocks: " << state.deadlock_count << '\n'
            << "recoveries: " << state.recovery_count << '\n';
}

bool VerifyOne(XdbPlace& place, const std::string& name) {
  std::vector<std::string> problems;
  {
    kiv::XDbContainer container;
    if (!place.OpenContainer(name, container)) {
      problems.push_back(ToLocal(LibraryReason()));
    } else if (container.Verify(problems)) {
      std::cout << name << ": " << Colored("sound", Color::Green) << '\n';
      return true;
    } else if (problems.empty()) {
      problems.push_back(ToLocal(LibraryReason()));
    }
  }
  // A page that cannot be read ends the environment: the next container needs
  // another.
  place.Close();
  for (const std::string& problem : problems)
    std::cout << name << ": " << Colored("fault:", Color::Red) << ' '
              << Printable(Utf8(problem)) << '\n';
  return false;
}

}  // namespace

bool AskedContainers(XdbPlace& place, const XdbOptions& options,
                     std::vector<std::string>& names) {
  kiv::XDbManager* const manager = place.Open();
  if (manager == nullptr) return false;
  names = options.names;
  if (!names.empty()) return true;
  std::vector<std::string> found;
  if (!manager->GetContainerNames(found)) {
    place.LibraryFault("the containers cannot be listed");
    return false;
  }
  for (const std::string& name : found) names.push_back(ShownName(name));
  return true;
}

int XdbVerify(XdbPlace& place, const XdbOptions& options) {
  std::vector<std::string> names;
  if (!AskedContainers(place, options, names)) return 1;
  bool is_sound = true;
  for (const std::string& name : names) is_sound &= VerifyOne(place, name);
  return is_sound ? 0 : 1;
}

int XdbRecover(XdbPlace& place, const XdbOptions& options) {
  // Nobody may have it open, nor we.
  place.Close();
  std::string password;
  std::string home;
  if (!place.Password(password, false) || !place.LocalName(place.home, home))
    return 1;
  if (!kiv::XDbManager::Repair(home.c_str(), password.c_str(), nullptr,
                               options.is_catastrophic))
    return place.LibraryFault("'" + place.home + "' was not recovered");
  std::cout << "recovered\n";
  return 0;
}

int XdbCheckpoint(XdbPlace& place, const XdbOptions& options) {
  kiv::XDbManager* const manager = place.Open();
  if (manager == nullptr) return 1;
  std::vector<std::string> files;
  if (!manager->Checkpoint() || !manager->GetUnneededLogFiles(files))
    return place.LibraryFault("no checkpoint");
  if (options.shows_details)
    for (const std::string& file : files) std::cout << ShownName(file) << '\n';
  return 0;
}

int XdbStat(XdbPlace& place, const XdbOptions& options) {
  std::vector<std::string> names;
  if (!AskedContainers(place, options, names)) return 1;
  std::vector<std::vector<Cell>> rows;
  for (const std::string& name : names) {
    kiv::XDbContainer container;
    kiv::XDbContainerStatistics state;
    if (!place.OpenContainer(name, container)) return 1;
    if (!container.GetStatistics(state))
      return place.LibraryFault("container '" + name + "'");
    rows.push_back({{Printable(name)},
                    Number(state.document_count),
                    Number(state.document_bytes),
                    Number(state.index_entry_count),
                    Number(state.name_count),
                    Number(state.path_count),
                    Number(state.file_bytes),
                    Number(state.format_version)});
  }
  std::cout << Table({"container", "documents", "bytes", "index entries",
                      "names", "paths", "file", "format"},
                     rows);
  kiv::XDbEnvironmentStatistics state;
  std::vector<std::string> files;
  if (!place.Open()->GetStatistics(state) ||
      !place.Open()->GetUnneededLogFiles(files))
    return place.LibraryFault("the environment cannot be asked");
  PrintEnvironment(state, files.size());
  return 0;
}

}  // namespace kiv_tool
