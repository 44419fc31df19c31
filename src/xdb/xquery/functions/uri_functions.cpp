#include <string>

#include "util/hex_digits.h"
#include "xdb/xquery/functions/implementations.h"
#include "xdb/xquery/functions/uri.h"
#include "xdb/xquery/values/error.h"
#include "xdb/xquery/values/lexical.h"

namespace kiv::xdb::xq::functions {
namespace {

// Every byte that `is_kept` leaves out becomes %HH.
template <typename IsKept>
Item Escaped(Arguments arguments, IsKept is_kept) {
  if (arguments[0].IsNone()) return Item::OfLastingText("");
  std::string escaped;
  for (const char c : arguments[0].AsText()) {
    if (is_kept(c)) {
      escaped += c;
      continue;
    }
    escaped += '%';
    AppendHexByte(escaped, c);
  }
  return Item::OfText(escaped);
}

bool IsPrintableAscii(char c) { return c >= ' ' && c <= '~'; }

bool IsUnreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.' || c == '~';
}

[[noreturn]] void ThrowNoUri(std::string_view text) {
  throw Error("FORG0002", "'" + std::string(text) + "' is no URI");
}

}  // namespace

Item EncodeForUri(const CallContext&, Arguments arguments) {
  return Escaped(arguments, IsUnreserved);
}

Item IriToUri(const CallContext&, Arguments arguments) {
  return Escaped(arguments, [](char c) {
    constexpr std::string_view kForbidden = " <>\"{}|\\^`";
    return IsPrintableAscii(c) && kForbidden.find(c) == std::string_view::npos;
  });
}

Item EscapeHtmlUri(const CallContext&, Arguments arguments) {
  return Escaped(arguments, IsPrintableAscii);
}

Item ResolveUri(const CallContext& context, Arguments arguments) {
  if (arguments[0].IsNone()) return {};
  const std::string_view reference = arguments[0].AsText();
  if (!IsUri(reference)) ThrowNoUri(reference);
  if (IsAbsoluteUri(reference)) return arguments[0].As(Type::AnyUri);
  if (arguments.size() == 1 && !context.base_uri) {
    throw Error("FONS0005", "there is no base URI to resolve against");
  }
  const std::string_view base =
      arguments.size() > 1 ? arguments[1].AsText() : *context.base_uri;
  // What is absolute has no fragment.
  if (!IsUri(base) || !IsAbsoluteUri(base) ||
      base.find('#') != std::string_view::npos) {
    ThrowNoUri(base);
  }
  const auto absolute = ResolveReference(reference, base);
  if (!absolute) {
    throw Error("FORG0009", "'" + std::string(reference) +
                                "' cannot be resolved against '" +
                                std::string(base) + "'");
  }
  return Item::OfText(*absolute, Type::AnyUri);
}

Item StaticBaseUri(const CallContext& context, Arguments) {
  if (!context.base_uri) return {};
  return Item::OfText(*context.base_uri, Type::AnyUri);
}

Item DefaultCollation(const CallContext& context, Arguments) {
  return Item::OfText(context.default_collation);
}

}  // namespace kiv::xdb::xq::functions
