#include "xdb/xquery/compile/compiler.h"
#include "xdb/xquery/functions/function_table.h"
#include "xdb/xquery/functions/uri.h"
#include "xdb/xquery/values/lexical.h"

namespace kiv::xdb::xq {
namespace {

Occurrence OccurrenceOf(ast::Occurrence occurrence) {
  switch (occurrence) {
    case ast::Occurrence::One:
      return Occurrence::One;
    case ast::Occurrence::Optional:
      return Occurrence::Optional;
    case ast::Occurrence::ZeroOrMore:
      return Occurrence::ZeroOrMore;
    case ast::Occurrence::OneOrMore:
      return Occurrence::OneOrMore;
  }
  return Occurrence::ZeroOrMore;
}

ItemKind KindOf(ast::TestKind kind) {
  switch (kind) {
    case ast::TestKind::Document:
      return ItemKind::Document;
    case ast::TestKind::Name:
    case ast::TestKind::Element:
    case ast::TestKind::SchemaElement:
      return ItemKind::Element;
    case ast::TestKind::Attribute:
    case ast::TestKind::SchemaAttribute:
      return ItemKind::Attribute;
    case ast::TestKind::Text:
      return ItemKind::Text;
    case ast::TestKind::Comment:
      return ItemKind::Comment;
    case ast::TestKind::ProcessingInstruction:
      return ItemKind::ProcessingInstruction;
    case ast::TestKind::AnyKind:
      return ItemKind::Node;
  }
  return ItemKind::Node;
}

}  // namespace

const std::string* Compiler::FindNamespace(std::string_view prefix) const {
  for (auto entry = namespaces_.rbegin(); entry != namespaces_.rend(); ++entry)
    if (entry->first == prefix)
      return entry->second.empty() && !prefix.empty() ? nullptr
                                                      : &entry->second;
  return nullptr;
}

const std::string& Compiler::default_element_namespace() const {
  static const std::string none;
  const std::string* found = FindNamespace("");
  return found != nullptr ? *found : none;
}

QName Compiler::Resolve(const ast::LexicalName& name,
                        std::string_view default_uri,
                        std::string_view code) const {
  if (name.prefix.empty()) return {"", std::string(default_uri), name.local};
  const std::string* uri = FindNamespace(name.prefix);
  if (uri == nullptr) {
    throw Error(code, "the prefix of " + name.Text() + " is not declared",
                name.position);
  }
  return {name.prefix, *uri, name.local};
}

// A lexical QName in a string, by the namespaces in scope.
std::optional<QName> Compiler::NameOfText(std::string_view text) const {
  std::string_view prefix, local;
  if (!SplitQName(TrimSpace(text), prefix, local)) {
    throw Error("FORG0001", "\"" + std::string(text) + "\" is no name");
  }
  QName name{std::string(prefix), "", std::string(local)};
  const std::string* uri = FindNamespace(prefix);
  if (uri == nullptr && !prefix.empty()) return std::nullopt;
  if (uri != nullptr) name.uri = *uri;
  return name;
}

Type Compiler::ResolveAtomic(const ast::LexicalName& name) const {
  const QName resolved = Resolve(name, default_element_namespace());
  const Type type =
      resolved.uri == kSchemaNamespace ? TypeNamed(resolved.local) : Type::None;
  if (!IsAtomic(type)) {
    throw Error("XPST0051", name.Text() + " is no atomic type", name.position);
  }
  return type;
}

Type Compiler::ResolveCastTarget(const ast::LexicalName& name) const {
  const Type type = ResolveAtomic(name);
  if (type == Type::AnyAtomic || type == Type::Notation) {
    throw Error("XPST0080", "nothing can be cast to " + name.Text(),
                name.position);
  }
  return type;
}

ItemType Compiler::ResolveNodeType(const ast::NodeTest& test) const {
  ItemType type = ItemType::OfKind(KindOf(test.kind));
  if (test.kind == ast::TestKind::SchemaElement ||
      test.kind == ast::TestKind::SchemaAttribute) {
    Resolve(test.name, "");
    throw Error("XPST0008", test.name.Text() + " is declared by no schema",
                test.position);
  }
  if (test.kind == ast::TestKind::Document && test.root)
    type.root = std::make_shared<const ItemType>(ResolveNodeType(*test.root));
  if (test.target) {
    std::string target(*test.target);
    std::string room;
    target = std::string(NormalizeSpace(target, Type::Token, room));
    if (!IsNcName(target)) {
      throw Error("XPTY0004", "\"" + target + "\" is no name of one part",
                  test.position);
    }
    type.name = std::make_shared<const QName>(QName{"", "", target});
  }
  if ((test.kind == ast::TestKind::Element ||
       test.kind == ast::TestKind::Attribute) &&
      !test.any_local && !test.name.IsEmpty()) {
    type.name = std::make_shared<const QName>(
        Resolve(test.name, test.kind == ast::TestKind::Element
                               ? default_element_namespace()
                               : std::string()));
  }
  if (test.type) {
    const QName name = Resolve(*test.type, default_element_namespace());
    type.type =
        name.uri == kSchemaNamespace ? TypeNamed(name.local) : Type::None;
    if (type.type == Type::None || type.type == Type::Node) {
      throw Error("XPST0008", test.type->Text() + " is no type",
                  test.type->position);
    }
    type.is_nillable = test.is_nillable;
  }
  return type;
}

SequenceType Compiler::ResolveType(const ast::SequenceType& type) const {
  SequenceType resolved;
  resolved.occurrence = OccurrenceOf(type.occurrence);
  switch (type.kind) {
    case ast::TypeKind::Empty:
      resolved.item = ItemType::OfKind(ItemKind::Item);
      resolved.occurrence = Occurrence::Empty;
      break;
    case ast::TypeKind::Item:
      resolved.item = ItemType::OfKind(ItemKind::Item);
      break;
    case ast::TypeKind::Atomic:
      resolved.item = ItemType::OfAtomic(ResolveAtomic(type.atomic));
      break;
    case ast::TypeKind::Node:
      resolved.item = ResolveNodeType(type.node);
      break;
  }
  return resolved;
}

// Before a function or the query's body: slots are numbered anew.
void Compiler::StartFrame() {
  slot_count_ = 0;
  slots_.clear();
  memos_.clear();
  loops_ = focus_loops_ = 0;
}

Bound Compiler::NewSlot() {
  slots_.push_back({loops_, std::make_shared<std::vector<std::size_t>>()});
  return {slot_count_++, slots_.back().forgets};
}

// The innermost one; null when no variable of the frame has that name.
const Compiler::LocalVariable* Compiler::FindLocal(
    const ast::LexicalName& name) const {
  const QName resolved = Resolve(name, "");
  for (auto local = locals_.rbegin(); local != locals_.rend(); ++local)
    if (local->name == resolved) return &*local;
  return nullptr;
}

Bound Compiler::Declare(const ast::LexicalName& name, const Properties& known) {
  Bound variable = NewSlot();
  variable.name = name.Text();
  locals_.push_back({Resolve(name, ""), variable.slot, known, {}, nullptr});
  return variable;
}

void Compiler::CheckCollation(const std::string& uri, std::string_view code,
                              Position position) const {
  if (uri == kCodepointCollation) return;
  if (ResolveReference(uri, base_uri_).value_or("") == kCodepointCollation)
    return;
  throw Error(code, "the collation " + uri + " is not known", position);
}

}  // namespace kiv::xdb::xq
