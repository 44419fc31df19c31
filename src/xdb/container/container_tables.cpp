#include "xdb/container/container_tables.h"

#include <algorithm>
#include <cerrno>
#include <random>
#include <utility>

#include "util/log_entry.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/raw_transaction.h"
#include "xdb/tree/tree_error.h"
#include "xdb/tree/varint.h"

namespace kiv::xdb {
namespace {

// Keys of the meta table.
constexpr std::string_view kFormatKey = "format";  // varint
constexpr std::string_view kTagKey = "tag";        // text
// 8 bytes, the highest first: a value that keeps its size never needs another
// page, so that its own small transactions wait for nobody.
constexpr std::string_view kNextNumberKey = "next";

constexpr std::uint64_t kMostReserved = 1024;

std::string NumberBytes(std::uint64_t number) {
  std::string bytes;
  for (unsigned shift = 64; shift > 0; shift -= 8)
    bytes += static_cast<char>(number >> (shift - 8));
  return bytes;
}

std::uint64_t NumberOf(std::string_view bytes) {
  if (bytes.size() != 8) ThrowDamaged("the next number has the wrong size");
  std::uint64_t number = 0;
  for (const char byte : bytes)
    number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

std::string RandomTag() {
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz234567";
  std::random_device random;
  std::string tag;
  for (int i = 0; i < 6; ++i) tag += kLetters[random() % kLetters.size()];
  return tag;
}

}  // namespace

ContainerTables::ContainerTables(DbEnv& environment, std::string file_name,
                                 bool is_transactional)
    : meta(environment, "meta", file_name),
      documents(environment, "documents", file_name),
      ids(environment, "ids", file_name),
      dictionary(environment, "dictionary", file_name),
      index(environment, "index", file_name),
      environment_(environment),
      file_name_(std::move(file_name)),
      is_transactional_(is_transactional) {
  if (!is_transactional) return;
  for (Table* table : {&meta, &documents, &ids, &dictionary, &index})
    table->SetLogged();
}

void ContainerTables::Open(const std::string& path,
                           const ContainerSwitches& switches) {
  if (path.empty() || path.back() == '/')
    throw StoreError(Failure::NotFound,
                     "'" + Shown(file_name_) + "' is no name of a file");
  RawTransaction transaction(environment_, is_transactional_, 0, file_name_);
  OpenAll(transaction.handle(), path, switches);
  transaction.Commit();
}

void ContainerTables::OpenAll(DbTxn* transaction, const std::string& path,
                              const ContainerSwitches& switches) {
  OpenOne(meta, transaction, path, switches);
  try {
    CheckFormat(transaction, switches.create);
  } catch (const TreeError& error) {
    throw StoreError(Failure::BadFormat,
                     "'" + Shown(file_name_) + "' is damaged: " + error.what());
  }
  for (Table* table : {&documents, &ids, &dictionary, &index})
    OpenOne(*table, transaction, path, switches);
}

void ContainerTables::OpenOne(Table& table, DbTxn* transaction,
                              const std::string& path,
                              const ContainerSwitches& switches) {
  u_int32_t flags = 0;
  if (switches.create) flags |= DB_CREATE;
  if (switches.thread) flags |= DB_THREAD;
  const int code = table.Open(transaction, path, flags, switches.encrypted);
  if (code == 0) return;
  const StoreError error = MakeStoreError(code, "open", file_name_);
  // Which Berkeley DB says of a file that is none of its own.
  if (code == EINVAL)
    throw StoreError(Failure::BadFormat,
                     error.what() + std::string("; it is no container, or "
                                                "damaged"),
                     code);
  throw error;
}

void ContainerTables::CheckFormat(DbTxn* transaction, bool may_create) {
  ReadBuffer value;
  if (!meta.Get(transaction, kFormatKey, value)) {
    Cursor cursor(meta, transaction);
    if (!may_create || cursor.First())
      throw StoreError(Failure::BadFormat,
                       "'" + Shown(file_name_) + "' is no container");
    std::string format;
    AppendVarint(format, kFormatVersion);
    meta.Put(transaction, kFormatKey, format);
    meta.Put(transaction, kTagKey, RandomTag());
    meta.Put(transaction, kNextNumberKey, NumberBytes(1));
    meta.Get(transaction, kFormatKey, value);
  }
  format_version_ = StoredBytes(value.view()).Varint32();
  // Which no version ever wrote.
  if (format_version_ < kFormatVersion)
    throw TreeError("format " + std::to_string(format_version_) +
                    ", which there never was");
  if (format_version_ > kFormatVersion)
    throw StoreError(Failure::NewerFormat,
                     "'" + Shown(file_name_) + "' is a container of format " +
                         std::to_string(format_version_) +
                         "; this version of the library reads format " +
                         std::to_string(kFormatVersion) +
                         ": open it with the version that wrote it");
  meta.Get(transaction, kTagKey, value);
  tag_ = value.view();
}

std::uint64_t ContainerTables::TakeNumber() {
  const std::lock_guard lock(numbers_mutex_);
  if (next_number_ == numbers_end_) ReserveNumbers();
  return next_number_++;
}

// Page numbers are those of the file, and the last table took the last one.
// What is not written yet counts.
std::uint64_t ContainerTables::FileBytes() {
  db_pgno_t last = 0;
  DB_MPOOLFILE* const file = meta.handle().get_DB()->mpf;
  CheckCode(file->get_last_pgno(file, &last), "ask", file_name_);
  u_int32_t page_bytes = 0;
  CheckCode(meta.handle().get_pagesize(&page_bytes), "ask", file_name_);
  return (std::uint64_t{last} + 1) * page_bytes;
}

void ContainerTables::Sync() {
  for (Table* table : {&meta, &documents, &ids, &dictionary, &index})
    table->handle().sync(0);
}

// For a process that makes a few documents few, for one that makes many many:
// what is left of them is lost. Their commit needs no sync of its own: it
// stands in the log before that of the transaction that uses them.
void ContainerTables::ReserveNumbers() {
  RawTransaction transaction(environment_, is_transactional_, DB_TXN_NOSYNC,
                             file_name_);
  ReadBuffer value;
  if (!meta.Get(transaction.handle(), kNextNumberKey, value,
                is_transactional_ ? DB_RMW : 0))
    ThrowDamaged("the next number is missing");
  const std::uint64_t next = NumberOf(value.view());
  meta.Put(transaction.handle(), kNextNumberKey, NumberBytes(next + reserve_));
  transaction.Commit();
  next_number_ = next;
  numbers_end_ = next + reserve_;
  reserve_ = std::min(2 * reserve_, kMostReserved);
}

}  // namespace kiv::xdb
