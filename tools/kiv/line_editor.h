#ifndef TOOLS_KIV_LINE_EDITOR_H_
#define TOOLS_KIV_LINE_EDITOR_H_

#include <memory>
#include <string>

namespace kiv_tool {

// Lines of a person at a terminal, who can edit them and call back earlier
// ones; or of a pipe, as they are. Text is UTF-8.
class LineEditor {
 public:
  // What was typed before is kept in `history_file`; empty: not kept.
  explicit LineEditor(const std::string& history_file);
  ~LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  // Whether both ends are a terminal.
  static bool IsAtTerminal();

  enum class Outcome { Line, End, Interrupted };
  // Without its end. The prompt is for people alone.
  Outcome Read(const std::string& prompt, std::string& line);
  // Can be called back from now on.
  void Remember(const std::string& line);

 private:
  class Impl;
  const std::unique_ptr<Impl> impl_;  // null for a pipe
};

}  // namespace kiv_tool

#endif  // TOOLS_KIV_LINE_EDITOR_H_
