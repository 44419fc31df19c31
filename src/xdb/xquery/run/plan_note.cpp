#include "xdb/xquery/run/plan_note.h"

#include <algorithm>
#include <utility>

namespace kiv::xdb::xq {
namespace {

constexpr std::size_t kLongestLine = 76;

void Write(const PlanNote& note, std::size_t depth, std::string& text) {
  text.append(depth * 2, ' ');
  text += note.text;
  text += '\n';
  for (const PlanNote& part : note.parts) Write(part, depth + 1, text);
}

}  // namespace

PlanNote NoteOf(std::string_view open, std::vector<PlanNote> parts,
                std::string_view separator, std::string_view close,
                std::string_view head) {
  std::string line(open);
  bool is_short = true;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) line += separator;
    line += parts[i].text;
    is_short &= parts[i].parts.empty() && line.size() <= kLongestLine;
  }
  line += close;
  if (parts.empty() || (is_short && line.size() <= kLongestLine))
    return {std::move(line), {}};
  return {std::string(head), std::move(parts)};
}

PlanNote NoteOfCall(std::string_view name, std::vector<PlanNote> parts) {
  return NoteOf(std::string(name) + "(", std::move(parts), ", ", ")", name);
}

PlanNote NoteOfSign(std::string_view sign, PlanNote left, PlanNote right) {
  std::vector<PlanNote> parts;
  parts.push_back(std::move(left));
  parts.push_back(std::move(right));
  return NoteOf("", std::move(parts), " " + std::string(sign) + " ", "", sign);
}

std::string ToText(const PlanNote& note) {
  std::string text;
  Write(note, 0, text);
  return text;
}

}  // namespace kiv::xdb::xq
