#ifndef XDB_CONTAINER_TABLE_H_
#define XDB_CONTAINER_TABLE_H_

#include <db_cxx.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kiv::xdb {

// Small documents lie on a page with their neighbours; a larger page would only
// let fewer writers in at a time.
inline constexpr u_int32_t kPageBytes = 8192;

// Room for what is read, kept for the next read.
class ReadBuffer {
 public:
  std::string_view view() const { return {bytes_.data(), size_}; }

 private:
  friend class Table;
  friend class Cursor;
  std::vector<char> bytes_ = std::vector<char>(1024);
  std::size_t size_ = 0;
};

// One table of a container: a Berkeley DB database in its file. Every operation
// throws StoreError.
class Table {
 public:
  // `container` is the file as messages name it.
  Table(DbEnv& environment, const char* name, std::string container);
  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  // 0 or the code. Flags as Db::open's.
  int Open(DbTxn* transaction, const std::string& file, u_int32_t flags,
           bool is_encrypted);
  // Closing then leaves to the log what is not in the file yet.
  void SetLogged() { close_flags_ = DB_NOSYNC; }

  // False when there is no such key. Flags as Db::get's.
  bool Get(DbTxn* transaction, std::string_view key, ReadBuffer& value,
           u_int32_t flags = 0);
  // As much as `most` bytes from the beginning.
  bool GetHead(DbTxn* transaction, std::string_view key, std::size_t most,
               ReadBuffer& value);
  bool Has(DbTxn* transaction, std::string_view key);
  void Put(DbTxn* transaction, std::string_view key, std::string_view value);
  // False when the key is there already.
  bool Insert(DbTxn* transaction, std::string_view key, std::string_view value);
  // False when there is none.
  bool Erase(DbTxn* transaction, std::string_view key);

  // How much of the table lies before the key, from 0 to 1; a guess.
  double ShareBefore(DbTxn* transaction, std::string_view key);

  Db& handle() { return *handle_; }
  const std::string& container() const { return container_; }

 private:
  friend class Cursor;
  bool Found(int code) const;
  bool Read(DbTxn* transaction, std::string_view key, ReadBuffer& value,
            u_int32_t flags, u_int32_t part, std::size_t most);

  const char* const name_;
  const std::string container_;
  u_int32_t close_flags_ = 0;
  std::unique_ptr<Db> handle_;
};

// A place in a table.
class Cursor {
 public:
  enum Reads { KeysAndValues, KeysOnly };
  Cursor(Table& table, DbTxn* transaction, Reads reads = KeysAndValues);
  // Of each value as much as `most_bytes` from the beginning.
  Cursor(Table& table, DbTxn* transaction, std::size_t most_bytes);
  ~Cursor();
  Cursor(const Cursor&) = delete;
  Cursor& operator=(const Cursor&) = delete;

  // False where there is nothing. Flags are those of Dbc::get.
  bool First(u_int32_t flags = 0) { return Move(DB_FIRST | flags); }
  bool Last(u_int32_t flags = 0) { return Move(DB_LAST | flags); }
  bool Next(u_int32_t flags = 0) { return Move(DB_NEXT | flags); }
  // The first key that is not before `key`, which is not this cursor's own.
  bool Seek(std::string_view key, u_int32_t flags = 0);

  std::string_view key() const { return key_.view(); }
  std::string_view value() const { return value_.view(); }

  // Changes what is here.
  void Overwrite(std::string_view value);
  void Erase();
  void Insert(std::string_view key, std::string_view value);

 private:
  bool Move(u_int32_t flags, std::string_view sought = {});

  Table& table_;
  const u_int32_t most_bytes_;
  const bool has_transaction_;
  Dbc* handle_ = nullptr;
  ReadBuffer key_;
  ReadBuffer value_;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_TABLE_H_
