#ifndef PORT_LINUX_FILE_CANDIDATE_H_
#define PORT_LINUX_FILE_CANDIDATE_H_

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "port/file_claims.h"
#include "port/linux/descriptor.h"

// Files that are to be claimed, before they are.
namespace kiv::port {

inline std::int64_t Nanoseconds(const timespec& time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

// An open folder and a name in it. The folder is `owned` where it is not one
// that stays open anyway.
struct Place {
  Descriptor owned;
  int folder = -1;
  std::string leaf;
};
// A file that is to be taken, as far as it could be opened.
struct Candidate {
  Descriptor file;
  int open_error = 0;
  struct stat status {};
};

// With errno where the folder cannot be opened.
Place FindPlace(int root, const std::string& name);

FileClaims::Taking Refusal(const std::string& reason);
// From errno.
FileClaims::Taking NotReached();

// Why it is not to be taken; nothing when it is. Without a certainty nobody is
// asked who writes it.
std::optional<FileClaims::Taking> OpenWhole(
    const Place& place, std::optional<ChangeRecord::Certainty> certainty,
    Candidate& candidate);

// False with errno, and `bytes` undefined.
bool ReadAll(int file, std::size_t size, std::string& bytes);

}  // namespace kiv::port

#endif  // PORT_LINUX_FILE_CANDIDATE_H_
