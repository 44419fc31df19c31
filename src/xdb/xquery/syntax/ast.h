#ifndef XDB_XQUERY_SYNTAX_AST_H_
#define XDB_XQUERY_SYNTAX_AST_H_

#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "xdb/xquery/values/error.h"

// The tree of a query as it was written. Names are lexical: prefixes,
// variables, functions and types are resolved by whoever compiles the tree.
// What the grammar defines as an abbreviation is written out: "//" is a step,
// "@a" an axis, "/" a Root. Parentheses leave no trace but the shape.
//
// Texts are UTF-8 with line ends, references and doubled quotes resolved.
//
// Every node knows its place: its first character, for operators between two
// operands the operator's.
namespace kiv::xdb::xq::ast {

// ---------------------------------------------------------------- names, types

struct LexicalName {
  std::string prefix;  // empty when there is none
  std::string local;
  Position position;

  bool IsEmpty() const { return local.empty(); }
  std::string Text() const {
    return prefix.empty() ? local : prefix + ":" + local;
  }
};

enum class TestKind {
  Name,  // of the axis's principal node kind
  AnyKind,
  Document,
  Element,
  Attribute,
  Text,
  Comment,
  ProcessingInstruction,
  SchemaElement,
  SchemaAttribute,
};

// A name test or a kind test.
struct NodeTest {
  Position position;
  TestKind kind = TestKind::AnyKind;

  // Name, Element, Attribute, SchemaElement, SchemaAttribute. Both flags: "*",
  // also for a kind test without a name; "p:*" and "*:a" set one.
  LexicalName name;
  bool any_namespace = false;
  bool any_local = false;

  // element(a, T), attribute(a, T); element(a, T?) is nillable.
  std::optional<LexicalName> type;
  bool is_nillable = false;

  // processing-instruction(target); a string literal is a target as it stands,
  // white space and all.
  std::optional<std::string> target;

  // document-node(element(...)): Element or SchemaElement.
  std::unique_ptr<NodeTest> root;
};

enum class Occurrence { One, Optional, ZeroOrMore, OneOrMore };

enum class TypeKind { Empty, Item, Atomic, Node };

struct SequenceType {
  Position position;
  TypeKind kind = TypeKind::Item;
  LexicalName atomic;  // Atomic
  NodeTest node;       // Node; never a name test
  Occurrence occurrence = Occurrence::One;
};

// The target of cast and castable: an atomic type, with or without "?".
struct SingleType {
  LexicalName name;
  bool is_optional = false;
};

// ----------------------------------------------------------------- expressions

// Every kind of expression and its struct, of the same name.
#define KIV_XQ_EXPRESSIONS(X) \
  X(Literal)                  \
  X(VariableReference)        \
  X(ContextItem)              \
  X(Sequence)                 \
  X(FunctionCall)             \
  X(OrderingMode)             \
  X(Flwor)                    \
  X(Quantified)               \
  X(Typeswitch)               \
  X(If)                       \
  X(Or)                       \
  X(And)                      \
  X(GeneralComparison)        \
  X(ValueComparison)          \
  X(NodeComparison)           \
  X(Range)                    \
  X(Arithmetic)               \
  X(Unary)                    \
  X(Union)                    \
  X(Intersect)                \
  X(Except)                   \
  X(InstanceOf)               \
  X(TreatAs)                  \
  X(CastableAs)               \
  X(CastAs)                   \
  X(Extension)                \
  X(Path)                     \
  X(Root)                     \
  X(AxisStep)                 \
  X(Filter)                   \
  X(DirectElement)            \
  X(DirectComment)            \
  X(DirectInstruction)        \
  X(ComputedNode)

enum class ExprKind {
#define KIV_XQ_KIND(Name) Name,
  KIV_XQ_EXPRESSIONS(KIV_XQ_KIND)
#undef KIV_XQ_KIND
};

struct Expr {
  const ExprKind kind;
  Position position;

  virtual ~Expr() = default;
  Expr(const Expr&) = delete;
  Expr& operator=(const Expr&) = delete;

 protected:
  explicit Expr(ExprKind its_kind) : kind(its_kind) {}
};

using ExprPtr = std::unique_ptr<Expr>;

template <ExprKind kind_of_it>
struct ExprOf : Expr {
  static constexpr ExprKind kKind = kind_of_it;
  ExprOf() : Expr(kKind) {}
};

enum class LiteralKind { Integer, Decimal, Double, String };

struct Literal : ExprOf<ExprKind::Literal> {
  LiteralKind type = LiteralKind::String;
  std::string text;  // numbers as they were written, of any length
};

struct VariableReference : ExprOf<ExprKind::VariableReference> {
  LexicalName name;
};

struct ContextItem : ExprOf<ExprKind::ContextItem> {};

// "a, b, c" and "()"; never one item alone.
struct Sequence : ExprOf<ExprKind::Sequence> {
  std::vector<ExprPtr> items;
};

struct FunctionCall : ExprOf<ExprKind::FunctionCall> {
  LexicalName name;
  std::vector<ExprPtr> arguments;
};

// ordered { } and unordered { }.
struct OrderingMode : ExprOf<ExprKind::OrderingMode> {
  bool is_ordered = true;
  ExprPtr operand;
};

// One variable of for, let, some or every.
struct Binding {
  enum class Kind { For, Let };

