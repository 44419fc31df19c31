#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "xdb/xquery/functions/implementations.h"
#include "xdb/xquery/functions/pattern.h"
#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq::functions {
namespace {

// The pattern of a call, from the execution's cache where it has one.
class CalledPattern {
 public:
  CalledPattern(const CallContext& context, const Item& pattern,
                std::string_view flags) {
    if (context.patterns) {
      pattern_ = &context.patterns->Of(pattern.AsText(), flags);
    } else {
      pattern_ = &own_.emplace(pattern.AsText(), flags);
    }
  }
  Pattern& operator*() { return *pattern_; }
  Pattern* operator->() { return pattern_; }

 private:
  std::optional<Pattern> own_;
  Pattern* pattern_;
};

std::string_view TextAt(Arguments arguments, std::size_t index) {
  if (index >= arguments.size() || arguments[index].IsNone()) return {};
  return arguments[index].AsText();
}

// Where a text is cut, a match of nothing would cut it everywhere.
void RequireMatchesSomething(Pattern& pattern) {
  if (pattern.MatchesEmptyText()) {
    throw Error("FORX0003", "the regular expression matches the empty text");
  }
}

// A replacement cut into texts and the groups behind them.
class Replacement {
 public:
  // FORX0004. Of the digits behind "$" as many count as name a group.
  Replacement(std::string_view text, int group_count) {
    std::string literal;
    for (std::size_t at = 0; at < text.size(); ++at) {
      const char c = text[at];
      const char next = at + 1 < text.size() ? text[at + 1] : '\0';
      if (c == '\\') {
        if (next != '\\' && next != '$')
          Refuse("a backslash stands before neither backslash nor $");
        literal += next;
        ++at;
      } else if (c == '$') {
        if (!IsDigit(next)) Refuse("a $ stands before no digit");
        int group = next - '0';
        ++at;
        while (at + 1 < text.size() && IsDigit(text[at + 1]) &&
               group * 10 + (text[at + 1] - '0') <= group_count) {
          group = group * 10 + (text[++at] - '0');
        }
        pieces_.emplace_back(std::move(literal),
                             group <= group_count ? group : kNoGroup);
        literal.clear();
      } else {
        literal += c;
      }
    }
    if (!literal.empty()) pieces_.emplace_back(std::move(literal), kNoGroup);
  }

  void AppendFor(const Pattern& match, std::string& text) const {
    for (const auto& [literal, group] : pieces_) {
      text += literal;
      if (group != kNoGroup) match.AppendGroup(group, text);
    }
  }

 private:
  static constexpr int kNoGroup = -1;

  static bool IsDigit(char c) { return c >= '0' && c <= '9'; }
  [[noreturn]] static void Refuse(const std::string& why) {
    throw Error("FORX0004", "invalid replacement: " + why);
  }

  std::vector<std::pair<std::string, int>> pieces_;
};

}  // namespace

Item MatchesPattern(const CallContext& context, Arguments arguments) {
  CalledPattern pattern(context, arguments[1], TextAt(arguments, 2));
  return Item::OfBoolean(pattern->IsIn(TextAt(arguments, 0)));
}

Item Replace(const CallContext& context, Arguments arguments) {
  CalledPattern pattern(context, arguments[1], TextAt(arguments, 3));
  RequireMatchesSomething(*pattern);
  const Replacement replacement(arguments[2].AsText(), pattern->group_count());

  std::string replaced;
  MemoryCharge charge;
  pattern->Search(TextAt(arguments, 0));
  while (pattern->Next()) {
    pattern->AppendBetween(replaced);
    replacement.AppendFor(*pattern, replaced);
    charge.GrowTo(replaced.capacity());
  }
  pattern->AppendBetween(replaced);
  return Item::OfText(replaced);
}

Sequence Tokenize(const CallContext& context, Arguments arguments) {
  CalledPattern pattern(context, arguments[1], TextAt(arguments, 2));
  RequireMatchesSomething(*pattern);
  Sequence tokens;
  const std::string_view text = TextAt(arguments, 0);
  if (text.empty()) return tokens;

  std::string token;
  pattern->Search(text);
  bool is_more = true;
  while (is_more) {
    is_more = pattern->Next();
    token.clear();
    pattern->AppendBetween(token);
    tokens.push_back(Item::OfText(token));
  }
  return tokens;
}

}  // namespace kiv::xdb::xq::functions
