#ifndef MQ_FILE_QUEUE_SETTINGS_H_
#define MQ_FILE_QUEUE_SETTINGS_H_

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "kiv/file_system_path.h"
#include "kiv/module/module.h"
#include "mq/isolation.h"

namespace kiv {
class DomElement;
}

namespace kiv::msgq {

inline constexpr std::size_t kMaxDirectories = 64;

// A "directory" of fileq.xml.
struct DirectorySettings {
  std::string name;
  // As text of the local encoding; absolute unless fileq.xml says otherwise
  // without a "." in front.
  std::string path;
  bool enable_sub_tree = true;
  bool delete_after_process = true;
  // Without it, changes are only looked at.
  bool process = false;
  // How long a file must have been left alone before it is taken.
  int settle_ms = 0;
  // 0: notified by the system.
  int poll_seconds = 0;
  module::Isolation isolation;
  std::shared_ptr<module::Module> processor;

  static constexpr char kProcess[] = "process";
  static constexpr char kSettle[] = "settle";
  static constexpr char kPoll[] = "poll";
};

// conf/fileq.xml beside the current directory. Throws as current_path.
FileSystemPath SettingsPath();

// All or nothing: one bad directory, and the table stays empty. Every failure
// is logged.
class DirectoryTable {
 public:
  bool Load(const FileSystemPath& path);

  const std::vector<DirectorySettings>& Entries() const { return entries_; }
  std::vector<DirectorySettings>& Entries() { return entries_; }

 private:
  bool LoadSettings(const FileSystemPath& path);
  bool LoadDirectories(const DomElement& directories);
  bool LoadDirectory(const DomElement& directory);
  bool Add(DirectorySettings settings, const std::string& processor);

  std::vector<DirectorySettings> entries_;
};

}  // namespace kiv::msgq

#endif  // MQ_FILE_QUEUE_SETTINGS_H_
