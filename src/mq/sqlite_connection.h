#ifndef MQ_SQLITE_CONNECTION_H_
#define MQ_SQLITE_CONNECTION_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace kiv::mq {

// One open database file, used by one thread at a time. A call that finds the
// file locked tries again for kLockWaitMs.
class SqliteConnection {
 public:
  static constexpr int kLockWaitMs = 3000;

  // `path` as the system has it. Null, with the reason, when the file is not
  // there, not to be written, or no database. Nothing is created.
  static std::unique_ptr<SqliteConnection> Open(const std::string& path,
                                                std::string& reason);
  ~SqliteConnection();
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  // One or more statements without a result.
  bool Execute(const char* sql);
  // The first column of the first row; false, too, where there is none.
  bool Ask(const char* sql, std::string& text);
  bool Ask(const char* sql, std::int64_t& number);

  // Rows changed since it was opened.
  std::int64_t Changes() const;

  // The name that it was opened by leads elsewhere by now, or to nothing.
  bool IsMoved() const;

  // The reason for a damaged file, and what to do.
  static std::string DamageText(const std::string& detail_utf8);

  // What went wrong last, in words of ours where we know better than the
  // engine.
  std::string Fault() const;
  // It will not go away by itself: the file is damaged, replaced or not a
  // queue. The connection is of no more use.
  bool IsFaultLasting() const;

  sqlite3* Handle() const { return handle_; }

 private:
  explicit SqliteConnection(sqlite3* handle) : handle_(handle) {}

  sqlite3* const handle_;
};

// A prepared statement, kept for as long as its connection. It must go first.
class SqliteStatement {
 public:
  // Not prepared where the engine refuses: every Step then fails.
  SqliteStatement(const SqliteConnection& connection, const char* sql);
  ~SqliteStatement();
  SqliteStatement(const SqliteStatement&) = delete;
  SqliteStatement& operator=(const SqliteStatement&) = delete;

  // The bytes must live until the next Reset.
  void BindText(int index, std::string_view text);
  void BindBytes(int index, std::string_view bytes);
  void BindNumber(int index, std::int64_t number);

  // Outside a transaction, what changes something is done for good at its Done,
  // and also when it is reset after a row.
  enum class Result { Row, Done, Failed };
  Result Step();
  // Ready for the next run.
  void Reset();

  bool IsNull(int column) const;
  std::int64_t Number(int column) const;
  // Lives until the next Step.
  std::string_view Bytes(int column) const;

 private:
  sqlite3_stmt* statement_ = nullptr;
};

// Resets a statement however the scope is left: one that stays open keeps its
// lock.
class StatementRun {
 public:
  explicit StatementRun(SqliteStatement& statement) : statement_(statement) {}
  ~StatementRun() { statement_.Reset(); }
  StatementRun(const StatementRun&) = delete;
  StatementRun& operator=(const StatementRun&) = delete;

 private:
  SqliteStatement& statement_;
};

}  // namespace kiv::mq

#endif  // MQ_SQLITE_CONNECTION_H_
