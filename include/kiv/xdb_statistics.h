#ifndef KIV_XDB_STATISTICS_H_
#define KIV_XDB_STATISTICS_H_

#include <cstdint>

namespace kiv {

struct XDbContainerStatistics {
  std::uint64_t document_count = 0;
  std::uint64_t document_bytes = 0;  // as stored
  std::uint64_t index_entry_count = 0;
  std::uint64_t name_count = 0;  // of elements and attributes
  std::uint64_t path_count = 0;  // of elements and attributes
  std::uint64_t file_bytes = 0;
  std::uint32_t format_version = 0;
};

struct XDbEnvironmentStatistics {
  std::uint64_t cache_bytes = 0;
  std::uint64_t log_file_count = 0;
  std::uint64_t log_bytes = 0;
  std::uint32_t lock_count = 0;
  std::uint32_t max_lock_count = 0;
  std::uint32_t deadlock_count = 0;
  std::uint64_t recovery_count = 0;  // since the environment was made
};

}  // namespace kiv

#endif  // KIV_XDB_STATISTICS_H_
