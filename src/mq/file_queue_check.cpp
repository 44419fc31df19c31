// What kiv check-config says of fileq.xml.
#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "kiv/file_system.h"
#include "kiv/mq/config_check.h"
#include "kiv/parser/parser.h"
#include "kiv/strings.h"
#include "mq/check_parts.h"
#include "mq/file_queue_settings.h"
#include "port/file.h"
#include "port/file_system_kind.h"
#include "port/private_file.h"
#include "util/gb_text.h"

namespace kiv::mq {
namespace {

using Severity = ConfigFinding::Severity;
using msgq::DirectorySettings;

// A directory as far as it can be read, and where it stands.
struct Directory {
  std::string name;  // as findings show it
  std::string path;  // "" where there is none to speak of
  unsigned line = 0;
  bool process = false;
  bool enable_sub_tree = true;
};

// Whether `inner` is the same folder or lies below it.
enum class Place { Elsewhere, Same, Below };
Place PlaceOf(const std::string& inner, const std::string& outer) {
  port::FileAttributes a;
  port::FileAttributes b;
  if (port::GetFileAttributesA(inner, a) &&
      port::GetFileAttributesA(outer, b) && a.device == b.device &&
      a.index == b.index)
    return Place::Same;
  const std::string folder = outer.ends_with('/') ? outer : outer + '/';
  return inner.starts_with(folder) ? Place::Below : Place::Elsewhere;
}

class DirectoryCheck : ElementCheck {
 public:
  DirectoryCheck(DomElement& element, unsigned line, std::size_t number,
                 const std::vector<Directory>& before,
                 std::vector<ConfigFinding>& findings)
      : ElementCheck(element, line, number, findings),
        number_(number),
        before_(before) {
    directory_.name = name_;
    directory_.line = line;
    directory_.process =
        element_.AttributeBool(DirectorySettings::kProcess, false);
    directory_.enable_sub_tree = element_.AttributeBool("enableSubTree", true);
  }

  const Directory& Run() {
    CheckNumberAndName();
    CheckAttributes();
    CheckPath();
    CheckProcessor();
    CheckNeighbours();
    if (IsGood())
      Add(Severity::Good, directory_.process ? "files in it will be processed"
                                             : "will be watched");
    return directory_;
  }

 private:
  void CheckNumberAndName() {
    if (number_ > msgq::kMaxDirectories)
      Fault("is directory " + std::to_string(number_) + " of at most " +
            std::to_string(msgq::kMaxDirectories));
    const std::string name = element_.Attribute("name");
    if (name.empty()) Fault("has no \"name\"");
    for (const Directory& other : before_)
      if (!name.empty() && other.name == name)
        Warn("has the name of the directory of line " +
             std::to_string(other.line) +
             ": who asks for the path by name is given that one's");
  }

  void CheckAttributes() {
    for (const std::string& text : MisspeltAttributes(
             element_, {"name", "enableSubTree", "deleteAfterProcess",
                        DirectorySettings::kProcess, DirectorySettings::kSettle,
                        DirectorySettings::kPoll, module::Isolation::kAttribute,
                        module::Isolation::kTimeLimit}))
      Warn(text);
    for (const auto& [name, by_default] :
         {std::pair("enableSubTree", "true"),
          std::pair("deleteAfterProcess", "true"),
          std::pair(DirectorySettings::kProcess, "false")}) {
      const std::string value = element_.Attribute(name);
      if (!value.empty() && !EqualIgnoreCase(value, "true") &&
          !EqualIgnoreCase(value, "false"))
        Warn(std::string("\"") + name + "\" is " + Quoted(value) +
             ", which is neither true nor false and counts as " + by_default);
    }
    for (const char* const name :
         {DirectorySettings::kSettle, DirectorySettings::kPoll}) {
      const std::string value = element_.Attribute(name);
      if (!value.empty() && !is_all_digit(value.c_str()))
        Warn(std::string("\"") + name + "\" is " + Quoted(value) +
             ", which is no whole number; write digits alone");
    }
    const std::string isolation_fault = IsolationFault(element_);
    if (!isolation_fault.empty()) Warn(isolation_fault);
    if (!directory_.process)
      Warn(
          "is only observed: no file is handed to the processor, and none is "
          "deleted; write process=\"true\" for that");
  }

