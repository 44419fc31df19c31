#include "mq/sqlite_store.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "mq/sqlite_connection.h"
#include "mq/sqlite_queue_file.h"
#include "port/file.h"
#include "port/private_file.h"
#include "util/cp936.h"
#include "util/utf8.h"

namespace kiv::mq {
namespace {

using Result = SqliteStatement::Result;

class SqliteStore final : public MessageStore {
 public:
  SqliteStore(std::string path, QueueName name)
      : path_(std::move(path)), name_(std::move(name)) {}

  bool Open(std::string& reason) {
    opened_.reset();
    auto file = OpenQueueFile(path_, name_, reason);
    if (file == nullptr) return false;
    opened_ = std::make_unique<Opened>(path_, std::move(file));
    return true;
  }

  bool Send(const StoredMessage& message, std::string& reason) override {
    if (!IsReady(reason)) return false;
    const std::string label = Cp936ToUtf8(message.label);
    SqliteStatement& insert = opened_->insert;
    insert.BindText(1, message.id);
    insert.BindNumber(2, message.sent_ms.value_or(0));
    insert.BindText(3, label);
    insert.BindBytes(4, message.body);
    const bool is_sent = insert.Step() == Result::Done;
    return Finish(insert, is_sent, reason);
  }

  Step Receive(StoredMessage& message, std::string& reason) override {
    return IsReady(reason) ? Read(opened_->take, message, reason)
                           : Step::Failed;
  }
  Step Peek(StoredMessage& message, std::string& reason) override {
    return IsReady(reason) ? Read(opened_->look, message, reason)
                           : Step::Failed;
  }

  bool Summarize(StoreSummary& summary, std::string& reason) override {
    if (!IsReady(reason)) return false;
    SqliteStatement& count = opened_->count;
    const bool is_counted = count.Step() == Result::Row;
    if (is_counted) {
      summary.messages = static_cast<unsigned long long>(count.Number(0));
      summary.oldest_ms.reset();
      if (!count.IsNull(1)) summary.oldest_ms = count.Number(1);
    }
    return Finish(count, is_counted, reason);
  }

  bool Purge(unsigned long long& removed, std::string& reason) override {
    if (!IsReady(reason)) return false;
    const std::int64_t before = opened_->file->Changes();
    if (!opened_->file->Execute("DELETE FROM message")) return Fail(reason);
    removed =
        static_cast<unsigned long long>(opened_->file->Changes() - before);
    // Gives the room back; a reader in the way only puts that off.
    opened_->file->Execute(
        "PRAGMA incremental_vacuum; PRAGMA wal_checkpoint(TRUNCATE)");
    return true;
  }

 private:
  struct Opened {
    Opened(const std::string& path,
           std::unique_ptr<SqliteConnection> connection)
        : name(path), file(std::move(connection)) {}

    const port::NamedFile name;
    const std::unique_ptr<SqliteConnection> file;
    SqliteStatement insert{
        *file, "INSERT INTO message(id, sent, label, body) VALUES(?, ?, ?, ?)"};
    SqliteStatement look{*file,
                         "SELECT id, sent, label, body FROM message "
                         "ORDER BY seq LIMIT 1"};
    // One transaction: found, read and gone, or none of it.
    SqliteStatement take{*file,
                         "DELETE FROM message WHERE seq = "
                         "(SELECT min(seq) FROM message) "
                         "RETURNING id, sent, label, body"};
    SqliteStatement count{*file,
                          "SELECT count(*), (SELECT sent FROM message "
                          "ORDER BY seq LIMIT 1) FROM message"};
  };

  // A file that was moved or removed under us would swallow what is sent.
  bool IsReady(std::string& reason) {
    if (opened_ != nullptr && opened_->name.IsStillThere()) return true;
    return Open(reason);
  }

  Step Read(SqliteStatement& statement, StoredMessage& message,
            std::string& reason) {
    Result result = statement.Step();
    const bool is_there = result == Result::Row;
    if (is_there) {
      Fill(statement, message);
      result = statement.Step();
    }
    if (!Finish(statement, result == Result::Done, reason)) return Step::Failed;
    return is_there ? Step::Message : Step::Empty;
  }

