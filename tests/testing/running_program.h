#ifndef TESTING_RUNNING_PROGRAM_H_
#define TESTING_RUNNING_PROGRAM_H_

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "port/test_folder.h"
#include "testing/eventually.h"
#include "testing/pseudo_terminal.h"

namespace kiv::testing {

// A program as a user runs it, its output in files of the folder `files` or, on
// a terminal, standard output there. Killed at the end of its object.
class RunningProgram {
 public:
  struct Surroundings {
    // Files of their own for every program.
    std::filesystem::path files = std::filesystem::current_path();
    const PseudoTerminal* terminal = nullptr;
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
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    const auto open = [&actions](int descriptor, const std::string& path) {
      ::posix_spawn_file_actions_addopen(&actions, descriptor, path.c_str(),
                                         O_RDWR | O_CREAT | O_NOCTTY, 0600);
    };
    open(STDIN_FILENO, "/dev/null");
    open(STDOUT_FILENO,
         terminal_ != nullptr ? terminal_->Device() : output_file_);
    open(STDERR_FILENO, error_file_);
    std::vector<char*> words{file.data()};
    for (std::string& argument : arguments) words.push_back(argument.data());
    words.push_back(nullptr);
    std::vector<std::string> variables = surroundings.variables;
    std::vector<char*> environment;
    for (std::string& variable : variables)
      environment.push_back(variable.data());
    // Of two with one name the first counts.
    for (char** variable = environ; *variable != nullptr; ++variable)
      environment.push_back(*variable);
    environment.push_back(nullptr);
    const int error = ::posix_spawn(&process_, file.c_str(), &actions, nullptr,
                                    words.data(), environment.data());
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::runtime_error("cannot run " + file);
  }
  ~RunningProgram() {
    if (IsRunning()) Kill();
  }
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  // So far.
  std::string Output() {
    if (terminal_ != nullptr) TakeFromTerminal();
    return terminal_ != nullptr ? output_ : ReadTestFile(output_file_);
  }
  std::string Errors() const { return ReadTestFile(error_file_); }
  bool WaitForOutput(const std::string& part) {
    return Eventually([&] { return Output().find(part) != std::string::npos; });
  }

  void Send(int signal) const { ::kill(process_, signal); }

  // The exit code; the negative signal that ended it; -1000, and an end by
  // force, when it does not end.
  int WaitForEnd() {
    if (!Eventually([this] {
          Output();  // a full terminal would hold it up
          return !IsRunning();
        })) {
      Kill();
      return -1000;
    }
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
  }

 private:
  bool IsRunning() {
    if (!is_over_) is_over_ = ::waitpid(process_, &status_, WNOHANG) != 0;
    return !is_over_;
  }
  void Kill() {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, &status_, 0);
    is_over_ = true;
  }
  void TakeFromTerminal() {
    const int far_end = terminal_->FarEnd();
    const int flags = ::fcntl(far_end, F_GETFL);
    ::fcntl(far_end, F_SETFL, flags | O_NONBLOCK);
    char bytes[4096];
    ssize_t size = 0;
    while ((size = ::read(far_end, bytes, sizeof bytes)) > 0)
      output_.append(bytes, static_cast<std::size_t>(size));
    ::fcntl(far_end, F_SETFL, flags);
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
