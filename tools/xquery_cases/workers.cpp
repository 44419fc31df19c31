#include "workers.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace xquery_cases {
namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void FailOfSystem(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

bool WriteAll(int file, const void* bytes, std::size_t size) {
  const char* at = static_cast<const char*>(bytes);
  while (size > 0) {
    const ssize_t count = ::write(file, at, size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    at += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

bool ReadAll(int file, void* bytes, std::size_t size) {
  char* at = static_cast<char*>(bytes);
  while (size > 0) {
    const ssize_t count = ::read(file, at, size);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    at += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

// What precedes the reason in the answer of a worker.
struct AnswerHead {
  Outcome outcome;
  std::size_t reason_size;
};

// A process that is given one case at a time.
class Worker {
 public:
  using Judging = std::function<Verdict(std::size_t)>;

  explicit Worker(const Judging& judge) : judge_(judge) {}
  ~Worker() { Stop(); }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  bool IsBusy() const { return is_busy_; }
  std::size_t number() const { return number_; }
  Clock::time_point deadline() const { return deadline_; }
  int answers() const { return answers_; }

  void Give(std::size_t number, std::chrono::milliseconds limit) {
    if (process_ < 0) Start();
    number_ = number;
    is_busy_ = true;
    deadline_ = Clock::now() + limit;
    // Where it cannot be written, the worker is gone, and reading says so.
    WriteAll(questions_, &number, sizeof number);
  }

  Verdict Take() {
    is_busy_ = false;
    AnswerHead head;
    if (!ReadAll(answers_, &head, sizeof head)) return Crashed();
    Verdict verdict{head.outcome, std::string(head.reason_size, '\0')};
    if (!ReadAll(answers_, verdict.reason.data(), head.reason_size)) {
      return Crashed();
    }
    return verdict;
  }

  Verdict GiveUp(std::chrono::milliseconds limit) {
    is_busy_ = false;
    Stop();
    return {Outcome::Failed,
            "no end after " + std::to_string(limit.count()) + " ms"};
  }

 private:
  void Start() {
    int questions[2];
    int answers[2];
    if (::pipe2(questions, O_CLOEXEC) != 0) FailOfSystem("pipe");
    if (::pipe2(answers, O_CLOEXEC) != 0) FailOfSystem("pipe");
    process_ = ::fork();
    if (process_ < 0) FailOfSystem("fork");
    if (process_ == 0) {
      // Siblings hold this pipe open too, so its end would not be seen.
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      ::close(questions[1]);
      ::close(answers[0]);
      Serve(questions[0], answers[1]);
    }
    ::close(questions[0]);
    ::close(answers[1]);
    questions_ = questions[1];
    answers_ = answers[0];
  }

  [[noreturn]] void Serve(int questions, int answers) const {
    std::size_t number = 0;
    while (ReadAll(questions, &number, sizeof number)) {
      const Verdict verdict = judge_(number);
      const AnswerHead head{verdict.outcome, verdict.reason.size()};
      if (!WriteAll(answers, &head, sizeof head) ||
          !WriteAll(answers, verdict.reason.data(), verdict.reason.size())) {
        break;
      }
    }
    // Nothing of the parent's is to be flushed or destroyed twice.
    ::_exit(0);
  }

  // Its status, which is -1 when there is none.
  int Stop() {
    if (process_ < 0) return -1;
    ::close(questions_);
    ::close(answers_);
    ::kill(process_, SIGKILL);
    return Wait();
  }

  int Wait() {
    int status = -1;
    while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    return status;
  }

  // Its end of the pipe is closed, so it has ended or is about to.
  Verdict Crashed() {
    ::close(questions_);
    ::close(answers_);
    const int status = Wait();
    if (WIFSIGNALED(status)) {
      return {Outcome::Failed,
              std::string("crashed: ") + ::strsignal(WTERMSIG(status))};
    }
    return {Outcome::Failed,
            "ended with " + std::to_string(WEXITSTATUS(status))};
  }

  const Judging& judge_;
  pid_t process_ = -1;
  int questions_ = -1;
  int answers_ = -1;
  bool is_busy_ = false;
  std::size_t number_ = 0;
  Clock::time_point deadline_;
};

// Until a worker has an answer, or the first deadline.
void WaitForAnswer(std::vector<pollfd>& files, Clock::time_point until) {
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
  const int timeout = static_cast<int>(std::max<long long>(0, left.count()));
  if (::poll(files.data(), files.size(), timeout) < 0 && errno != EINTR) {
    FailOfSystem("poll");
  }
}

}  // namespace

void JudgeAll(std::size_t count, const WorkerSettings& settings,
              const std::function<Verdict(std::size_t)>& judge,
              const std::function<void(std::size_t, const Verdict&)>& done) {
  // A worker that crashed is seen by its answer, not by a signal.
  ::signal(SIGPIPE, SIG_IGN);
  std::vector<std::unique_ptr<Worker>> workers;
  for (std::size_t i = 0; i < std::max<std::size_t>(1, settings.count); ++i) {
    workers.push_back(std::make_unique<Worker>(judge));
  }
  std::size_t next = 0;
  for (;;) {
    std::vector<pollfd> files;
    std::vector<Worker*> busy;
    auto until = Clock::time_point::max();
    for (const auto& worker : workers) {
      if (!worker->IsBusy() && next < count) {
        worker->Give(next++, settings.limit);
      }
      if (!worker->IsBusy()) continue;
      busy.push_back(worker.get());
      files.push_back({worker->answers(), POLLIN, 0});
      until = std::min(until, worker->deadline());
    }
    if (busy.empty()) return;
    WaitForAnswer(files, until);
    for (std::size_t i = 0; i < busy.size(); ++i) {
      Worker& worker = *busy[i];
      if (files[i].revents != 0) {
        done(worker.number(), worker.Take());
      } else if (Clock::now() >= worker.deadline()) {
        done(worker.number(), worker.GiveUp(settings.limit));
      }
    }
  }
}

}  // namespace xquery_cases
