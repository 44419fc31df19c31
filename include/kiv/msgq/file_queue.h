#ifndef KIV_MSGQ_FILE_QUEUE_H_
#define KIV_MSGQ_FILE_QUEUE_H_

#include <string>
#include <vector>

#include "kiv/export.h"
#include "kiv/mq/queue_status.h"

// Directories as queues: conf/fileq.xml, a folder beside the current directory,
// lists them. By default they are only watched; a directory with process="true"
// hands each file to its processor. The file is read once, by the first call of
// a function here, and one bad directory in it disables them all.
namespace kiv::msgq {

// Watches every directory, and returns when the watch ends: when there is no
// directory, when one of them cannot be opened, or by FileQueueStop. Failures
// are logged.
KIV_API void FileQueueMain();

// The path of the first directory of that name; "" for null, "" and a name that
// no directory has. Any thread.
KIV_API std::string FileQueueDirPath(const char* name);

// FileQueueMain on a thread of its own. True once the directories are watched;
// false when they cannot be, or it runs already. The end of the process stops
// it.
KIV_API bool FileQueueStart();

// Ends FileQueueMain, whoever called it, and waits for that; a negative time
// waits without limit. A file that is being processed is finished first. False
// when that took longer than the time; it ends all the same then. Any thread; a
// processor of the queue is answered false at once, since the end would wait
// for it. A FileQueueMain that is called later runs.
KIV_API bool FileQueueStop(int wait_milliseconds = 5000);

struct FileQueueDirectory {
  std::string name;
  std::string path;
  // Messages are files; `refused` counts those that were left where they are.
  mq::QueueStatus status;
};

// In the order of the settings. Any thread.
KIV_API std::vector<FileQueueDirectory> FileQueueDirectories();

// What a processor is given as context for a file.
struct FileQueueFile {
  // The directory's name, and the file's below it, "/" between folders; in the
  // local encoding, "?" for what that cannot hold.
  const char* directory;
  const char* name;
  // From 1. More than that: a host was killed while it processed the file, and
  // some of the work may be done.
  int attempt;
};

}  // namespace kiv::msgq

#endif  // KIV_MSGQ_FILE_QUEUE_H_
