#ifndef KIV_MQ_CONFIG_H_
#define KIV_MQ_CONFIG_H_

#include <memory>
#include <vector>

#include "kiv/export.h"
#include "kiv/file_system_path.h"
#include "kiv/mq/queue_config.h"

namespace kiv {
class DomNodeList2;
}

namespace kiv::mq {

// The queues of conf/queue.xml, a folder beside the current directory.
//
// Loading is lenient: a missing file and a bad queue are logged and leave the
// set smaller. One bad queue never stops the others.
class KIV_API Config {
 public:
  ~Config();
  Config(const Config&) = delete;
  Config& operator=(const Config&) = delete;

  // Every queue, whatever becomes of the ones before it. True when all of them
  // listen, and for an empty set.
  bool StartListen();
  // Asks every queue's reader to end, then waits for all of them together. A
  // negative time waits without limit. False, with a line naming the queue,
  // when a processor was still at work at the end of the time: its thread keeps
  // what it uses and ends after that message.
  bool Stop(int wait_milliseconds = 5000);
  // Empties the set, stopping what runs.
  void Clear();

  // In the order of the file; changed by Clear alone.
  const std::vector<std::shared_ptr<QueueConfig>>& Queues() const {
    return queues_;
  }
  // The file that the set was loaded from.
  const FileSystemPath& Path() const { return path_; }
  // False when that file could not be read as XML.
  bool IsLoaded() const { return is_loaded_; }

 protected:
  explicit Config(bool load);
  FileSystemPath GetConfigPath() const;
  // False only for a file that does not parse or has no document element.
  bool Load();

 private:
  friend class Factory;

  bool LoadFile();
  void LoadQueue(const DomNodeList2& elements, unsigned index);

  std::vector<std::shared_ptr<QueueConfig>> queues_;
  FileSystemPath path_;
  bool is_loaded_ = false;
};

}  // namespace kiv::mq

#endif  // KIV_MQ_CONFIG_H_
