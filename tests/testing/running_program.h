#ifndef TESTING_RUNNING_PROGRAM_H_
#define TESTING_RUNNING_PROGRAM_H_

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "port/test_folder.h"
#include "testing/eventually.h"
#include "testing/pseudo_terminal.h"

namespace kiv::testing {

// A program as a user runs it, its output in files of the folder `files` or, on
// a terminal, standard output there. Killed at the end of its object, and also
// when the test, or the thread that made the object, ends before it.
class RunningProgram {
 public:
  struct Surroundings {
    // Files of their own for every program.
    std::filesystem::path files = std::filesystem::current_path();
    const PseudoTerminal* terminal = nullptr;
    // Standard input and standard error are the terminal as well.
    bool is_interactive = false;
    std::vector<std::string> variables = {};  // "NAME=value", beside ours
  };

  RunningProgram(std::string file, std::vector<std::string> arguments,
                 const Surroundings& surroundings)
      : terminal_(surroundings.terminal) {
    static int count = 0;
    const std::string stem =
        (surroundings.files / ("program" + std::to_string(++count))).string();
    output_file_ = stem + ".out";
    error_file_ = stem + ".err";
    if (::access(file.c_str(), X_OK) != 0)
      throw std::runtime_error("cannot run " + file);
    const std::string screen =
        terminal_ != nullptr ? terminal_->Device() : output_file_;
    const bool is_all = surroundings.is_interactive;
    const std::string streams[] = {is_all ? screen : "/dev/null", screen,
                                   is_all ? screen : error_file_};
    arguments.insert(arguments.begin(), file);
    std::vector<std::string> variables = surroundings.variables;
    // Of two with one name the first counts.
    for (char** variable = environ; *variable != nullptr; ++variable)
      variables.emplace_back(*variable);
    const std::vector<char*> words = Pointers(arguments);
    const std::vector<char*> environment = Pointers(variables);
    const pid_t test = ::getpid();
    process_ = ::fork();
    if (process_ == 0) Become(test, streams, words.data(), environment.data());
    if (process_ < 0) throw std::runtime_error("cannot run " + file);
  }
  ~RunningProgram() {
    if (IsRunning()) Kill();
  }
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  // So far.
  std::string Output() {
    if (terminal_ == nullptr) return ReadTestFile(output_file_);
    const int far_end = terminal_->FarEnd();
    char bytes[4096];
    for (pollfd waiting{far_end, POLLIN, 0}; ::poll(&waiting, 1, 0) > 0;) {
      const ssize_t size = ::read(far_end, bytes, sizeof bytes);
      if (size <= 0) break;
      output_.append(bytes, static_cast<std::size_t>(size));
    }
    return output_;
  }
  std::string Errors() const { return ReadTestFile(error_file_); }
  bool WaitForOutput(const std::string& part) {
    return Eventually([&] { return Output().find(part) != std::string::npos; });
  }

  void Send(int signal) const { ::kill(process_, signal); }
  // Returns when it stands still, or is over.
  void Suspend() const {
    Send(SIGSTOP);
    siginfo_t state;
    ::waitid(P_PID, static_cast<id_t>(process_), &state,
             WSTOPPED | WEXITED | WNOWAIT);
  }
  pid_t Id() const { return process_; }

  // The exit code; the negative signal that ended it; -1000, and an end by
  // force, when it does not end.
  int WaitForEnd(std::chrono::milliseconds limit = std::chrono::seconds(60)) {
    const auto has_ended = [this] {
      Output();  // a full terminal would hold it up
      return !IsRunning();
    };
    if (!Eventually(has_ended, limit)) {
      Kill();
      return -1000;
    }
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
  }

 private:
  static std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
  }
  // In the child; no more than may follow a fork of a program with threads.
  [[noreturn]] static void Become(pid_t test, const std::string (&streams)[3],
                                  char* const* words,
                                  char* const* environment) {
    // A test that died before this line is nobody's parent any more.
    if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || ::getppid() != test)
      ::_exit(126);
    for (int stream = 0; stream < 3; ++stream) {
      const int opened = ::open(streams[stream].c_str(),
                                O_RDWR | O_CREAT | O_NOCTTY | O_CLOEXEC, 0600);
      if (opened < 0 || ::dup2(opened, stream) < 0) ::_exit(126);
    }
    ::execve(words[0], words, environment);
    ::_exit(127);
  }
  bool IsRunning() {
    is_over_ = is_over_ || ::waitpid(process_, &status_, WNOHANG) != 0;
    return !is_over_;
  }
  void Kill() {
    Send(SIGKILL);
    ::waitpid(process_, &status_, 0);
    is_over_ = true;
  }

  const PseudoTerminal* const terminal_;
  std::string output_file_;
  std::string error_file_;
  std::string output_;  // of the terminal
  pid_t process_ = -1;
  bool is_over_ = false;
  int status_ = 0;
};

}  // namespace kiv::testing

#endif  // TESTING_RUNNING_PROGRAM_H_
