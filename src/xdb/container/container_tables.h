#ifndef XDB_CONTAINER_CONTAINER_TABLES_H_
#define XDB_CONTAINER_CONTAINER_TABLES_H_

#include <cstdint>
#include <mutex>
#include <string>

#include "xdb/container/container.h"
#include "xdb/container/table.h"

namespace kiv::xdb {

// What lies in a container file is of this version; docs/xdb-format.md.
inline constexpr std::uint32_t kFormatVersion = 2;

// The tables of one container file, and the numbers that it gives out.
class ContainerTables {
 public:
  // `file_name` as messages name it.
  ContainerTables(DbEnv& environment, std::string file_name,
                  bool is_transactional);

  // Throws StoreError. `path` is the system's.
  void Open(const std::string& path, const ContainerSwitches& switches);

  // A number that it never gave before, whatever becomes of the transaction
  // that asks.
  std::uint64_t TakeNumber();
  // A few letters that few other containers have.
  const std::string& tag() const { return tag_; }
  std::uint32_t format_version() const { return format_version_; }
  std::uint64_t FileBytes();
  // Into the file, as far as it goes.
  void Sync();

  Table meta;
  Table documents;   // name -> record
  Table ids;         // document id -> name
  Table dictionary;  // number -> addition
  Table index;       // blocks of entries

 private:
  void OpenAll(DbTxn* transaction, const std::string& path,
               const ContainerSwitches& switches);
  void OpenOne(Table& table, DbTxn* transaction, const std::string& path,
               const ContainerSwitches& switches);
  void CheckFormat(DbTxn* transaction, bool may_create);
  void ReserveNumbers();

  DbEnv& environment_;
  const std::string file_name_;
  const bool is_transactional_;
  std::string tag_;
  std::uint32_t format_version_ = 0;

  std::mutex numbers_mutex_;
  std::uint64_t next_number_ = 0;
  std::uint64_t numbers_end_ = 0;
  std::uint64_t reserve_ = 16;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_CONTAINER_TABLES_H_
