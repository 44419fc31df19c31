#ifndef KIV_LOG_H_
#define KIV_LOG_H_

#include <exception>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>

#include "kiv/com.h"
#include "kiv/export.h"
#include "kiv/file_system_path.h"
#include "kiv/wide.h"

namespace kiv {

// The one diagnostic sink: a file named after the local date, opened by the
// first entry and changed when the date changes.
//
// An entry is one line: time, "[category] ", "source: ", message, CR LF.
// Control bytes and broken characters inside a text are shown escaped, as \n or
// \x1B, so that a message cannot fake a second entry. Nothing is flushed an
// entry, but everything is at exit and before a fork. When the file cannot be
// written, entries are dropped and counted, and the first line after the fault
// says how many were lost; docs/log.md has the details.
//
// Every Output and LockedFlush may be called from any thread. Open, Close,
// Offline, Flush, IsOK and FilePath take no lock: they belong to start-up,
// shut-down and the owning thread. Nothing throws.
class KIV_API Log {
 public:
  // Closed when the library is unloaded, at the end of the process; threads
  // that still run may go on writing, to no effect.
  static Log& g_log;
  static Log& Instance() { return g_log; }

  Log();
  virtual ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  // The folder Logfiles/System/ below the current directory.
  bool Open();
  // Names the folder (a daily file) or the file; the stream is opened by the
  // next entry. A log opened on a file keeps that name only until its first
  // entry: from then on it writes the dated file beside it.
  bool Open(const FileSystemPath& path, bool is_directory);
  // The next entry goes to the default folder again.
  void Close();
  // Closes the file and keeps its name: the next entry reopens it.
  void Offline();
  void Flush();
  // As Flush, from any thread: waits while an entry is written.
  void LockedFlush();
  bool IsOK() const;
  // "" while no file is configured.
  std::string FilePath() const;
  WideString FilePathU() const;

  // Writes one entry; an empty message writes nothing. `path` and `daily` name
  // the log when none is open, as Open does; `daily` also leaves the date out
  // of the time stamp, since the file's name has it.
  void Output(const char* message, const char* source, const char* category,
              const FileSystemPath& path, bool daily);
  void Output(const WideChar* message, const WideChar* source,
              const WideChar* category, const FileSystemPath& path, bool daily);
  void OutputUTF8(const char* message, const char* source, const char* category,
                  const FileSystemPath& path, bool daily);
  // Adds the exception's text.
  void Output(const char* message, const std::exception& exception,
              const char* source, const char* category,
              const FileSystemPath& path, bool daily);
  void Output(const char* message, const _com_error& error, const char* source,
              const char* category, const FileSystemPath& path, bool daily);

  // A tracing hook that this build leaves out: writes nothing.
  void Trace(const char* message, const char* source, const char* category,
             const FileSystemPath& path, bool daily);
  void Trace(const WideChar* message, const WideChar* source,
             const WideChar* category, const FileSystemPath& path, bool daily);

 protected:
  // The file's name for now.
  virtual void BuildFilename(std::string& name) const;
  // Writes one entry; runs under the log's lock, and may log itself.
  virtual void BuildOutput(const char* message, const char* source,
                           const char* category, bool time_only,
                           std::ostream& out);

  bool AnalysePath(const FileSystemPath& path, bool is_directory);
  bool Reopen();

 private:
  friend class LogAccess;
  struct Stream;

  void Write(const char* message, const char* source, const char* category,
             const FileSystemPath& path, bool daily);
  bool Ready(const FileSystemPath& path, bool daily);
  void WriteEntry(const char* message, const char* source, const char* category,
                  bool daily);
  void WriteFaultLine(bool daily);
  bool OpenFile();

  std::recursive_mutex lock_;
  std::unique_ptr<Stream> stream_;
  FileSystemPath directory_;
  std::string file_name_;
};

}  // namespace kiv

#endif  // KIV_LOG_H_
