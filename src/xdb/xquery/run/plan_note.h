#ifndef XDB_XQUERY_RUN_PLAN_NOTE_H_
#define XDB_XQUERY_RUN_PLAN_NOTE_H_

#include <string>
#include <string_view>
#include <vector>

namespace kiv::xdb::xq {

// What a plan does, for people: much like the query, with what was made of it.
struct PlanNote {
  std::string text;
  std::vector<PlanNote> parts;  // none where the text tells all
};

// "open part, part close" where that is short, else the parts below the head.
PlanNote NoteOf(std::string_view open, std::vector<PlanNote> parts,
                std::string_view separator, std::string_view close,
                std::string_view head);
// "name(part, part)"
PlanNote NoteOfCall(std::string_view name, std::vector<PlanNote> parts);
// "left sign right"
PlanNote NoteOfSign(std::string_view sign, PlanNote left, PlanNote right);

// A line each, the parts two blanks further in.
std::string ToText(const PlanNote& note);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_PLAN_NOTE_H_
