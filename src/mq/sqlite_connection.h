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

  // A statement that changes something has done so for good only at its Done.
  enum class Result { Row, Done, Failed };
  Result Step();
  // Ready for the next run; gives up a change that has not come to its Done.
  void Reset();

  bool IsNull(int column) const;
  std::int64_t Number(int column) const;
  // Lives until the next Step.
  std::string_view Bytes(int column) const;

 private:
  sqlite3_stmt* statement_ = nullptr;
};

}  // namespace kiv::mq

#endif  // MQ_SQLITE_CONNECTION_H_
