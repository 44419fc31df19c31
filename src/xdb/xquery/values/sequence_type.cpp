#include "xdb/xquery/values/sequence_type.h"

#include <algorithm>

namespace kiv::xdb::xq {
namespace {

// How many items: from at least 0 or 1 to at most 0, 1 or 2, which is many.
struct Count {
  int least;
  int most;
};
constexpr int kMany = 2;
constexpr Count kCounts[] = {{0, 0}, {1, 1}, {0, 1}, {0, kMany}, {1, kMany}};

Count CountOf(Occurrence occurrence) {
  return kCounts[static_cast<int>(occurrence)];
}

Occurrence OccurrenceOf(Count count) {
  if (count.most == 0) return Occurrence::Empty;
  if (count.most == 1)
    return count.least == 0 ? Occurrence::Optional : Occurrence::One;
  return count.least == 0 ? Occurrence::ZeroOrMore : Occurrence::OneOrMore;
}

bool HasName(ItemKind kind) {
  return kind == ItemKind::Element || kind == ItemKind::Attribute ||
         kind == ItemKind::ProcessingInstruction;
}

// The type of element(a, T), all that it can be when T is left out.
Type AnnotationOf(const ItemType& type) {
  return type.type == Type::None ? Type::AnyType : type.type;
}

bool IsNodeSubtype(const ItemType& type, const ItemType& other) {
  if (other.name && !(type.name && *type.name == *other.name)) return false;
  if (!DerivesFrom(AnnotationOf(type), AnnotationOf(other))) return false;
  // element(a) is element(a, xs:anyType?).
  const bool takes_nil = other.type == Type::None || other.is_nillable;
  if (type.kind == ItemKind::Element && !takes_nil &&
      (type.type == Type::None || type.is_nillable))
    return false;
  return !other.root || (type.root && IsSubtype(*type.root, *other.root));
}

constexpr const char* kKindNames[] = {
    "item", "node",    "document-node",          "element", "attribute",
    "text", "comment", "processing-instruction", "",
};

std::string NameText(const QName& name) {
  return name.prefix.empty() ? name.local : name.prefix + ":" + name.local;
}

}  // namespace

ItemType ItemType::OfAtomic(Type type) {
  ItemType item;
  item.kind = ItemKind::Atomic;
  item.type = type;
  return item;
}

ItemType ItemType::OfKind(ItemKind kind) {
  ItemType item;
  item.kind = kind;
  return item;
}

bool Allows(Occurrence occurrence, std::size_t count) {
  const Count allowed = CountOf(occurrence);
  return count >= static_cast<std::size_t>(allowed.least) &&
         (allowed.most == kMany ||
          count <= static_cast<std::size_t>(allowed.most));
}

bool Matches(const Sequence& items, const SequenceType& type) {
  return Allows(type.occurrence, items.size()) &&
         std::all_of(items.begin(), items.end(), [&type](const Item& item) {
           return Matches(item, type.item);
         });
}

bool IsSubtype(const ItemType& type, const ItemType& other) {
  if (other.kind == ItemKind::Item) return true;
  if (type.kind == ItemKind::Item) return false;
  if (other.kind == ItemKind::Node) return type.kind != ItemKind::Atomic;
  if (type.kind != other.kind) return false;
  if (type.kind == ItemKind::Atomic) return DerivesFrom(type.type, other.type);
  return IsNodeSubtype(type, other);
}

bool IsSubtype(const SequenceType& type, const SequenceType& other) {
  const Count count = CountOf(type.occurrence);
  const Count allowed = CountOf(other.occurrence);
  if (count.least < allowed.least || count.most > allowed.most) return false;
  return count.most == 0 || IsSubtype(type.item, other.item);
}

ItemType UnionOf(const ItemType& left, const ItemType& right) {
  if (IsSubtype(left, right)) return right;
  if (IsSubtype(right, left)) return left;
  if (left.kind == ItemKind::Atomic && right.kind == ItemKind::Atomic)
    return ItemType::OfAtomic(CommonAncestor(left.type, right.type));
  if (left.kind == right.kind) return ItemType::OfKind(left.kind);
  const bool are_nodes =
      left.kind != ItemKind::Item && left.kind != ItemKind::Atomic &&
      right.kind != ItemKind::Item && right.kind != ItemKind::Atomic;
  return ItemType::OfKind(are_nodes ? ItemKind::Node : ItemKind::Item);
}

namespace {

ItemType ItemUnionOf(const SequenceType& left, const SequenceType& right) {
  if (left.occurrence == Occurrence::Empty) return right.item;
  if (right.occurrence == Occurrence::Empty) return left.item;
  return UnionOf(left.item, right.item);
}

}  // namespace

SequenceType UnionOf(const SequenceType& left, const SequenceType& right) {
  return {ItemUnionOf(left, right), UnionOf(left.occurrence, right.occurrence)};
}

SequenceType SumOf(const SequenceType& left, const SequenceType& right) {
  return {ItemUnionOf(left, right), SumOf(left.occurrence, right.occurrence)};
}

Occurrence UnionOf(Occurrence left, Occurrence right) {
  const Count one = CountOf(left), other = CountOf(right);
  return OccurrenceOf(
      {std::min(one.least, other.least), std::max(one.most, other.most)});
}

Occurrence SumOf(Occurrence left, Occurrence right) {
  const Count one = CountOf(left), other = CountOf(right);
  return OccurrenceOf({std::max(one.least, other.least),
                       std::min(one.most + other.most, kMany)});
}

Occurrence ProductOf(Occurrence left, Occurrence right) {
  const Count one = CountOf(left), other = CountOf(right);
  return OccurrenceOf(
      {one.least * other.least, std::min(one.most * other.most, kMany)});
}

std::string ToText(const ItemType& type) {
  if (type.kind == ItemKind::Atomic) return NameOf(type.type);
  std::string text = kKindNames[static_cast<int>(type.kind)];
  text += '(';
  if (type.root) text += ToText(*type.root);
  if (type.name)
    text += NameText(*type.name);
  else if (HasName(type.kind) && type.type != Type::None)
    text += '*';
  if (type.type != Type::None) text += ", " + NameOf(type.type);
  if (type.is_nillable) text += '?';
  text += ')';
  return text;
}

std::string ToText(const SequenceType& type) {
  constexpr const char* kMarks[] = {"", "", "?", "*", "+"};
  if (type.occurrence == Occurrence::Empty) return "empty-sequence()";
  return ToText(type.item) + kMarks[static_cast<int>(type.occurrence)];
}

}  // namespace kiv::xdb::xq
