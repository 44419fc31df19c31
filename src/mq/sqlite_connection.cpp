#include "mq/sqlite_connection.h"

#include <sqlite3.h>

#include <algorithm>

#include "port/file.h"
#include "util/cp936.h"

namespace kiv::mq {
namespace {

std::string FaultText(sqlite3* handle, int code) {
  const int system_error = sqlite3_system_errno(handle);
  const auto because = [&](const std::string& text) {
    return system_error == 0 ? text
                             : text + ": " + port::ErrorText(system_error);
  };
  switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return "another program has kept its file locked for " +
             std::to_string(SqliteConnection::kLockWaitMs / 1000) + " seconds";
    case SQLITE_FULL:
      return "the disk is full";
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return "its file is damaged (" + Utf8ToCp936(sqlite3_errmsg(handle)) +
             "); it is kept as it is: move it away or put a copy in its place";
    case SQLITE_CANTOPEN:
      return because("its file cannot be opened");
    case SQLITE_READONLY:
      return "its file may not be written";
    case SQLITE_IOERR:
      return because("its file cannot be read or written");
    case SQLITE_NOMEM:
      return "there is no memory left";
    case SQLITE_TOOBIG:
      return "the message is too long";
    default:
      return Utf8ToCp936(sqlite3_errmsg(handle));
  }
}

// The engine's own handler sleeps longer and longer, and starves who came
// early; a queue's locks are held for the length of a disk write.
int WaitForLock(void* /*context*/, int attempts) {
  constexpr int kShortWaits = 100;
  constexpr int kShortMs = 1;
  constexpr int kLongMs = 10;
  const int waited_ms = std::min(attempts, kShortWaits) * kShortMs +
                        std::max(attempts - kShortWaits, 0) * kLongMs;
  if (waited_ms >= SqliteConnection::kLockWaitMs) return 0;
  sqlite3_sleep(attempts < kShortWaits ? kShortMs : kLongMs);
  return 1;
}

// The file may come from anywhere: nothing in it is run.
void DistrustSchema(sqlite3* handle) {
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr);
}

}  // namespace

std::unique_ptr<SqliteConnection> SqliteConnection::Open(
    const std::string& path, std::string& reason) {
  sqlite3* handle = nullptr;
  const int code =
      sqlite3_open_v2(path.c_str(), &handle,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  if (handle == nullptr) {
    reason = "there is no memory left";
    return nullptr;
  }
  std::unique_ptr<SqliteConnection> connection(new SqliteConnection(handle));
  if (code != SQLITE_OK) {
    reason = FaultText(handle, code);
    return nullptr;
  }
  sqlite3_extended_result_codes(handle, 1);
  sqlite3_busy_handler(handle, WaitForLock, nullptr);
  DistrustSchema(handle);
  // The engine opens for reading what it may not write, without a word.
  if (sqlite3_db_readonly(handle, "main") != 0) {
    reason = "its file may not be written";
    return nullptr;
  }
  return connection;
}

SqliteConnection::~SqliteConnection() { sqlite3_close_v2(handle_); }

bool SqliteConnection::Execute(const char* sql) {
  return sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool SqliteConnection::Ask(const char* sql, std::string& text) {
  SqliteStatement statement(*this, sql);
  if (statement.Step() != SqliteStatement::Result::Row) return false;
  text = statement.Bytes(0);
  return true;
}

bool SqliteConnection::Ask(const char* sql, std::int64_t& number) {
  SqliteStatement statement(*this, sql);
  if (statement.Step() != SqliteStatement::Result::Row) return false;
  number = statement.Number(0);
  return true;
}

std::int64_t SqliteConnection::Changes() const {
  return sqlite3_total_changes64(handle_);
}

std::string SqliteConnection::Fault() const {
  return FaultText(handle_, sqlite3_errcode(handle_));
}

bool SqliteConnection::IsFaultLasting() const {
  switch (sqlite3_errcode(handle_) & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_FULL:
    case SQLITE_NOMEM:
    case SQLITE_TOOBIG:
      return false;
    default:
      return true;
  }
}

SqliteStatement::SqliteStatement(const SqliteConnection& connection,
                                 const char* sql) {
  sqlite3_prepare_v3(connection.Handle(), sql, -1, SQLITE_PREPARE_PERSISTENT,
                     &statement_, nullptr);
}

SqliteStatement::~SqliteStatement() { sqlite3_finalize(statement_); }

void SqliteStatement::BindText(int index, std::string_view text) {
  sqlite3_bind_text64(statement_, index, text.data(), text.size(),
                      SQLITE_STATIC, SQLITE_UTF8);
}

void SqliteStatement::BindBytes(int index, std::string_view bytes) {
  // A null pointer would bind NULL.
  sqlite3_bind_blob64(statement_, index, bytes.empty() ? "" : bytes.data(),
                      bytes.size(), SQLITE_STATIC);
}

void SqliteStatement::BindNumber(int index, std::int64_t number) {
  sqlite3_bind_int64(statement_, index, number);
}

SqliteStatement::Result SqliteStatement::Step() {
  if (statement_ == nullptr) return Result::Failed;
  switch (sqlite3_step(statement_)) {
    case SQLITE_ROW:
      return Result::Row;
    case SQLITE_DONE:
      return Result::Done;
    default:
      return Result::Failed;
  }
}

void SqliteStatement::Reset() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

bool SqliteStatement::IsNull(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::int64_t SqliteStatement::Number(int column) const {
  return sqlite3_column_int64(statement_, column);
}

std::string_view SqliteStatement::Bytes(int column) const {
  const auto* const bytes =
      static_cast<const char*>(sqlite3_column_blob(statement_, column));
  const int size = sqlite3_column_bytes(statement_, column);
  return bytes == nullptr
             ? std::string_view()
             : std::string_view(bytes, static_cast<std::size_t>(size));
}

}  // namespace kiv::mq
