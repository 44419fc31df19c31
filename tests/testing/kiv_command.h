#ifndef TESTING_KIV_COMMAND_H_
#define TESTING_KIV_COMMAND_H_

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "testing/running_program.h"

namespace kiv::testing {

using Words = std::vector<std::string>;

// One command of the kiv program as users run it in the current folder, and
// what it said the last time.
template <class Fixture = ::testing::Test>
class KivCommand : public Fixture {
 protected:
  explicit KivCommand(std::string name) : name_(std::move(name)) {}

  // The exit code.
  int Run(Words words, const PseudoTerminal* terminal = nullptr) {
    words.insert(words.begin(), name_);
    return Keep(
        {KIV_PROGRAM,
         words,
         {.terminal = terminal, .variables = {variable_, "NO_COLOR=1"}}});
  }
  // With redirections; $KIV is the program.
  int Shell(const std::string& command) {
    return Keep({"/bin/sh",
                 {"-c", command},
                 {.variables = {"KIV=" KIV_PROGRAM, variable_}}});
  }
  bool Says(const std::string& part) const {
    return errors_.find(part) != std::string::npos;
  }
  bool Shows(const std::string& part) const {
    return output_.find(part) != std::string::npos;
  }
  // Whether it ends with 1 and says that.
  bool Fails(const Words& words, const std::string& part) {
    return Run(words) == 1 && Says(part);
  }

  std::string variable_ = "KIV_NONE=";  // "NAME=value", for all that is run
  std::string output_;
  std::string errors_;

 private:
  int Keep(RunningProgram program) {
    const int exit_code = program.WaitForEnd();
    output_ = program.Output();
    errors_ = program.Errors();
    return exit_code;
  }

  const std::string name_;
};

}  // namespace kiv::testing

#endif  // TESTING_KIV_COMMAND_H_
