#ifndef PORT_LOCK_FILE_H_
#define PORT_LOCK_FILE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace kiv::port {

// A file whose bytes lock something between processes: LockFileEx and
// GetOverlappedResult on a range. Locks are advisory, belong to the object and
// end with it or with its process, however that ends; a child made by fork has
// none of them. Locked bytes may lie behind the end of the file.
//
// Any thread, one call at a time for each byte.
class LockFile {
 public:
  // Makes the file where it is missing, for the owner alone or with the mode
  // that the process gives new files. Null on failure; LastError() of
  // port/file.h has the system's code. `path` is native text.
  static std::unique_ptr<LockFile> Open(const std::string& path,
                                        bool is_private);
  virtual ~LockFile() = default;

  // False when another object has the byte, or it cannot be had.
  virtual bool TryLock(std::uint64_t byte) = 0;
  virtual void Unlock(std::uint64_t byte) = 0;
  // Whether another object, of this process or not, has one of the bytes.
  virtual bool IsLockedElsewhere(std::uint64_t first, std::uint64_t count) = 0;

  // What lies behind the end reads as zeros.
  virtual bool Read(std::uint64_t offset, void* out, std::size_t size) = 0;
  virtual bool Write(std::uint64_t offset, const void* bytes,
                     std::size_t size) = 0;
  // What was written is on the disk.
  virtual bool Sync() = 0;

  // This process is a child that was forked after the file was opened: locks
  // and file are the parent's.
  virtual bool IsOfParent() const = 0;
};

}  // namespace kiv::port

#endif  // PORT_LOCK_FILE_H_
