#ifndef TESTING_STORE_BACKEND_H_
#define TESTING_STORE_BACKEND_H_

#include <memory>
#include <string>

#include "kiv/store/factory.h"
#include "testing/postgres_server.h"

namespace kiv::testing {

// A database that the tests of the record store run on.
struct StoreBackend {
  const char* name;
  // Of a store that no other test has, not made yet.
  std::string (*fresh_text)();
};

inline std::string SqliteText() {
  return "ado:ado:Driver=SQLite3;Database=store.db";
}

// On the server of the tests, for a database of that name.
inline std::string PostgresText(const std::string& database,
                                const std::string& password) {
  return "ado:ado:Driver=PostgreSQL Unicode;Server=" + SharedPostgres().Host() +
         ";Port=" + std::to_string(PostgresServer::Port()) +
         ";Database=" + database + ";UID=" + PostgresServer::kUser +
         ";PWD=" + password;
}

// In braces, as ODBC wants what has ";" in it.
inline std::string PostgresPassword() {
  std::string quoted = "{";
  for (const char c : std::string(PostgresServer::kPassword)) {
    quoted += c;
    if (c == '}') quoted += c;
  }
  return quoted + "}";
}

inline std::string FreshPostgresText() {
  static int count = 0;
  return PostgresText("kiv_" + std::to_string(++count), PostgresPassword());
}

inline constexpr StoreBackend kSqlite{"Sqlite", SqliteText};
inline constexpr StoreBackend kPostgres{"Postgres", FreshPostgresText};

}  // namespace kiv::testing

#endif  // TESTING_STORE_BACKEND_H_
