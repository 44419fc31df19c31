// kiv xdb script
#include <iostream>
#include <string>
#include <vector>

#include "standard_streams.h"
#include "xdb_command.h"

namespace kiv_tool {
namespace {

// Words as a shell reads them: blanks between, '...' as it stands, "..." and
// bare words with \ before a character that stands for itself, # begins a
// comment. False when a quote is not closed.
class WordReader {
 public:
  explicit WordReader(const std::string& line) : line_(line) {}

  bool Read(std::vector<std::string>& words) {
    while (SkipBlanks()) {
      std::string word;
      if (!ReadWord(word)) return false;
      words.push_back(word);
    }
    return true;
  }

 private:
  static bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

  // False at the end.
  bool SkipBlanks() {
    while (at_ < line_.size() && IsBlank(line_[at_])) ++at_;
    return at_ < line_.size() && line_[at_] != '#';
  }

  bool ReadWord(std::string& word) {
    for (; at_ < line_.size() && !IsBlank(line_[at_]); ++at_) {
      const char c = line_[at_];
      if (c == '\'' || c == '"') {
        if (!ReadQuoted(c, word)) return false;
      } else if (c == '\\' && at_ + 1 < line_.size()) {
        word += line_[++at_];
      } else {
        word += c;
      }
    }
    return true;
  }

  bool ReadQuoted(char quote, std::string& word) {
    for (++at_; at_ < line_.size() && line_[at_] != quote; ++at_) {
      if (line_[at_] == '\\' && quote == '"' && at_ + 1 < line_.size()) ++at_;
      word += line_[at_];
    }
    return at_ < line_.size();
  }

  const std::string& line_;
  std::size_t at_ = 0;
};

}  // namespace

int RunXdbLine(XdbPlace& place, const std::string& line) {
  std::vector<std::string> words;
  if (!WordReader(line).Read(words)) {
    place.Fault("a quote is not closed");
    return 2;
  }
  return words.empty() ? 0 : RunXdbWords(place, words);
}

int XdbScript(XdbPlace& place, const XdbOptions& /*options*/) {
  if (!HasStandardInput()) return place.Fault("standard input cannot be read");
  unsigned long long number = 0;
  for (std::string line; std::getline(std::cin, line);) {
    ++number;
    place.SetCommand("script");
    const int exit_code = RunXdbLine(place, line);
    if (exit_code == 0) continue;
    std::cerr << "kiv xdb script: line " << number
              << " failed; nothing behind it was done\n";
    return exit_code;
  }
  return std::cin.bad() ? place.Fault("standard input cannot be read") : 0;
}

}  // namespace kiv_tool
