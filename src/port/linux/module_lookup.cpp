#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "port/native_path.h"
#include "port/shared_library.h"

// Module paths come in upper case, as descriptions are compared on Windows, and
// end in ".DLL" also where the description said "x.so". System text below.
namespace kiv::port {
namespace {

constexpr std::string_view kDllSuffix = ".dll";
constexpr std::string_view kSoSuffix = ".so";

std::string LowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return lower;
}

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};

std::string Join(const std::string& folder, const std::string& name) {
  if (folder.empty() || folder.back() == '/') return folder + name;
  return folder + "/" + name;
}

enum class Kind { Missing, Folder, File };

Kind KindOf(const std::string& path) {
  struct stat found {};
  if (::stat(path.c_str(), &found) != 0) return Kind::Missing;
  return S_ISDIR(found.st_mode) ? Kind::Folder : Kind::File;
}

// The entries of the folder that are of that kind and whose lower-case name is
// one of `names`, sorted.
std::vector<std::string> Candidates(const std::string& folder,
                                    const std::vector<std::string>& names,
                                    Kind kind) {
  std::vector<std::string> found;
  const std::unique_ptr<DIR, CloseDirectory> directory(
      ::opendir(folder.empty() ? "." : folder.c_str()));
  if (directory == nullptr) {
    // A folder that may be passed through but not listed.
    for (const std::string& name : names)
      if (KindOf(Join(folder, name)) == kind) found.push_back(name);
    return found;
  }
  while (const dirent* entry = ::readdir(directory.get())) {
    const std::string name = entry->d_name;
    if (std::find(names.begin(), names.end(), LowerAscii(name)) !=
            names.end() &&
        KindOf(Join(folder, name)) == kind)
      found.push_back(name);
  }
  std::sort(found.begin(), found.end());
  return found;
}

// The lower-case names that a module's last name may have on disk.
std::vector<std::string> ModuleNames(const std::string& last) {
  const std::string name = LowerAscii(last);
  std::vector<std::string> names{name};
  std::string stem = name;
  if (stem.ends_with(kDllSuffix)) stem.resize(stem.size() - kDllSuffix.size());
  if (stem.ends_with(kSoSuffix)) stem.resize(stem.size() - kSoSuffix.size());
  if (stem + std::string(kSoSuffix) != name)
    names.push_back(stem + std::string(kSoSuffix));
  names.push_back("lib" + stem + std::string(kSoSuffix));
  return names;
}

// One name further down. The exact name wins; otherwise there must be one.
ModuleLookup Step(std::string& path, const std::string& name,
                  const std::vector<std::string>& names, Kind kind,
                  std::string& reason) {
  const std::string exact = Join(path, name);
  if (KindOf(exact) == kind) {
    path = exact;
    return ModuleLookup::Found;
  }
  const std::vector<std::string> found = Candidates(path, names, kind);
  if (found.empty()) return ModuleLookup::Missing;
  if (found.size() > 1) {
    reason = "the name may mean '" + LocalPath(Join(path, found[0])) +
             "' or '" + LocalPath(Join(path, found[1])) +
             "': remove or rename one of them";
    return ModuleLookup::Ambiguous;
  }
  path = Join(path, found.front());
  return ModuleLookup::Found;
}

}  // namespace

ModuleLookup FindModule(const std::string& path, std::string& found,
                        std::string& reason) {
  const std::string wanted = SystemPath(path);
  std::string reached = wanted.starts_with('/') ? "/" : "";
  std::size_t at = 0;
  while (at < wanted.size()) {
    const std::size_t slash = std::min(wanted.find('/', at), wanted.size());
    const std::string name = wanted.substr(at, slash - at);
    const bool is_last =
        wanted.find_first_not_of('/', slash) == std::string::npos;
    at = slash + 1;
    if (name.empty() || name == ".") continue;
    const ModuleLookup step =
        is_last ? Step(reached, name, ModuleNames(name), Kind::File, reason)
                : Step(reached, name, {LowerAscii(name)}, Kind::Folder, reason);
    if (step != ModuleLookup::Found) return step;
  }
  if (KindOf(reached) != Kind::File) return ModuleLookup::Missing;
  found = LocalPath(reached);
  return ModuleLookup::Found;
}

}  // namespace kiv::port
