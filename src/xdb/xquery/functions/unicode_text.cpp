#include "xdb/xquery/functions/unicode_text.h"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/uniset.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <limits>

#include "xdb/xquery/functions/text_steps.h"
#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {
namespace {

icu::UnicodeString ToUnicode(std::string_view text) {
  // A case or a form may take several times the room.
  if (text.size() > std::numeric_limits<std::int32_t>::max() / 8) {
    throw Error("XPDY0130", "the text is too long for a Unicode mapping");
  }
  return icu::UnicodeString::fromUTF8(
      {text.data(), static_cast<std::int32_t>(text.size())});
}

std::string ToText(const icu::UnicodeString& text) {
  std::string utf8;
  text.toUTF8String(utf8);
  return utf8;
}

const icu::Normalizer2* NormalizerOf(NormalForm form, UErrorCode& status) {
  switch (form) {
    case NormalForm::Nfc:
      return icu::Normalizer2::getNFCInstance(status);
    case NormalForm::Nfd:
      return icu::Normalizer2::getNFDInstance(status);
    case NormalForm::Nfkc:
      return icu::Normalizer2::getNFKCInstance(status);
    case NormalForm::Nfkd:
      return icu::Normalizer2::getNFKDInstance(status);
  }
  return nullptr;
}

template <typename Map>
std::string MappedAscii(std::string_view text, Map map) {
  std::string mapped(text);
  for (char& c : mapped) c = map(c);
  return mapped;
}

}  // namespace

std::string UpperCased(std::string_view text) {
  if (IsAscii(text)) {
    return MappedAscii(text, [](char c) {
      return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
  }
  return ToText(ToUnicode(text).toUpper(icu::Locale::getRoot()));
}

std::string LowerCased(std::string_view text) {
  if (IsAscii(text)) {
    return MappedAscii(text, [](char c) {
      return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
  }
  return ToText(ToUnicode(text).toLower(icu::Locale::getRoot()));
}

std::string Normalized(std::string_view text, NormalForm form) {
  if (IsAscii(text)) return std::string(text);
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* normalizer = NormalizerOf(form, status);
  icu::UnicodeString normalized;
  if (U_SUCCESS(status))
    normalizer->normalize(ToUnicode(text), normalized, status);
  if (U_FAILURE(status)) throw Error("FOCH0003", u_errorName(status));
  return ToText(normalized);
}

std::vector<CharacterRange> WithCaseVariants(CharacterRange range) {
  icu::UnicodeSet set(static_cast<UChar32>(range.first),
                      static_cast<UChar32>(range.last));
  set.closeOver(USET_CASE_INSENSITIVE);
  std::vector<CharacterRange> ranges;
  ranges.reserve(static_cast<std::size_t>(set.getRangeCount()));
  // Behind its ranges a set holds strings, which a class has no use for.
  for (std::int32_t i = 0; i < set.getRangeCount(); ++i) {
    ranges.push_back({static_cast<char32_t>(set.getRangeStart(i)),
                      static_cast<char32_t>(set.getRangeEnd(i))});
  }
  return ranges;
}

namespace {

// "Greek_And_Coptic", as ICU says, is "GreekandCoptic" in a pattern. Hyphens,
// which ICU lacks, are left out of both.
std::string NameInPatterns(std::string_view icu_name) {
  std::string name;
  while (!icu_name.empty()) {
    const std::size_t end = std::min(icu_name.find('_'), icu_name.size());
    std::string word(icu_name.substr(0, end));
    if (word == "And" || word == "For" || word == "Of") word[0] |= 0x20;
    name += word;
    icu_name.remove_prefix(std::min(end + 1, icu_name.size()));
  }
  return name;
}

// Blocks whose name Unicode has changed since.
std::string_view CurrentNameOf(std::string_view name) {
  if (name == "Greek") return "GreekandCoptic";
  if (name == "CombiningMarksforSymbols")
    return "CombiningDiacriticalMarksforSymbols";
  if (name == "PrivateUse") return "PrivateUseArea";
  return name;
}

std::optional<CharacterRange> BlockOf(std::int32_t block) {
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeSet set;
  set.applyIntPropertyValue(UCHAR_BLOCK, block, status);
  if (U_FAILURE(status) || set.isEmpty()) return std::nullopt;
  return CharacterRange{static_cast<char32_t>(set.getRangeStart(0)),
                        static_cast<char32_t>(set.getRangeEnd(0))};
}

}  // namespace

std::optional<CharacterRange> BlockNamed(std::string_view name) {
  std::string wanted(CurrentNameOf(name));
  std::erase(wanted, '-');
  const std::int32_t block =
      u_getPropertyValueEnum(UCHAR_BLOCK, wanted.c_str());
  if (block <= 0) return std::nullopt;
  const char* official =
      u_getPropertyValueName(UCHAR_BLOCK, block, U_LONG_PROPERTY_NAME);
  if (!official || NameInPatterns(official) != wanted) return std::nullopt;
  return BlockOf(block);
}

}  // namespace kiv::xdb::xq
