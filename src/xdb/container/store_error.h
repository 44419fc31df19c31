#ifndef XDB_CONTAINER_STORE_ERROR_H_
#define XDB_CONTAINER_STORE_ERROR_H_

#include <stdexcept>
#include <string>

namespace kiv::xdb {

// What kind of failure it is, as far as somebody may act on it.
enum class Failure {
  Other,
  NotFound,       // no such container or document
  AlreadyThere,   // a document or container of that name
  NotXml,         // the content is no well-formed document, or refused
  Deadlock,       // given up for others: abort the transaction and try again
  BusyTooLong,    // a lock was not to be had in time
  NeedsRecovery,  // the environment; close it everywhere, then open it again
  WrongPassword,  // or one where there is none, or none where there is one
  BadFormat,      // the file is no container, or damaged
  NewerFormat,    // a container of a later version of this library
  OutOfSpace,     // disk, locks or memory of the environment
  ReadOnly,       // file system or file
};

// Thrown inside src/xdb and caught where the published classes begin. The text
// names the file or document, says what is wrong and what to do about it. It is
// in the local encoding.
class StoreError : public std::runtime_error {
 public:
  StoreError(Failure failure, const std::string& text, int code = 0)
      : std::runtime_error(text), failure_(failure), code_(code) {}

  Failure failure() const { return failure_; }
  // Berkeley DB's code, or errno; 0 when neither had a part in it.
  int code() const { return code_; }

 private:
  Failure failure_;
  int code_;
};

}  // namespace kiv::xdb

#endif  // XDB_CONTAINER_STORE_ERROR_H_
