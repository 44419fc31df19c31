#include "store/ado/sql_language.h"

#include "util/gb_text.h"

namespace kiv::store::ado {

std::string SqlLanguage::Quoted(std::string_view name) const {
  // SQL Server and Access close "[" with "]".
  const std::string closing = quote_ == "[" ? "]" : quote_;
  std::string text = quote_;
  for (std::size_t at = 0; at < name.size();) {
    if (!closing.empty() && name.substr(at).starts_with(closing)) {
      text += closing + closing;
      at += closing.size();
    } else {
      text += name[at++];
    }
  }
  return text += closing;
}

std::string SqlLanguage::Pattern(std::string_view name) const {
  // PostgreSQL's driver mistakes an escape character that is escaped; any
  // character matches in its place, as it does where nothing can be escaped.
  std::string pattern;
  for (const char byte : name) {
    const bool is_wild = byte == '_' || byte == '%';
    const bool is_escape = !escape_.empty() && byte == escape_[0];
    if (is_wild) pattern += escape_;
    pattern += is_escape || (is_wild && escape_.empty()) ? '_' : byte;
  }
  return pattern;
}

bool SqlLanguage::IsSameName(std::string_view a, std::string_view b) const {
  if (a == b) return true;
  const bool has_two_cases =
      dialect_ == Dialect::Generic || dialect_ == Dialect::PostgreSql;
  if (has_two_cases || a.size() != b.size()) return false;
  // UTF-8: every ASCII byte is a character.
  for (std::size_t i = 0; i < a.size(); ++i)
    if (AsciiToLower(a[i]) != AsciiToLower(b[i])) return false;
  return true;
}

}  // namespace kiv::store::ado
