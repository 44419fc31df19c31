#ifndef TOOLS_KIV_TERMINAL_H_
#define TOOLS_KIV_TERMINAL_H_

#include <string>
#include <string_view>
#include <vector>

namespace kiv_tool {

enum class Color { Plain, Dim, Green, Yellow, Red };

// True when standard output is a terminal.
bool IsTerminal();
// `text` in the colour, on a terminal and without NO_COLOR.
std::string Colored(const std::string& text, Color color);

// Local encoding to the UTF-8 that a terminal shows.
std::string Utf8(std::string_view local_text);

// Without the control bytes that could steer the terminal; tabs stay.
std::string Printable(const std::string& utf8);

// "1 message", "2 messages".
std::string Counted(unsigned long long count, const char* what);

// 0 to go on, else the exit code. `command` is that of kiv, for what is said
// where nobody can be asked.
int Confirm(const std::string& command, const std::string& question,
            bool is_confirmed);

// Columns that a terminal gives the UTF-8 text: two for a Chinese character.
std::size_t DisplayWidth(std::string_view utf8);

struct Cell {
  std::string text;  // UTF-8
  Color color = Color::Plain;
  bool align_right = false;
};

// Rows under a header, columns as wide as their widest cell, two blanks apart.
std::string Table(const std::vector<std::string>& header,
                  const std::vector<std::vector<Cell>>& rows);

}  // namespace kiv_tool

#endif  // TOOLS_KIV_TERMINAL_H_
