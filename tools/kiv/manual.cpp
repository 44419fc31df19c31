#include "manual.h"

#include <algorithm>
#include <sstream>

namespace kiv_tool {
namespace {

// Text as troff prints it: no line is a request, no character an escape.
std::string Roff(const std::string& text) {
  std::string out;
  bool is_line_begin = true;
  for (const char c : text) {
    if (is_line_begin && (c == '.' || c == '\'')) out += "\\&";
    is_line_begin = c == '\n';
    if (c == '\\')
      out += "\\e";
    else if (c == '-')
      out += "\\-";
    else if (c == '\n')
      out += "\n.br\n";
    else
      out += c;
  }
  return out;
}

std::string Upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  return text;
}

bool IsHelp(const CommandTree::Option& option) {
  return std::find(option.names.begin(), option.names.end(), "--help") !=
         option.names.end();
}

std::string Synopsis(const std::string& path, const CommandTree& command) {
  std::string text = ".B " + Roff(path) + '\n';
  const bool has_options =
      std::any_of(command.options.begin(), command.options.end(),
                  [](const auto& option) { return !option.is_positional; });
  if (has_options) text += "[\\fIOPTIONS\\fR]\n";
  for (const CommandTree::Option& option : command.options) {
    if (!option.is_positional) continue;
    std::string argument = "\\fI" + Roff(option.argument) + "\\fR";
    if (option.may_repeat) argument += "...";
    text += option.is_required ? argument + '\n' : "[" + argument + "]\n";
  }
  if (!command.commands.empty()) text += "\\fICOMMAND\\fR ...\n";
  return text;
}

std::string OptionList(const CommandTree& command) {
  std::string text;
  for (const CommandTree::Option& option : command.options) {
    if (IsHelp(option)) continue;
    std::string names;
    for (const std::string& name : option.names)
      names += (names.empty() ? "\\fB" : "\\fR, \\fB") + Roff(name);
    if (!option.argument.empty())
      names += (names.empty() ? "\\fI" : "\\fR \\fI") + Roff(option.argument);
    text += ".TP\n" + names + "\\fR\n" + Roff(option.description) + '\n';
  }
  return text;
}

// The footer keeps its lines: they are examples and short rules.
std::string Footer(const CommandTree& command) {
  if (command.footer.empty()) return {};
  return ".PP\n" + Roff(command.footer) + '\n';
}

std::string Head(const std::string& path, const std::string& description) {
  std::string title = path;
  std::replace(title.begin(), title.end(), ' ', '-');
  return ".TH " + Upper(title) +
         " 1 \"\" \"sharelib\" \"sharelib\"\n.SH NAME\n" + Roff(title) +
         " \\- " + Roff(description) + "\n.SH SYNOPSIS\n";
}

// What is below a command of the program.
void AddSections(const std::string& path, const CommandTree& command,
                 std::string& text) {
  for (const CommandTree& inner : command.commands) {
    const std::string inner_path = path + ' ' + inner.name;
    text += ".SS " + Roff(inner_path) + '\n' + Roff(inner.description) +
            ".\n.PP\n" + Synopsis(inner_path, inner) + OptionList(inner) +
            Footer(inner);
    AddSections(inner_path, inner, text);
  }
}

std::string Page(const std::string& path, const CommandTree& command) {
  std::string text = Head(path, command.description) + Synopsis(path, command) +
                     ".SH DESCRIPTION\n" + Roff(command.description) + ".\n" +
                     Footer(command);
  const std::string options = OptionList(command);
  if (!options.empty()) text += ".SH OPTIONS\n" + options;
  if (!command.commands.empty()) {
    text += ".SH COMMANDS\n";
    AddSections(path, command, text);
  }
  return text + ".SH SEE ALSO\n.BR kiv (1)\n";
}

// One word of the shell's.
std::string Quoted(const std::string& text) { return '\'' + text + '\''; }

void AddCases(const std::string& path, const CommandTree& command,
              std::ostream& out) {
  out << "    " << Quoted(path) << ") commands=\"";
  for (const CommandTree& inner : command.commands) out << inner.name << ' ';
  out << "\" options=\"";
  for (const CommandTree::Option& option : command.options)
    for (const std::string& name : option.names) out << name << ' ';
  out << "\" ;;\n";
  for (const CommandTree& inner : command.commands)
    AddCases(path + ' ' + inner.name, inner, out);
}

}  // namespace

std::map<std::string, std::string> ManualPages(const CommandTree& program) {
  std::map<std::string, std::string> pages;
  std::string text = Head(program.name, "runs and looks after services") +
                     Synopsis(program.name, program) + ".SH DESCRIPTION\n" +
                     Roff(program.description) + '\n' + ".SH COMMANDS\n";
  for (const CommandTree& command : program.commands) {
    const std::string name = program.name + '-' + command.name;
    text +=
        ".TP\n.BR " + Roff(name) + " (1)\n" + Roff(command.description) + '\n';
    pages[name + ".1"] = Page(program.name + ' ' + command.name, command);
  }
  pages[program.name + ".1"] = text + Footer(program);
  return pages;
}

std::string CompletionScript(const CommandTree& program) {
  std::ostringstream out;
  out << "# Completion of " << program.name << " for bash; written by "
      << program.name << " completion.\n_kiv_words() {\n  case \"$1\" in\n";
  AddCases(program.name, program, out);
  out << "  esac\n}\n"
         R"(_kiv() {
  local current=${COMP_WORDS[COMP_CWORD]} path=kiv commands options word i
  _kiv_words "$path"
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    case " $commands " in
      *" $word "*) path+=" $word"; _kiv_words "$path" ;;
    esac
  done
  case "$current" in
    -*) COMPREPLY=($(compgen -W "$options" -- "$current")) ;;
    *)
      COMPREPLY=($(compgen -W "$commands" -- "$current"))
      [ -n "$commands" ] || compopt -o default 2>/dev/null
      ;;
  esac
}
complete -F _kiv kiv
)";
  return out.str();
}

}  // namespace kiv_tool
