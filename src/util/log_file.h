#ifndef UTIL_LOG_FILE_H_
#define UTIL_LOG_FILE_H_

#include <cstddef>
#include <memory>
#include <string>

#include "kiv/file_system_path.h"
#include "port/file.h"
#include "util/log_buffer.h"

namespace kiv {

// The file under the log and the entries on their way into it.
//
// Entries are collected in the buffer and written many at a time. When a write
// fails, the file is closed and the entries stay for the next attempt, up to a
// full buffer; what could not be kept is counted, and a fault line with the
// count goes in front of everything once the file is open again. So memory is
// bounded, every entry is either written or counted, and the count is exact.
class LogFile {
 public:
  ~LogFile() { Close(); }

  LogBuffer& Buffer() { return buffer_; }

  // Opens for appending; makes the folder when it is missing.
  bool Open(const FileSystemPath& folder, const std::string& path);
  bool IsOpen() const { return file_ != nullptr; }
  // Writes what is complete; false when it could not be written, and the file
  // is then closed. A file that was moved or removed is made anew first.
  bool Flush();
  // Flushes and closes. Entries that cannot be written wait for Open.
  void Offline();
  // Flushes and closes, with one last attempt at entries that wait. They belong
  // to this file and are counted as lost rather than written to another.
  void Close();

  // The entry is complete. Nothing is counted when it is empty.
  void EndEntry(LogBuffer::Mark entry);
  void CountLost();

  // A fault is to be reported, now that the file is open.
  bool IsFaultDue() const { return IsOpen() && fault_due_; }
  unsigned long long Lost() const { return lost_; }
  // The entry is the fault line. It goes in front and counts as none.
  void EndFaultLine(LogBuffer::Mark entry);

  // For the child of a fork: the parent writes these entries.
  void Forget();

 private:
  bool Reopen();
  void Fail();
  void Abandon();

  LogBuffer buffer_;
  std::unique_ptr<port::AppendFile> file_;
  // The last file opened, to be made anew when it has gone.
  FileSystemPath folder_;
  std::string path_;

  std::size_t entries_ = 0;           // complete in the buffer
  std::size_t fault_line_bytes_ = 0;  // at the front of the buffer
  unsigned long long lost_ = 0;
  unsigned long long reported_ = 0;  // of those, in the fault line
  bool fault_due_ = false;
};

}  // namespace kiv

#endif  // UTIL_LOG_FILE_H_
