#include "xdb/xquery/functions/pattern.h"

#include <unicode/regex.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "xdb/xquery/functions/pattern_syntax.h"
#include "xdb/xquery/functions/text_steps.h"
#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {
namespace {

icu::UnicodeString ToUnicode(std::string_view text) {
  if (text.size() > std::numeric_limits<std::int32_t>::max() / 2) {
    throw Error("XPDY0130", "the text is too long for a regular expression");
  }
  return icu::UnicodeString::fromUTF8(
      {text.data(), static_cast<std::int32_t>(text.size())});
}

// What the translation lets through is a pattern: only its size can be wrong.
std::unique_ptr<icu::RegexPattern> Compile(const TranslatedPattern& pattern,
                                           const PatternFlags& flags) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError place;
  std::uint32_t options = UREGEX_UNIX_LINES;
  if (flags.dot_is_all) options |= UREGEX_DOTALL;
  std::unique_ptr<icu::RegexPattern> compiled(icu::RegexPattern::compile(
      ToUnicode(pattern.icu), options, place, status));
  if (U_FAILURE(status)) {
    throw Error("FORX0002", std::string("the regular expression is refused: ") +
                                u_errorName(status));
  }
  return compiled;
}

void ThrowWhenStopped(UErrorCode status) {
  if (U_SUCCESS(status)) return;
  throw Error("XPDY0130",
              std::string("the search for a regular expression is given up: ") +
                  u_errorName(status));
}

}  // namespace

struct Pattern::Compiled {
  Compiled(std::unique_ptr<icu::RegexPattern> made, const MatchLimits& wanted)
      : pattern(std::move(made)), limits(wanted) {
    UErrorCode status = U_ZERO_ERROR;
    matcher.reset(pattern->matcher(status));
    if (U_SUCCESS(status)) {
      matcher->setTimeLimit(limits.milliseconds, status);
      matcher->setStackLimit(limits.stack_bytes, status);
      if (limits.may_go_on) matcher->setMatchCallback(GoesOn, this, status);
    }
    ThrowWhenStopped(status);
  }

  static UBool U_CALLCONV GoesOn(const void* context, std::int32_t) {
    const MatchLimits& limits = static_cast<const Compiled*>(context)->limits;
    return limits.may_go_on(limits.argument) ? 1 : 0;
  }

  std::unique_ptr<icu::RegexPattern> pattern;
  MatchLimits limits;
  icu::UnicodeString subject;  // what the matcher reads
  std::unique_ptr<icu::RegexMatcher> matcher;
};

Pattern::Pattern(std::string_view pattern, std::string_view flag_text,
                 const MatchLimits& limits) {
  const auto flags = PatternFlags::FromText(flag_text);
  TranslatedPattern translated = TranslatePattern(pattern, flags);
  group_count_ = translated.group_count;
  if (translated.literal) {
    literal_ = std::move(translated.literal);
  } else {
    compiled_ = std::make_unique<Compiled>(Compile(translated, flags), limits);
  }
}

Pattern::~Pattern() = default;

bool Pattern::IsIn(std::string_view text) {
  if (literal_) return text.find(*literal_) != std::string_view::npos;
  Search(text);
  return NextByPattern();
}

bool Pattern::MatchesEmptyText() {
  if (!matches_empty_) matches_empty_ = IsIn("");
  return *matches_empty_;
}

void Pattern::Search(std::string_view text) {
  text_ = text;
  match_before_end_ = match_begin_ = match_end_ = 0;
  if (literal_) return;
  is_ascii_ = IsAscii(text);
  compiled_->subject = ToUnicode(text);
  compiled_->matcher->reset(compiled_->subject);
}

bool Pattern::Next() { return literal_ ? NextLiteral() : NextByPattern(); }

bool Pattern::NextLiteral() {
  match_before_end_ = match_end_;
  match_begin_ = std::min(text_.find(*literal_, match_end_), text_.size());
  if (match_begin_ == text_.size()) return false;
  match_end_ = match_begin_ + literal_->size();
  return true;
}

bool Pattern::NextByPattern() {
  UErrorCode status = U_ZERO_ERROR;
  icu::RegexMatcher& matcher = *compiled_->matcher;
  const bool is_found = matcher.find(status);
  ThrowWhenStopped(status);
  match_before_end_ = match_end_;
  if (!is_found) {
    match_begin_ = static_cast<std::size_t>(compiled_->subject.length());
    return false;
  }
  match_begin_ = static_cast<std::size_t>(matcher.start(status));
  match_end_ = static_cast<std::size_t>(matcher.end(status));
  return true;
}

void Pattern::AppendUnits(std::int32_t begin, std::int32_t end,
                          std::string& text) const {
  const std::int32_t size = end - begin;
  if (is_ascii_) {
    text += text_.substr(static_cast<std::size_t>(begin),
                         static_cast<std::size_t>(size));
  } else {
    // Appends.
    compiled_->subject.tempSubString(begin, size).toUTF8String(text);
  }
}

void Pattern::AppendBetween(std::string& text) const {
  AppendUnits(static_cast<std::int32_t>(match_before_end_),
              static_cast<std::int32_t>(match_begin_), text);
}

void Pattern::AppendGroup(int group, std::string& text) const {
  if (literal_) {
    text += *literal_;
    return;
  }
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t begin = compiled_->matcher->start(group, status);
  const std::int32_t end = compiled_->matcher->end(group, status);
  if (U_SUCCESS(status) && begin >= 0) AppendUnits(begin, end, text);
}

Pattern& PatternCache::Of(std::string_view pattern, std::string_view flags) {
  auto found = std::ranges::find_if(entries_, [&](const Entry& entry) {
    return entry.pattern == pattern && entry.flags == flags;
  });
  if (found == entries_.end()) {
    Entry entry{std::string(pattern), std::string(flags),
                std::make_unique<Pattern>(pattern, flags, limits_)};
    if (entries_.size() == kMaxEntries) entries_.pop_back();
    entries_.push_back(std::move(entry));
    found = entries_.end() - 1;
  }
  std::rotate(entries_.begin(), found, found + 1);
  return *entries_.front().compiled;
}

}  // namespace kiv::xdb::xq
