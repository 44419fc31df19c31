// What the plans tell of themselves. Conversions and checks are left out: they
// are everywhere and decide nothing.
#include "util/utf8.h"
#include "xdb/xquery/run/calls.h"
#include "xdb/xquery/run/collection.h"
#include "xdb/xquery/run/constant.h"
#include "xdb/xquery/run/constructors.h"
#include "xdb/xquery/run/conversions.h"
#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/run/flwor.h"
#include "xdb/xquery/run/index_search.h"
#include "xdb/xquery/run/joins.h"
#include "xdb/xquery/run/operators.h"
#include "xdb/xquery/run/paths.h"
#include "xdb/xquery/run/variables.h"
#include "xdb/xquery/values/cast.h"

namespace kiv::xdb::xq {
namespace {

using Notes = std::vector<PlanNote>;

// A text of a query on one line.
std::string Quoted(std::string_view text) {
  constexpr std::size_t kLongest = 40;
  std::string shown = "\"";
  for (const char c : utf8::Prefix(text, kLongest))
    shown += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
  return shown + (text.size() > kLongest ? "...\"" : "\"");
}

std::string Shown(ast::Axis axis) {
  static constexpr const char* kNames[] = {"",
                                           "descendant::",
                                           "@",
                                           "self::",
                                           "descendant-or-self::",
                                           "following-sibling::",
                                           "following::",
                                           "parent::",
                                           "ancestor::",
                                           "preceding-sibling::",
                                           "preceding::",
                                           "ancestor-or-self::"};
  return kNames[static_cast<std::size_t>(axis)];
}

std::string Shown(const NodeMatch& match) {
  switch (match.kind) {
    case NodeMatch::Kind::Any:
      return "node()";
    case NodeMatch::Kind::Name:
      return ToText(match.name);
    case NodeMatch::Kind::Uri:
      return match.name.prefix + ":*";
    case NodeMatch::Kind::Local:
      return "*:" + match.name.local;
    case NodeMatch::Kind::Type:
      break;
  }
  return ToText(match.type);
}

Notes NotesOf(const Clauses& clauses, Execution& run) {
  Notes notes;
  for (const auto& clause : clauses) notes.push_back(clause->Explain(run));
  return notes;
}

// "before operand" on one line or two.
PlanNote Behind(const std::string& before, PlanNote operand) {
  Notes parts;
  parts.push_back(std::move(operand));
  return NoteOf(before + " ", std::move(parts), "", "", before);
}

std::string Shown(const Bound& variable, const std::optional<Bound>& at) {
  std::string text = "$" + variable.name;
  if (at) text += " at $" + at->name;
  return text;
}

PlanNote NoteOfComparison(const JoinComparison& comparison, PlanNote left,
                          PlanNote right) {
  static constexpr const char* kGeneral[] = {"=", "!=", "<", "<=", ">", ">="};
  const char* const sign =
      comparison.is_general
          ? kGeneral[static_cast<std::size_t>(comparison.comparison)]
          : SymbolOf(comparison.comparison);
  return NoteOfSign(sign, std::move(left), std::move(right));
}

std::string Shown(const PathPattern& pattern) {
  std::string text;
  for (const PatternStep& step : pattern) {
    if (step.is_any_depth)
      text += "//";
    else if (!text.empty())
      text += "/";
    if (step.match.principal == NodeKind::Attribute) text += "@";
    text += Shown(step.match);
  }
  return text;
}

std::string Estimated(const IndexCondition& leaf, const CollectionIndex& index,
                      Execution& run) {
  if (!leaf.is_constant) return "";
  std::vector<Value> slots(leaf.slot_end);
  const auto rows =
      IndexSearch({&run, slots.data(), nullptr}, index).Estimate(leaf);
  if (!rows) return ": it has not all of these";
  return ": " + std::to_string(*rows) + (*rows == 1 ? " row" : " rows");
}

// What the index of a collection is asked for, and how many rows that may be.
PlanNote NoteOfIndex(const IndexCondition& condition,
                     const CollectionIndex* index, Execution& run) {
  if (condition.kind != IndexCondition::Kind::Leaf) {
    const bool is_any = condition.kind == IndexCondition::Kind::Any;
    PlanNote note{is_any ? "any of" : "all of", {}};
    for (const IndexCondition& part : condition.parts)
      note.parts.push_back(NoteOfIndex(part, index, run));
    return note;
  }
  const std::string path = Shown(condition.pattern);
  PlanNote note{"index " + path, {}};
  if (condition.compared) {
    note =
        NoteOfComparison({condition.comparison, !condition.is_single},
                         {std::move(note)}, condition.compared->Explain(run));
  } else if (condition.test) {
    const PlanNote test = condition.test->Explain(run);
    if (test.parts.empty())
      note.text += " where " + test.text;
    else
      note.parts.push_back(test);
  }
  if (index != nullptr) note.text += Estimated(condition, *index, run);
  return note;
}

}  // namespace

std::vector<PlanNote> NotesOf(const std::vector<PlanPtr>& plans,
                              Execution& run) {
  Notes notes;
  for (const PlanPtr& plan : plans) notes.push_back(plan->Explain(run));
  return notes;
}

// ----------------------------------------------------------------- small plans

PlanNote ConstantPlan::Explain(Execution&) const {
  if (item_.IsNone()) return {"()", {}};
  const std::string text = TextOf(item_);
  if (IsText(item_.type())) return {Quoted(text), {}};
  if (item_.type() == Type::Boolean) return {text + "()", {}};
  return {text, {}};
}

PlanNote VariablePlan::Explain(Execution&) const { return {"$" + name_, {}}; }

PlanNote GlobalPlan::Explain(Execution&) const {
  return {"$" + ToText(variable_.name), {}};
}

PlanNote UserCallPlan::Explain(Execution& run) const {
  return NoteOfCall(ToText(function_.name), NotesOf(arguments_, run));
}

PlanNote ContextItemPlan::Explain(Execution&) const { return {".", {}}; }

PlanNote RootPlan::Explain(Execution&) const { return {"root()", {}}; }

// ----------------------------------------------------------------------- paths

PlanNote AxisPlan::Explain(Execution&) const {
  return {Shown(axis_) + Shown(match_), {}};
}

PlanNote CollectionPlan::Explain(Execution& run) const {
  Notes arguments;
  if (uri_) arguments.push_back(uri_->Explain(run));
  PlanNote note = NoteOfCall("collection", std::move(arguments));
  const auto* constant = dynamic_cast<const ConstantPlan*>(uri_.get());
  DocumentSource* const source = run.surroundings().documents;
  const CollectionIndex* index = nullptr;
  if (source != nullptr && constant != nullptr)
    index = source->IndexOf(AbsoluteUri({&run, nullptr, nullptr},
                                        constant->item().AsText(), "FODC0004"));
  else if (source != nullptr && !uri_)
    index = source->IndexOf("");
  for (const IndexCondition& part : wanted_.parts)
    note.parts.push_back(NoteOfIndex(part, index, run));
  return note;
}

PlanNote FilterPlan::Explain(Execution& run) const {
  Notes parts;
  parts.push_back(base_->Explain(run));
  parts.push_back(predicate_->Explain(run));
  return NoteOf("", std::move(parts), "[", "]", "filter");
}

PlanNote ReversePlan::Explain(Execution& run) const {
  return NoteOfCall("reverse", {base_->Explain(run)});
}

PlanNote PathPlan::Explain(Execution& run) const {
  Notes parts;
  parts.push_back(left_->Explain(run));
  parts.push_back(right_->Explain(run));
  PlanNote path = NoteOf("", std::move(parts), "/", "", "path");
  return must_sort_ ? NoteOfCall("sort", {std::move(path)}) : path;
}

PlanNote SortedNodesPlan::Explain(Execution& run) const {
  return NoteOfCall("sort", {base_->Explain(run)});
}

// ------------------------------------------------------------------- operators

PlanNote SequencePlan::Explain(Execution& run) const {
  return NoteOf("(", NotesOf(parts_, run), ", ", ")", "sequence");
}

PlanNote RangePlan::Explain(Execution& run) const {
  return NoteOfSign("to", first_->Explain(run), last_->Explain(run));
}

PlanNote LogicPlan::Explain(Execution& run) const {
  const std::string word = is_or_ ? "or" : "and";
  return NoteOf("(", NotesOf(operands_, run), " " + word + " ", ")", word);
}

PlanNote ArithmeticPlan::Explain(Execution& run) const {
  return NoteOfSign(SymbolOf(op_), left_->Explain(run), right_->Explain(run));
}

PlanNote SignPlan::Explain(Execution& run) const {
  return NoteOfCall(is_negative_ ? "-" : "+", {operand_->Explain(run)});
}

PlanNote ValueComparisonPlan::Explain(Execution& run) const {
  return NoteOfComparison({comparison_, false}, left_->Explain(run),
                          right_->Explain(run));
}

PlanNote GeneralComparisonPlan::Explain(Execution& run) const {
  return NoteOfComparison({comparison_, true}, left_->Explain(run),
                          right_->Explain(run));
}

PlanNote NodeComparisonPlan::Explain(Execution& run) const {
  static constexpr const char* kSigns[] = {"is", "<<", ">>"};
  return NoteOfSign(kSigns[static_cast<std::size_t>(relation_)],
                    left_->Explain(run), right_->Explain(run));
}

PlanNote SetPlan::Explain(Execution& run) const {
  return NoteOfSign(is_except_ ? "except" : "intersect", left_->Explain(run),
                    right_->Explain(run));
}

PlanNote IfPlan::Explain(Execution& run) const {
  Notes parts;
  parts.push_back(condition_->Explain(run));
  parts.push_back(Behind("then", then_->Explain(run)));
  parts.push_back(Behind("else", otherwise_->Explain(run)));
  return NoteOf("if ", std::move(parts), " ", "", "if");
}

PlanNote InstancePlan::Explain(Execution& run) const {
  return NoteOfSign("instance of", operand_->Explain(run), {ToText(type_), {}});
}

PlanNote CastPlan::Explain(Execution& run) const {
  return NoteOfCall(NameOf(type_), {operand_->Explain(run)});
}

PlanNote CastablePlan::Explain(Execution& run) const {
  return NoteOfSign("castable as", operand_->Explain(run), {NameOf(type_), {}});
}

PlanNote TypeswitchPlan::Explain(Execution& run) const {
  PlanNote note{"typeswitch", {operand_->Explain(run)}};
  for (std::size_t i = 0; i < cases_.size(); ++i) {
    const bool is_default = i + 1 == cases_.size();
    note.parts.push_back(
        Behind(is_default ? "default" : "case " + ToText(cases_[i].type),
               cases_[i].result->Explain(run)));
  }
  return note;
}

// --------------------------------------------------------------- FLWOR, joins

PlanNote ForClause::Explain(Execution& run) const {
  return Behind("for " + Shown(item_, at_) + " in", operand_->Explain(run));
}

PlanNote LetClause::Explain(Execution& run) const {
  return Behind("let $" + variable_.name + " :=", operand_->Explain(run));
}

PlanNote WhereClause::Explain(Execution& run) const {
  return Behind("where", condition_->Explain(run));
}

PlanNote OrderByClause::Explain(Execution& run) const {
  Notes keys;
  for (const Key& key : keys_) {
    PlanNote note = key.plan->Explain(run);
    if (key.is_descending)
      note = NoteOf("", {std::move(note)}, "", " descending", "descending");
    keys.push_back(std::move(note));
  }
  return NoteOf("order by ", std::move(keys), ", ", "", "order by");
}

PlanNote JoinClause::Explain(Execution& run) const {
  PlanNote note{"join by a table", {}};
  note.parts.push_back(
      Behind("for " + Shown(item_, at_) + " in", operand_->Explain(run)));
  note.parts.push_back(Behind(
      "where", NoteOfComparison(sides_.comparison, sides_.probe->Explain(run),
                                sides_.key->Explain(run))));
  return note;
}

PlanNote FlworPlan::Explain(Execution& run) const {
  PlanNote note{"flwor", NotesOf(clauses_, run)};
  note.parts.push_back(Behind("return", result_->Explain(run)));
  return note;
}

PlanNote QuantifiedPlan::Explain(Execution& run) const {
  PlanNote note{is_every_ ? "every" : "some", NotesOf(clauses_, run)};
  if (condition_)
    note.parts.push_back(Behind("satisfies", condition_->Explain(run)));
  return note;
}

PlanNote MemoPlan::Explain(Execution& run) const {
  PlanNote note = operand_->Explain(run);
  return is_enabled_ ? NoteOfCall("once", {std::move(note)}) : note;
}

PlanNote MemberPlan::Explain(Execution& run) const {
  return NoteOfComparison(sides_.comparison, sides_.probe->Explain(run),
                          NoteOfCall("table", {sides_.key->Explain(run)}));
}

// ---------------------------------------------------------------- constructors

namespace {

// What is in a node: characters are no news.
Notes NotesOf(const std::vector<ContentPart>& content, Execution& run) {
  Notes notes;
  for (const ContentPart& part : content)
    if (part.plan) notes.push_back(part.plan->Explain(run));
  return notes;
}

PlanNote NoteOfNode(const std::string& kind, const ConstructedName& name,
                    Notes content, Execution& run) {
  std::string head = kind;
  if (name.plan)
    content.insert(content.begin(), Behind("named", name.plan->Explain(run)));
  else if (!name.name.local.empty())
    head += " " + ToText(name.name);
  return NoteOf(head + " {", std::move(content), ", ", "}", head);
}

}  // namespace

PlanNote ElementPlan::Explain(Execution& run) const {
  return NoteOfNode("element", name_, NotesOf(content_, run), run);
}

PlanNote DocumentPlan::Explain(Execution& run) const {
  return NoteOfNode("document", {}, NotesOf(content_, run), run);
}

PlanNote LeafPlan::Explain(Execution& run) const {
  const char* const kind = kind_ == ItemKind::Attribute ? "attribute"
                           : kind_ == ItemKind::Text    ? "text"
                           : kind_ == ItemKind::ProcessingInstruction
                               ? "processing-instruction"
                               : "comment";
  return NoteOfNode(kind, name_, NotesOf(value_, run), run);
}

}  // namespace kiv::xdb::xq
