#include "xdb/container/table.h"

#include <algorithm>
#include <utility>

#include "xdb/container/environment_access.h"

namespace kiv::xdb {
namespace {

constexpr u_int32_t kWholeValue = ~u_int32_t{0};

// Berkeley DB takes what it only reads without const.
Dbt ToRead(std::string_view bytes) {
  return {const_cast<char*>(bytes.data()),
          static_cast<u_int32_t>(bytes.size())};
}

void IntoBuffer(Dbt& entry, std::vector<char>& bytes) {
  entry.set_flags(DB_DBT_USERMEM);
  entry.set_data(bytes.data());
  entry.set_ulen(static_cast<u_int32_t>(bytes.size()));
}

}  // namespace

Table::Table(DbEnv& environment, const char* name, std::string container)
    : name_(name),
      container_(std::move(container)),
      handle_(std::make_unique<Db>(&environment, DB_CXX_NO_EXCEPTIONS)) {}

Table::~Table() { handle_->close(close_flags_); }

int Table::Open(DbTxn* transaction, const std::string& file, u_int32_t flags,
                bool is_encrypted) {
  int code = handle_->set_pagesize(kPageBytes);
  if (code == 0 && is_encrypted) code = handle_->set_flags(DB_ENCRYPT);
  if (code == 0)
    code = handle_->open(transaction, file.c_str(), name_, DB_BTREE, flags, 0);
  return code;
}

bool Table::Found(int code) const {
  if (code == 0) return true;
  if (code == DB_NOTFOUND || code == DB_KEYEMPTY) return false;
  throw MakeStoreError(code, "read", container_);
}

bool Table::Read(DbTxn* transaction, std::string_view key, ReadBuffer& value,
                 u_int32_t flags, u_int32_t part, std::size_t most) {
  Dbt wanted = ToRead(key);
  for (;;) {
    Dbt entry;
    IntoBuffer(entry, value.bytes_);
    if (part != 0) {
      entry.set_flags(DB_DBT_USERMEM | DB_DBT_PARTIAL);
      entry.set_doff(0);
      entry.set_dlen(static_cast<u_int32_t>(most));
    }
    const int code = handle_->get(transaction, &wanted, &entry, flags);
    if (code != DB_BUFFER_SMALL) {
      value.size_ = code == 0 ? entry.get_size() : 0;
      return Found(code);
    }
    value.bytes_.resize(entry.get_size());
  }
}

bool Table::Get(DbTxn* transaction, std::string_view key, ReadBuffer& value,
                u_int32_t flags) {
  return Read(transaction, key, value, flags, 0, 0);
}

bool Table::GetHead(DbTxn* transaction, std::string_view key, std::size_t most,
                    ReadBuffer& value) {
  return Read(transaction, key, value, 0, DB_DBT_PARTIAL, most);
}

bool Table::Has(DbTxn* transaction, std::string_view key) {
  Dbt wanted = ToRead(key);
  return Found(handle_->exists(transaction, &wanted, 0));
}

void Table::Put(DbTxn* transaction, std::string_view key,
                std::string_view value) {
  Dbt wanted = ToRead(key);
  Dbt entry = ToRead(value);
  CheckCode(handle_->put(transaction, &wanted, &entry, 0), "write to",
            container_);
}

bool Table::Insert(DbTxn* transaction, std::string_view key,
                   std::string_view value) {
  Dbt wanted = ToRead(key);
  Dbt entry = ToRead(value);
  const int code = handle_->put(transaction, &wanted, &entry, DB_NOOVERWRITE);
  if (code == DB_KEYEXIST) return false;
  CheckCode(code, "write to", container_);
  return true;
}

bool Table::Erase(DbTxn* transaction, std::string_view key) {
  Dbt wanted = ToRead(key);
  const int code = handle_->del(transaction, &wanted, 0);
  if (code == DB_NOTFOUND) return false;
  CheckCode(code, "write to", container_);
  return true;
}

double Table::ShareBefore(DbTxn* transaction, std::string_view key) {
  Dbt wanted = ToRead(key);
  DB_KEY_RANGE range;
  CheckCode(handle_->key_range(transaction, &wanted, &range, 0), "read",
            container_);
  return range.less;
}

Cursor::Cursor(Table& table, DbTxn* transaction, Reads reads)
    : Cursor(table, transaction,
             reads == KeysOnly ? std::size_t{0} : std::size_t{kWholeValue}) {}

Cursor::Cursor(Table& table, DbTxn* transaction, std::size_t most_bytes)
    : table_(table),
      most_bytes_(static_cast<u_int32_t>(most_bytes)),
      has_transaction_(transaction != nullptr) {
  CheckCode(table.handle().cursor(transaction, &handle_, 0), "read",
            table.container());
}

Cursor::~Cursor() { handle_->close(); }

bool Cursor::Move(u_int32_t flags, std::string_view sought) {
  // Without locks there is nobody to keep out, and Berkeley DB refuses to.
  if (!has_transaction_) flags &= ~static_cast<u_int32_t>(DB_RMW);
  for (;;) {
    // A failed try may have written over it.
    if (sought.size() > key_.bytes_.size()) key_.bytes_.resize(sought.size());
    std::copy(sought.begin(), sought.end(), key_.bytes_.begin());
    Dbt key;
    IntoBuffer(key, key_.bytes_);
    key.set_size(static_cast<u_int32_t>(sought.size()));
    Dbt entry;
    IntoBuffer(entry, value_.bytes_);
    if (most_bytes_ != kWholeValue) {
      // Of a value that has pages of its own no others are read.
      entry.set_flags(DB_DBT_USERMEM | DB_DBT_PARTIAL);
      entry.set_doff(0);
      entry.set_dlen(most_bytes_);
    }
    const int code = handle_->get(&key, &entry, flags);
    if (code != DB_BUFFER_SMALL) {
      key_.size_ = code == 0 ? key.get_size() : 0;
      value_.size_ = code == 0 ? entry.get_size() : 0;
      return table_.Found(code);
    }
    if (key.get_size() > key_.bytes_.size()) key_.bytes_.resize(key.get_size());
    if (entry.get_size() > value_.bytes_.size())
      value_.bytes_.resize(entry.get_size());
  }
}

bool Cursor::Seek(std::string_view key, u_int32_t flags) {
  return Move(DB_SET_RANGE | flags, key);
}

void Cursor::Overwrite(std::string_view value) {
  Dbt key;
  Dbt entry = ToRead(value);
  CheckCode(handle_->put(&key, &entry, DB_CURRENT), "write to",
            table_.container());
}

void Cursor::Erase() {
  CheckCode(handle_->del(0), "write to", table_.container());
}

void Cursor::Insert(std::string_view key, std::string_view value) {
  Dbt wanted = ToRead(key);
  Dbt entry = ToRead(value);
  CheckCode(handle_->put(&wanted, &entry, DB_KEYFIRST), "write to",
            table_.container());
}

}  // namespace kiv::xdb
