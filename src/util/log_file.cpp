#include "util/log_file.h"

#include <utility>

#include "kiv/file_system.h"

namespace kiv {

bool LogFile::Open(const FileSystemPath& folder, const std::string& path) {
  folder_ = folder;
  path_ = path;
  return Reopen();
}

bool LogFile::Reopen() {
  file_.reset();
  if (path_.empty()) return false;
  file_ = port::AppendFile::Open(path_);
  if (file_) return true;
  FileSystem::create_directories(folder_);
  file_ = port::AppendFile::Open(path_);
  return IsOpen();
}

bool LogFile::Flush() {
  if (!IsOpen()) return false;
  if (buffer_.Complete().empty()) return true;
  if ((!file_->IsStillThere() && !Reopen()) ||
      !file_->Append(buffer_.Complete())) {
    Fail();
    return false;
  }
  buffer_.RemoveFront(buffer_.Complete().size());
  entries_ = 0;
  fault_line_bytes_ = 0;
  lost_ -= std::exchange(reported_, 0);
  fault_due_ = lost_ != 0;
  return true;
}

void LogFile::Offline() {
  Flush();
  file_.reset();
}

void LogFile::Close() {
  if (IsOpen() || (!buffer_.Complete().empty() && Reopen())) Flush();
  file_.reset();
  if (!buffer_.Complete().empty()) Abandon();
}

void LogFile::EndEntry(LogBuffer::Mark entry) {
  if (buffer_.End(entry) != 0) ++entries_;
}

void LogFile::CountLost() {
  ++lost_;
  fault_due_ = true;
}

void LogFile::EndFaultLine(LogBuffer::Mark entry) {
  fault_line_bytes_ = buffer_.EndAtFront(entry);
  reported_ = lost_;
  fault_due_ = false;
}

void LogFile::Forget() {
  buffer_.RemoveFront(buffer_.Complete().size());
  entries_ = 0;
  fault_line_bytes_ = 0;
  lost_ = reported_ = 0;
  fault_due_ = false;
}

void LogFile::Fail() {
  file_.reset();
  fault_due_ = true;
  // The count may grow until the line can be written: it is made again then.
  buffer_.RemoveFront(std::exchange(fault_line_bytes_, 0));
  reported_ = 0;
  if (buffer_.IsFull()) Abandon();
}

void LogFile::Abandon() {
  buffer_.RemoveFront(buffer_.Complete().size());
  lost_ += std::exchange(entries_, 0);
  fault_line_bytes_ = 0;
  reported_ = 0;
  fault_due_ = true;
}

}  // namespace kiv
