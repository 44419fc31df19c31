// Sends to or receives from a durable queue until it is killed, and keeps a
// journal of it: queue_worker send|receive QUEUE JOURNAL NAME.
//
// Every line is written before the next step, and stays when the process is
// killed:
//   try X, then sent X or failed X   for a message with the body X
//   take, then got X, none or error  for a receive
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "kiv/mq/msmq_queue.h"
#include "kiv/startup.h"

namespace {

using kiv::mq::MsmqQueue;
using kiv::mq::QueueInfo;

int g_journal = -1;

void Write(std::string line) {
  line += '\n';
  if (::write(g_journal, line.data(), line.size()) < 0) ::_exit(3);
}

void Send(MsmqQueue& queue, const std::string& body) {
  Write("try " + body);
  const bool is_sent = queue.Send(body, "label");
  Write((is_sent ? "sent " : "failed ") + body);
  if (!is_sent) ::usleep(20'000);
}

void Receive(MsmqQueue& queue) {
  Write("take");
  std::string body;
  const auto message = queue.Receive();
  if (message != nullptr && message->GetBody(body)) return Write("got " + body);
  Write(queue.LastError().empty() ? "none" : "error");
  ::usleep(2'000);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  kiv::GlobalInit();
  const bool is_sender = argv[1] == std::string("send");
  kiv::mq::MsmqQueueInfo queues;
  const auto queue = queues.OpenQueue(
      argv[2], is_sender ? QueueInfo::ACCESS_SEND : QueueInfo::ACCESS_RECEIVE);
  if (queue == nullptr) return 1;
  g_journal = ::open(argv[3], O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  for (int i = 0;; ++i)
    is_sender ? Send(*queue, argv[4] + ("-" + std::to_string(i)))
              : Receive(*queue);
}
