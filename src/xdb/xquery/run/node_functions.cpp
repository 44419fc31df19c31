#include <algorithm>
#include <set>

#include "xdb/xquery/functions/uri.h"
#include "xdb/xquery/run/calls.h"
#include "xdb/xquery/run/execution.h"
#include "xdb/xquery/run/nodes.h"
#include "xdb/xquery/values/cast.h"

namespace kiv::xdb::xq {
namespace {

Item NodeName(const Frame& frame, const Plans& arguments) {
  Item node = arguments[0]->One(frame);
  if (node.IsNone()) return node;
  auto name = NameOfNode(node);
  return name ? Item::OfQName(*std::move(name)) : Item();
}

Item Nilled(const Frame& frame, const Plans& arguments) {
  const Item node = arguments[0]->One(frame);
  if (node.IsNone() || node.tree().kind(node.node()) != NodeKind::Element)
    return {};
  return Item::OfBoolean(false);
}

Item String(const Frame& frame, const Plans& arguments) {
  const Item item = arguments[0]->One(frame);
  return item.IsNone() ? Item::OfText("") : StringOfItem(item);
}

IteratorPtr Data(const Frame& frame, const Plans& arguments) {
  Sequence items = ItemsOf(*arguments[0], frame);
  for (Item& item : items) item = Atomized(item);
  return IterateItems(std::move(items));
}

Item BaseUri(const Frame& frame, const Plans& arguments) {
  Item node = arguments[0]->One(frame);
  if (node.IsNone()) return node;
  const auto uri = BaseUriOf(node);
  return uri ? Item::OfText(*uri, Type::AnyUri) : Item();
}

Item DocumentUri(const Frame& frame, const Plans& arguments) {
  const Item node = arguments[0]->One(frame);
  if (node.IsNone() || node.tree().kind(node.node()) != NodeKind::Document)
    return {};
  const auto& origin = node.held_tree()->origin();
  if (!origin || origin->document_uri.empty()) return {};
  return Item::OfText(origin->document_uri, Type::AnyUri);
}

Item NameFunction(const Frame& frame, const Plans& arguments) {
  const Item node = arguments[0]->One(frame);
  const auto name = node.IsNone() ? std::nullopt : NameOfNode(node);
  if (!name) return Item::OfText("");
  return Item::OfText(name->prefix.empty() ? name->local
                                           : name->prefix + ":" + name->local);
}

Item LocalName(const Frame& frame, const Plans& arguments) {
  const Item node = arguments[0]->One(frame);
  const auto name = node.IsNone() ? std::nullopt : NameOfNode(node);
  return Item::OfText(name ? name->local : "");
}

Item NamespaceUri(const Frame& frame, const Plans& arguments) {
  const Item node = arguments[0]->One(frame);
  const auto name = node.IsNone() ? std::nullopt : NameOfNode(node);
  return Item::OfText(name ? name->uri : "", Type::AnyUri);
}

std::string Lower(std::string text) {
  for (char& c : text)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  return text;
}

Item Lang(const Frame& frame, const Plans& arguments) {
  const Item wanted = arguments[0]->One(frame);
  const Item node = arguments[1]->One(frame);
  const std::string asked =
      wanted.IsNone() ? "" : Lower(std::string(wanted.AsText()));
  const Tree& tree = node.tree();
  for (NodeId at = node.node();; at = tree[at].parent) {
    if (tree.kind(at) == NodeKind::Element) {
      for (NodeId i = at + 1; i != tree.FirstChild(at); ++i) {
        if (tree.kind(i) != NodeKind::Attribute ||
            tree.name(i).local != "lang" || tree.name(i).uri != kXmlNamespace) {
          continue;
        }
        const std::string found = Lower(std::string(tree.value(i)));
        return Item::OfBoolean(found == asked ||
                               found.starts_with(asked + "-"));
      }
    }
    if (at == 0) return Item::OfBoolean(false);
  }
}

Item Root(const Frame& frame, const Plans& arguments) {
  const Item node = arguments[0]->One(frame);
  return node.IsNone() ? node : RootOfNode(node);
}

Item ResolveQName(const Frame& frame, const Plans& arguments) {
  Item text = arguments[0]->One(frame);
  const Item element = arguments[1]->One(frame);
  if (text.IsNone()) return text;
  std::string_view prefix, local;
  if (!SplitQName(TrimSpace(text.AsText()), prefix, local)) {
    throw Error("FOCA0002",
                "\"" + std::string(text.AsText()) + "\" is no name");
  }
  QName name{std::string(prefix), "", std::string(local)};
  if (prefix == "xml") {
    name.uri = kXmlNamespace;
    return Item::OfQName(std::move(name));
  }
  const Namespaces scope = NamespacesOf(element.tree(), element.node());
  const auto found = scope.find(prefix);
  if (found != scope.end()) {
    name.uri = found->second;
  } else if (!prefix.empty()) {
    throw Error("FONS0004", "the prefix " + name.prefix + " is not declared");
  }
  return Item::OfQName(std::move(name));
}

Item NamespaceUriForPrefix(const Frame& frame, const Plans& arguments) {
  const Item text = arguments[0]->One(frame);
  const Item element = arguments[1]->One(frame);
  const std::string_view prefix = text.IsNone() ? "" : text.AsText();
  if (prefix == "xml") return Item::OfText(kXmlNamespace, Type::AnyUri);
  const Namespaces scope = NamespacesOf(element.tree(), element.node());
  const auto found = scope.find(prefix);
  if (found == scope.end()) return {};
  return Item::OfText(found->second, Type::AnyUri);
}

IteratorPtr InScopePrefixes(const Frame& frame, const Plans& arguments) {
  const Item element = arguments[0]->One(frame);
  Sequence prefixes = {Item::OfText("xml")};
  for (const auto& [prefix, uri] :
       NamespacesOf(element.tree(), element.node())) {
    prefixes.push_back(Item::OfText(prefix));
  }
  return IterateItems(std::move(prefixes));
}

std::set<std::string, std::less<>> TokensOf(const Plan& plan,
                                            const Frame& frame) {
  std::set<std::string, std::less<>> tokens;
  for (const Item& item : ItemsOf(plan, frame)) {
    std::string room;
    std::string_view text = NormalizeSpace(item.AsText(), Type::Token, room);
    while (!text.empty()) {
      const std::size_t end = std::min(text.find(' '), text.size());
      tokens.emplace(text.substr(0, end));
      text.remove_prefix(std::min(end + 1, text.size()));
    }
  }
  return tokens;
}

const Item RequireDocument(const Item& node) {
  if (node.tree().kind(0) != NodeKind::Document)
    throw Error("FODC0001", "the root of the tree is no document");
  return node;
}

bool IsId(const Item& node, NodeId attribute) {
  const Tree& tree = node.tree();
  if (tree.name(attribute).local == "id" &&
      tree.name(attribute).uri == kXmlNamespace) {
    return IsNcName(tree.value(attribute));
  }
  const auto& origin = node.held_tree()->origin();
  return origin &&
         std::binary_search(origin->ids.begin(), origin->ids.end(), attribute);
}

IteratorPtr Id(const Frame& frame, const Plans& arguments) {
  const auto wanted = TokensOf(*arguments[0], frame);
  const Item node = RequireDocument(arguments[1]->One(frame));
  const Tree& tree = node.tree();
  std::set<std::string, std::less<>> met;
  Sequence found;
  for (NodeId i = 0; i != tree.node_count(); ++i) {
    frame.run->Tick();
    if (tree.kind(i) != NodeKind::Attribute || !IsId(node, i)) continue;
    std::string room;
    const std::string_view value =
        NormalizeSpace(tree.value(i), Type::Token, room);
    if (wanted.contains(value) && met.emplace(value).second)
      found.push_back(Item::OfNode(node.held_tree(), tree[i].parent));
  }
  SortNodes(*frame.run, found);
  return IterateItems(std::move(found));
}

IteratorPtr IdRef(const Frame& frame, const Plans& arguments) {
  const auto wanted = TokensOf(*arguments[0], frame);
  const Item node = RequireDocument(arguments[1]->One(frame));
  const Tree& tree = node.tree();
  Sequence found;
  const auto& origin = node.held_tree()->origin();
  if (!origin) return IterateItem({});
  for (const NodeId attribute : origin->id_references) {
    std::string room;
    std::string_view text =
        NormalizeSpace(tree.value(attribute), Type::Token, room);
    while (!text.empty()) {
      const std::size_t end = std::min(text.find(' '), text.size());
      if (wanted.contains(text.substr(0, end))) {
        found.push_back(Item::OfNode(node.held_tree(), attribute));
        break;
      }
      text.remove_prefix(std::min(end + 1, text.size()));
    }
  }
  return IterateItems(std::move(found));
}

Item Doc(const Frame& frame, const Plans& arguments) {
  Item uri = arguments[0]->One(frame);
  if (uri.IsNone()) return uri;
  return frame.run->Document(AbsoluteUri(frame, uri.AsText(), "FODC0005"));
}

Item DocAvailable(const Frame& frame, const Plans& arguments) {
  const Item uri = arguments[0]->One(frame);
  if (uri.IsNone()) return Item::OfBoolean(false);
  return Item::OfBoolean(
      frame.run->HasDocument(AbsoluteUri(frame, uri.AsText(), "FODC0005")));
}

}  // namespace

std::string AbsoluteUri(const Frame& frame, std::string_view uri,
                        std::string_view code) {
  if (!IsUri(uri)) throw Error(code, "\"" + std::string(uri) + "\" is no URI");
  const auto base = frame.run->call_context().base_uri;
  if (!base) return std::string(uri);
  return ResolveReference(uri, *base).value_or(std::string(uri));
}

EngineImplementation NodeFunction(EngineFunction function) {
  using F = EngineFunction;
  switch (function) {
    case F::NodeName:
      return {NodeName, nullptr};
    case F::Nilled:
      return {Nilled, nullptr};
    case F::String:
      return {String, nullptr};
    case F::Data:
      return {nullptr, Data};
    case F::BaseUri:
      return {BaseUri, nullptr};
    case F::DocumentUri:
      return {DocumentUri, nullptr};
    case F::Name:
      return {NameFunction, nullptr};
    case F::LocalName:
      return {LocalName, nullptr};
    case F::NamespaceUri:
      return {NamespaceUri, nullptr};
    case F::Lang:
      return {Lang, nullptr};
    case F::Root:
      return {Root, nullptr};
    case F::ResolveQName:
      return {ResolveQName, nullptr};
    case F::NamespaceUriForPrefix:
      return {NamespaceUriForPrefix, nullptr};
    case F::InScopePrefixes:
      return {nullptr, InScopePrefixes};
    case F::Id:
      return {nullptr, Id};
    case F::IdRef:
      return {nullptr, IdRef};
    case F::Doc:
      return {Doc, nullptr};
    case F::DocAvailable:
      return {DocAvailable, nullptr};
    default:
      return {};
  }
}

}  // namespace kiv::xdb::xq
