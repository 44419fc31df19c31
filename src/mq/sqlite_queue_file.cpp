#include "mq/sqlite_queue_file.h"

#include <cstdint>

#include "kiv/environment.h"
#include "port/clock.h"
#include "port/file.h"
#include "port/native_path.h"
#include "port/private_file.h"
#include "util/cp936.h"

namespace kiv::mq {
namespace {

constexpr std::int64_t kApplicationId = 0x4B495651;  // "KIVQ"
constexpr std::int64_t kFormat = 1;
// A larger file is checked as it is read: the whole of it would hold up a start
// for seconds.
constexpr std::uint64_t kCheckedBytes = 256u << 20;

// auto_vacuum only counts before the first table; the journal's kind stays with
// the file.
constexpr char kLayout[] =
    "PRAGMA auto_vacuum = INCREMENTAL;"
    "PRAGMA journal_mode = WAL;"
    "BEGIN IMMEDIATE;"
    "PRAGMA application_id = 0x4B495651;"
    "PRAGMA user_version = 1;"
    "CREATE TABLE queue(name TEXT NOT NULL, label TEXT NOT NULL,"
    " created INTEGER NOT NULL) STRICT;"
    "CREATE TABLE message(seq INTEGER PRIMARY KEY, id TEXT NOT NULL,"
    " sent INTEGER NOT NULL, label TEXT NOT NULL, body BLOB NOT NULL) STRICT;"
    "COMMIT";

// A commit is on the disk before it is answered. What was received need not be
// overwritten where that would cost another write.
constexpr char kSettings[] =
    "PRAGMA synchronous = FULL;"
    "PRAGMA secure_delete = FAST;"
    "PRAGMA journal_size_limit = 16777216";

bool FillQueueFile(const std::string& path, const QueueName& name,
                   const std::string& label, std::string& reason) {
  const auto file = SqliteConnection::Open(port::SystemPath(path), reason);
  if (file == nullptr) return false;
  const std::string name_utf8 = name.Utf8();
  const std::string label_utf8 = Cp936ToUtf8(label);
  bool is_filled = file->Execute(kSettings) && file->Execute(kLayout);
  if (is_filled) {
    SqliteStatement insert(*file, "INSERT INTO queue VALUES(?, ?, ?)");
    insert.BindText(1, name_utf8);
    insert.BindText(2, label_utf8);
    insert.BindNumber(3, port::CurrentClock().UnixTicks() / 10'000);
    is_filled = insert.Step() == SqliteStatement::Result::Done;
  }
  // The draft moves without its log: closing it would fold the log back, too,
  // but not say when the disk was too full for it.
  std::int64_t is_busy = 0;
  is_filled = is_filled &&
              file->Ask("PRAGMA wal_checkpoint(TRUNCATE)", is_busy) &&
              is_busy == 0;
  if (!is_filled) reason = file->Fault();
  return is_filled;
}

void RemoveFiles(const std::string& path) {
  for (const char* const suffix : {"", "-wal", "-shm"})
    port::DeleteFileA(path + suffix);
}

bool IsMissing(const std::string& path) {
  return port::GetEntryState(path).kind == port::EntryKind::Missing;
}

// A log whose file was removed would be played into a new file of that name. It
// is left to people: another program may be about to use it.
bool IsLogLeftOver(const std::string& path) {
  // Somebody who was quicker made the file before its log.
  return IsMissing(path) && !IsMissing(path + "-wal") && IsMissing(path);
}

bool IsQueueFile(SqliteConnection& file, std::string& reason) {
  std::int64_t application = 0;
  std::int64_t format = 0;
  if (!file.Ask("PRAGMA application_id", application) ||
      !file.Ask("PRAGMA user_version", format)) {
    reason = file.Fault();
    return false;
  }
  if (application != kApplicationId) {
    reason =
        "its file is no queue; it is kept as it is: move it away with its -wal "
        "and -shm";
    return false;
  }
  if (format != kFormat) {
    reason = "its file has format " + std::to_string(format) +
             ", and this version knows format " + std::to_string(kFormat);
    return false;
  }
  return true;
}

bool IsOfName(SqliteConnection& file, const QueueName& name,
              std::string& reason) {
  std::string stored;
  if (!file.Ask("SELECT name FROM queue", stored)) {
    reason = file.Fault();
    return false;
  }
  // A copy, or a file system that knows no case.
  if (stored != name.Utf8()) {
    reason = "its file is that of the queue '" + Utf8ToCp936(stored) + "'";
    return false;
  }
  return true;
}

bool IsWhole(SqliteConnection& file, std::uint64_t size_bytes,
             std::string& reason) {
  if (size_bytes > kCheckedBytes) return true;
  std::string result;
  if (!file.Ask("PRAGMA quick_check(1)", result)) {
    reason = file.Fault();
    return false;
  }
  if (result == "ok") return true;
  reason = SqliteConnection::DamageText(result);
  return false;
}

bool UsesLog(SqliteConnection& file, std::string& reason) {
  std::string mode;
  if (!file.Ask("PRAGMA journal_mode = WAL", mode)) {
    reason = file.Fault();
    return false;
  }
  if (mode == "wal") return true;
  reason =
      "its file system cannot share a file between programs: put the "
      "folder of the queues on a local disk";
  return false;
}

// Whatever state it is in.
std::unique_ptr<SqliteConnection> OpenFileOf(const std::string& path,
                                             const QueueName& name,
                                             std::string& reason) {
  switch (port::GetEntryState(path).kind) {
    case port::EntryKind::File:
      break;
    case port::EntryKind::Missing:
      reason = "there is no such queue";
      return nullptr;
    default:
      reason = "its file is no regular file";
      return nullptr;
  }
  auto file = SqliteConnection::Open(port::SystemPath(path), reason);
  if (file == nullptr || !IsQueueFile(*file, reason) ||
      !IsOfName(*file, name, reason))
    return nullptr;
  return file;
}

bool IsUsable(SqliteConnection& file, const std::string& path,
              std::string& reason) {
  port::FileAttributes attributes;
  port::GetFileAttributesA(path, attributes);
  return IsWhole(file, attributes.size_bytes, reason) && UsesLog(file, reason);
}

// While we hold it nobody else deletes the queue, and while we have it open it
// has a log, so that no new file of the name is made before that is gone, too.
bool RemoveAlone(SqliteConnection& file, const std::string& path,
                 std::string& reason) {
  if (!file.Execute("BEGIN IMMEDIATE")) {
    reason = file.Fault();
    return false;
  }
  // Else somebody was quicker.
  if (!file.IsMoved()) RemoveFiles(path);
  file.Execute("ROLLBACK");
  return true;
}

}  // namespace

bool IsDeleted(SqliteConnection& file) {
  std::int64_t tables = 0;
  return file.Ask("SELECT count(*) FROM sqlite_schema WHERE name = 'message'",
                  tables) &&
         tables == 0;
}

bool CreateQueueFile(const std::string& folder, const QueueName& name,
                     const std::string& label, std::string& reason) {
  const auto fail = [&reason](const char* what) {
    reason = what + port::ErrorText(port::LastError());
    return false;
  };
  std::string random;
  generateUUID(random);
  const std::string draft = folder + "/.new-" + random;
  if (!port::CreatePrivateFile(draft))
    return fail("its file cannot be created: ");
  if (!FillQueueFile(draft, name, label, reason)) {
    RemoveFiles(draft);
    return false;
  }
  const std::string path = folder + "/" + name.File();
  if (IsLogLeftOver(path)) {
    RemoveFiles(draft);
    reason = "its file is gone and " + path +
             "-wal is left over, whose messages belong to that file: put both "
             "together again, or move it away with its -shm";
    return false;
  }
  if (port::MoveFileA(draft, path)) {
    if (port::SyncDirectory(folder)) return true;
    return fail("its folder cannot be written: ");
  }
  const int error = port::LastError();
  RemoveFiles(draft);
  if (port::IsAlreadyThere(error)) return true;
  reason = "its file cannot be created: " + port::ErrorText(error);
  return false;
}

std::unique_ptr<SqliteConnection> OpenQueueFile(const std::string& path,
                                                const QueueName& name,
                                                std::string& reason) {
  auto file = OpenFileOf(path, name, reason);
  if (file == nullptr) return nullptr;
  if (IsDeleted(*file)) {
    reason = "the queue is being deleted";
    return nullptr;
  }
  if (!IsUsable(*file, path, reason)) return nullptr;
  if (!file->Execute(kSettings)) {
    reason = file->Fault();
    return nullptr;
  }
  return file;
}

bool DeleteQueueFile(const std::string& path, const QueueName& name,
                     std::string& reason) {
  const auto file = OpenFileOf(path, name, reason);
  if (file == nullptr) return false;
  // One who was killed in the middle of it may have begun.
  if (IsDeleted(*file)) return RemoveAlone(*file, path, reason);
  if (!IsUsable(*file, path, reason)) return false;
  // Who has it open loses the table, so that nobody goes on filling a file
  // that has no name any more.
  if (!file->Execute(kSettings) || !file->Execute("DROP TABLE message")) {
    reason = file->Fault();
    return false;
  }
  return RemoveAlone(*file, path, reason);
}

bool RemoveHalfDeleted(const std::string& path, const QueueName& name) {
  std::string reason;
  const auto file = OpenFileOf(path, name, reason);
  return file != nullptr && IsDeleted(*file) &&
         RemoveAlone(*file, path, reason);
}

}  // namespace kiv::mq
