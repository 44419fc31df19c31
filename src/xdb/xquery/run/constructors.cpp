#include "xdb/xquery/run/constructors.h"

#include "xdb/xquery/run/nodes.h"
#include "xdb/xquery/values/cast.h"

namespace kiv::xdb::xq {
namespace {

// Adjacent values are one text with spaces between them, nodes are copied.
void WriteItems(const Plan& plan, const Frame& frame, NodeWriter& out,
                const CopyModes& modes) {
  const IteratorPtr items = plan.Open(frame);
  Item item;
  bool is_behind_value = false;
  std::string text;
  while (items->Next(item)) {
    if (item.IsNode()) {
      out.Copy(item, modes);
      is_behind_value = false;
      continue;
    }
    text.assign(is_behind_value ? 1 : 0, ' ');
    AppendTextOf(item, text);
    out.Text(text);
    is_behind_value = true;
  }
}

// What is written in place is as a copy of it would be, if a copy keeps its
// namespaces.
void WriteContent(const std::vector<ContentPart>& content, const Frame& frame,
                  NodeWriter& out, const CopyModes& modes) {
  for (const ContentPart& part : content) {
    if (!part.plan) {
      out.Text(part.text);
    } else if (const auto* constructor =
                   dynamic_cast<const ConstructorPlan*>(part.plan.get());
               constructor != nullptr && constructor->IsPart() &&
               (part.is_nested || modes.preserve)) {
      if (part.is_nested) out.NestNext();
      constructor->Write(frame, out);
    } else {
      WriteItems(*part.plan, frame, out, modes);
    }
  }
}

QName NameOfText(const Item& value, const ConstructionContext& context,
                 bool is_element) {
  const std::string text(TrimSpace(value.AsText()));
  std::string_view prefix, local;
  if (!SplitQName(text, prefix, local))
    throw Error("XQDY0074", "\"" + text + "\" is no name");
  QName name{std::string(prefix), "", std::string(local)};
  if (prefix.empty() && !is_element) return name;
  const auto found = context.namespaces.find(prefix);
  if (found != context.namespaces.end())
    name.uri = found->second;
  else if (!prefix.empty())
    throw Error("XQDY0074", "the prefix of " + text + " is not declared");
  return name;
}

}  // namespace

QName ConstructedName::Get(const Frame& frame,
                           const ConstructionContext& context,
                           bool is_element) const {
  if (!plan) return name;
  const Item value = plan->One(frame);
  QName result;
  if (value.type() == Type::QName) {
    result = value.AsQName();
  } else if (IsString(value.type()) || value.type() == Type::UntypedAtomic) {
    result = NameOfText(value, context, is_element);
  } else {
    throw Error("XPTY0004", "a name must be a string or an xs:QName",
                plan->position);
  }
  const bool is_xmlns =
      result.prefix == "xmlns" || result.uri == kXmlnsNamespace ||
      (!is_element && result.uri.empty() && result.local == "xmlns");
  const bool is_bad_xml =
      (result.prefix == "xml") != (result.uri == kXmlNamespace);
  if (is_xmlns || (is_bad_xml && !result.prefix.empty())) {
    throw Error(is_element ? "XQDY0096" : "XQDY0044",
                "a name that belongs to namespaces", plan->position);
  }
  return result;
}

ConstructorPlan::ConstructorPlan(ItemKind kind, ConstructionContextPtr context)
    : context_(std::move(context)) {
  properties.type = {ItemType::OfKind(kind), Occurrence::One};
  properties.is_ordered = properties.is_disjoint = true;
}

Item ConstructorPlan::Compute(const Frame& frame) const {
  NodeWriter out(*frame.run, context_->base_uri);
  Write(frame, out);
  return out.Take();
}

ElementPlan::ElementPlan(
    ConstructedName name,
    std::vector<std::pair<std::string, std::string>> namespaces,
    std::vector<ContentPart> content, ConstructionContextPtr context)
    : ConstructorPlan(ItemKind::Element, std::move(context)),
      name_(std::move(name)),
      namespaces_(std::move(namespaces)),
      content_(std::move(content)) {}

void ElementPlan::Write(const Frame& frame, NodeWriter& out) const {
  out.StartElement(name_.Get(frame, *context_, true));
  for (const auto& [prefix, uri] : namespaces_)
    out.DeclareNamespace(prefix, uri);
  if (!context_->modes.inherit) out.InheritNothing();
  WriteContent(content_, frame, out, context_->modes);
  out.End();
}

DocumentPlan::DocumentPlan(PlanPtr content, ConstructionContextPtr context)
    : ConstructorPlan(ItemKind::Document, std::move(context)) {
  content_.push_back({"", std::move(content)});
}

void DocumentPlan::Write(const Frame& frame, NodeWriter& out) const {
  out.StartDocument();
  WriteContent(content_, frame, out, context_->modes);
  out.End();
}

LeafPlan::LeafPlan(ItemKind kind, ConstructedName name,
                   std::vector<ContentPart> value,
                   ConstructionContextPtr context)
    : ConstructorPlan(kind, std::move(context)),
      kind_(kind),
      name_(std::move(name)),
      value_(std::move(value)) {
  if (kind == ItemKind::Text) properties.type.occurrence = Occurrence::Optional;
}

// `is_there`: whether the content is more than an empty sequence.
std::string LeafPlan::Join(const Frame& frame, bool& is_there) const {
  std::string text;
  MemoryCharge charge;
  is_there = false;
  for (const ContentPart& part : value_) {
    if (!part.plan) {
      text += part.text;
      is_there = true;
      continue;
    }
    const IteratorPtr items = part.plan->Open(frame);
    Item item;
    for (bool is_first = true; items->Next(item); is_first = false) {
      if (!is_first) text += ' ';
      AppendTextOf(item, text);
      charge.GrowTo(text.capacity());
      is_there = true;
    }
  }
  return text;
}

void LeafPlan::Write(const Frame& frame, NodeWriter& out) const {
  if (kind_ == ItemKind::ProcessingInstruction)
    return WriteInstruction(frame, out);
  QName name;
  if (kind_ == ItemKind::Attribute) name = name_.Get(frame, *context_, false);
  bool is_there;
  std::string text = Join(frame, is_there);
  if (kind_ == ItemKind::Text) {
    out.Text(text);
  } else if (kind_ == ItemKind::Comment) {
    if (text.find("--") != std::string::npos || text.ends_with('-'))
      throw Error("XQDY0072", "a comment with \"--\" or with \"-\" at its end");
    out.Comment(text);
  } else {
    if (name.uri == kXmlNamespace && name.local == "id") {
      std::string room;
      text = std::string(NormalizeSpace(text, Type::Token, room));
    }
    out.Attribute(name, text);
  }
}

void LeafPlan::WriteInstruction(const Frame& frame, NodeWriter& out) const {
  std::string target = name_.name.local;
  if (name_.plan) {
    const Item value = name_.plan->One(frame);
    if (!IsString(value.type()) && value.type() != Type::UntypedAtomic) {
      throw Error("XPTY0004", "the target of an instruction must be a string",
                  name_.plan->position);
    }
    target = TrimSpace(value.AsText());
    if (!IsNcName(target))
      throw Error("XQDY0041", "\"" + target + "\" is no name of one part");
  }
  if (target.size() == 3 && (target[0] | 32) == 'x' &&
      (target[1] | 32) == 'm' && (target[2] | 32) == 'l') {
    throw Error("XQDY0064", "an instruction cannot be named xml");
  }
  bool is_there;
  std::string text = Join(frame, is_there);
  if (text.find("?>") != std::string::npos)
    throw Error("XQDY0026", "an instruction with \"?>\" in it");
  text.erase(0, text.find_first_not_of(" \t\r\n"));
  out.Instruction(target, text);
}

Item LeafPlan::Compute(const Frame& frame) const {
  if (kind_ != ItemKind::Text) return ConstructorPlan::Compute(frame);
  bool is_there;
  const std::string text = Join(frame, is_there);
  if (!is_there) return {};
  NodeWriter out(*frame.run, context_->base_uri);
  out.OnlyText(text);
  return out.Take();
}

}  // namespace kiv::xdb::xq