  Position position;
  Kind kind = Kind::For;  // For in some and every
  LexicalName variable;
  std::optional<SequenceType> type;
  std::optional<LexicalName> at;  // for $x at $i
  ExprPtr operand;                // behind "in" or ":="
};

enum class EmptyOrder { Greatest, Least };

struct OrderSpec {
  Position position;
  ExprPtr key;
  bool is_descending = false;
  std::optional<EmptyOrder> empty;       // none: as the prolog says
  std::optional<std::string> collation;  // none: the default one
};

struct Flwor : ExprOf<ExprKind::Flwor> {
  std::vector<Binding> bindings;  // in order, at least one
  ExprPtr where;                  // or null
  bool is_stable = false;
  std::vector<OrderSpec> order_by;
  ExprPtr result;
};

struct Quantified : ExprOf<ExprKind::Quantified> {
  bool is_every = false;
  std::vector<Binding> bindings;
  ExprPtr satisfies;
};

struct Typeswitch : ExprOf<ExprKind::Typeswitch> {
  struct Case {
    Position position;
    std::optional<LexicalName> variable;
    SequenceType type;  // of the default: item()*, unused
    ExprPtr result;
  };

  ExprPtr operand;
  std::vector<Case> cases;  // at least one
  Case otherwise;
};

struct If : ExprOf<ExprKind::If> {
  ExprPtr condition;
  ExprPtr then;
  ExprPtr otherwise;
};

// Two operands or more.
struct Or : ExprOf<ExprKind::Or> {
  std::vector<ExprPtr> operands;
};

struct And : ExprOf<ExprKind::And> {
  std::vector<ExprPtr> operands;
};

enum class Relation { Eq, Ne, Lt, Le, Gt, Ge };

struct GeneralComparison : ExprOf<ExprKind::GeneralComparison> {
  Relation relation = Relation::Eq;
  ExprPtr left;
  ExprPtr right;
};

struct ValueComparison : ExprOf<ExprKind::ValueComparison> {
  Relation relation = Relation::Eq;
  ExprPtr left;
  ExprPtr right;
};

enum class NodeRelation { Is, Before, After };

struct NodeComparison : ExprOf<ExprKind::NodeComparison> {
  NodeRelation relation = NodeRelation::Is;
  ExprPtr left;
  ExprPtr right;
};

struct Range : ExprOf<ExprKind::Range> {
  ExprPtr first;
  ExprPtr last;
};

enum class ArithmeticOperator {
  Add,
  Subtract,
  Multiply,
  Divide,
  IntegerDivide,
  Modulo,
};

struct Arithmetic : ExprOf<ExprKind::Arithmetic> {
  ArithmeticOperator op = ArithmeticOperator::Add;
  ExprPtr left;
  ExprPtr right;
};

// A row of signs is one: "- + - 1" is not negative.
struct Unary : ExprOf<ExprKind::Unary> {
  bool is_negative = false;
  ExprPtr operand;
};

struct Union : ExprOf<ExprKind::Union> {
  std::vector<ExprPtr> operands;  // two or more
};

struct Intersect : ExprOf<ExprKind::Intersect> {
  ExprPtr left;
  ExprPtr right;
};

struct Except : ExprOf<ExprKind::Except> {
  ExprPtr left;
  ExprPtr right;
};

struct InstanceOf : ExprOf<ExprKind::InstanceOf> {
  ExprPtr operand;
  SequenceType type;
};

struct TreatAs : ExprOf<ExprKind::TreatAs> {
  ExprPtr operand;
  SequenceType type;
};

struct CastableAs : ExprOf<ExprKind::CastableAs> {
  ExprPtr operand;
  SingleType type;
};

struct CastAs : ExprOf<ExprKind::CastAs> {
  ExprPtr operand;
  SingleType type;
};

struct Pragma {
  LexicalName name;
  std::string content;  // without the white space behind the name
};

// (# name content #)+ { operand }
struct Extension : ExprOf<ExprKind::Extension> {
  std::vector<Pragma> pragmas;
  ExprPtr operand;  // or null: "{ }"
};

// ----------------------------------------------------------------------- paths

// steps[0]/steps[1]/...; two or more. A Root can only be the first.
struct Path : ExprOf<ExprKind::Path> {
  std::vector<ExprPtr> steps;
};

// The leading "/": (fn:root(self::node()) treat as document-node()).
struct Root : ExprOf<ExprKind::Root> {};

enum class Axis {
  Child,
  Descendant,
  Attribute,
  Self,
  DescendantOrSelf,
  FollowingSibling,
  Following,
  Parent,
  Ancestor,
  PrecedingSibling,
  Preceding,
  AncestorOrSelf,
};

// The predicates count along the axis.
struct AxisStep : ExprOf<ExprKind::AxisStep> {
  Axis axis = Axis::Child;
  NodeTest test;
  std::vector<ExprPtr> predicates;
};

// base[predicate]...; the predicates count along the sequence. At least one.
struct Filter : ExprOf<ExprKind::Filter> {
  ExprPtr base;
  std::vector<ExprPtr> predicates;
};

// ---------------------------------------------------------------- constructors

// A piece of content or of an attribute's value: characters where `expr` is
// null, else one enclosed expression or one nested direct constructor. The
// values of one enclosed expression are joined by spaces, those of two
// neighbours are not. Characters are never followed by characters.
struct Part {
  Position position;
  std::string text;
  ExprPtr expr;
};

struct DirectAttribute {
  LexicalName name;
  std::vector<Part> value;
};

// xmlns="uri" and xmlns:prefix="uri".
struct NamespaceAttribute {
  Position position;
  std::string prefix;  // empty: the default element namespace
  std::string uri;     // white space collapsed; may be empty
};

struct DirectElement : ExprOf<ExprKind::DirectElement> {
  LexicalName name;
  std::vector<NamespaceAttribute> namespaces;  // no prefix twice
  std::vector<DirectAttribute> attributes;
  std::vector<Part> content;  // boundary space stripped as the prolog says
};

struct DirectComment : ExprOf<ExprKind::DirectComment> {
  std::string text;
};

struct DirectInstruction : ExprOf<ExprKind::DirectInstruction> {
  std::string target;
  std::string text;
};

enum class ConstructedKind {
  Document,
  Element,
  Attribute,
  Text,
  Comment,
  ProcessingInstruction,
};

struct ComputedNode : ExprOf<ExprKind::ComputedNode> {
  ConstructedKind node = ConstructedKind::Element;
  // Element, Attribute, ProcessingInstruction: one of the two. The name of an
  // instruction has no prefix.
  LexicalName name;
  ExprPtr name_expr;
  ExprPtr content;  // null for "{ }", which Document and Text and Comment lack
};

// ---------------------------------------------------------------------- module

struct UriLiteral {
  Position position;
  std::string text;
};

struct NamespaceDeclaration {
  Position position;
  std::string prefix;
  std::string uri;
};

struct VariableDeclaration {
  Position position;
  LexicalName name;
  std::optional<SequenceType> type;
  ExprPtr value;  // null: external
};

struct Parameter {
  LexicalName name;
  std::optional<SequenceType> type;
};

struct FunctionDeclaration {
  Position position;
  LexicalName name;
  std::vector<Parameter> parameters;
  std::optional<SequenceType> result;
  ExprPtr body;  // null: external
};

struct OptionDeclaration {
  Position position;
  LexicalName name;
  std::string value;
};

struct CopyNamespaces {
  bool preserve = true;
  bool inherit = true;
};

// What the query does not say is empty. All declarations of namespaces and
// settings come before the first variable, function or option; positions tell
// the order of those.
struct Prolog {
  std::optional<bool> boundary_space_preserve;  // applied by the parser
  std::optional<UriLiteral> default_collation;
  std::optional<UriLiteral> base_uri;
  std::optional<bool> construction_preserve;
  std::optional<bool> is_ordered;
  std::optional<EmptyOrder> empty_order;
  std::optional<CopyNamespaces> copy_namespaces;
  std::optional<UriLiteral> default_element_namespace;
  std::optional<UriLiteral> default_function_namespace;
  std::vector<NamespaceDeclaration> namespaces;
  std::vector<VariableDeclaration> variables;
  std::vector<FunctionDeclaration> functions;
  std::vector<OptionDeclaration> options;
};

struct Module {
  std::string version;  // "1.0" or empty
  std::string
      encoding;  // as declared, or empty; the text is UTF-8 all the same
  Prolog prolog;
  ExprPtr body;
};

// -------------------------------------------------------------------- visiting

// Calls visitor(struct) with the expression as what it is; the visitor takes
// every kind, and the compiler says which one it forgot:
//
//   struct Compiler {
//     PlanPtr operator()(const Literal& literal);
//     PlanPtr operator()(const Path& path);
//     ...
//   };
//   PlanPtr plan = Visit(*expr, compiler);
//
// An `auto` parameter takes the rest. A visitor of a mutable expression may
// move its children away.
template <typename E, typename Visitor>
requires std::is_same_v<std::remove_const_t<E>, Expr>
decltype(auto) Visit(E& expr, Visitor&& visitor) {
  switch (expr.kind) {
#define KIV_XQ_VISIT(Name) \
  case ExprKind::Name:     \
    return visitor(        \
        static_cast<       \
            std::conditional_t<std::is_const_v<E>, const Name, Name>&>(expr));
    KIV_XQ_EXPRESSIONS(KIV_XQ_VISIT)
#undef KIV_XQ_VISIT
  }
  __builtin_unreachable();
}

// The expression as a T, null when it is something else (or null).
template <typename T>
const T* As(const Expr* expr) {
  return expr != nullptr && expr->kind == T::kKind ? static_cast<const T*>(expr)
                                                   : nullptr;
}

template <typename T>
const T* As(const ExprPtr& expr) {
  return As<T>(expr.get());
}

}  // namespace kiv::xdb::xq::ast

#endif  // XDB_XQUERY_SYNTAX_AST_H_
