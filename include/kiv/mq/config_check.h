#ifndef KIV_MQ_CONFIG_CHECK_H_
#define KIV_MQ_CONFIG_CHECK_H_

#include <string>
#include <vector>

#include "kiv/export.h"
#include "kiv/file_system_path.h"

namespace kiv::mq {

// One thing to know about a queue before it is started. Texts are English, in
// the local encoding.
struct ConfigFinding {
  // Works as written; works otherwise than it looks; does not work.
  enum class Severity { Good, Warning, Fault };
  Severity severity = Severity::Good;
  // Of the file, from 1; 0 when the finding is about the whole file.
  unsigned line = 0;
  // The queue's name, or "#2" for the second one when it has none.
  std::string queue;
  std::string text;
};

// Says for every queue of the file why it will or will not work, in the order
// of the file, at least one finding a queue. Starts nothing, but loads the
// processor libraries and opens the serial ports for a moment. Relative
// processor paths count from the current directory, as they do for a host.
KIV_API std::vector<ConfigFinding> CheckConfig(const FileSystemPath& file);

// The same for the directories of a fileq.xml; a finding's queue is the
// directory's name. No folder is made and nothing is watched.
KIV_API std::vector<ConfigFinding> CheckFileQueue(const FileSystemPath& file);

}  // namespace kiv::mq

#endif  // KIV_MQ_CONFIG_CHECK_H_
