#include "store/ado/provider.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <utility>

#include "port/file.h"
#include "port/file_reader.h"
#include "port/native_path.h"
#include "store/ado/connection_text.h"
#include "store/ado/sql_server_target.h"
#include "util/cp936.h"
#include "util/gb_text.h"

namespace kiv::store::ado {

void SetTexts(ConnectionText pairs, const char* server_database,
              Target& target) {
  target.odbc_text = pairs.ToOdbc();
  if (const std::string* const name = pairs.Find("Database")) {
    target.database = Cp936ToUtf8(*name);
    pairs.Set("Database", server_database);
    target.server_text = pairs.ToOdbc();
  }
}

namespace {

using Kind = ConnectionText::Kind;

enum class Provider { Odbc, SqlServer, Jet };

Provider ProviderOf(const ConnectionText& text) {
  const std::string* const word = text.Find("Provider");
  if (word == nullptr) return Provider::Odbc;
  std::string upper = *word;
  UpperAscii(upper);
  for (const char* const name : {"SQLOLEDB", "SQLNCLI", "MSOLEDBSQL"})
    if (upper.find(name) != std::string::npos) return Provider::SqlServer;
  for (const char* const name : {"MICROSOFT.JET.OLEDB", "MICROSOFT.ACE.OLEDB"})
    if (upper.find(name) != std::string::npos) return Provider::Jet;
  return Provider::Odbc;
}

// Braces mean something only to those that hand their pairs on to ODBC.
Provider Read(const std::string& text, ConnectionText& out) {
  std::string fault;
  if (ConnectionText::Parse(text, Kind::Mixed, out, fault) &&
      ProviderOf(out) == Provider::Odbc)
    return Provider::Odbc;
  if (!ConnectionText::Parse(text, Kind::OleDb, out, fault))
    Raise(kInvalidArgument, "the connection text cannot be read: " + fault);
  const Provider provider = ProviderOf(out);
  if (provider == Provider::Odbc)
    Raise(kInvalidArgument, "the connection text cannot be read: braces");
  return provider;
}

void SetTimeout(const ConnectionText& text, Target& target) {
  const std::string value =
      text.FirstOf({"Connect Timeout", "Connection Timeout", "Timeout"});
  int seconds = 0;
  const auto read =
      std::from_chars(value.data(), value.data() + value.size(), seconds);
  if (read.ec == std::errc() && seconds >= 0) target.login_timeout_s = seconds;
}

// --- Files -------------------------------------------------------------------

bool IsAccessFile(const std::string& path) {
  const auto file = port::FileReader::Open(path);
  std::array<char, 19> head{};
  std::size_t size = 0;
  if (file == nullptr || !file->Read(head.data(), head.size(), size) ||
      size < head.size())
    return false;
  const std::string_view signature(head.data() + 4, 15);
  return signature == "Standard Jet DB" || signature == "Standard ACE DB";
}

constexpr std::string_view kInMemory = ":memory:";

void RequireFile(const std::string& path, OpenMode mode) {
  if (path == kInMemory) return;
  port::FileAttributes attributes;
  const bool is_there = port::GetFileAttributesA(path, attributes);
  if (mode == OpenMode::New && is_there)
    Raise(kFailed, "the file '" + path + "' is there already");
  if (mode == OpenMode::Existing && !is_there)
    Raise(kFailed,
          "the file '" + path + "': " + port::ErrorText(port::LastError()));
  if (is_there && attributes.is_directory)
    Raise(kFailed, "the file '" + path + "' is a folder");
}

void SetPlainText(const ConnectionText& pairs, Target& target) {
  if (!pairs.ToPlainOdbc(target.odbc_text))
    Raise(kInvalidArgument, "a file name with ';' in it cannot be opened");
}

// `pairs` have the driver's own settings.
void CompleteSqlite(ConnectionText pairs, OpenMode mode, Target& target) {
  std::string* const path = pairs.Find("Database");
  // Without one its driver makes a database that goes with the connection. That
  // of a data source may be in odbc.ini.
  if (path != nullptr ? path->empty() : pairs.Find("Driver") != nullptr)
    Raise(kInvalidArgument, "the Database is missing");
  if (path != nullptr) {
    RequireFile(*path, mode);
    target.database = port::SystemPath(*path);
    // The text is converted as a whole.
    *path = Utf8ToCp936(target.database);
  }
  // Otherwise the driver makes a file that is not there.
  if (mode == OpenMode::Existing) pairs.Set("NoCreat", "1");
  pairs.AddMissing("Timeout",
                   "10000");  // milliseconds to wait for another writer
  target.is_file = true;
  SetPlainText(pairs, target);
}

Target AccessTarget(const std::string& path) {
  Target target;
  target.driver = AccessDriver();
  target.is_file = target.is_read_only = true;
  target.database = port::SystemPath(path);
  ConnectionText pairs;
  pairs.Add("Driver", target.driver.name);
  pairs.Add("DBQ", Utf8ToCp936(target.database));
  SetPlainText(pairs, target);
  return target;
}

// A file as the Jet engine would open it.
Target JetTarget(const std::string& path, OpenMode mode) {
  if (path.empty()) Raise(kInvalidArgument, "the Data Source is missing");
  RequireFile(path, mode);
  if (IsAccessFile(path)) return AccessTarget(path);
  Target target;
  target.driver = SqliteDriver();
  ConnectionText pairs;
  pairs.Add("Driver", target.driver.name);
  pairs.Add("Database", path);
  CompleteSqlite(std::move(pairs), mode, target);
  return target;
}

// --- Anything by ODBC --------------------------------------------------------

// What OLE DB keeps for itself.
constexpr std::array<std::string_view, 12> kOleDbKeys{
    "Provider",        "Persist Security Info", "Mode",
    "Prompt",          "Connect Timeout",       "Connection Timeout",
    "General Timeout", "Locale Identifier",     "OLE DB Services",
    "Window Handle",   "Extended Properties",   "Integrated Security"};

constexpr std::array<std::pair<std::string_view, std::string_view>, 5>
    kTranslations{{{"Data Source", "DSN"},
                   {"Initial Catalog", "Database"},
                   {"User ID", "UID"},
                   {"User", "UID"},
                   {"Password", "PWD"}}};

ConnectionText OdbcPairs(const ConnectionText& text) {
  ConnectionText pairs;
  const bool has_driver = text.Find("Driver") != nullptr;
  for (const TextPair& pair : text.pairs()) {
    const auto is_key = [&](std::string_view key) {
      return EqualIgnoreCase(key, pair.key);
    };
    if (std::any_of(kOleDbKeys.begin(), kOleDbKeys.end(), is_key)) continue;
    std::string_view key = pair.key;
    for (const auto& [ole_db, odbc] : kTranslations)
      if (is_key(ole_db)) key = odbc;
    if (has_driver && is_key("Data Source")) key = "Server";
    pairs.AddMissing(key, pair.value);
  }
  if (IsYes(text.FirstOf({"Integrated Security"})))
    pairs.AddMissing("Trusted_Connection", "Yes");
  if (const std::string* const properties = text.Find("Extended Properties")) {
    ConnectionText inner;
    std::string fault;
    if (!ConnectionText::Parse(*properties, Kind::Odbc, inner, fault))
      Raise(kInvalidArgument,
            "the Extended Properties cannot be read: " + fault);
    for (const TextPair& pair : inner.pairs())
      pairs.AddMissing(pair.key, pair.value);
  }
  return pairs;
}

bool Names(const std::string* value, std::string_view part) {
  if (value == nullptr) return false;
  std::string lower = *value;
  LowerAscii(lower);
  return lower.find(part) != std::string::npos;
}

// The drivers that Windows texts name and nobody has registered here: SQL
// Server's and Access's have their counterparts.
std::optional<Driver> DriverOf(const ConnectionText& pairs) {
  if (const std::string* const name = pairs.Find("Driver")) {
    try {
      return DriverOfName(Cp936ToUtf8(*name));
    } catch (const _com_error&) {
      if (Names(name, "microsoft access driver")) return std::nullopt;
      if (!Names(name, "sql server") && !Names(name, "sql native client"))
        throw;
      return SqlServerDriver();
    }
  }
  if (const std::string* const source = pairs.Find("DSN")) {
    try {
      return DriverOfSource(Cp936ToUtf8(*source));
    } catch (const _com_error&) {
      if (Names(source, "ms access database")) return std::nullopt;
      throw;
    }
  }
  Raise(kInvalidArgument,
        "the connection text names neither a driver nor a data source");
}

Target OdbcTarget(const ConnectionText& text, const std::string& user,
                  const std::string& password, OpenMode mode) {
  ConnectionText pairs = OdbcPairs(text);
  const auto driver = DriverOf(pairs);
  if (!driver) return JetTarget(pairs.FirstOf({"DBQ"}), mode);
  Target target;
  target.driver = *driver;
  // A DSN stays one: its other settings are in odbc.ini.
  ConnectionText complete;
  if (pairs.Find("Driver") != nullptr) {
    complete.Add("Driver", driver->name);
    pairs.Remove("Driver");
    pairs.Remove("DSN");
  }
  if (!user.empty()) pairs.Set("UID", user);
  if (!password.empty()) pairs.Set("PWD", password);
  for (const TextPair& pair : pairs.pairs()) complete.Add(pair.key, pair.value);
  target.password = complete.FirstOf({"PWD"});
  switch (driver->dialect) {
    case Dialect::Sqlite:
      CompleteSqlite(std::move(complete), mode, target);
      break;
    case Dialect::Access:
      if (const std::string path = complete.FirstOf({"DBQ"}); !path.empty()) {
        RequireFile(path, OpenMode::Existing);
        target.database = port::SystemPath(path);
        complete.Set("DBQ", Utf8ToCp936(target.database));
      }
      target.is_file = target.is_read_only = true;
      SetPlainText(complete, target);
      break;
    case Dialect::PostgreSql:
      // Else a bool is a text.
      complete.AddMissing("BoolsAsChar", "0");
      if (!driver->is_wide)
        complete.AddMissing("ConnSettings", "SET client_encoding TO 'UTF8'");
      SetTexts(std::move(complete), "postgres", target);
      break;
    case Dialect::SqlServer:
      if (const std::string* const server = complete.Find("Server"))
        AddServer(std::string(*server), *driver, complete);
      CompleteSqlServer(std::move(complete), target);
      break;
    case Dialect::Generic:
      target.odbc_text = complete.ToOdbc();
      break;
  }
  return target;
}

}  // namespace

Target TargetOf(const std::string& text, const std::string& user,
                const std::string& password, OpenMode mode) {
  ConnectionText pairs;
  const Provider provider = Read(text, pairs);
  Target target;
  switch (provider) {
    case Provider::Jet:
      target = JetTarget(pairs.FirstOf({"Data Source"}), mode);
      break;
    case Provider::SqlServer:
      target = SqlServerTarget(
          pairs,
          user.empty() ? pairs.FirstOf({"User ID", "UID", "User"}) : user,
          password.empty() ? pairs.FirstOf({"Password", "PWD"}) : password);
      break;
    case Provider::Odbc:
      target = OdbcTarget(pairs, user, password, mode);
      break;
  }
  SetTimeout(pairs, target);
  return target;
}

}  // namespace kiv::store::ado