  void CheckPath() {
    DomElement element;
    std::string path;
    if (!element_.GetFirstChildElement("path", element) ||
        !element.GetTrimTextChildValue(path) || path.empty())
      return Fault("has no \"path\": write <path>folder</path> in it");
    if (!toFullPath(path)) return Fault("path " + Quoted(path) + " is no path");
    const FileSystemPath folder(path, FileSystemPath::native);
    if (!FileSystem::exists(folder))
      return Warn("folder " + Quoted(path) +
                  " is not there; it is made when the queue starts");
    if (!FileSystem::is_directory(folder))
      return Fault(Quoted(path) + " is a file; name a folder");
    directory_.path = path;
    if (directory_.process && !port::MayChangeDirectory(path))
      Fault("folder " + Quoted(path) +
            " may not be written to, and a file is taken by renaming it; give "
            "the service the right to");
    const std::string network = port::NetworkFileSystem(path);
    if (!network.empty())
      Warn("folder " + Quoted(path) + " lies on a file system of kind " +
           network +
           ", of whose changes this system does not hear: it is looked "
           "through every few seconds; \"poll\" says how often");
  }

  void CheckProcessor() {
    DomElement element;
    std::string description;
    if (!element_.GetFirstChildElement("processor", element) ||
        !element.GetTrimTextChildValue(description) || description.empty())
      return Fault(
          "has no \"processor\": write "
          "<processor>dll://library:function</processor> in it");
    const std::string fault = ProcessorFault(description);
    if (!fault.empty()) Fault(fault);
  }

  void CheckNeighbours() {
    for (const Directory& other : before_) {
      if (directory_.path.empty() || other.path.empty()) continue;
      CheckPair(directory_, other);
      if (PlaceOf(directory_.path, other.path) == Place::Elsewhere)
        CheckPair(other, directory_);
    }
  }

  void CheckPair(const Directory& inner, const Directory& outer) {
    const Place place = PlaceOf(inner.path, outer.path);
    if (place == Place::Elsewhere ||
        (place == Place::Below && !outer.enable_sub_tree))
      return;
    const Directory& other = &inner == &directory_ ? outer : inner;
    const std::string text =
        (place == Place::Same    ? "is the same folder as that of directory "
         : &inner == &directory_ ? "lies inside directory "
                                 : "holds directory ") +
        Quoted(other.name) + " of line " + std::to_string(other.line);
    if (inner.process && outer.process)
      Fault(text + ": which of the two gets a file is chance");
    else
      Warn(text + ": both see its changes");
  }

  const std::size_t number_;
  const std::vector<Directory>& before_;
  Directory directory_;
};

// All directories together share one limit.
void CheckWatchLimit(const std::vector<Directory>& directories,
                     std::vector<ConfigFinding>& findings) {
  const std::size_t limit = port::WatchLimit();
  if (limit == 0) return;
  std::size_t folders = 0;
  for (const Directory& directory : directories) {
    if (directory.path.empty()) continue;
    folders += directory.enable_sub_tree
                   ? port::CountFolders(directory.path, limit + 1)
                   : 1;
    if (folders <= limit) continue;
    findings.push_back(
        {Severity::Warning, directory.line, directory.name,
         "with it more folders are to be watched than the " +
             std::to_string(limit) + " that " + port::kWatchLimitFile +
             " allows: what is over is looked through every few seconds; raise "
             "fs.inotify.max_user_watches"});
    return;
  }
}

}  // namespace

std::vector<ConfigFinding> CheckFileQueue(const FileSystemPath& file) {
  std::vector<ConfigFinding> findings;
  CheckedDocument document;
  if (!document.Open(file, findings)) return findings;
  DomElement list;
  if (!document.Root().GetFirstChildElement("directories", list)) {
    findings.push_back(
        {Severity::Fault, 0, "",
         "there is no element \"directories\" in the document element"});
    return findings;
  }
  DomNodeList2 elements;
  if (!list.ChildElementList("directory", elements))
    findings.push_back({Severity::Warning, document.LineOf(list), "",
                        "\"directories\" names no \"directory\""});
  std::vector<Directory> directories;
  for (unsigned i = 0; i < elements.GetLength(); ++i) {
    DomElement element;
    if (!elements.item(i, element)) continue;
    DirectoryCheck check(element, document.LineOf(element), i + 1, directories,
                         findings);
    directories.push_back(check.Run());
  }
  CheckWatchLimit(directories, findings);
  const bool has_fault = std::any_of(
      findings.begin(), findings.end(),
      [](const auto& finding) { return finding.severity == Severity::Fault; });
  if (has_fault && directories.size() > 1)
    findings.push_back(
        {Severity::Warning, 0, "",
         "one directory that cannot be loaded disables all directories of the "
         "file"});
  return findings;
}

}  // namespace kiv::mq
