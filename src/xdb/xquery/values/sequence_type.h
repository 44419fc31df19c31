#ifndef XDB_XQUERY_VALUES_SEQUENCE_TYPE_H_
#define XDB_XQUERY_VALUES_SEQUENCE_TYPE_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "xdb/xquery/values/item.h"

namespace kiv::xdb::xq {

enum class ItemKind : std::uint8_t {
  Item,  // item()
  Node,  // node()
  Document,
  Element,
  Attribute,
  Text,
  Comment,
  ProcessingInstruction,
  Atomic,
};

// The type of one item.
struct ItemType {
  ItemKind kind = ItemKind::Item;
  // Atomic: the type. Element, Attribute: the type of element(a, T), else
  // None.
  Type type = Type::None;
  bool is_nillable = false;  // element(a, T?)
  // Element, Attribute, ProcessingInstruction (its target as local name): none
  // when any name will do.
  std::shared_ptr<const QName> name;
  // Document: the type of its one element, null when anything will do.
  std::shared_ptr<const ItemType> root;

  static ItemType OfAtomic(Type type);
  static ItemType OfKind(ItemKind kind);
};

// How many items; also a set of the counts that are possible.
enum class Occurrence : std::uint8_t {
  Empty,       // empty-sequence()
  One,         // T
  Optional,    // T?
  ZeroOrMore,  // T*
  OneOrMore,   // T+
};

struct SequenceType {
  ItemType item;
  Occurrence occurrence = Occurrence::ZeroOrMore;  // Empty: item says nothing
};

// Whether so many items are allowed.
bool Allows(Occurrence occurrence, std::size_t count);

bool Matches(const Item& item, const ItemType& type);
bool Matches(const Sequence& items, const SequenceType& type);

// Whether everything that matches `type` matches `other`.
bool IsSubtype(const ItemType& type, const ItemType& other);
bool IsSubtype(const SequenceType& type, const SequenceType& other);

// For static typing: the least type that both are subtypes of, and the type of
// one sequence behind the other.
ItemType UnionOf(const ItemType& left, const ItemType& right);
SequenceType UnionOf(const SequenceType& left, const SequenceType& right);
SequenceType SumOf(const SequenceType& left, const SequenceType& right);
// The occurrence of either, and of one behind the other.
Occurrence UnionOf(Occurrence left, Occurrence right);
Occurrence SumOf(Occurrence left, Occurrence right);
// The occurrence of for $x in left return right.
Occurrence ProductOf(Occurrence left, Occurrence right);

// "element(a, xs:integer)*", "empty-sequence()", for messages; names with their
// prefixes.
std::string ToText(const ItemType& type);
std::string ToText(const SequenceType& type);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_VALUES_SEQUENCE_TYPE_H_
