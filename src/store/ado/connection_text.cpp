#include "store/ado/connection_text.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "dm/variant_number.h"
#include "util/cp936.h"
#include "util/gb_text.h"

namespace kiv::store::ado {
namespace {

using dm::WithoutBlanks;

void SkipBlanks(std::string_view text, std::size_t& at) {
  while (at < text.size() && IsAsciiSpace(text[at])) ++at;
}

// Reads up to the closing mark, which a doubled one inside stands for; `at` is
// behind the opening one and comes to lie behind the closing one. Nothing when
// there is none.
std::optional<std::string> TakeDelimited(std::string_view text, char mark,
                                         std::size_t& at) {
  std::string value;
  for (std::size_t from = at;;) {
    const std::size_t end = FindAscii(text, mark, from);
    if (end == std::string_view::npos) return std::nullopt;
    value += text.substr(from, end - from);
    if (end + 1 >= text.size() || text[end + 1] != mark) {
      at = end + 1;
      return value;
    }
    value += mark;
    from = end + 2;
  }
}

// The "=" that ends a key. In OLE DB a doubled one is part of the key.
std::size_t EndOfKey(std::string_view text, std::size_t at, bool is_ole_db) {
  for (;; at += 2) {
    at = FindAscii(text, '=', at);
    if (!is_ole_db || at == std::string_view::npos || at + 1 >= text.size() ||
        text[at + 1] != '=')
      return at;
  }
}

void UndoubleEquals(std::string& key) {
  for (std::size_t at = key.find("=="); at != std::string::npos;
       at = key.find("==", at + 1))
    key.erase(at, 1);
}

// The mark that closes a value which begins with this byte; 0 for a bare one.
char ClosingMark(char first, ConnectionText::Kind kind) {
  const bool has_quotes = kind != ConnectionText::Kind::Odbc;
  const bool has_braces = kind != ConnectionText::Kind::OleDb;
  if (has_quotes && (first == '"' || first == '\'')) return first;
  return has_braces && first == '{' ? '}' : '\0';
}

}  // namespace

bool ConnectionText::Parse(std::string_view text, Kind kind,
                           ConnectionText& out, std::string& fault) {
  const bool is_ole_db = kind != Kind::Odbc;
  ConnectionText result;
  std::size_t at = 0;
  const auto fail = [&](const char* what) {
    fault = std::string(what) + " at byte " + std::to_string(at);
    return false;
  };
  for (;;) {
    while (at < text.size() && (text[at] == ';' || IsAsciiSpace(text[at])))
      ++at;
    if (at == text.size()) break;

    const std::size_t equals = EndOfKey(text, at, is_ole_db);
    const std::size_t end_of_pair = std::min(FindAscii(text, ';', at), equals);
    if (equals == std::string_view::npos || end_of_pair < equals)
      return fail("a key without '='");
    std::string key(WithoutBlanks(text.substr(at, equals - at)));
    if (key.empty()) return fail("a value without a key");
    if (is_ole_db) UndoubleEquals(key);

    at = equals + 1;
    SkipBlanks(text, at);
    const char mark = at < text.size() ? ClosingMark(text[at], kind) : '\0';
    std::string value;
    if (mark != '\0') {
      auto delimited = TakeDelimited(text, mark, ++at);
      if (!delimited) return fail("a value without its closing mark");
      value = std::move(*delimited);
      SkipBlanks(text, at);
      if (at < text.size() && text[at] != ';')
        return fail("text behind a closing mark");
    } else {
      const std::size_t end = std::min(FindAscii(text, ';', at), text.size());
      value = WithoutBlanks(text.substr(at, end - at));
      at = end;
    }
    if (value.find('\0') != std::string::npos ||
        key.find('\0') != std::string::npos)
      return fail("a NUL");

    const bool first_counts = !is_ole_db || EqualIgnoreCase(key, "provider");
    if (result.Find(key) == nullptr) {
      result.Add(std::move(key), std::move(value));
    } else if (!first_counts) {
      result.Set(key, std::move(value));
    }
  }
  out = std::move(result);
  return true;
}

const std::string* ConnectionText::Find(std::string_view key) const {
  for (const TextPair& pair : pairs_)
    if (EqualIgnoreCase(pair.key, key)) return &pair.value;
  return nullptr;
}

std::string* ConnectionText::Find(std::string_view key) {
  return const_cast<std::string*>(std::as_const(*this).Find(key));
}

void ConnectionText::Add(std::string key, std::string value) {
  pairs_.push_back({std::move(key), std::move(value)});
}

void ConnectionText::Set(std::string_view key, std::string value) {
  if (std::string* const found = Find(key)) {
    *found = std::move(value);
  } else {
    Add(std::string(key), std::move(value));
  }
}

std::string ConnectionText::FirstOf(
    std::initializer_list<const char*> keys) const {
  for (const char* const key : keys)
    if (const std::string* const value = Find(key)) return *value;
  return {};
}

void ConnectionText::AddMissing(std::string_view key, std::string value) {
  if (Find(key) == nullptr) Add(std::string(key), std::move(value));
}

void ConnectionText::Remove(std::string_view key) {
  std::erase_if(pairs_, [&](const TextPair& pair) {
    return EqualIgnoreCase(pair.key, key);
  });
}

std::string ConnectionText::ToOdbc() const {
  std::string text;
  for (const TextPair& pair : pairs_) {
    const std::string value = Cp936ToUtf8(pair.value);
    if (!text.empty()) text += ';';
    text += Cp936ToUtf8(pair.key) + "=";
    const bool is_bare =
        value.find_first_of("[]{}(),;?*=!@'\"") == std::string::npos &&
        WithoutBlanks(value).size() == value.size();
    if (is_bare) {
      text += value;
      continue;
    }
    text += '{';
    for (const char byte : value) text.append(byte == '}' ? 2 : 1, byte);
    text += '}';
  }
  return text;
}

bool ConnectionText::ToPlainOdbc(std::string& out_utf8) const {
  std::string text;
  for (const TextPair& pair : pairs_) {
    if (FindAscii(pair.value, ';') != std::string::npos) return false;
    if (!text.empty()) text += ';';
    text += Cp936ToUtf8(pair.key + "=" + pair.value);
  }
  out_utf8 = std::move(text);
  return true;
}

bool IsYes(std::string_view value) {
  for (const char* const yes :
       {"yes", "true", "1", "sspi", "mandatory", "strict", "require"})
    if (EqualIgnoreCase(value, yes)) return true;
  return false;
}

}  // namespace kiv::store::ado
