#include "xdb/xquery/functions/function_table.h"

#include <algorithm>
#include <initializer_list>

#include "xdb/xquery/functions/implementations.h"

namespace kiv::xdb::xq {
namespace {

using enum Occurrence;

constexpr SignatureType Atomic(Type type, Occurrence occurrence = One) {
  return {ItemKind::Atomic, type, occurrence};
}
constexpr SignatureType Kind(ItemKind kind, Occurrence occurrence = One) {
  return {kind, Type::None, occurrence};
}

constexpr SignatureType kString = Atomic(Type::String);
constexpr SignatureType kMaybeString = Atomic(Type::String, Optional);
constexpr SignatureType kStrings = Atomic(Type::String, ZeroOrMore);
constexpr SignatureType kBoolean = Atomic(Type::Boolean);
constexpr SignatureType kMaybeBoolean = Atomic(Type::Boolean, Optional);
constexpr SignatureType kInteger = Atomic(Type::Integer);
constexpr SignatureType kMaybeInteger = Atomic(Type::Integer, Optional);
constexpr SignatureType kIntegers = Atomic(Type::Integer, ZeroOrMore);
constexpr SignatureType kMaybeDecimal = Atomic(Type::Decimal, Optional);
constexpr SignatureType kDouble = Atomic(Type::Double);
constexpr SignatureType kUri = Atomic(Type::AnyUri);
constexpr SignatureType kMaybeUri = Atomic(Type::AnyUri, Optional);
constexpr SignatureType kQName = Atomic(Type::QName);
constexpr SignatureType kMaybeQName = Atomic(Type::QName, Optional);
constexpr SignatureType kMaybeNcName = Atomic(Type::NcName, Optional);
constexpr SignatureType kMaybeDuration = Atomic(Type::Duration, Optional);
constexpr SignatureType kZone = Atomic(Type::DayTimeDuration);
constexpr SignatureType kMaybeZone = Atomic(Type::DayTimeDuration, Optional);
constexpr SignatureType kDateTime = Atomic(Type::DateTime);
constexpr SignatureType kMaybeDateTime = Atomic(Type::DateTime, Optional);
constexpr SignatureType kDate = Atomic(Type::Date);
constexpr SignatureType kMaybeDate = Atomic(Type::Date, Optional);
constexpr SignatureType kTime = Atomic(Type::Time);
constexpr SignatureType kMaybeTime = Atomic(Type::Time, Optional);
constexpr SignatureType kAtomic = Atomic(Type::AnyAtomic);
constexpr SignatureType kMaybeAtomic = Atomic(Type::AnyAtomic, Optional);
constexpr SignatureType kAtomics = Atomic(Type::AnyAtomic, ZeroOrMore);
constexpr SignatureType kMaybeNumber = {ItemKind::Atomic, Type::AnyAtomic,
                                        Optional, true};
constexpr SignatureType kItem = Kind(ItemKind::Item);
constexpr SignatureType kMaybeItem = Kind(ItemKind::Item, Optional);
constexpr SignatureType kItems = Kind(ItemKind::Item, ZeroOrMore);
constexpr SignatureType kSomeItems = Kind(ItemKind::Item, OneOrMore);
constexpr SignatureType kNode = Kind(ItemKind::Node);
constexpr SignatureType kMaybeNode = Kind(ItemKind::Node, Optional);
constexpr SignatureType kNodes = Kind(ItemKind::Node, ZeroOrMore);
constexpr SignatureType kElement = Kind(ItemKind::Element);
constexpr SignatureType kElements = Kind(ItemKind::Element, ZeroOrMore);
constexpr SignatureType kMaybeDocument = Kind(ItemKind::Document, Optional);
constexpr SignatureType kNothing = Kind(ItemKind::Item, Occurrence::Empty);

using Types = std::initializer_list<SignatureType>;

// The last `optional` parameters may be left out.
constexpr Function Signature(std::string_view name, Types parameters,
                             SignatureType result, std::size_t optional) {
  Function row;
  row.name = name;
  row.min_arity = static_cast<std::uint8_t>(parameters.size() - optional);
  row.max_arity = static_cast<std::uint8_t>(parameters.size());
  std::copy(parameters.begin(), parameters.end(), row.parameters.begin());
  row.result = result;
  return row;
}

constexpr Function Scalar(std::string_view name, Types parameters,
                          SignatureType result, ScalarFunction function,
                          std::size_t optional = 0,
                          std::uint8_t depends_on = kOnNothing) {
  Function row = Signature(name, parameters, result, optional);
  row.scalar = function;
  row.depends_on = depends_on;
  return row;
}

// The one argument that may be left out is the focus.
constexpr Function OfFocus(Function row, ImpliedArgument implied) {
  row.implied = implied;
  return row;
}

constexpr Function AnyNumberFrom2(std::string_view name,
                                  SignatureType parameter, SignatureType result,
                                  ScalarFunction function) {
  Function row = Scalar(name, {parameter}, result, function);
  row.min_arity = 2;
  row.max_arity = Function::kUnbounded;
  return row;
}

constexpr Function List(std::string_view name, Types parameters,
                        SignatureType result, ListFunction function,
                        std::size_t optional = 0) {
  Function row = Signature(name, parameters, result, optional);
  row.list = function;
  return row;
}

constexpr Function Engine(std::string_view name, Types parameters,
                          SignatureType result, EngineFunction function,
                          std::size_t optional = 0,
                          std::uint8_t depends_on = kOnNothing) {
  Function row = Signature(name, parameters, result, optional);
  row.engine = function;
  row.depends_on = depends_on;
  return row;
}

using namespace functions;
using E = EngineFunction;
constexpr auto kContextItem = ImpliedArgument::ContextItem;
constexpr auto kContextString = ImpliedArgument::ContextString;

// In the order of their names in ASCII, then of arities.

constexpr Function kTable[] = {
    Scalar("QName", {kMaybeString, kString}, kQName, MakeQName),
    Scalar("abs", {kMaybeNumber}, kMaybeNumber, AbsOf),
    Scalar("adjust-date-to-timezone", {kMaybeDate, kMaybeZone}, kMaybeDate,
           AdjustTimezone, 1, kOnClock),
    Scalar("adjust-dateTime-to-timezone", {kMaybeDateTime, kMaybeZone},
           kMaybeDateTime, AdjustTimezone, 1, kOnClock),
    Scalar("adjust-time-to-timezone", {kMaybeTime, kMaybeZone}, kMaybeTime,
           AdjustTimezone, 1, kOnClock),
    Engine("avg", {kAtomics}, kMaybeAtomic, E::Avg),
    OfFocus(
        Engine("base-uri", {kMaybeNode}, kMaybeUri, E::BaseUri, 1, kOnNodes),
        kContextItem),
    Engine("boolean", {kItems}, kBoolean, E::Boolean),
    Scalar("ceiling", {kMaybeNumber}, kMaybeNumber, CeilingOf),
    Scalar("codepoint-equal", {kMaybeString, kMaybeString}, kMaybeBoolean,
           CodepointEqual),
    Engine("codepoints-to-string", {kIntegers}, kString, E::CodepointsToString),
    Engine("collection", {kMaybeString}, kNodes, E::Collection, 1,
           kOnDocuments | kOnBaseUri),
    Scalar("compare", {kMaybeString, kMaybeString, kString}, kMaybeInteger,
           Compare, 1, kOnCollation),
    AnyNumberFrom2("concat", kMaybeAtomic, kString, Concat),
    Scalar("contains", {kMaybeString, kMaybeString, kString}, kBoolean,
           Contains, 1, kOnCollation),
    Engine("count", {kItems}, kInteger, E::Count),
    Scalar("current-date", {}, kDate, CurrentDate, 0, kOnClock),
    Scalar("current-dateTime", {}, kDateTime, CurrentDateTime, 0, kOnClock),
    Scalar("current-time", {}, kTime, CurrentTime, 0, kOnClock),
    Engine("data", {kItems}, kAtomics, E::Data),
    Scalar("dateTime", {kMaybeDate, kMaybeTime}, kMaybeDateTime, DateTime),
    Scalar("day-from-date", {kMaybeDate}, kMaybeInteger, DayPart),
    Scalar("day-from-dateTime", {kMaybeDateTime}, kMaybeInteger, DayPart),
    Scalar("days-from-duration", {kMaybeDuration}, kMaybeInteger, DayPart),
    Engine("deep-equal", {kItems, kItems, kString}, kBoolean, E::DeepEqual, 1,
           kOnCollation | kOnClock),
    Scalar("default-collation", {}, kString, DefaultCollation, 0, kOnCollation),
    Engine("distinct-values", {kAtomics, kString}, kAtomics, E::DistinctValues,
           1, kOnCollation | kOnClock),
    Engine("doc", {kMaybeString}, kMaybeDocument, E::Doc, 0,
           kOnDocuments | kOnBaseUri),
    Engine("doc-available", {kMaybeString}, kBoolean, E::DocAvailable, 0,
           kOnDocuments | kOnBaseUri),
    Engine("document-uri", {kMaybeNode}, kMaybeUri, E::DocumentUri, 0,
           kOnNodes),
    OfFocus(Engine("element-with-id", {kStrings, kNode}, kElements, E::Id, 1,
                   kOnNodes),
            kContextItem),
    Engine("empty", {kItems}, kBoolean, E::Empty),
    Scalar("encode-for-uri", {kMaybeString}, kString, EncodeForUri),
    Scalar("ends-with", {kMaybeString, kMaybeString, kString}, kBoolean,
           EndsWith, 1, kOnCollation),
    Engine("error", {kQName}, kNothing, E::Error, 1, kHasEffect),
    Engine("error", {kMaybeQName, kString, kItems}, kNothing, E::Error, 1,
           kHasEffect),
    Scalar("escape-html-uri", {kMaybeString}, kString, EscapeHtmlUri),
    Engine("exactly-one", {kItems}, kItem, E::ExactlyOne),
    Engine("exists", {kItems}, kBoolean, E::Exists),
    Scalar("false", {}, kBoolean, False),
    Scalar("floor", {kMaybeNumber}, kMaybeNumber, FloorOf),
    Scalar("hours-from-dateTime", {kMaybeDateTime}, kMaybeInteger, HoursPart),
    Scalar("hours-from-duration", {kMaybeDuration}, kMaybeInteger, HoursPart),
    Scalar("hours-from-time", {kMaybeTime}, kMaybeInteger, HoursPart),
    OfFocus(Engine("id", {kStrings, kNode}, kElements, E::Id, 1, kOnNodes),
            kContextItem),
    OfFocus(Engine("idref", {kStrings, kNode}, kNodes, E::IdRef, 1, kOnNodes),
            kContextItem),
    Scalar("implicit-timezone", {}, kZone, ImplicitTimezone, 0, kOnClock),
    Engine("in-scope-prefixes", {kElement}, kStrings, E::InScopePrefixes, 0,
           kOnNodes),
    Engine("index-of", {kAtomics, kAtomic, kString}, kIntegers, E::IndexOf, 1,
           kOnCollation | kOnClock),
    Engine("insert-before", {kItems, kInteger, kItems}, kItems,
           E::InsertBefore),
    Scalar("iri-to-uri", {kMaybeString}, kString, IriToUri),
    OfFocus(
        Engine("lang", {kMaybeString, kNode}, kBoolean, E::Lang, 1, kOnNodes),
        kContextItem),
    Engine("last", {}, kInteger, E::Last, 0, kOnSize),
    OfFocus(Engine("local-name", {kMaybeNode}, kString, E::LocalName, 1),
            kContextItem),
    Scalar("local-name-from-QName", {kMaybeQName}, kMaybeNcName,
           LocalNameFromQName),
    Scalar("lower-case", {kMaybeString}, kString, LowerCase),
    Scalar("matches", {kMaybeString, kString, kString}, kBoolean,
           MatchesPattern, 1),
    Engine("max", {kAtomics, kString}, kMaybeAtomic, E::Max, 1,
           kOnCollation | kOnClock),
    Engine("min", {kAtomics, kString}, kMaybeAtomic, E::Min, 1,
           kOnCollation | kOnClock),
    Scalar("minutes-from-dateTime", {kMaybeDateTime}, kMaybeInteger,
           MinutesPart),
    Scalar("minutes-from-duration", {kMaybeDuration}, kMaybeInteger,
           MinutesPart),
    Scalar("minutes-from-time", {kMaybeTime}, kMaybeInteger, MinutesPart),
    Scalar("month-from-date", {kMaybeDate}, kMaybeInteger, MonthPart),
    Scalar("month-from-dateTime", {kMaybeDateTime}, kMaybeInteger, MonthPart),
    Scalar("months-from-duration", {kMaybeDuration}, kMaybeInteger, MonthPart),
    OfFocus(Engine("name", {kMaybeNode}, kString, E::Name, 1), kContextItem),
    OfFocus(Engine("namespace-uri", {kMaybeNode}, kUri, E::NamespaceUri, 1),
            kContextItem),
    Engine("namespace-uri-for-prefix", {kMaybeString, kElement}, kMaybeUri,
           E::NamespaceUriForPrefix, 0, kOnNodes),
    Scalar("namespace-uri-from-QName", {kMaybeQName}, kMaybeUri,
           NamespaceUriFromQName),
    Engine("nilled", {kMaybeNode}, kMaybeBoolean, E::Nilled),
    Engine("node-name", {kMaybeNode}, kMaybeQName, E::NodeName),
    OfFocus(
        Scalar("normalize-space", {kMaybeString}, kString, NormalizeSpaceOf, 1),
        kContextString),
    Scalar("normalize-unicode", {kMaybeString, kString}, kString,
           NormalizeUnicode, 1),
    Engine("not", {kItems}, kBoolean, E::Not),
    OfFocus(Scalar("number", {kMaybeAtomic}, kDouble, Number, 1), kContextItem),
    Engine("one-or-more", {kItems}, kSomeItems, E::OneOrMore),
    Engine("position", {}, kInteger, E::Position, 0, kOnPosition),
    Scalar("prefix-from-QName", {kMaybeQName}, kMaybeNcName, PrefixFromQName),
    Engine("remove", {kItems, kInteger}, kItems, E::Remove),
    Scalar("replace", {kMaybeString, kString, kString, kString}, kString,
           Replace, 1),
    Engine("resolve-QName", {kMaybeString, kElement}, kMaybeQName,
           E::ResolveQName, 0, kOnNodes),
    Scalar("resolve-uri", {kMaybeString, kString}, kMaybeUri, ResolveUri, 1,
           kOnBaseUri),
    Engine("reverse", {kItems}, kItems, E::Reverse),
    OfFocus(Engine("root", {kMaybeNode}, kMaybeNode, E::Root, 1, kOnNodes),
            kContextItem),
    Scalar("round", {kMaybeNumber}, kMaybeNumber, RoundOf),
    Scalar("round-half-to-even", {kMaybeNumber, kInteger}, kMaybeNumber,
           RoundHalfToEvenOf, 1),
    Scalar("seconds-from-dateTime", {kMaybeDateTime}, kMaybeDecimal,
           SecondsPart),
    Scalar("seconds-from-duration", {kMaybeDuration}, kMaybeDecimal,
           SecondsPart),
    Scalar("seconds-from-time", {kMaybeTime}, kMaybeDecimal, SecondsPart),
    Scalar("starts-with", {kMaybeString, kMaybeString, kString}, kBoolean,
           StartsWith, 1, kOnCollation),
    Scalar("static-base-uri", {}, kMaybeUri, StaticBaseUri, 0, kOnBaseUri),
    OfFocus(Engine("string", {kMaybeItem}, kString, E::String, 1),
            kContextItem),
    Engine("string-join", {kStrings, kString}, kString, E::StringJoin),
    OfFocus(Scalar("string-length", {kMaybeString}, kInteger, StringLength, 1),
            kContextString),
    List("string-to-codepoints", {kMaybeString}, kIntegers, StringToCodepoints),
    Engine("subsequence", {kItems, kDouble, kDouble}, kItems, E::Subsequence,
           1),
    Scalar("substring", {kMaybeString, kDouble, kDouble}, kString, Substring,
           1),
    Scalar("substring-after", {kMaybeString, kMaybeString, kString}, kString,
           SubstringAfter, 1, kOnCollation),
    Scalar("substring-before", {kMaybeString, kMaybeString, kString}, kString,
           SubstringBefore, 1, kOnCollation),
    Engine("sum", {kAtomics}, kAtomic, E::Sum),
    Engine("sum", {kAtomics, kMaybeAtomic}, kMaybeAtomic, E::Sum),
    Scalar("timezone-from-date", {kMaybeDate}, kMaybeZone, TimezonePart),
    Scalar("timezone-from-dateTime", {kMaybeDateTime}, kMaybeZone,
           TimezonePart),
    Scalar("timezone-from-time", {kMaybeTime}, kMaybeZone, TimezonePart),
    List("tokenize", {kMaybeString, kString, kString}, kStrings, Tokenize, 1),
    Engine("trace", {kItems, kString}, kItems, E::Trace, 0, kHasEffect),
    Scalar("translate", {kMaybeString, kString, kString}, kString, Translate),
    Scalar("true", {}, kBoolean, True),
    Engine("unordered", {kItems}, kItems, E::Unordered),
    Scalar("upper-case", {kMaybeString}, kString, UpperCase),
    Scalar("year-from-date", {kMaybeDate}, kMaybeInteger, YearPart),
    Scalar("year-from-dateTime", {kMaybeDateTime}, kMaybeInteger, YearPart),
    Scalar("years-from-duration", {kMaybeDuration}, kMaybeInteger, YearPart),
    Engine("zero-or-one", {kItems}, kMaybeItem, E::ZeroOrOne),
};

constexpr bool IsSorted() {
  for (std::size_t i = 1; i < std::size(kTable); ++i) {
    const Function& before = kTable[i - 1];
    const Function& row = kTable[i];
    if (row.name < before.name) return false;
    if (row.name == before.name && row.min_arity <= before.max_arity)
      return false;
  }
  return true;
}
static_assert(IsSorted());

std::span<const Function> RowsNamed(std::string_view local) {
  // Not equal_range: clang 14 cannot read what it gives.
  return {std::ranges::lower_bound(kTable, local, {}, &Function::name),
          std::ranges::upper_bound(kTable, local, {}, &Function::name)};
}

}  // namespace

SequenceType SignatureType::ToSequenceType() const {
  ItemType item = ItemType::OfKind(kind);
  if (kind == ItemKind::Atomic) item = ItemType::OfAtomic(atomic);
  return {item, occurrence};
}

std::span<const Function> AllFunctions() { return kTable; }

const Function* FindFunction(std::string_view local, std::size_t arity) {
  for (const Function& row : RowsNamed(local)) {
    const bool is_enough = arity >= row.min_arity;
    if (is_enough &&
        (row.max_arity == Function::kUnbounded || arity <= row.max_arity)) {
      return &row;
    }
  }
  return nullptr;
}

}  // namespace kiv::xdb::xq
