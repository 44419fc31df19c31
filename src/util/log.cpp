#include "kiv/log.h"

#include <cstdio>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "kiv/encoding.h"
#include "kiv/file_system.h"
#include "util/log_access.h"
#include "util/log_entry.h"
#include "util/log_messages.h"
#include "util/log_stream.h"

namespace kiv {
namespace {

constexpr char kDefaultFolder[] = "Logfiles/System/";
constexpr char kOwnSource[] = "sharelib::util";

FileSystemPath FileIn(const FileSystemPath& folder, const std::string& name) {
  return folder / FileSystemPath(name, FileSystemPath::native);
}

bool IsEmpty(const char* text) { return !text || !*text; }

void ReportUnopenable() {
  std::fputs("Log::Output failed, Open() return false\n", stderr);
}

// An entry takes a fraction of a microsecond, and going to sleep for the lock
// takes many: so a thread first tries for about as long as an entry takes.
class WriterLock {
 public:
  explicit WriterLock(std::recursive_mutex& lock) : lock_(lock) {
    LogAccess::LetForkPass();
    for (int i = 0; i < kAttempts; ++i) {
      if (lock_.try_lock()) return;
      CpuPause();
    }
    lock_.lock();
  }
  ~WriterLock() { lock_.unlock(); }
  WriterLock(const WriterLock&) = delete;
  WriterLock& operator=(const WriterLock&) = delete;

 private:
  static constexpr int kAttempts = 32;
  static void CpuPause() {
#if defined(__SSE2__)
    _mm_pause();
#endif
  }

  std::recursive_mutex& lock_;
};

// The log's reading of the clock inside an entry.
class EntryScope {
 public:
  EntryScope(int& depth, LogTime& time) : depth_(depth) {
    if (depth_ == 0) time.Read();
    ++depth_;
  }
  ~EntryScope() { --depth_; }
  EntryScope(const EntryScope&) = delete;
  EntryScope& operator=(const EntryScope&) = delete;

 private:
  int& depth_;
};

// Writes the pieces of an entry: the stream is asked once whether it is fit,
// not once a piece, and the log's own buffer is spared virtual calls.
class Pieces {
 public:
  Pieces(std::ostream& out, LogBuffer* own)
      : out_(out),
        sentry_(out),
        buffer_(own && out.rdbuf() == own ? own : nullptr) {}
  void Put(std::string_view piece) {
    if (!sentry_) return;
    const auto size = static_cast<std::streamsize>(piece.size());
    const bool written = buffer_
                             ? buffer_->Put(piece)
                             : out_.rdbuf()->sputn(piece.data(), size) == size;
    if (!written) out_.setstate(std::ios::badbit);
  }

