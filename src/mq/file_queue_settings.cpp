#include "mq/file_queue_settings.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "kiv/dom.h"
#include "kiv/file_system.h"
#include "kiv/parser/parser.h"
#include "mq/file_queue_messages.h"
#include "mq/service_path.h"
#include "util/log_entry.h"

namespace kiv::msgq {
namespace {

constexpr char kSource[] = "msgq";
constexpr int kMostPollSeconds = 24 * 60 * 60;

bool Fail(const std::string& text) {
  LogError(kSource, text);
  return false;
}

bool IsUsableDirectory(const std::string& path) {
  const FileSystemPath directory(path, FileSystemPath::native);
  FileSystem::create_directories(directory);
  return FileSystem::is_directory(directory);
}

}  // namespace

FileSystemPath SettingsPath() { return ServicePath("conf/fileq.xml"); }

bool DirectoryTable::Load(const FileSystemPath& path) {
  entries_.clear();
  bool is_loaded = false;
  try {
    is_loaded = LoadSettings(path);
  } catch (const std::exception& fault) {
    LogError(kSource, "LoadSettings Failed: " + Shown(fault.what()));
  }
  if (is_loaded) return true;
  entries_.clear();
  return Fail(message::SettingsNotLoaded());
}

bool DirectoryTable::LoadSettings(const FileSystemPath& path) {
  const std::string file = Shown(path.string());
  if (!FileSystem::exists(path) || FileSystem::is_directory(path))
    return Fail(message::SettingsNotFound(file));
  DomParser parser;
  DomDocument document;
  if (!parser.parseURI(path.native_file_string().c_str(), document))
    return Fail(message::SettingsNotParsed(file));
  DomElement root;
  if (!document.GetDocumentElement(root)) return Fail(message::NoRoot(file));
  DomElement directories;
  if (!root.GetFirstChildElement("directories", directories))
    return Fail(message::NoDirectories(file));
  return LoadDirectories(directories) ||
         Fail(message::DirectoriesNotLoaded(file));
}

bool DirectoryTable::LoadDirectories(const DomElement& directories) {
  DomNodeList2 list;
  if (!directories.ChildElementList("directory", list)) return true;
  for (unsigned i = 0; i < list.GetLength(); ++i) {
    DomElement directory;
    if (!list.item(i, directory)) return Fail(message::DirectoryNotFetched(i));
    if (!LoadDirectory(directory)) return Fail(message::DirectoryNotLoaded(i));
  }
  return true;
}

bool DirectoryTable::LoadDirectory(const DomElement& directory) {
  DirectorySettings settings;
  DomElement path;
  if (!directory.GetFirstChildElement("path", path))
    return Fail(message::NoPath());
  if (!path.GetTrimTextChildValue(settings.path))
    return Fail(message::BadPath());
  if (!toFullPath(settings.path))
    return Fail(message::PathNotAbsolute(Shown(settings.path)));
  const std::string shown = Shown(settings.path);
  if (!IsUsableDirectory(settings.path))
    return Fail(message::PathNotCreated(shown));
  if (!directory.Attribute("name", settings.name))
    return Fail(message::BadName());
  settings.enable_sub_tree = directory.AttributeBool("enableSubTree", true);
  settings.delete_after_process =
      directory.AttributeBool("deleteAfterProcess", true);
  settings.process =
      directory.AttributeBool(DirectorySettings::kProcess, false);
  settings.settle_ms = directory.AttributeInt(DirectorySettings::kSettle, 0);
  settings.poll_seconds = std::min(
      directory.AttributeInt(DirectorySettings::kPoll, 0), kMostPollSeconds);
  DomElement processor;
  if (!directory.GetFirstChildElement("processor", processor))
    return Fail(message::NoProcessor());
  std::string description;
  if (!processor.GetTrimTextChildValue(description))
    return Fail(message::BadProcessorText());
  settings.isolation = module::ReadIsolation(directory);
  return Add(std::move(settings), description) ||
         Fail(message::DirectoryNotAdded(shown));
}

bool DirectoryTable::Add(DirectorySettings settings,
                         const std::string& processor) {
  if (entries_.size() >= kMaxDirectories)
    return Fail(message::TooManyDirectories(kMaxDirectories));
  settings.processor = module::CreateModule(processor, settings.isolation, "");
  if (settings.processor == nullptr)
    return Fail(message::BadProcessor(Shown(processor)));
  entries_.push_back(std::move(settings));
  return true;
}

}  // namespace kiv::msgq
