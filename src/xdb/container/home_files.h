#ifndef XDB_CONTAINER_HOME_FILES_H_
#define XDB_CONTAINER_HOME_FILES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "xdb/container/life_table.h"

namespace kiv::xdb {

// The files in the home of an environment, looked at before Berkeley DB does:
// it trusts them, and crashes over a damaged region or goes on without a log
// file that is missing. Paths are native text.

enum class LogKind {
  None,
  Plain,
  // Or damaged: without the password nobody can tell.
  Encrypted,
};

struct LogFiles {
  std::string folder;
  std::vector<std::uint32_t> numbers;  // ascending
  LogKind kind = LogKind::None;
  std::uint32_t version = 0;  // of the newest plain one

  bool IsEmpty() const { return numbers.empty(); }
  std::uint32_t First() const { return IsEmpty() ? 0 : numbers.front(); }
  std::uint32_t Last() const { return IsEmpty() ? 0 : numbers.back(); }
};
LogFiles FindLogFiles(const std::string& home);

// As Berkeley DB names it.
std::string LogFileName(std::uint32_t number);

// Throws StoreError when a log file is missing that those there, or a container
// in the home, or `facts` speak of; or when Berkeley DB of another version
// wrote them.
void RequireLogFiles(const std::string& home, const LogFiles& logs,
                     const LifeTable::Facts& facts);

// What the first container found in the home is.
LifeTable::Facts::Cipher ContainerCipher(const std::string& home);

// The shared memory of those who have the environment open lies in files.
struct RegionHead {
  bool is_valid = false;  // it was set up, and is of this version
  bool is_dead = false;   // everybody is to close it
  int major = 0;
  int minor = 0;
};
RegionHead ReadRegionHead(const std::string& home);
std::vector<LifeTable::Facts::Region> FindRegions(const std::string& home);
// Throws StoreError unless they are those that were recorded.
void RequireRegions(const std::string& home, const LifeTable::Facts& facts);
// For one who knows that nobody has them.
void RemoveRegions(const std::string& home);
// Takes the disk blocks that they may grow into; 0 or the system's code.
int ReserveRegions(const std::string& home, std::uint64_t cache_bytes);

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_HOME_FILES_H_
