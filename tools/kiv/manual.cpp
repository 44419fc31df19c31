#include "manual.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace kiv_tool {
namespace {

// What a page says of the environment, and whose pages.
struct Variable {
  std::string_view commands;  // names with a blank on either side
  const char* name;
  const char* description;
};

constexpr Variable kVariables[] = {
    {" store ", "KIV_STORE", "Where the store is, when neither option says it"},
    {" xdb ", "KIV_HISTORY",
     "The file in which the shell keeps what was typed, instead of "
     "~/.kiv_history; empty: nowhere"},
    {" host check-config ", "KIV_COM1, KIV_COM2, ...",
     "The devices of the serial ports COM1, COM2, ..."},
    {" host check-config queue ", "KIV_MSMQ_URL",
     "The broker that durable queues lie on; without it they lie in files"},
    {" host check-config queue ", "KIV_MSMQ_CA",
     "The certificates that vouch for the broker"},
    {" host check-config ", "KIV_MODULE_TRUST",
     "any: processor libraries are loaded that others may write"},
    {" host ", "KIV_PROCESSOR_ISOLATION",
     "process: processors run in processes of their own"},
    {" host ", "KIV_PROCESSOR_HOST",
     "The program of these processes, where it is not beside the library"},
    {" remote ", "ICE_CONFIG", "A file of properties of Ice, as those of TLS"},
};

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

// " (xml, plain; default xml)", or nothing.
std::string Values(const CommandTree::Option& option) {
  std::string text = option.choices;
  if (!option.fallback.empty())
    text += (text.empty() ? "default " : "; default ") + option.fallback;
  return text.empty() ? text : " (" + text + ')';
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
    text += ".TP\n" + names + "\\fR\n" + Roff(option.description) +
            Roff(Values(option)) + '\n';
  }
  return text;
}

// Prose is broken where the page wants it; lines that begin with a blank are
// examples and stay as they are.
std::string Footer(const CommandTree& command) {
  if (command.footer.empty()) return {};
  std::string text = ".PP\n";
  std::istringstream lines(command.footer);
  bool is_example = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(' ') != is_example) {
      is_example = !is_example;
      text += is_example ? ".nf\n" : ".fi\n";
    }
    text += Roff(line) + '\n';
  }
  return is_example ? text + ".fi\n" : text;
}

std::string Environment(const std::string& command) {
  std::string text;
  for (const Variable& variable : kVariables)
    if (variable.commands.find(' ' + command + ' ') != std::string_view::npos)
      text += std::string(".TP\n.B ") + variable.name + '\n' +
              Roff(variable.description) + '\n';
  return text.empty() ? text : ".SH ENVIRONMENT\n" + text;
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
  return text + Environment(command.name) + ".SH SEE ALSO\n.BR kiv (1)\n";
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
  pages[program.name + ".1"] =
      text + Footer(program) +
      ".SH ENVIRONMENT\n.TP\n.B NO_COLOR\nWhen it is set to anything, output "
      "has no colour\n";
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
