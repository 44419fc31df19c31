#include "xdb/xquery/functions/uri.h"

#include <algorithm>

namespace kiv::xdb::xq {
namespace {

bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool IsSchemeCharacter(char c) {
  return IsLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' ||
         c == '.';
}

// The scheme's length with its colon, or 0.
std::size_t SchemeLength(std::string_view text) {
  if (text.empty() || !IsLetter(text[0])) return 0;
  std::size_t at = 1;
  while (at < text.size() && IsSchemeCharacter(text[at])) ++at;
  return at < text.size() && text[at] == ':' ? at + 1 : 0;
}

// The parts of a reference with the marks that make them out; absent ones are
// empty.
struct Parts {
  std::string_view scheme;     // "http:"
  std::string_view authority;  // "//host"
  std::string_view path;
  std::string_view query;     // "?a"
  std::string_view fragment;  // "#b"
};

std::string_view CutBefore(std::string_view& rest, std::string_view marks) {
  const std::size_t at = std::min(rest.find_first_of(marks), rest.size());
  const std::string_view part = rest.substr(0, at);
  rest.remove_prefix(at);
  return part;
}

Parts Split(std::string_view text) {
  Parts parts;
  const std::size_t scheme = SchemeLength(text);
  parts.scheme = text.substr(0, scheme);
  text.remove_prefix(scheme);
  if (text.starts_with("//")) {
    const std::size_t end = std::min(text.find_first_of("/?#", 2), text.size());
    parts.authority = text.substr(0, end);
    text.remove_prefix(end);
  }
  parts.path = CutBefore(text, "?#");
  parts.query = CutBefore(text, "#");
  parts.fragment = text;
  return parts;
}

// The path, which begins with a slash, without its "." and ".." steps.
std::string WithoutDots(std::string_view path) {
  std::string clean;
  while (!path.empty()) {
    const std::size_t next = path.find('/', 1);
    const std::string_view step = path.substr(0, next);
    const bool is_last = next == std::string_view::npos;
    path.remove_prefix(step.size());
    if (step == "/." || step == "/..") {
      if (step == "/.." && !clean.empty()) clean.resize(clean.rfind('/'));
      if (is_last) clean += '/';
    } else {
      clean += step;
    }
  }
  return clean;
}

std::string Merge(const Parts& base, std::string_view path) {
  if (!base.authority.empty() && base.path.empty())
    return "/" + std::string(path);
  const std::size_t slash = base.path.rfind('/');
  const std::string_view folder =
      base.path.substr(0, slash == std::string_view::npos ? 0 : slash + 1);
  return std::string(folder) + std::string(path);
}

}  // namespace

bool IsAbsoluteUri(std::string_view reference) {
  return SchemeLength(reference) != 0;
}

std::optional<std::string> ResolveReference(std::string_view reference,
                                            std::string_view base_text) {
  if (IsAbsoluteUri(reference)) return std::string(reference);
  const Parts base = Split(base_text);
  if (base.scheme.empty()) return std::nullopt;
  const bool is_opaque = base.authority.empty() && !base.path.starts_with('/');
  if (is_opaque) return std::nullopt;

  const Parts parts = Split(reference);
  std::string result(base.scheme);
  if (!parts.authority.empty()) {
    result += parts.authority;
    result += WithoutDots(parts.path);
    result += parts.query;
  } else {
    result += base.authority;
    if (parts.path.empty()) {
      result += base.path;
      result += parts.query.empty() ? base.query : parts.query;
    } else {
      result +=
          WithoutDots(parts.path.starts_with('/') ? std::string(parts.path)
                                                  : Merge(base, parts.path));
      result += parts.query;
    }
  }
  result += parts.fragment;
  return result;
}

}  // namespace kiv::xdb::xq
