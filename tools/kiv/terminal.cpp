#include "terminal.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "kiv/encoding.h"

namespace kiv_tool {
namespace {

bool WantsColor() {
  static const bool wants = [] {
    const char* refusal = std::getenv("NO_COLOR");
    return IsTerminal() && (refusal == nullptr || *refusal == '\0');
  }();
  return wants;
}

const char* Escape(Color color) {
  switch (color) {
    case Color::Dim:
      return "\033[2m";
    case Color::Green:
      return "\033[32m";
    case Color::Yellow:
      return "\033[33m";
    case Color::Red:
      return "\033[31m";
    case Color::Plain:
      break;
  }
  return "";
}

void AppendPadded(std::string& out, const Cell& cell, std::size_t width) {
  const std::string blanks(width - DisplayWidth(cell.text), ' ');
  if (cell.align_right) out += blanks;
  out += Colored(cell.text, cell.color);
  if (!cell.align_right) out += blanks;
}

void AppendRow(std::string& out, const std::vector<Cell>& row,
               const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t i = 0; i < row.size(); ++i) {
    if (i > 0) line += "  ";
    AppendPadded(line, row[i], widths[i]);
  }
  line.erase(line.find_last_not_of(' ') + 1);
  out += line + '\n';
}

}  // namespace

bool IsTerminal() { return isatty(STDOUT_FILENO) == 1; }

std::string Colored(const std::string& text, Color color) {
  if (color == Color::Plain || !WantsColor()) return text;
  return Escape(color) + text + "\033[0m";
}

std::string Utf8(std::string_view local_text) {
  if (local_text.empty()) return "";
  return kiv::stringToUtf8(local_text.data(),
                           static_cast<unsigned>(local_text.size()))
      .get();
}

std::string Printable(const std::string& utf8) {
  std::string out;
  for (const char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte >= 0x20 && byte != 0x7F) || c == '\t') out += c;
  }
  return out;
}

std::string Counted(unsigned long long count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

int Confirm(const std::string& command, const std::string& question,
            bool is_confirmed) {
  if (is_confirmed) return 0;
  if (isatty(STDIN_FILENO) == 0) {
    std::cerr << "kiv " << command << ": there is nobody to ask; add --yes\n";
    return 2;
  }
  std::cout << question << " [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  if (answer == "y" || answer == "Y" || answer == "yes") return 0;
  std::cout << "nothing removed\n";
  return 1;
}

std::size_t DisplayWidth(std::string_view utf8) {
  std::size_t width = 0;
  for (const char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      width += 1;
    } else if (byte >= 0xE3) {
      width += 2;  // the first byte of U+3000 and up: full width
    } else if (byte >= 0xC0) {
      width += 1;
    }
  }
  return width;
}

std::string Table(const std::vector<std::string>& header,
                  const std::vector<std::vector<Cell>>& rows) {
  std::vector<Cell> title;
  std::vector<std::size_t> widths;
  for (std::size_t i = 0; i < header.size(); ++i) {
    const bool align_right = !rows.empty() && rows[0][i].align_right;
    title.push_back({header[i], Color::Dim, align_right});
    std::size_t width = DisplayWidth(header[i]);
    for (const auto& row : rows) {
      width = std::max(width, DisplayWidth(row[i].text));
    }
    widths.push_back(width);
  }
  std::string out;
  AppendRow(out, title, widths);
  for (const auto& row : rows) AppendRow(out, row, widths);
  return out;
}

}  // namespace kiv_tool