  static void Fill(const SqliteStatement& row, StoredMessage& message) {
    message = {};
    message.id = row.Bytes(0);
    message.sent_ms = row.Number(1);
    const std::string_view label = row.Bytes(2);
    if (IsUtf8(label))
      message.label = Utf8ToCp936(label);
    else
      message.label_fault = "the label is no UTF-8 text";
    message.body = row.Bytes(3);
  }

  bool Finish(SqliteStatement& statement, bool is_good, std::string& reason) {
    if (!is_good) reason = opened_->file->Fault();
    const bool is_lasting = !is_good && opened_->file->IsFaultLasting();
    statement.Reset();
    if (is_lasting) opened_.reset();
    return is_good;
  }
  bool Fail(std::string& reason) {
    reason = opened_->file->Fault();
    if (opened_->file->IsFaultLasting()) opened_.reset();
    return false;
  }

  const std::string path_;
  const QueueName name_;
  std::unique_ptr<Opened> opened_;
};

}  // namespace

bool SqliteStores::Create(const QueueName& name, const std::string& label,
                          std::string& reason) {
  if (!port::CreatePrivateDirectory(folder_)) {
    const int error = port::LastError();
    port::FileAttributes attributes;
    if (!port::IsAlreadyThere(error)) {
      reason = "the folder " + folder_ +
               " cannot be created: " + port::ErrorText(error);
      return false;
    }
    if (!port::GetFileAttributesA(folder_, attributes) ||
        !attributes.is_directory) {
      reason = folder_ + " is no folder";
      return false;
    }
  }
  return port::GetEntryState(FileOf(name)).kind != port::EntryKind::Missing ||
         CreateQueueFile(folder_, name, label, reason);
}

bool SqliteStores::Delete(const QueueName& name, std::string& reason) {
  return DeleteQueueFile(FileOf(name), name, reason);
}

std::unique_ptr<MessageStore> SqliteStores::Open(const QueueName& name,
                                                 std::string& reason) {
  auto store = std::make_unique<SqliteStore>(FileOf(name), name);
  if (!store->Open(reason)) return nullptr;
  return store;
}

bool SqliteStores::List(std::vector<QueueName>& names, std::string& reason) {
  std::vector<QueueName> found;
  const auto search = port::FileSearch::Open(folder_);
  if (search == nullptr) {
    const int error = port::LastError();
    if (!port::IsNotFound(error)) {
      reason = folder_ + ": " + port::ErrorText(error);
      return false;
    }
    names.clear();
    return true;
  }
  std::string file;
  port::FileSearch::Step step;
  while ((step = search->Next(file)) == port::FileSearch::Step::Entry) {
    QueueName name;
    if (QueueName::FromFile(file, name)) found.push_back(name);
  }
  if (step == port::FileSearch::Step::Failed) {
    reason = folder_ + ": " + port::ErrorText(port::LastError());
    return false;
  }
  std::sort(found.begin(), found.end(),
            [](const QueueName& a, const QueueName& b) {
              return a.Text() < b.Text();
            });
  names = std::move(found);
  return true;
}

bool SqliteStores::Check(const QueueName& name, std::string& remark,
                         std::string& reason) {
  const port::EntryState folder = port::GetEntryState(folder_);
  if (folder.kind == port::EntryKind::Missing) {
    const std::string parent = folder_.substr(0, folder_.rfind('/'));
    if (port::MayChangeDirectory(parent)) return true;
    reason = "the folder " + folder_ +
             " cannot be created: " + port::ErrorText(port::LastError());
    return false;
  }
  port::FileAttributes attributes;
  if (!port::GetFileAttributesA(folder_, attributes) ||
      !attributes.is_directory) {
    reason = folder_ + " is no folder";
    return false;
  }
  if (!port::MayChangeDirectory(folder_)) {
    reason = "the folder " + folder_ +
             " may not be written: " + port::ErrorText(port::LastError());
    return false;
  }
  if (folder.kind == port::EntryKind::Directory && folder.is_open_to_others)
    remark = "others may enter the folder " + folder_ + ": chmod 700";
  const port::EntryState file = port::GetEntryState(FileOf(name));
  if (file.kind == port::EntryKind::Missing) return true;
  if (file.is_open_to_others && file.kind == port::EntryKind::File)
    remark = "others may read " + FileOf(name) + ": chmod 600";
  return OpenQueueFile(FileOf(name), name, reason) != nullptr;
}

}  // namespace kiv::mq
