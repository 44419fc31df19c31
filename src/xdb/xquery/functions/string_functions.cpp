#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "xdb/xquery/functions/implementations.h"
#include "xdb/xquery/functions/text_steps.h"
#include "xdb/xquery/functions/unicode_text.h"
#include "xdb/xquery/functions/uri.h"
#include "xdb/xquery/values/arithmetic.h"
#include "xdb/xquery/values/cast.h"
#include "xdb/xquery/values/error.h"
#include "xdb/xquery/values/lexical.h"
#include "xdb/xquery/values/xml_characters.h"

namespace kiv::xdb::xq {

void RequireCodepointCollation(const CallContext& context,
                               const Item& collation) {
  const std::string_view name =
      collation.IsNone() ? context.default_collation : collation.AsText();
  if (name == kCodepointCollation) return;
  if (!IsAbsoluteUri(name) && context.base_uri) {
    const auto absolute = ResolveReference(name, *context.base_uri);
    if (absolute && *absolute == kCodepointCollation) return;
  }
  throw Error("FOCH0002", "unknown collation '" + std::string(name) + "'");
}

namespace functions {
namespace {

std::string_view TextAt(Arguments arguments, std::size_t index) {
  const Item& item = arguments[index];
  return item.IsNone() ? std::string_view{} : item.AsText();
}

// An argument as it stands, as the result.
Item SameText(const Item& item) {
  return item.IsNone() ? Item::OfLastingText("") : item.As(Type::String);
}

void CheckCollation(const CallContext& context, Arguments arguments,
                    std::size_t index) {
  RequireCodepointCollation(
      context, index < arguments.size() ? arguments[index] : Item{});
}

}  // namespace

void AppendCodepoint(const Item& number, std::string& text) {
  const std::int64_t value =
      number.IsSmallInteger() ? number.AsSmallInteger() : -1;
  if (value < 0 || value > 0x10FFFF ||
      !IsXmlCharacter(static_cast<char32_t>(value))) {
    throw Error("FOCH0001", TextOf(number) + " is the number of no character");
  }
  AppendCharacter(text, static_cast<char32_t>(value));
}

Sequence StringToCodepoints(const CallContext&, Arguments arguments) {
  Sequence numbers;
  const std::string_view text = TextAt(arguments, 0);
  const std::size_t count = CountCharacters(text);
  MemoryCharge charge;
  charge.Add(count * sizeof(Item));
  numbers.reserve(count);
  ForEachCharacter(text, [&](char32_t character) {
    numbers.push_back(Item::OfInteger(character));
  });
  return numbers;
}

Item Compare(const CallContext& context, Arguments arguments) {
  CheckCollation(context, arguments, 2);
  if (arguments[0].IsNone() || arguments[1].IsNone()) return {};
  // The order of UTF-8 bytes is that of the characters.
  const int order = arguments[0].AsText().compare(arguments[1].AsText());
  return Item::OfInteger(order < 0 ? -1 : order > 0 ? 1 : 0);
}

Item CodepointEqual(const CallContext&, Arguments arguments) {
  if (arguments[0].IsNone() || arguments[1].IsNone()) return {};
  return Item::OfBoolean(arguments[0].AsText() == arguments[1].AsText());
}

Item Concat(const CallContext&, Arguments arguments) {
  std::string text;
  for (const Item& item : arguments) {
    if (!item.IsNone()) AppendTextOf(item, text);
  }
  return Item::OfText(text);
}

Item Substring(const CallContext&, Arguments arguments) {
  const std::string_view text = TextAt(arguments, 0);
  const double first = Round(arguments[1]).AsDouble();
  // Behind the last; NaN, as from -INF + INF, is behind nothing.
  const double end =
      arguments.size() > 2 ? first + Round(arguments[2]).AsDouble() : HUGE_VAL;
  const double from = std::max(first, 1.0);
  const auto size = static_cast<double>(text.size());
  if (std::isnan(first) || !(from < end) || from > size)
    return Item::OfLastingText("");
  if (from == 1.0 && end > size) return SameText(arguments[0]);

  const auto skipped = static_cast<std::size_t>(from - 1);
  const auto taken = static_cast<std::size_t>(std::min(end - from, size));
  if (IsAscii(text)) return Item::OfText(text.substr(skipped, taken));
  const std::size_t begin = SkipCharacters(text, 0, skipped);
  const std::size_t behind = SkipCharacters(text, begin, taken);
  return Item::OfText(text.substr(begin, behind - begin));
}

Item StringLength(const CallContext&, Arguments arguments) {
  return Item::OfInteger(
      static_cast<std::int64_t>(CountCharacters(TextAt(arguments, 0))));
}

Item NormalizeSpaceOf(const CallContext&, Arguments arguments) {
  std::string room;
  const std::string_view text = TextAt(arguments, 0);
  const std::string_view normalized = NormalizeSpace(text, Type::Token, room);
  if (normalized.size() == text.size() && room.empty())
    return SameText(arguments[0]);
  return Item::OfText(normalized);
}

Item NormalizeUnicode(const CallContext&, Arguments arguments) {
  constexpr std::pair<std::string_view, NormalForm> kForms[] = {
      {"NFC", NormalForm::Nfc},
      {"NFD", NormalForm::Nfd},
      {"NFKC", NormalForm::Nfkc},
      {"NFKD", NormalForm::Nfkd}};
  std::string wanted = "NFC";
  if (arguments.size() > 1)
    wanted = UpperCased(TrimSpace(arguments[1].AsText()));
  if (wanted.empty()) return SameText(arguments[0]);
  for (const auto& [name, form] : kForms) {
    if (name == wanted)
      return Item::OfText(Normalized(TextAt(arguments, 0), form));
  }
  throw Error("FOCH0003", "unknown normalization form '" + wanted + "'");
}

Item UpperCase(const CallContext&, Arguments arguments) {
  return Item::OfText(UpperCased(TextAt(arguments, 0)));
}

Item LowerCase(const CallContext&, Arguments arguments) {
  return Item::OfText(LowerCased(TextAt(arguments, 0)));
}

namespace {

// What each character becomes; the first mention of one counts.
class CharacterMap {
 public:
  CharacterMap(std::string_view from, std::string_view to) {
    ascii_.fill(kSame);
    const char* in = to.data();
    const char* const end = in + to.size();
    ForEachCharacter(from, [&](char32_t character) {
      char32_t becomes = kGone;
      if (in != end) in = utf8::DecodeOne(in, end, becomes);
      Add(character, becomes);
    });
    std::ranges::stable_sort(others_, {}, &Pair::first);
  }

