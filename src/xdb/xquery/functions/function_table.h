#ifndef XDB_XQUERY_FUNCTIONS_FUNCTION_TABLE_H_
#define XDB_XQUERY_FUNCTIONS_FUNCTION_TABLE_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "xdb/xquery/functions/call_context.h"
#include "xdb/xquery/values/item.h"
#include "xdb/xquery/values/sequence_type.h"

namespace kiv::xdb::xq {

inline constexpr std::string_view kFunctionNamespace =
    "http://www.w3.org/2005/xpath-functions";

// The functions that the engine carries out itself, because they look at
// sequences, nodes, the focus or the documents. None: the row has a pointer to
// the function.
enum class EngineFunction : std::uint8_t {
  None,
  // Nodes.
  NodeName,
  Nilled,
  String,
  Data,
  BaseUri,
  DocumentUri,
  Name,
  LocalName,
  NamespaceUri,
  Lang,
  Root,
  ResolveQName,
  NamespaceUriForPrefix,
  InScopePrefixes,
  Id,
  IdRef,
  // Documents.
  Doc,
  DocAvailable,
  Collection,
  // Sequences.
  Boolean,
  Not,
  IndexOf,
  Empty,
  Exists,
  DistinctValues,
  InsertBefore,
  Remove,
  Reverse,
  Subsequence,
  Unordered,
  ZeroOrOne,
  OneOrMore,
  ExactlyOne,
  DeepEqual,
  Count,
  Avg,
  Max,
  Min,
  Sum,
  StringJoin,
  CodepointsToString,
  // The focus, and what is heard outside.
  Position,
  Last,
  Error,
  Trace,
};

// A parameter's or a result's type, as the table writes it down.
struct SignatureType {
  ItemKind kind = ItemKind::Item;
  Type atomic = Type::None;  // ItemKind::Atomic
  Occurrence occurrence = Occurrence::ZeroOrMore;
  // One of the four numeric types, untyped becoming xs:double; `atomic` is
  // AnyAtomic. As a result: of the first argument's primitive numeric type.
  bool is_numeric = false;

  SequenceType ToSequenceType() const;
};

// The argument that a call leaves out at its end and the focus supplies.
enum class ImpliedArgument : std::uint8_t {
  None,
  ContextItem,    // f() is f(.)
  ContextString,  // f() is f(string(.))
};

// What the result depends on besides the arguments; bits of
// Function::depends_on. With none of them a call with constant arguments is a
// constant.
enum Dependence : std::uint8_t {
  kOnNothing = 0,
  kOnBaseUri = 1,
  kOnCollation = 2,
  kOnClock = 4,  // the current time and the implicit time zone
  kOnDocuments = 8,
  kOnPosition = 16,
  kOnSize = 32,     // fn:last
  kHasEffect = 64,  // fn:error, fn:trace: neither folded nor moved
  kOnNodes = 128,   // looks at the tree around its argument
};

// Arguments come as the function conversion rules leave them: atomised,
// untyped values cast, numbers promoted, none at all (Type::None) for an empty
// sequence. A call that leaves out optional arguments has a shorter span.
using ScalarFunction = Item (*)(const CallContext& context,
                                std::span<const Item> arguments);
using ListFunction = Sequence (*)(const CallContext& context,
                                  std::span<const Item> arguments);

// One function, in one or several arities.
struct Function {
  static constexpr std::size_t kMaxParameters = 4;
  static constexpr std::uint8_t kUnbounded = 255;

  std::string_view name;
  std::uint8_t min_arity = 0;
  std::uint8_t max_arity = 0;
  std::array<SignatureType, kMaxParameters> parameters{};
  SignatureType result;
  std::uint8_t depends_on = kOnNothing;
  // For the call with `min_arity` arguments.
  ImpliedArgument implied = ImpliedArgument::None;

  // Exactly one of the three says who carries it out.
  EngineFunction engine = EngineFunction::None;
  ScalarFunction scalar = nullptr;
  ListFunction list = nullptr;
  // Of argument 0, 1, ... of a call; concat's last goes on.
  const SignatureType& Parameter(std::size_t index) const {
    return parameters[index < kMaxParameters && max_arity != kUnbounded ? index
                                                                        : 0];
  }
};

// All of the namespace of functions, by name, then arity. The constructor
// functions xs:T are not among them.
std::span<const Function> AllFunctions();

// Null when there is none with that arity (XPST0017).
const Function* FindFunction(std::string_view local, std::size_t arity);

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_FUNCTIONS_FUNCTION_TABLE_H_
