#ifndef TOOLS_KIV_QUEUE_COMMAND_H_
#define TOOLS_KIV_QUEUE_COMMAND_H_

#include <memory>
#include <string>
#include <vector>

#include "kiv/mq/msmq_queue.h"

// The parts of kiv queue. Each works in bin/ of its service and returns the
// program's exit code.
namespace kiv_tool {

struct QueueOptions {
  std::string service = ".";
  std::string name;                 // UTF-8, as on the command line
  std::vector<std::string> bodies;  // on the command line
  std::vector<std::string> files;   // absolute, "-" for standard input
  std::string label;                // UTF-8
  bool is_gb2312 = false;
  bool by_lines = false;
  bool may_create = false;
  bool shows_details = false;
  bool takes_all = false;
  int count = 1;
  bool is_confirmed = false;
};

int SendToQueue(const QueueOptions& options);
int PeekQueue(const QueueOptions& options);
int ReceiveFromQueue(const QueueOptions& options);
int ListQueues(const QueueOptions& options);
int PurgeQueue(const QueueOptions& options);

// The queues of kind "msmq" that conf/queue.xml declares, in the local
// encoding; none when the file cannot be read.
std::vector<std::string> DeclaredQueues();

// Opens it and says on standard error why it could not.
std::shared_ptr<kiv::mq::MsmqQueue> OpenNamedQueue(const QueueOptions& options,
                                                   int access);

// 1, with the text on standard error.
int QueueFault(const char* command, const std::string& text_utf8);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_QUEUE_COMMAND_H_
