// A durable queue from both ends: sends three messages, looks at the first,
// takes them all. Runs in a service folder of its own below the temporary one.
#include <cstdio>
#include <filesystem>
#include <string>

#include "kiv/mq/msmq_queue.h"
#include "kiv/startup.h"

namespace {

using kiv::mq::MsmqQueueInfo;
using kiv::mq::QueueInfo;

bool SendThree(MsmqQueueInfo& queues) {
  const auto queue = queues.OpenQueue("orders", QueueInfo::ACCESS_SEND);
  if (queue == nullptr) return false;
  for (const std::string body : {"first", "second", "third"}) {
    // True: the message is on the disk, and may be forgotten here.
    if (!queue->Send(body, "an order")) {
      std::printf("not sent: %s\n", queue->LastError().c_str());
      return false;
    }
  }
  return true;
}

bool Look(MsmqQueueInfo& queues) {
  const auto queue = queues.OpenQueue("orders", QueueInfo::ACCESS_PEEK);
  const auto message = queue != nullptr ? queue->Peek() : nullptr;
  std::string label;
  if (message == nullptr || !message->GetLabel(label)) return false;
  std::printf("in front lies \"%s\", id of %zu characters, sent in %d\n",
              label.c_str(), message->Id().size(), message->SentTime().Year());
  return true;
}

int TakeAll(MsmqQueueInfo& queues) {
  const auto queue = queues.OpenQueue("orders", QueueInfo::ACCESS_RECEIVE);
  int taken = 0;
  std::string body;
  while (queue != nullptr) {
    const auto message = queue->ReceiveMessage();
    if (message == nullptr || !message->GetBody(body)) break;
    std::printf("received %s\n", body.c_str());
    ++taken;
  }
  return taken;
}

}  // namespace

int main() {
  namespace fs = std::filesystem;
  const fs::path before = fs::current_path();
  const fs::path service =
      fs::temp_directory_path() /
      ("kiv-queue-example-" +
       std::to_string(std::hash<std::string>()(before.string())));
  fs::create_directories(service / "bin");
  fs::current_path(service / "bin");
  kiv::GlobalInit();
  bool is_good = false;
  {
    MsmqQueueInfo queues;
    is_good = queues.Create("orders", nullptr, false) && SendThree(queues) &&
              Look(queues) && TakeAll(queues) == 3 && queues.Delete("orders");
    if (!is_good) std::printf("failed: %s\n", queues.LastError().c_str());
  }
  kiv::GlobalUninit();
  fs::current_path(before);
  fs::remove_all(service);
  return is_good ? 0 : 1;
}
