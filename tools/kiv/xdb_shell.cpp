// kiv xdb shell
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>
#include <vector>

#include "line_editor.h"
#include "xdb_asking.h"
#include "xdb_command.h"

namespace kiv_tool {
namespace {

constexpr char kHelp[] =
    "A query is asked when it is whole; an empty line asks it as it is.\n"
    "  :explain QUERY        what it would do\n"
    "  :var NAME=TEXT        a variable, $NAME; NAME:=QUERY for other values\n"
    "  :ns PREFIX=URI        a namespace\n"
    "  :plain  :xml          nodes as their text, or as XML\n"
    "  :time                 how long each query takes, or no longer\n"
    "  :ls, :put, :get, ...  the commands of kiv xdb; :ls --help tells more\n"
    "  :quit                 or Ctrl+D. Ctrl+C ends the query that runs\n";

// Not kept where there is no home, or KIV_HISTORY is empty.
std::string HistoryFile() {
  if (const char* const file = std::getenv("KIV_HISTORY")) return file;
  const char* const home = std::getenv("HOME");
  return home == nullptr || *home == '\0' ? ""
                                          : std::string(home) + "/.kiv_history";
}

bool IsBlank(const std::string& text) {
  return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

class Shell {
 public:
  Shell(XdbPlace& place, XdbAsking& asking)
      : place_(place), asking_(asking), editor_(HistoryFile()) {}

  // Whether all went well.
  bool Run() {
    if (LineEditor::IsAtTerminal())
      std::cout << "A query, or :help. Ctrl+D ends.\n";
    for (;;) {
      std::string line;
      const LineEditor::Outcome outcome =
          editor_.Read(query_.empty() ? "kiv> " : "...> ", line);
      if (outcome == LineEditor::Outcome::Interrupted) {
        query_.clear();
        continue;
      }
      const bool is_end = outcome == LineEditor::Outcome::End;
      if (!is_end && !IsBlank(line)) editor_.Remember(line);
      if (is_end && !IsBlank(query_)) Ask(false);
      if (is_end || !Take(line)) return is_well_;
    }
  }

 private:
  // False to end.
  bool Take(const std::string& line) {
    if (query_.empty() && line.starts_with(':')) return Obey(line.substr(1));
    const bool is_blank = IsBlank(line);
    if (is_blank && IsBlank(query_)) return true;
    query_ += query_.empty() ? line : "\n" + line;
    Ask(!is_blank);
    return true;
  }

  void Ask(bool may_go_on) {
    const XdbAsking::Answer answer = asking_.Ask(query_, may_go_on);
    if (answer == XdbAsking::Answer::Unfinished) return;
    is_well_ &= answer == XdbAsking::Answer::Given;
    query_.clear();
  }

  bool Obey(const std::string& line) {
    const std::size_t end = line.find_first_of(" \t");
    const std::string word = line.substr(0, end);
    const std::size_t begin = line.find_first_not_of(" \t", end);
    const std::string rest =
        begin == std::string::npos ? "" : line.substr(begin);
    if (word == "quit" || word == "q" || word == "exit") return false;
    if (word == "help") {
      std::cout << kHelp;
    } else if (word == "explain") {
      asking_.explains = true;
      is_well_ &= asking_.Ask(rest) == XdbAsking::Answer::Given;
      asking_.explains = false;
    } else if (word == "var") {
      is_well_ &= asking_.SetVariable(rest);
    } else if (word == "ns") {
      is_well_ &= asking_.SetNamespace(rest);
    } else if (word == "plain" || word == "xml") {
      asking_.is_plain = word == "plain";
    } else if (word == "time") {
      asking_.shows_time = !asking_.shows_time;
    } else {
      is_well_ &= RunXdbLine(place_, line) == 0;
      place_.SetCommand("shell");
    }
    return true;
  }

  XdbPlace& place_;
  XdbAsking& asking_;
  LineEditor editor_;
  std::string query_;  // the lines so far
  bool is_well_ = true;
};

}  // namespace

int XdbShell(XdbPlace& place, const XdbOptions& options) {
  XdbAsking asking(place);
  if (!asking.Start(options)) return 1;
  return Shell(place, asking).Run() ? 0 : 1;
}

}  // namespace kiv_tool
