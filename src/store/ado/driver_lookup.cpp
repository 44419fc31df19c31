#include "store/ado/driver_lookup.h"

#include <odbcinst.h>

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "port/file.h"
#include "port/native_path.h"
#include "util/gb_text.h"

#ifndef KIV_LIBRARY_ARCHITECTURE
#define KIV_LIBRARY_ARCHITECTURE ""
#endif

namespace kiv::store::ado {
namespace {

// The families of drivers that we know something about. A library belongs to
// the first whose part its file name has.
struct Family {
  std::string_view part;
  Dialect dialect;
  bool is_wide;
};
constexpr std::array<Family, 11> kFamilies{{
    {"sqlite3odbc", Dialect::Sqlite, false},
    {"sqliteodbc", Dialect::Sqlite, false},
    {"psqlodbcw", Dialect::PostgreSql, true},
    {"psqlodbc", Dialect::PostgreSql, false},
    {"tdsodbc", Dialect::SqlServer, true},
    {"msodbcsql", Dialect::SqlServer, true},
    {"mdbodbcW", Dialect::Access, true},
    {"mdbodbc", Dialect::Access, false},
    {"myodbc8w", Dialect::Generic, true},
    {"maodbc", Dialect::Generic, true},
    {"odbcfb", Dialect::Generic, true},
}};

// Drivers that are of use where nobody registered them.
struct KnownDriver {
  std::string_view name;
  std::string_view library;
  std::string_view package;
};
constexpr KnownDriver kSqlite{"SQLite3", "libsqlite3odbc.so", "libsqliteodbc"};
constexpr KnownDriver kAccess{"MDBTools", "libmdbodbc.so", "odbc-mdbtools"};
constexpr KnownDriver kFreeTds{"FreeTDS", "libtdsodbc.so", "tdsodbc"};
constexpr std::array<KnownDriver, 6> kKnownDrivers{{
    kSqlite,
    kAccess,
    kFreeTds,
    {"PostgreSQL Unicode", "psqlodbcw.so", "odbc-postgresql"},
    {"PostgreSQL ANSI", "psqlodbca.so", "odbc-postgresql"},
    {"PostgreSQL", "psqlodbcw.so", "odbc-postgresql"},
}};

constexpr std::array<const char*, 3> kMicrosoftDrivers{
    "ODBC Driver 18 for SQL Server", "ODBC Driver 17 for SQL Server",
    "ODBC Driver 13 for SQL Server"};

std::string SystemSetting(const std::string& section, const char* key,
                          const char* file) {
  std::array<char, 1024> room{};
  const int size =
      SQLGetPrivateProfileString(section.c_str(), key, "", room.data(),
                                 static_cast<int>(room.size()), file);
  return size > 0 ? std::string(room.data()) : std::string();
}

ReadSetting& Settings() {
  static ReadSetting settings = SystemSetting;
  return settings;
}

std::string Setting(const std::string& section, const char* key,
                    const char* file) {
  return Settings()(section, key, file);
}

// The library of a registered driver; empty when there is none of the name.
std::string RegisteredLibrary(const std::string& name) {
  return name.empty() ? std::string() : Setting(name, "Driver", "odbcinst.ini");
}

bool IsFile(const std::string& path) {
  port::FileAttributes attributes;
  return port::GetFileAttributesA(port::LocalPath(path), attributes) &&
         !attributes.is_directory;
}

std::optional<std::string> FindLibrary(std::string_view file) {
  constexpr std::string_view kArchitecture = KIV_LIBRARY_ARCHITECTURE;
  for (const std::string& folder :
       {"/usr/lib/" + std::string(kArchitecture) + "/odbc/",
        std::string("/usr/lib/odbc/"), std::string("/usr/local/lib/odbc/"),
        "/usr/lib/" + std::string(kArchitecture) + "/",
        std::string("/usr/local/lib/")}) {
    std::string path = folder + std::string(file);
    if (IsFile(path)) return path;
  }
  return std::nullopt;
}

std::optional<Driver> FindKnown(const KnownDriver& known) {
  const std::string name(known.name);
  if (const std::string library = RegisteredLibrary(name); !library.empty())
    return DriverOfLibrary(name, library);
  if (const auto path = FindLibrary(known.library))
    return DriverOfLibrary(*path, *path);
  return std::nullopt;
}

[[noreturn]] void RaiseMissing(const std::string& name,
                               std::string_view package) {
  std::string text = "the ODBC driver '" + name + "' is not installed";
  if (!package.empty())
    text += ": install the package " + std::string(package);
  else
    text += ": odbcinst.ini does not name it";
  Raise(kFailed, text);
}

Driver Require(const KnownDriver& known) {
  if (auto driver = FindKnown(known)) return *driver;
  RaiseMissing(std::string(known.name), known.package);
}

}  // namespace

ReadSetting ReplaceSettings(ReadSetting settings) {
  return std::exchange(Settings(), settings);
}

Driver DriverOfLibrary(const std::string& name, const std::string& library) {
  Driver driver{name, library, Dialect::Generic, false};
  const std::string file = library.substr(library.rfind('/') + 1);
  for (const Family& family : kFamilies) {
    if (file.find(family.part) == std::string::npos) continue;
    driver.dialect = family.dialect;
    driver.is_wide = family.is_wide;
    return driver;
  }
  // By their makers' habit: one library for each kind of text.
  const std::string stem = file.substr(0, file.find('.'));
  driver.is_wide = stem.ends_with('w') || stem.ends_with('W');
  return driver;
}

Driver SqliteDriver() { return Require(kSqlite); }
Driver AccessDriver() { return Require(kAccess); }

Driver SqlServerDriver() {
  for (const char* const name : kMicrosoftDrivers)
    if (const std::string library = RegisteredLibrary(name); !library.empty())
      return DriverOfLibrary(name, library);
  return Require(kFreeTds);
}

Driver DriverOfName(const std::string& name) {
  if (name.find('/') != std::string::npos) return DriverOfLibrary(name, name);
  if (const std::string library = RegisteredLibrary(name); !library.empty())
    return DriverOfLibrary(name, library);
  for (const KnownDriver& known : kKnownDrivers) {
    if (!EqualIgnoreCase(known.name, name) &&
        !EqualIgnoreCase(known.library, name))
      continue;
    if (const auto path = FindLibrary(known.library))
      return DriverOfLibrary(*path, *path);
    RaiseMissing(name, known.package);
  }
  RaiseMissing(name, "");
}

Driver DriverOfSource(const std::string& source) {
  const std::string driver = Setting(source, "Driver", "odbc.ini");
  if (driver.empty())
    Raise(kFailed, "there is no ODBC data source '" + source + "'");
  return DriverOfName(driver);
}

}  // namespace kiv::store::ado
