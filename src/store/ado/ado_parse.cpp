// What a connection text says about its database.
#include <string_view>

#include "kiv/parser/parser.h"
#include "kiv/store/ado_connection.h"
#include "store/ado/ado_messages.h"
#include "store/ado/connection_text.h"
#include "util/gb_text.h"
#include "util/log_entry.h"

namespace kiv::store {
namespace {

using parser::Parser;

constexpr char kGeneric[] = "ado";
constexpr char kAccess[] = "access";
constexpr char kMsSql[] = "mssql";

// For a message.
std::string ShownText(const std::string& text) {
  return Shown(ado::Masked(text));
}

bool Contains(std::string_view text, std::string_view part) {
  return FindText(text, part) != std::string_view::npos;
}

// The value behind a key; moves `at` behind it. Null on success, else the text
// of what is wrong.
using Fault = std::string (*)(const std::string& ado_string);
Fault ReadValue(const char*& at, const char* end, std::string& value) {
  unsigned used = 0;
  Parser::IgnoreNextChar(at, end, '=', used);
  if (used == 0 || at[used - 1] != '=') return ado::message::EndBehindProvider;
  at += used;
  if (!Parser::IgnoreSpaces(at, end, used))
    return ado::message::BlanksBehindProvider;
  at += used;
  if (at == end) return ado::message::EndBehindProvider;
  const char quote = *at;
  if (quote != '\'' && quote != '"') {
    if (!Parser::ParseTo(at, end, ';', value, used))
      return ado::message::BadValueBehindProvider;
    at += used;
    return nullptr;
  }
  if (!Parser::ParseString(at, end, value, used))
    return ado::message::BadQuoteBehindProvider;
  at += used;
  if (at != end) ++at;  // the closing quote, which may be missing
  return nullptr;
}

}  // namespace

bool AdoConnection::ParseDbms(const std::string& adoString, std::string& dbms) {
  std::string text = adoString;
  UpperAscii(text);
  const char* const end = text.data() + text.size();
  bool is_odbc = false;
  std::size_t from = 0;
  for (;;) {
    const std::string_view key = is_odbc ? "EXTENDED PROPERTIES" : "PROVIDER";
    const std::size_t found = FindText(text, key, from);
    if (found == std::string::npos) {
      LogError("db", ado::message::NoProvider(ShownText(adoString)));
      return false;
    }
    const char* at = text.data() + found + key.size();
    std::string value;
    if (const Fault fault = ReadValue(at, end, value)) {
      LogError("db", fault(ShownText(adoString)));
      return false;
    }
    from = static_cast<std::size_t>(at - text.data());
    if (is_odbc) {
      if (!Contains(value, "MS ACCESS DATABASE")) continue;
      dbms = kAccess;
      return true;
    }
    if (Contains(value, "SQLOLEDB")) {
      dbms = kMsSql;
      return true;
    }
    if (Contains(value, "MICROSOFT.JET.OLEDB")) {
      dbms = kAccess;
      return true;
    }
    if (Contains(value, "MSDASQL")) {
      LogWarning("db", ado::message::IsOdbcProvider(ShownText(adoString)));
      // Stays when no Access database is named, though the answer is then
      // false.
      dbms = kGeneric;
      is_odbc = true;
      from = 0;
    }
  }
}

std::shared_ptr<Connection> AdoConnection::CreateConnection(
    const std::string& body) {
  const auto refuse = [&](const std::string& text) {
    LogError("db", text);
    return nullptr;
  };
  const auto refuse_body = [&](int number) {
    return refuse(ado::message::BadBody(ShownText(body), number));
  };
  if (body.empty()) return refuse(ado::message::EmptyBody());
  const char* at = body.data();
  const char* const end = at + body.size();
  std::string dbms;
  unsigned used = 0;
  if (!Parser::ParseTo(at, end, ':', dbms, used) || at + used == end)
    return refuse(ado::message::NoDbmsWord(ShownText(body)));
  at += used;
  if (!Parser::IgnoreNextChar(at, end, used)) return refuse_body(2);
  at += used;
  if (at == end) return refuse_body(3);
  if (!Parser::IgnoreSpaces(at, end, used)) return refuse_body(4);
  const std::string ado_string(at + used, end);
  if (ado_string.empty()) return refuse_body(5);
  if (dbms.empty() && !ParseDbms(ado_string, dbms))
    return refuse(ado::message::UnknownStore(ShownText(ado_string)));
  if (dbms == kGeneric) return std::make_shared<AdoConnection>(ado_string);
  if (dbms == kAccess) return std::make_shared<AccessAdoConnection>(ado_string);
  if (dbms == kMsSql) return std::make_shared<MsSqlAdoConnection>(ado_string);
  return refuse_body(99);
}

}  // namespace kiv::store