 private:
  std::ostream& out_;
  std::ostream::sentry sentry_;
  LogBuffer* buffer_;
};

// Made with the library and ended with it, but never destroyed: threads that
// the program left running may still write to it.
struct SharedLog {
  union {
    Log log;
  };
  SharedLog() { new (&log) Log; }
  ~SharedLog() { LogAccess::End(log); }
};

SharedLog shared_log;

}  // namespace

constinit Log& Log::g_log = shared_log.log;

Log::Log() : stream_(new (std::nothrow) Stream) {
  // Without memory for a stream, every operation answers false.
  if (stream_) LogAccess::Enlist(*this);
}

Log::~Log() { LogAccess::End(*this); }

bool Log::Open() { return Open(FileSystemPath(), true); }

bool Log::Open(const FileSystemPath& path, bool is_directory) {
  Close();
  try {
    if (!path.empty()) return AnalysePath(path, is_directory);
    const FileSystemPath folder =
        FileSystem::current_path() / FileSystemPath(kDefaultFolder);
    FileSystem::create_directories(folder);
    return Open(folder, true);
  } catch (...) {
    return false;
  }
}

void Log::Close() {
  directory_ = FileSystemPath();
  file_name_.clear();
  if (!stream_) return;
  try {
    stream_->file.Close();
  } catch (...) {
  }
}

void Log::Offline() {
  if (!stream_) return;
  try {
    stream_->file.Offline();
  } catch (...) {
  }
}

void Log::Flush() {
  if (!stream_) return;
  try {
    stream_->file.Flush();
  } catch (...) {
  }
}

void Log::LockedFlush() {
  const WriterLock lock(lock_);
  Flush();
}

bool Log::IsOK() const { return stream_ && stream_->file.IsOpen(); }

std::string Log::FilePath() const {
  if (directory_.empty() || file_name_.empty()) return {};
  try {
    return FileIn(directory_, file_name_).native_file_string();
  } catch (...) {
    return {};
  }
}

WideString Log::FilePathU() const {
  try {
    const std::string path = FilePath();
    return stringToWstring(path.c_str(), static_cast<unsigned>(path.size()))
        .get();
  } catch (...) {
    return {};
  }
}

void Log::BuildFilename(std::string& name) const {
  if (stream_ && stream_->depth != 0) {
    name = stream_->time.FileName();
    return;
  }
  LogTime now;
  now.Read();
  name = now.FileName();
}

void Log::BuildOutput(const char* message, const char* source,
                      const char* category, bool time_only, std::ostream& out) {
  if (IsEmpty(message)) return;
  Pieces pieces(out, stream_ ? &stream_->file.Buffer() : nullptr);
  if (stream_ && stream_->depth != 0) {
    pieces.Put(stream_->time.Stamp(time_only));
  } else {
    LogTime now;
    now.Read();
    pieces.Put(now.Stamp(time_only));
  }
  if (!IsEmpty(category)) {
    pieces.Put("[");
    pieces.Put(category);
    pieces.Put("] ");
  }
  if (!IsEmpty(source)) {
    pieces.Put(source);
    pieces.Put(": ");
  }
  pieces.Put(message);
  pieces.Put("\r\n");
}

bool Log::AnalysePath(const FileSystemPath& path, bool is_directory) {
  if (path.empty()) return false;
  if (is_directory) {
    directory_ = path;
    file_name_.clear();
    BuildFilename(file_name_);
  } else {
    directory_ = path.branch_path();
    file_name_ = path.leaf();
  }
  FileSystem::create_directories(directory_);
  return !file_name_.empty();
}

bool Log::Reopen() {
  if (!stream_) return false;
  try {
    stream_->file.Close();
    return OpenFile();
  } catch (...) {
    return false;
  }
}

bool Log::OpenFile() { return stream_->file.Open(directory_, FilePath()); }

void Log::Write(const char* message, const char* source, const char* category,
                const FileSystemPath& path, bool daily) {
  if (IsEmpty(message)) return;
  const WriterLock lock(lock_);
  if (!stream_) return;
  LogFile& file = stream_->file;
  try {
    const EntryScope scope(stream_->depth, stream_->time);
    if (!Ready(path, daily)) {
      file.CountLost();
      return;
    }
    if (stream_->depth == 1 && file.IsFaultDue()) WriteFaultLine(daily);
    WriteEntry(message, source ? source : "", category ? category : "", daily);
    if (stream_->depth == 1 &&
        (file.Buffer().IsFull() || file.Buffer().TakeFlushRequest()))
      file.Flush();
  } catch (...) {
    file.CountLost();
  }
}

// Whether there is a file for the entry, opened or changed where needed.
bool Log::Ready(const FileSystemPath& path, bool daily) {
  bool is_unopenable = false;
  if (!IsOK()) {
    if ((directory_.empty() || file_name_.empty()) && !Open(path, daily)) {
      ReportUnopenable();
      return false;
    }
    is_unopenable = !OpenFile();
  }
  // On every entry, also when the log was opened on an explicit file: from its
  // first entry on, such a log writes the dated file in the same folder.
  std::string& name = stream_->fresh_name;
  name.clear();
  BuildFilename(name);
  if (!name.empty() && name != file_name_) {
    file_name_ = name;
    Reopen();
  }
  // A change of files that fails drops the entry silently.
  if (!IsOK() && is_unopenable) ReportUnopenable();
  return IsOK();
}

void Log::WriteEntry(const char* message, const char* source,
                     const char* category, bool daily) {
  LogFile& file = stream_->file;
  std::ostream& out = stream_->out;
  const LogBuffer::Mark entry = file.Buffer().Begin();
  try {
    BuildOutput(message, source, category, daily, out);
  } catch (...) {
    out.setstate(std::ios::failbit);
  }
  if (out) {
    file.EndEntry(entry);
    return;
  }
  // Half an entry would run into the next one.
  out.clear();
  file.Buffer().Drop(entry);
  file.CountLost();
}

void Log::WriteFaultLine(bool daily) {
  LogFile& file = stream_->file;
  std::ostream& out = stream_->out;
  const std::string text = message::EntriesLost(
      Shown(FileIn(directory_, file_name_).string()), file.Lost());
  const LogBuffer::Mark entry = file.Buffer().Begin();
  try {
    BuildOutput(text.c_str(), kOwnSource, message::kError, daily, out);
  } catch (...) {
    out.setstate(std::ios::failbit);
  }
  if (!out) file.Buffer().Drop(entry);
  out.clear();
  file.EndFaultLine(entry);
}

void LogAccess::End(Log& log) {
  if (log.stream_) Strike(log);
  const WriterLock lock(log.lock_);
  log.Close();
  log.stream_.reset();
}

void LogAccess::Write(const char* text, const char* source,
                      const char* category) {
  Log::g_log.Write(text, source, category, FileSystemPath(), true);
}

}  // namespace kiv
