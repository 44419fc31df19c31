#include <stdexcept>
#include <string_view>

#include "kiv/file_system.h"
#include "kiv/file_system_path.h"
#include "kiv/parser/parser.h"
#include "kiv/strings.h"
#include "parser/parser_messages.h"
#include "parser/scanner.h"
#include "util/log_entry.h"

namespace kiv {
namespace parser {
namespace {

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

// The name up to a separator, which is taken as well.
std::string_view TakeItem(Scanner& scanner) {
  const std::string_view item =
      scanner.TakeWhile([](std::string_view character) {
        return !IsSeparator(character.front());
      });
  scanner.Take(1);
  return item;
}

// `dots`: a name that begins with a dot. "." is the current path, each further
// dot its parent. `remaining` is the text as the messages show it.
bool ResolveDots(std::string_view dots, std::string_view remaining,
                 const std::string& current_path, std::string& out) {
  if (current_path.empty()) {
    LogError("parser", message::NoCurrentPath());
    return false;
  }
  const std::size_t other = dots.find_first_not_of('.');
  if (other != std::string_view::npos) {
    LogError("parser", message::NotADot(remaining, other));
    return false;
  }
  if (dots.size() == 1) {
    out = current_path;
    return true;
  }
  FileSystemPath path(current_path, FileSystemPath::native);
  for (std::size_t level = 1; level < dots.size(); ++level) {
    if (!path.has_relative_path()) {
      LogError("parser", message::AboveRoot(remaining, current_path));
      return false;
    }
    path = path.branch_path();
  }
  out = path.string();
  return true;
}

// "//" or "\\" in front of a server's name stays; a long-path prefix, \\?\,
// says nothing about the place and goes.
void TakePrefix(Scanner& scanner, std::string& out) {
  const std::string_view rest = scanner.Rest();
  if (!rest.starts_with("//") && !rest.starts_with("\\\\")) return;
  if (rest.substr(2).starts_with("?\\")) {
    scanner.Take(4);
    return;
  }
  out = "//";
  scanner.Take(2);
}

bool TakePath(Scanner& scanner, const std::string& current_path,
              std::string& out) {
  scanner.SkipBlanks();
  TakePrefix(scanner, out);
  std::string item;
  for (bool first = true; !scanner.AtEnd(); first = false) {
    const std::string_view rest = scanner.Rest();
    unsigned size;
    if (!Parser::ParseLocalPathItem(rest.data(), rest.data() + rest.size(),
                                    item, size, first, current_path)) {
      return false;
    }
    scanner.Take(size);
    if (item.empty()) continue;
    if (!out.empty() && out.back() != '/') out += '/';
    out += item;
  }
  return true;
}

}  // namespace

bool Parser::ParseLocalPathItem(const char* text, const char* end,
                                std::string& item, unsigned& consumed,
                                bool first, const std::string& currentPath) {
  consumed = 0;
  Scanner scanner(text, end);
  const std::string_view remaining = scanner.Rest();
  const std::string_view name = TakeItem(scanner);
  if (!name.starts_with('.')) {
    item = name;
  } else if (!first) {
    LogError("parser", message::DotItemNotFirst(remaining));
    return false;
  } else if (!ResolveDots(name, remaining, currentPath, item)) {
    return false;
  }
  consumed = scanner.Consumed();
  return true;
}

bool Parser::ParseLocalPath(const char* text, const char* end, std::string& out,
                            unsigned& consumed, bool generic,
                            const std::string& currentPath) {
  consumed = 0;
  out.clear();
  Scanner scanner(text, end);
  if (!TakePath(scanner, currentPath, out)) {
    out.clear();
    return false;
  }
  if (generic) toGenericPath(out, false);
  consumed = scanner.Consumed();
  return true;
}

}  // namespace parser

bool toFullPath(std::string& path, bool force, const std::string& base) {
  if (!force && !path.starts_with('.')) return true;
  std::string current = base;
  if (current.empty()) {
    try {
      current = FileSystem::current_path().string();
    } catch (const std::exception& e) {
      LogError("parser", parser::message::NoCurrentDirectory(Shown(e.what())));
      return false;
    }
  }
  std::string full;
  unsigned consumed;
  if (!parser::Parser::ParseLocalPath(path.data(), path.data() + path.size(),
                                      full, consumed, false, current)) {
    return false;
  }
  path = std::move(full);
  return true;
}

}  // namespace kiv
