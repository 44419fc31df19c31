#ifndef XDB_XQUERY_FUNCTIONS_IMPLEMENTATIONS_H_
#define XDB_XQUERY_FUNCTIONS_IMPLEMENTATIONS_H_

#include <span>
#include <string>

#include "xdb/xquery/functions/call_context.h"
#include "xdb/xquery/values/item.h"

// The functions that the table points to, each named after its own in the
// query language; see ScalarFunction and ListFunction.
namespace kiv::xdb::xq::functions {

using Arguments = std::span<const Item>;

// string_functions.cpp
// Appends the character of a number; FOCH0001.
void AppendCodepoint(const Item& number, std::string& text);
Sequence StringToCodepoints(const CallContext& context, Arguments arguments);
Item Compare(const CallContext& context, Arguments arguments);
Item CodepointEqual(const CallContext& context, Arguments arguments);
Item Concat(const CallContext& context, Arguments arguments);
Item Substring(const CallContext& context, Arguments arguments);
Item StringLength(const CallContext& context, Arguments arguments);
Item NormalizeSpaceOf(const CallContext& context, Arguments arguments);
Item NormalizeUnicode(const CallContext& context, Arguments arguments);
Item UpperCase(const CallContext& context, Arguments arguments);
Item LowerCase(const CallContext& context, Arguments arguments);
Item Translate(const CallContext& context, Arguments arguments);
Item Contains(const CallContext& context, Arguments arguments);
Item StartsWith(const CallContext& context, Arguments arguments);
Item EndsWith(const CallContext& context, Arguments arguments);
Item SubstringBefore(const CallContext& context, Arguments arguments);
Item SubstringAfter(const CallContext& context, Arguments arguments);

// pattern_functions.cpp
Item MatchesPattern(const CallContext& context, Arguments arguments);
Item Replace(const CallContext& context, Arguments arguments);
Sequence Tokenize(const CallContext& context, Arguments arguments);

// uri_functions.cpp
Item EncodeForUri(const CallContext& context, Arguments arguments);
Item IriToUri(const CallContext& context, Arguments arguments);
Item EscapeHtmlUri(const CallContext& context, Arguments arguments);
Item ResolveUri(const CallContext& context, Arguments arguments);
Item StaticBaseUri(const CallContext& context, Arguments arguments);
Item DefaultCollation(const CallContext& context, Arguments arguments);

// value_functions.cpp: truth values, numbers, dates and names
Item True(const CallContext& context, Arguments arguments);
Item False(const CallContext& context, Arguments arguments);
Item Number(const CallContext& context, Arguments arguments);
Item AbsOf(const CallContext& context, Arguments arguments);
Item CeilingOf(const CallContext& context, Arguments arguments);
Item FloorOf(const CallContext& context, Arguments arguments);
Item RoundOf(const CallContext& context, Arguments arguments);
Item RoundHalfToEvenOf(const CallContext& context, Arguments arguments);
// The part of a date, time or duration, for whichever function asks.
Item YearPart(const CallContext& context, Arguments arguments);
Item MonthPart(const CallContext& context, Arguments arguments);
Item DayPart(const CallContext& context, Arguments arguments);
Item HoursPart(const CallContext& context, Arguments arguments);
Item MinutesPart(const CallContext& context, Arguments arguments);
Item SecondsPart(const CallContext& context, Arguments arguments);
Item TimezonePart(const CallContext& context, Arguments arguments);
Item AdjustTimezone(const CallContext& context, Arguments arguments);
Item DateTime(const CallContext& context, Arguments arguments);
Item CurrentDateTime(const CallContext& context, Arguments arguments);
Item CurrentDate(const CallContext& context, Arguments arguments);
Item CurrentTime(const CallContext& context, Arguments arguments);
Item ImplicitTimezone(const CallContext& context, Arguments arguments);
Item MakeQName(const CallContext& context, Arguments arguments);
Item PrefixFromQName(const CallContext& context, Arguments arguments);
Item LocalNameFromQName(const CallContext& context, Arguments arguments);
Item NamespaceUriFromQName(const CallContext& context, Arguments arguments);

}  // namespace kiv::xdb::xq::functions

#endif  // XDB_XQUERY_FUNCTIONS_IMPLEMENTATIONS_H_
