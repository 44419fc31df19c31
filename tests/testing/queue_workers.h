#ifndef TESTING_QUEUE_WORKERS_H_
#define TESTING_QUEUE_WORKERS_H_

#include <signal.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "testing/running_program.h"

namespace kiv::testing {

// What the journals of senders and receivers say.
struct QueueAccount {
  std::set<std::string> tried;
  std::set<std::string> sent;  // acknowledged to the sender
  std::multiset<std::string> received;
  // Killed between a step and the line that tells how it ended: the message
  // may have been sent, or taken, without a word.
  std::size_t senders_in_flight = 0;
  std::size_t receivers_in_flight = 0;
  std::size_t receive_errors = 0;
};

// Processes that send to one queue and receive from it. They work in the
// current folder.
class QueueWorkers {
 public:
  explicit QueueWorkers(std::string queue,
                        std::vector<std::string> variables = {})
      : queue_(std::move(queue)), variables_(std::move(variables)) {}

  // Its number.
  std::size_t Start(const std::string& kind) {
    const std::string name = std::to_string(workers_.size());
    journals_.push_back(std::filesystem::absolute("journal" + name));
    workers_.push_back(std::make_unique<RunningProgram>(
        KIV_QUEUE_WORKER,
        std::vector<std::string>{kind, queue_, journals_.back().string(), name},
        RunningProgram::Surroundings{.terminal = nullptr,
                                     .variables = variables_}));
    return workers_.size() - 1;
  }
  bool WaitForWork(std::size_t worker) const {
    return Eventually([&] {
      std::error_code missing;
      const auto size = std::filesystem::file_size(journals_[worker], missing);
      return !missing && size > 40;
    });
  }
  // How often a receiver found the queue empty.
  int FoundEmpty(std::size_t worker) const { return Lines(worker, "none"); }
  // A worker "-and-rest" that makes no call any more.
  bool IsAsleep(std::size_t worker) const { return Lines(worker, "rest") > 0; }
  void Kill(std::size_t worker) {
    if (workers_[worker] == nullptr) return;
    workers_[worker]->Send(SIGKILL);
    workers_[worker]->WaitForEnd();
    workers_[worker].reset();
  }
  void KillAll() {
    for (std::size_t i = 0; i < workers_.size(); ++i) Kill(i);
  }

  QueueAccount Account() const {
    QueueAccount account;
    for (const auto& journal : journals_) Read(journal, account);
    return account;
  }

 private:
  int Lines(std::size_t worker, const std::string& wanted) const {
    std::ifstream file(journals_[worker]);
    int count = 0;
    for (std::string word; file >> word;) count += word == wanted ? 1 : 0;
    return count;
  }
  static void Read(const std::filesystem::path& journal,
                   QueueAccount& account) {
    std::ifstream file(journal);
    std::string word;
    std::string last_word;
    std::string body;
    while (file >> word) {
      if (word == "try") {
        file >> body;
        account.tried.insert(body);
      } else if (word == "sent") {
        file >> body;
        account.sent.insert(body);
      } else if (word == "got") {
        file >> body;
        account.received.insert(body);
      } else if (word == "failed") {
        file >> body;
      } else if (word == "error") {
        ++account.receive_errors;
      }
      last_word = word;
    }
    account.senders_in_flight += last_word == "try";
    account.receivers_in_flight += last_word == "take";
  }

  const std::string queue_;
  const std::vector<std::string> variables_;
  std::vector<std::filesystem::path> journals_;
  std::vector<std::unique_ptr<RunningProgram>> workers_;
};

}  // namespace kiv::testing

#endif  // TESTING_QUEUE_WORKERS_H_