  void Append(std::string& text, char32_t character) const {
    const char32_t becomes = Of(character);
    if (becomes == kGone) return;
    AppendCharacter(text, becomes == kSame ? character : becomes);
  }

 private:
  using Pair = std::pair<char32_t, char32_t>;
  static constexpr char32_t kSame = 0x110000;
  static constexpr char32_t kGone = 0x110001;

  void Add(char32_t character, char32_t becomes) {
    if (character >= ascii_.size()) {
      others_.emplace_back(character, becomes);
    } else if (ascii_[character] == kSame) {
      ascii_[character] = becomes;
    }
  }
  char32_t Of(char32_t character) const {
    if (character < ascii_.size()) return ascii_[character];
    const auto found =
        std::ranges::lower_bound(others_, character, {}, &Pair::first);
    const bool is_there = found != others_.end() && found->first == character;
    return is_there ? found->second : kSame;
  }

  std::array<char32_t, 128> ascii_{};
  std::vector<Pair> others_;
};

}  // namespace

Item Translate(const CallContext&, Arguments arguments) {
  const std::string_view text = TextAt(arguments, 0);
  if (text.empty()) return SameText(arguments[0]);
  const CharacterMap map(TextAt(arguments, 1), TextAt(arguments, 2));
  std::string translated;
  translated.reserve(text.size());
  ForEachCharacter(
      text, [&](char32_t character) { map.Append(translated, character); });
  return Item::OfText(translated);
}

Item Contains(const CallContext& context, Arguments arguments) {
  CheckCollation(context, arguments, 2);
  return Item::OfBoolean(TextAt(arguments, 0).find(TextAt(arguments, 1)) !=
                         std::string_view::npos);
}

Item StartsWith(const CallContext& context, Arguments arguments) {
  CheckCollation(context, arguments, 2);
  return Item::OfBoolean(
      TextAt(arguments, 0).starts_with(TextAt(arguments, 1)));
}

Item EndsWith(const CallContext& context, Arguments arguments) {
  CheckCollation(context, arguments, 2);
  return Item::OfBoolean(TextAt(arguments, 0).ends_with(TextAt(arguments, 1)));
}

Item SubstringBefore(const CallContext& context, Arguments arguments) {
  CheckCollation(context, arguments, 2);
  const std::string_view text = TextAt(arguments, 0);
  const std::size_t at = text.find(TextAt(arguments, 1));
  if (at == std::string_view::npos) return Item::OfLastingText("");
  return Item::OfText(text.substr(0, at));
}

Item SubstringAfter(const CallContext& context, Arguments arguments) {
  CheckCollation(context, arguments, 2);
  const std::string_view text = TextAt(arguments, 0);
  const std::string_view mark = TextAt(arguments, 1);
  const std::size_t at = text.find(mark);
  if (at == std::string_view::npos) return Item::OfLastingText("");
  return Item::OfText(text.substr(at + mark.size()));
}

}  // namespace functions
}  // namespace kiv::xdb::xq
