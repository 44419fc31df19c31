// Sends to or receives from a durable queue until it is killed, and keeps a
// journal of it: queue_worker send|receive[-and-rest] QUEUE JOURNAL NAME.
//
// Every line is written before the next step, and stays when the process is
// killed:
//   try X, then sent X or failed X   for a message with the body X
//   take, then got X, none or error  for a receive
//   rest                             when it will do no more
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "kiv/mq/msmq_queue.h"
#include "kiv/startup.h"

namespace {

using kiv::mq::MsmqQueue;

class Journal {
 public:
  explicit Journal(const char* path)
      : file_(::open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600)) {}
  void Add(std::string line) const {
    line += '\n';
    if (::write(file_, line.data(), line.size()) < 0) ::_exit(3);
  }

 private:
  const int file_;
};

[[noreturn]] void Rest(const Journal& journal) {
  journal.Add("rest");
  for (;;) ::pause();
}

[[noreturn]] void Send(MsmqQueue& queue, const Journal& journal,
                       const std::string& name, int rest_after) {
  for (int i = 0;; ++i) {
    if (i == rest_after) Rest(journal);
    const std::string body = name + "-" + std::to_string(i);
    journal.Add("try " + body);
    const bool is_sent = queue.Send(body, "label");
    journal.Add((is_sent ? "sent " : "failed ") + body);
    if (!is_sent) ::usleep(20'000);
  }
}

[[noreturn]] void Receive(MsmqQueue& queue, const Journal& journal,
                          int rest_after) {
  for (int got = 0;;) {
    if (got == rest_after) Rest(journal);
    journal.Add("take");
    std::string body;
    const auto message = queue.Receive();
    if (message != nullptr && message->GetBody(body)) {
      journal.Add("got " + body);
      ++got;
    } else {
      journal.Add(queue.LastError().empty() ? "none" : "error");
      ::usleep(2'000);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  kiv::GlobalInit();
  const bool is_sender = std::strncmp(argv[1], "send", 4) == 0;
  const bool may_rest = std::strstr(argv[1], "-and-rest") != nullptr;
  kiv::mq::MsmqQueueInfo queues;
  const auto queue =
      queues.OpenQueue(argv[2], is_sender ? kiv::mq::QueueInfo::ACCESS_SEND
                                          : kiv::mq::QueueInfo::ACCESS_RECEIVE);
  if (queue == nullptr) return 1;
  const Journal journal(argv[3]);
  constexpr int kSentBeforeRest = 1000;
  constexpr int kGotBeforeRest = 5;
  if (is_sender)
    Send(*queue, journal, argv[4], may_rest ? kSentBeforeRest : -1);
  Receive(*queue, journal, may_rest ? kGotBeforeRest : -1);
}
