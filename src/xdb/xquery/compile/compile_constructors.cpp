#include <algorithm>

#include "xdb/xquery/compile/compiler.h"
#include "xdb/xquery/run/constant.h"
#include "xdb/xquery/run/conversions.h"
#include "xdb/xquery/run/nodes.h"
#include "xdb/xquery/values/lexical.h"

namespace kiv::xdb::xq {
namespace {

void CheckDeclaration(const ast::NamespaceAttribute& one) {
  const bool is_xml = one.prefix == "xml";
  if (one.prefix == "xmlns" || one.uri == kXmlnsNamespace ||
      is_xml != (one.uri == kXmlNamespace)) {
    throw Error("XQST0070", "xml and xmlns cannot be declared", one.position);
  }
  if (!one.prefix.empty() && one.uri.empty()) {
    throw Error("XQST0085", "a prefix cannot be taken out of scope",
                one.position);
  }
  if (!IsUri(one.uri)) {
    throw Error("XQST0046", "\"" + one.uri + "\" is no URI", one.position);
  }
}

}  // namespace

// What the direct constructors around declare, which is in scope of every
// element that is made in them.
std::vector<std::pair<std::string, std::string>> Compiler::EnclosingNamespaces()
    const {
  std::vector<std::pair<std::string, std::string>> found;
  for (std::size_t i = namespaces_.size(); i > prolog_namespaces_; --i) {
    const auto& entry = namespaces_[i - 1];
    const bool is_known =
        std::any_of(found.begin(), found.end(),
                    [&](const auto& one) { return one.first == entry.first; });
    if (!is_known) found.push_back(entry);
  }
  return found;
}

// `is_value`: of an attribute, where values count and no nodes.
std::vector<ContentPart> Compiler::Content(const std::vector<ast::Part>& parts,
                                           bool is_value) {
  std::vector<ContentPart> content;
  for (const ast::Part& part : parts) {
    ContentPart& made = content.emplace_back();
    made.text = part.text;
    if (!part.expr) continue;
    made.plan = Compile(part.expr);
    if (is_value) made.plan = Atomize(std::move(made.plan));
    // An enclosed expression begins behind its brace.
    made.is_nested = part.expr->kind == ast::ExprKind::DirectElement &&
                     part.expr->position == part.position;
  }
  return content;
}

void Compiler::CheckAttributes(const ast::DirectElement& expr) const {
  std::vector<QName> names;
  for (const ast::DirectAttribute& attribute : expr.attributes) {
    QName name = Resolve(attribute.name, "");
    if (std::find(names.begin(), names.end(), name) != names.end()) {
      throw Error("XQST0040", "the attribute " + name.local + " twice",
                  attribute.name.position);
    }
    names.push_back(std::move(name));
  }
}

PlanPtr Compiler::operator()(const ast::DirectElement& expr) {
  const std::size_t outer = namespaces_.size();
  const ConstructionContextPtr outer_construction = construction_;
  for (const ast::NamespaceAttribute& one : expr.namespaces) {
    CheckDeclaration(one);
    if (one.prefix == "xml") continue;
    namespaces_.emplace_back(one.prefix, one.uri);
    construction_ = nullptr;
  }
  CheckAttributes(expr);
  const QName name = Resolve(expr.name, default_element_namespace());
  std::vector<ContentPart> content;
  for (const ast::DirectAttribute& attribute : expr.attributes) {
    auto plan = std::make_unique<LeafPlan>(
        ItemKind::Attribute,
        ConstructedName{Resolve(attribute.name, ""), nullptr},
        Content(attribute.value, true), Construction());
    plan->position = attribute.name.position;
    content.push_back({"", std::move(plan)});
  }
  for (ContentPart& part : Content(expr.content, false))
    content.push_back(std::move(part));
  auto plan = std::make_unique<ElementPlan>(ConstructedName{name, nullptr},
                                            EnclosingNamespaces(),
                                            std::move(content), Construction());
  namespaces_.resize(outer);
  construction_ = outer_construction;
  return plan;
}

PlanPtr Compiler::operator()(const ast::DirectComment& expr) {
  std::vector<ContentPart> value;
  value.push_back({expr.text, nullptr});
  return std::make_unique<LeafPlan>(ItemKind::Comment, ConstructedName{},
                                    std::move(value), Construction());
}

PlanPtr Compiler::operator()(const ast::DirectInstruction& expr) {
  std::vector<ContentPart> value;
  value.push_back({expr.text, nullptr});
  return std::make_unique<LeafPlan>(
      ItemKind::ProcessingInstruction,
      ConstructedName{{"", "", expr.target}, nullptr}, std::move(value),
      Construction());
}

ConstructedName Compiler::NameOf(const ast::ComputedNode& expr,
                                 bool is_element) {
  ConstructedName name;
  if (expr.name_expr) {
    name.plan = Check(Atomize(Compile(expr.name_expr)),
                      {ItemType::OfAtomic(Type::AnyAtomic), Occurrence::One},
                      "XPTY0004", "the name of a node");
    return name;
  }
  if (expr.node == ast::ConstructedKind::ProcessingInstruction) {
    name.name.local = expr.name.local;
    return name;
  }
  name.name = Resolve(expr.name, is_element ? default_element_namespace() : "");
  if (name.name.prefix == "xmlns" ||
      (!is_element && name.name.prefix.empty() && name.name.local == "xmlns")) {
    throw Error("XQDY0044", "a name that belongs to namespaces", expr.position);
  }
  return name;
}

PlanPtr Compiler::operator()(const ast::ComputedNode& expr) {
  using Kind = ast::ConstructedKind;
  PlanPtr content = expr.content ? Compile(expr.content)
                                 : std::make_unique<ConstantPlan>(Item());
  if (expr.node == Kind::Document)
    return std::make_unique<DocumentPlan>(std::move(content), Construction());
  const bool is_element = expr.node == Kind::Element;
  ConstructedName name;
  if (is_element || expr.node == Kind::Attribute ||
      expr.node == Kind::ProcessingInstruction) {
    name = NameOf(expr, is_element);
  }
  if (!is_element) content = Atomize(std::move(content));
  std::vector<ContentPart> parts;
  parts.push_back({"", std::move(content)});
  if (is_element) {
    return std::make_unique<ElementPlan>(std::move(name), EnclosingNamespaces(),
                                         std::move(parts), Construction());
  }
  const ItemKind kind = expr.node == Kind::Attribute ? ItemKind::Attribute
                        : expr.node == Kind::Text    ? ItemKind::Text
                        : expr.node == Kind::Comment
                            ? ItemKind::Comment
                            : ItemKind::ProcessingInstruction;
  return std::make_unique<LeafPlan>(kind, std::move(name), std::move(parts),
                                    Construction());
}

}  // namespace kiv::xdb::xq
