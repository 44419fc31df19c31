#ifndef KIV_SESSION_H_
#define KIV_SESSION_H_

#include <fnmatch.h>

#include <string>
#include <utility>
#include <vector>

#include "testing/kiv_command.h"

namespace kiv::testing {

// A pattern as a shell has it: * is any text.
inline bool Matches(const std::string& text, const std::string& pattern) {
  return ::fnmatch(pattern.c_str(), text.c_str(), FNM_NOESCAPE) == 0;
}

inline void ExpectMatch(const std::string& text, const std::string& pattern) {
  EXPECT_TRUE(Matches(text, pattern)) << text << "-- instead of --\n"
                                      << pattern;
}

// What is typed in a shell behind "kiv NAME", and what comes back.
template <class Fixture = ::testing::Test>
class KivSession : public KivCommand<Fixture> {
 protected:
  using Steps = std::vector<std::pair<std::string, std::string>>;

  explicit KivSession(const std::string& name)
      : KivCommand<Fixture>(name), start_("$KIV " + name + ' ') {}

  // "CODE: OUTPUT! ERRORS", of which nothing stands there that is 0 or empty.
  std::string Kiv(const std::string& words) {
    const int code = this->Shell(start_ + words);
    return (code == 0 ? "" : std::to_string(code) + ": ") + this->output_ +
           (this->errors_.empty() ? "" : "! " + this->errors_);
  }
  // The answers are patterns.
  void Expect(const Steps& steps) {
    for (const auto& [words, answer] : steps) {
      SCOPED_TRACE(start_ + words);
      ExpectMatch(Kiv(words), answer);
    }
  }

 private:
  const std::string start_;
};

struct OwnTerminal {
  PseudoTerminal own_terminal;
};

// A program with a terminal for its input, output and errors.
class AtTerminal : private OwnTerminal, public RunningProgram {
 public:
  explicit AtTerminal(const Words& words, const Words& variables = {},
                      const std::string& program = KIV_PROGRAM)
      : RunningProgram(program, words,
                       {.terminal = &own_terminal,
                        .is_interactive = true,
                        .variables = variables}) {}

  // Types it and waits for what comes behind all that was waited for before.
  void Type(const std::string& keys, const std::string& shown) {
    own_terminal.Send(keys);
    EXPECT_TRUE(Eventually([&] {
      const std::size_t found = Output().find(shown, seen_);
      if (found != std::string::npos) seen_ = found + shown.size();
      return found != std::string::npos;
    })) << Output();
  }

 private:
  std::size_t seen_ = 0;
};

}  // namespace kiv::testing

#endif  // KIV_SESSION_H_
